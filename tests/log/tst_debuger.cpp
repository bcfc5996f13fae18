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
        QTest::newRow("trace") << QString() << RZDebuger::Trace << false << QList<int>{trace};
        QTest::newRow("info") << QString() << RZDebuger::Info << false << QList<int>{info};
        QTest::newRow("warn, open channel") << "open" << RZDebuger::Warn << false << QList<int>{warn};
        QTest::newRow("error, closed channel") << "closed" << RZDebuger::Error << false << QList<int>{};
        QTest::newRow("unknown mode") << QString() << RZDebuger::Mode(4) << false << QList<int>{};
        // The scope object dies first; its line is INFO whatever the mode.
        QTest::newRow("scope") << QString() << RZDebuger::Error << true << QList<int>{info, error};
        QTest::newRow("scope, open channel") << "open" << RZDebuger::Trace << true << QList<int>{info, trace};
        QTest::newRow("scope, closed channel") << "closed" << RZDebuger::Warn << true << QList<int>{};
        QTest::newRow("scope, unknown mode") << QString() << RZDebuger::Mode(-1) << true << QList<int>{info};
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
            debuger << "100% %s %n" << 7; // the text is a value, never a format
            std::optional<RZScopeDebuger> scope;
            if (withScope)
                scope.emplace(debuger);
        }
        QString text; // what Qt's QDebug makes of the values, spacing included
        QDebug(&text) << "100% %s %n" << 7;
        const std::vector<RZTestLogSink::Record> records = capture.sink->records();
        QCOMPARE(int(records.size()), levels.size());
        for (int i = 0; i < levels.size(); ++i) {
            const RZTestLogSink::Record& r = records[std::size_t(i)];
            QCOMPARE(int(r.level), levels[i]);
            QCOMPARE(QString::fromStdString(r.message),
                     QString((withScope && i == 0 ? "ScopeEnd-" : "%d: ") + text));
            QVERIFY2(r.line.find(" - [Timeline.cpp(42)][Timeline::paint]\r\n") != std::string::npos,
                     r.line.c_str());
        }
    }

    void scopeKeepsItsText()
    {
        RZScopedTestLogger capture;
        {
            RZDEBUGER(RZDebuger::Warn, QString()) << "macro";
            RZDebuger debuger(RZDebuger::Warn, "a.cpp", "f", 1);
            debuger << "before";
            RZScopeDebuger scope(debuger);
            debuger << "after";
        }
        QCOMPARE(capture.sink->messages(),
                 (std::vector<std::string>{"macro ", "ScopeEnd-before ", "before after "}));
        // The macro names the enclosing function as the logger's own macros do.
        QCOMPARE(capture.sink->records()[0].function, std::string("TestDebuger::scopeKeepsItsText"));

        RZBaseLog::registerLogger(nullptr, true); // no default logger: silent, no crash
        RZDebuger(RZDebuger::Error, "a.cpp", "f", 1) << "nobody listens";
        QCOMPARE(capture.sink->records().size(), std::size_t(3));
    }

    void channels()
    {
        RZHighFrequencyLog* log = RZHighFrequencyLog::getInstance();
        log->start("y");
        log->stop("x"); // closing a closed channel changes nothing
        QVERIFY(!log->hasOpen("x") && log->hasOpen("y"));
        log->start("x");
        log->start("x"); // nor does opening an open one: one stop closes it
        QVERIFY(log->hasOpen("x"));
        RZScopedTestLogger capture;
        RZDEBUGER_CHANNEL("x", RZDebuger::Info, QString()) << "open";
        log->stop("x");
        RZDEBUGER_CHANNEL("x", RZDebuger::Info, QString()) << "closed";
        QCOMPARE(capture.sink->messages(), std::vector<std::string>{"open "});
        QVERIFY(log->hasOpen("y"));
    }

    void continueStart_data()
    {
        QTest::addColumn<int>("secondCallMs"); // -1: none
        QTest::addColumn<bool>("stopInBetween");
        QTest::newRow("closes after its time") << -1 << false;
        QTest::newRow("a second call does not extend it") << 600000 << false;
        QTest::newRow("a stop in between holds") << -1 << true;
    }

    void continueStart()
    {
        QFETCH(int, secondCallMs);
        QFETCH(bool, stopInBetween);
        RZHighFrequencyLog* log = RZHighFrequencyLog::getInstance();
        log->continueStart("x", 100);
        QVERIFY(log->hasOpen("x"));
        if (secondCallMs >= 0)
            log->continueStart("x", secondCallMs);
        if (stopInBetween)
            log->stop("x");
        QCOMPARE(log->hasOpen("x"), !stopInBetween);
        QTRY_VERIFY_WITH_TIMEOUT(!log->hasOpen("x"), 10000); // needs this thread's event loop
    }

    void channelsFromManyThreads()
    {
        RZScopedTestLogger capture;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([t] {
                const std::string own = "thread" + std::to_string(t);
                for (int i = 0; i < 2000; ++i) {
                    RZHighFrequencyLog::getInstance()->start(own);
                    RZDebuger(own, RZDebuger::Info, "a.cpp", "f", 1) << "on";
                    RZHighFrequencyLog::getInstance()->stop(own);
                    RZDebuger(own, RZDebuger::Info, "a.cpp", "f", 1) << "off";
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        const std::vector<std::string> messages = capture.sink->messages();
        QCOMPARE(messages, std::vector<std::string>(4 * 2000, "on "));
    }
};

QTEST_GUILESS_MAIN(TestDebuger)
#include "tst_debuger.moc"
