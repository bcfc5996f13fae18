#pragma once
// rzcore-demo: a real host of the library. Each family of the library shows itself in one section,
// a function declared here and defined in its own Demo<Family>.cpp.

#include <RZCore/app/RZApplication.h>

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

class DemoApplication : public RZApplication
{
    Q_OBJECT

public:
    DemoApplication(int& argc, char** argv);
    // The protected start and quit lists of the application object, run by the host.
    void start() { init(); }
    void stop() { unInit(); }
    using RZApplication::logScreenInfo;

    // Announces every delivery of the main thread to the freeze monitors (DemoMonitor.cpp).
    bool notify(QObject* receiver, QEvent* event) override;
};

struct DemoContext
{
    DemoApplication* app = nullptr;
    QTemporaryDir runDir; // per-run files of the demo
};

// Prints a section heading / a line of the demo's own narration to standard output.
void demoSection(const char* title);
void demoSay(const QString& text);

void demoLogging(DemoContext& context);
void demoConfig(DemoContext& context);
void demoUi(DemoContext& context);
void demoHsm(DemoContext& context);
void demoFiles(DemoContext& context);
void demoIpc(DemoContext& context);
// The helper process of the IPC section: rzcore-demo --ipc-helper <server-name>.
int demoIpcHelper(int argc, char** argv);
void demoEvents(DemoContext& context);
void demoLogSinks(DemoContext& context);

// The high-DPI start-up, run before the application object is built; what it saw is shown later.
void demoHighDpiStartUp();
QString demoPolicyName(Qt::HighDpiScaleFactorRoundingPolicy policy);
// "name: value" facts about the display, the same in the headless section and in the window.
QStringList demoDisplayFacts();
// Points the locale at the run's folders and loads the translators, once.
void demoPrepareLocale(DemoContext& context);
void demoLocale(DemoContext& context);
// The window of --gui / --window; returns when it is closed.
int demoWindow(DemoContext& context);
// Writes the "Config.json" the network section uses into the store's folder, before the store is built.
void demoNetworkPrepareStore(const QString& directory);
void demoNetwork(DemoContext& context);
void demoMonitor(DemoContext& context);
