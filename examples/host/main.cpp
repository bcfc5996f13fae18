// rzcore-demo: builds an application on RZCore and walks through what the library does.
// Headless by default (offscreen platform); --gui uses the desktop's platform and ends with the demo
// window; --window shows the window alone.

#include "DemoHost.h"

#include <RZCore/log/RZBaseLog.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    // The IPC section starts this program again as its helper; that process runs nothing else.
    if (argc >= 3 && std::strcmp(argv[1], "--ipc-helper") == 0)
        return demoIpcHelper(argc, argv);

    bool gui = false;
    bool windowOnly = false;
    for (int i = 1; i < argc; ++i) {
        windowOnly = windowOnly || std::strcmp(argv[i], "--window") == 0;
        gui = gui || windowOnly || std::strcmp(argv[i], "--gui") == 0;
    }
    if (!gui && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    // Before the application object: Qt reads the high-DPI settings when it is built.
    demoHighDpiStartUp();

    RZApplication::getAppStartActions().append(
        [](QApplication*) { demoSay(QStringLiteral("start action of the host ran")); });
    RZApplication::getAppQuitActions().append(
        [](QApplication*) { demoSay(QStringLiteral("quit action of the host ran")); });

    DemoApplication app(argc, argv);
    DemoApplication::setApplicationName(QStringLiteral("rzcore-demo"));
    DemoContext context;
    context.app = &app;

    demoSection("start-up");
    app.start();
    const QMap<QString, QString> startup = RZApplication::extractStartupArgs();
    demoSay(QStringLiteral("extractStartupArgs found %1 request(s)").arg(startup.size()));
    for (auto it = startup.cbegin(); it != startup.cend(); ++it)
        demoSay(QStringLiteral("  %1 -> %2").arg(it.key(), it.value()));

    int rc = 0;
    if (windowOnly) {
        rc = demoWindow(context);
    } else {
        demoLogging(context);
        demoConfig(context);
        demoUi(context);
        demoHsm(context);
        demoFiles(context);
        demoIpc(context);
        demoEvents(context);
        demoLogSinks(context);
        demoMonitor(context);
        demoNetwork(context);
        demoLocale(context);
        if (gui)
            rc = demoWindow(context);
    }

    demoSection("shutdown");
    app.stop();
    RZLOG_INFO("rzcore-demo done");
    RZBaseLog::clearAll();
    return rc;
}
