// The streaming debug line, the scope-end line and the channels that gate both.

#include <RZCore/log/RZDebuger.h>

#include "RZTestLogSink.h"

#include <QStandardPaths>
#include <QThread>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>
#include <vector>

using RZBaseLog::LogLevel;

namespace {

QString streamed(const char* word, int number)
{
    // What Qt's own QDebug makes of the values, spacing included.
    QString text;
    QDebug(&text) << word << number;
    return text;
}

} // namespace

Q_DECLARE_METATYPE(RZDebuger::Mode)

class TestDebuger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup()
    {
        for (const char* channel : {"open", "closed", "x", "y", "z", "worker"})
            RZHighFrequencyLog::getInstance()->stop(channel);
    }

    void lines_data()
    {
        QTest::addColumn<QString>("channel"); // "open" is opened, "closed" is not
        QTest::addColumn<RZDebuger::Mode>("mode");
        QTest::addColumn<bool>("withScope");
        QTest::addColumn<QList<int>>("levels"); // of the lines written, in order

        const int trace = int(LogLevel::trace), info = int(LogLevel::info), warn = int(LogLevel::warn),
                  error = int(LogLevel::error);
        QTest::newRow("no channel, trace") << QString() << RZDebuger::Trace << false << QList<int>{trace};
        QTest::newRow("no channel, info") << QString() << RZDebuger::Info << false << QList<int>{info};
        QTest::newRow("no channel, warn") << QString() << RZDebuger::Warn << false << QList<int>{warn};
        QTest::newRow("no channel, error") << QString() << RZDebuger::Error << false << QList<int>{error};
        QTest::newRow("unknown mode writes nothing") << QString() << RZDebuger::Mode(4) << false << QList<int>{};
        QTest::newRow("open channel") << "open" << RZDebuger::Warn << false << QList<int>{warn};
        QTest::newRow("closed channel") << "closed" << RZDebuger::Error << false << QList<int>{};
        // The scope object dies first, and its line is INFO whatever the mode.
        QTest::newRow("scope, no channel") << QString() << RZDebuger::Error << true << QList<int>{info, error};
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
        const int line = __LINE__;
        {
            RZDebuger debuger(channel.toStdString(), mode, "C:\\src\\Timeline.cpp", "Timeline::paint", line, "paint: ");
            debuger << "clip" << 7;
            std::optional<RZScopeDebuger> scope;
            if (withScope)
                scope.emplace(debuger);
            QCOMPARE(debuger.isEnabled(), channel != "closed");
        }
        const std::vector<RZTestLogSink::Record> records = capture.sink->records();
        QCOMPARE(int(records.size()), levels.size());
        const QString text = streamed("clip", 7);
        for (std::size_t i = 0; i < records.size(); ++i) {
            const bool scopeLine = withScope && i == 0;
            QCOMPARE(int(records[i].level), levels[int(i)]);
            QCOMPARE(QString::fromStdString(records[i].message),
                     scopeLine ? QStringLiteral("ScopeEnd-") + text : QStringLiteral("paint: ") + text);
            QCOMPARE(QString::fromStdString(records[i].function), QStringLiteral("Timeline::paint"));
            QVERIFY2(records[i].line.find(" - [Timeline.cpp(" + std::to_string(line) + ")][Timeline::paint]")
                         != std::string::npos,
                     records[i].line.c_str());
        }
    }

    void textIsNotAFormat()
    {
        RZScopedTestLogger capture;
        {
            RZDebuger debuger(RZDebuger::Info, "a.cpp", "f", 1, "%d%% ");
            debuger << "100% %s %n";
        }
        QCOMPARE(capture.sink->messages(), (std::vector<std::string>{"%d%% 100% %s %n "}));
    }

    void scopeKeepsTheTextOfItsConstruction()
    {
        RZScopedTestLogger capture;
        {
            RZDebuger debuger(RZDebuger::Warn, "a.cpp", "f", 1);
            debuger << "before";
            RZScopeDebuger scope(debuger);
            debuger << "after";
        }
        QCOMPARE(capture.sink->messages(), (std::vector<std::string>{"ScopeEnd-before ", "before after "}));
    }

    void maskedLevelsStayOut()
    {
        RZScopedTestLogger capture;
        capture.logger->set_level(RZBaseLog::levelMaskFrom(LogLevel::warn));
        {
            RZDebuger quiet(RZDebuger::Info, "a.cpp", "f", 1);
            quiet << "dropped";
            RZScopeDebuger scope(quiet); // INFO as well
            RZDEBUGER(RZDebuger::Error, "macro: ") << "kept";
        }
        const std::vector<RZTestLogSink::Record> records = capture.sink->records();
        QCOMPARE(records.size(), std::size_t(1));
        QCOMPARE(records[0].message, std::string("macro: kept "));
        // The macro names the enclosing function as the logger's own macros do.
        QCOMPARE(records[0].function, std::string("TestDebuger::maskedLevelsStayOut"));
    }

    void channelMacro()
    {
        RZScopedTestLogger capture;
        RZDEBUGER_CHANNEL("x", RZDebuger::Info, QString()) << "closed";
        RZHighFrequencyLog::getInstance()->start("x");
        RZDEBUGER_CHANNEL("x", RZDebuger::Info, QString()) << "open";
        QCOMPARE(capture.sink->messages(), (std::vector<std::string>{"open "}));
    }

    void silentWithoutDefaultLogger()
    {
        RZScopedTestLogger capture;
        RZBaseLog::registerLogger(nullptr, true);
        {
            RZDebuger debuger(RZDebuger::Error, "a.cpp", "f", 1);
            debuger << "nobody listens";
            RZScopeDebuger scope(debuger);
        }
        QVERIFY(capture.sink->records().empty());
    }

    void channelOperations_data()
    {
        QTest::addColumn<QStringList>("operations"); // "+" start, "-" stop
        QTest::addColumn<bool>("open");

        QTest::newRow("start") << QStringList{"+"} << true;
        QTest::newRow("start twice, stop once") << QStringList{"+", "+", "-"} << false;
        QTest::newRow("stop a closed channel") << QStringList{"-"} << false;
        QTest::newRow("stop then start") << QStringList{"-", "+"} << true;
        QTest::newRow("start stop start") << QStringList{"+", "-", "+"} << true;
    }

    void channelOperations()
    {
        QFETCH(QStringList, operations);
        QFETCH(bool, open);

        RZHighFrequencyLog* channels = RZHighFrequencyLog::getInstance();
        channels->start("y");
        for (const QString& op : operations)
            op == "+" ? channels->start("z") : channels->stop("z");
        QCOMPARE(channels->hasOpen("z"), open);
        QVERIFY(channels->hasOpen("y")); // channels are independent
        QVERIFY(!channels->hasOpen(""));
    }

    void continueStart_data()
    {
        QTest::addColumn<int>("secondCallMs"); // -1: no second call
        QTest::addColumn<bool>("stopInBetween");

        QTest::newRow("closes after its time") << -1 << false;
        QTest::newRow("a second call does not extend it") << 600000 << false;
        QTest::newRow("a stop in between holds") << -1 << true;
    }

    void continueStart()
    {
        QFETCH(int, secondCallMs);
        QFETCH(bool, stopInBetween);

        RZHighFrequencyLog* channels = RZHighFrequencyLog::getInstance();
        channels->continueStart("x", 100);
        QVERIFY(channels->hasOpen("x"));
        if (secondCallMs >= 0)
            channels->continueStart("x", secondCallMs);
        if (stopInBetween) {
            channels->stop("x");
            QVERIFY(!channels->hasOpen("x"));
        }
        QTRY_VERIFY_WITH_TIMEOUT(!channels->hasOpen("x"), 10000);
    }

    void continueStartOnAWorkerThread()
    {
        // The timer belongs to the calling thread and fires in that thread's event loop (a timer
        // started on an object of another thread would never fire).
        QThread worker;
        worker.start();
        QObject context;
        context.moveToThread(&worker);
        std::atomic<bool> ranOnWorker{false};
        QMetaObject::invokeMethod(&context, [&] {
            RZHighFrequencyLog::getInstance()->continueStart("worker", 50);
            ranOnWorker = QThread::currentThread() == &worker;
        });
        QTRY_VERIFY(ranOnWorker.load());
        QTRY_VERIFY_WITH_TIMEOUT(!RZHighFrequencyLog::getInstance()->hasOpen("worker"), 10000);
        worker.quit();
        worker.wait();
    }

    void channelsFromManyThreads()
    {
        RZScopedTestLogger capture;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([t] {
                const std::string own = "thread" + std::to_string(t);
                RZHighFrequencyLog* channels = RZHighFrequencyLog::getInstance();
                for (int i = 0; i < 2000; ++i) {
                    channels->start(own);
                    RZDebuger(own, RZDebuger::Info, "a.cpp", "f", 1) << t;
                    channels->stop(own);
                    RZDebuger(own, RZDebuger::Info, "a.cpp", "f", 1) << "never";
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        const std::vector<std::string> messages = capture.sink->messages();
        QCOMPARE(messages.size(), std::size_t(4 * 2000));
        QVERIFY(std::find(messages.begin(), messages.end(), "never ") == messages.end());
    }
};

QTEST_GUILESS_MAIN(TestDebuger)
#include "tst_debuger.moc"
