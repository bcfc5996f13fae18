// The streaming debug line, the scope-end line and the channels that gate both.

#include <RZCore/log/RZDebuger.h>

#include "RZTestLogSink.h"

#include <QStandardPaths>
#include <QtTest>

#include <optional>
#include <thread>
#include <vector>

using RZBaseLog::LogLevel;

Q_DECLARE_METATYPE(RZDebuger::Mode)

class TestDebuger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup()
    {
        for (const char* channel : {"open", "x", "y"})
            RZHighFrequencyLog::getInstance()->stop(channel);
    }

    void lines_data()
    {
        QTest::addColumn<QString>("channel"); // "open" is open, "closed" is not
        QTest::addColumn<RZDebuger::Mode>("mode");
        QTest::addColumn<bool>("withScope");
        QTest::addColumn<QList<int>>("levels"); // of the lines written, in order

        const int trace = 2, info = 4, warn = 8, error = 16;
        QTest::newRow("info") << QString() << RZDebuger::Info << false << QList<int>{info};
        QTest::newRow("warn, open channel") << "open" << RZDebuger::Warn << false << QList<int>{warn};
        QTest::newRow("unknown mode") << QString() << RZDebuger::Mode(4) << false << QList<int>{};
        // The scope object dies first; its line is INFO whatever the mode.
        QTest::newRow("scope") << QString() << RZDebuger::Error << true << QList<int>{info, error};
        QTest::newRow("scope, open channel") << "open" << RZDebuger::Trace << true << QList<int>{info, trace};
        QTest::newRow("scope, closed channel") << "closed" << RZDebuger::Warn << true << QList<int>{};
    }

    void lines()
    {
        QFETCH(QString, channel);
        QFETCH(RZDebuger::Mode, mode);
        QFETCH(bool, withScope);
        QFETCH(QList<int>, levels);

        RZHighFrequencyLog::getInstance()->start("open");
        RZScopedTestLogger capture;
        capture.logger->set_level(0x3f);
        {
            RZDebuger debuger(channel.toStdString(), mode, "C:\\src\\Timeline.cpp", "Timeline::paint", 42,
                              "%d: ");
            debuger << "100% %s %n"; // the text is a value, never a format
            std::optional<RZScopeDebuger> scope;
            if (withScope)
                scope.emplace(debuger); // keeps the text as it stands now
            debuger << 7;
        }
        QString before; // what Qt's QDebug makes of the values, spacing included
        QDebug(&before) << "100% %s %n";
        QString text;
        QDebug(&text) << "100% %s %n" << 7;
        const std::vector<RZTestLogSink::Record> records = capture.sink->records();
        QCOMPARE(int(records.size()), levels.size());
        for (int i = 0; i < levels.size(); ++i) {
            const RZTestLogSink::Record& r = records[std::size_t(i)];
            QCOMPARE(int(r.level), levels[i]);
            QCOMPARE(QString::fromStdString(r.message),
                     withScope && i == 0 ? QString("ScopeEnd-" + before) : QString("%d: " + text));
            QVERIFY2(r.line.find(" - [Timeline.cpp(42)][Timeline::paint]\r\n") != std::string::npos,
                     r.line.c_str());
        }
    }

    void macroAndNoLogger()
    {
        RZScopedTestLogger capture;
        RZDEBUGER(RZDebuger::Warn, QString()) << "macro";
        // The macro names the enclosing function as the logger's own macros do.
        QCOMPARE(capture.sink->records().at(0).function, std::string("TestDebuger::macroAndNoLogger"));
        RZBaseLog::registerLogger(nullptr, true); // no default logger: silent, no crash
        RZDEBUGER(RZDebuger::Error, QString()) << "nobody listens";
        QCOMPARE(capture.sink->messages(), std::vector<std::string>{"macro "});
    }

    void continueStart()
    {
        RZHighFrequencyLog* log = RZHighFrequencyLog::getInstance();
        log->continueStart("x", 100);
        log->continueStart("x", 600000); // does not extend the first
        log->continueStart("y", -1);     // counts as 0
        QVERIFY(log->hasOpen("x") && log->hasOpen("y"));
        // Closed by timers of this thread's event loop.
        QTRY_VERIFY_WITH_TIMEOUT(!log->hasOpen("x") && !log->hasOpen("y"), 10000);
    }

    // Each thread opens its own channel twice and closes it once: one stop closes it, and it
    // closes no other channel.
    void channelsFromManyThreads()
    {
        RZHighFrequencyLog::getInstance()->start("open");
        RZScopedTestLogger capture;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([t] {
                const std::string own = "thread" + std::to_string(t);
                for (int i = 0; i < 2000; ++i) {
                    RZHighFrequencyLog::getInstance()->start(own);
                    RZHighFrequencyLog::getInstance()->start(own);
                    RZDEBUGER_CHANNEL(own, RZDebuger::Info, QString()) << "on";
                    RZHighFrequencyLog::getInstance()->stop(own);
                    RZDEBUGER_CHANNEL(own, RZDebuger::Info, QString()) << "off";
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(capture.sink->messages(), std::vector<std::string>(4 * 2000, "on "));
        QVERIFY(RZHighFrequencyLog::getInstance()->hasOpen("open"));
    }
};

QTEST_GUILESS_MAIN(TestDebuger)
#include "tst_debuger.moc"
