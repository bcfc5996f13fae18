#pragma once
// rzcore-demo: a real host of the library. Each family of the library shows itself in one section,
// a function declared here and defined in its own Demo<Family>.cpp.

#include <RZCore/app/RZApplication.h>

#include <QString>
#include <QTemporaryDir>

class DemoApplication : public RZApplication
{
    Q_OBJECT

public:
    DemoApplication(int& argc, char** argv);
    // The protected start and quit lists of the application object, run by the host.
    void start() { init(); }
    void stop() { unInit(); }

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
void demoMonitor(DemoContext& context);
