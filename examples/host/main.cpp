// rzcore-demo: builds an application on RZCore and walks through what the library does.
// Headless by default (offscreen platform); pass --gui to use the desktop's platform.

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
    for (int i = 1; i < argc; ++i)
        gui = gui || std::strcmp(argv[i], "--gui") == 0;
    if (!gui && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

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

    demoLogging(context);
    demoConfig(context);
    demoUi(context);
    demoHsm(context);
    demoFiles(context);
    demoIpc(context);
    demoEvents(context);
    demoLogSinks(context);
    demoMonitor(context);

    demoSection("shutdown");
    app.stop();
    RZLOG_INFO("rzcore-demo done");
    RZBaseLog::clearAll();
    return 0;
}
