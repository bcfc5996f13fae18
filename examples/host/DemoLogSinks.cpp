#include "DemoHost.h"

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZDebuger.h>
#include <RZCore/log/RZLogSinks.h>

#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QStandardPaths>
#include <QTimer>

void demoLogSinks(DemoContext& /*context*/)
{
    demoSection("log sinks");
    // The log folder outlives the demo, so that the file can be read afterwards.
    const QString folder = QDir(QStandardPaths::writableLocation(QStandardPaths::TempLocation))
                               .filePath(QStringLiteral("rzcore-demo-log-%1-%2")
                                             .arg(QDateTime::currentDateTime().toString("yyyyMMdd-HHmmss"))
                                             .arg(QCoreApplication::applicationPid()));
    auto logger = RZBaseLog::createLogger("rzcore-demo", 3, folder.toStdString());
    logger->set_level(0x3f);
    demoSay(QStringLiteral("createLogger(\"rzcore-demo\", 3, dir): a file sink, then a colour console sink "
                           "(the level name is coloured on a terminal, plain when redirected):"));
    RZLOG_TO(logger.get(), RZBaseLog::LogLevel::debug, "a DEBUG line: cyan");
    RZLOG_TO(logger.get(), RZBaseLog::LogLevel::trace, "a TRACE line: white");
    RZLOG_TO(logger.get(), RZBaseLog::LogLevel::info, "an INFO line: green");
    RZLOG_TO(logger.get(), RZBaseLog::LogLevel::warn, "a WARN line: bright yellow");
    RZLOG_TO(logger.get(), RZBaseLog::LogLevel::error, "an ERROR line: bright red");
    RZLOG_TO(logger.get(), RZBaseLog::LogLevel::critical, "a CRITICAL line: bright white on red");

    // Make it the default for a while, so that the debug helpers write through it.
    std::shared_ptr<RZBaseLog::RZBaseLogger> previous;
    if (RZBaseLog::RZBaseLogger* current = RZBaseLog::defaultLogger())
        previous = RZBaseLog::get(current->name());
    RZBaseLog::registerLogger(logger, true);

    demoSay(QStringLiteral("RZDebuger on the closed channel \"demo.paint\" writes nothing:"));
    {
        RZDebuger debuger = RZDEBUGER_CHANNEL("demo.paint", RZDebuger::Trace, "paint: ");
        debuger << "frame" << 1;
        RZScopeDebuger scope(debuger);
    }
    demoSay(QStringLiteral("continueStart(\"demo.paint\", 100) opens it: one line and its ScopeEnd line"));
    RZHighFrequencyLog::getInstance()->continueStart("demo.paint", 100);
    {
        RZDebuger debuger = RZDEBUGER_CHANNEL("demo.paint", RZDebuger::Warn, "paint: ");
        debuger << "frame" << 2;
        RZScopeDebuger scope(debuger);
    }
    QEventLoop loop;
    QTimer::singleShot(150, &loop, &QEventLoop::quit);
    loop.exec();
    demoSay(QStringLiteral("after 150 ms with an event loop the channel is %1")
                .arg(RZHighFrequencyLog::getInstance()->hasOpen("demo.paint") ? "open" : "closed"));

    RZBaseLog::registerLogger(previous, true);
    logger.reset(); // closes the file

    const QString path = QDir(folder).filePath(QStringLiteral("rzcore-demo.log"));
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = file.readAll().split('\n');
        demoSay(QStringLiteral("the file holds %1 lines, laid out by the file logger; the first one:")
                    .arg(lines.size() - 1));
        demoSay(QStringLiteral("  %1").arg(QString::fromUtf8(lines.value(0))));
    }
    demoSay(QStringLiteral("log file: %1").arg(path));
}
