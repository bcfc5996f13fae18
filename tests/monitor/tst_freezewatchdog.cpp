// The watchdog in real time: freezes of the main thread with their dumps, a machine suspend played
// by stopping the whole process, and the dump writer of the platform seam.

#include "MonitorTestSupport.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <thread>

#ifdef Q_OS_LINUX
#include <pthread.h>
#include <signal.h>
#endif

namespace {

// Counts freeze seconds on a thread of its own, so that the frozen main thread can see them.
class SecondCounter : public QObject
{
public:
    std::atomic<int> seconds{0};

    SecondCounter()
    {
        RZCustomEventDispatcher::listen<NotifySendPerformanceFreezeData>(
            this, [this](const QString&, int second) { seconds.store(second); });
        moveToThread(&m_oThread);
        m_oThread.start();
    }
    ~SecondCounter() override
    {
        m_oThread.quit();
        m_oThread.wait();
    }

private:
    QThread m_oThread;
};

// Freezes the thread it runs on until the watchdog has counted `seconds` seconds, and for at least
// half a second less than that: a watchdog that counts too fast shows as extra seconds, and the beat
// comes back as soon as the last second is counted, a second ahead of the next.
class Freezer : public QObject
{
    Q_OBJECT

public:
    SecondCounter* counter = nullptr;
    int seconds = 0;
    bool done = false;

    Q_NEVER_INLINE void freezeMainThread()
    {
        QElapsedTimer wall;
        wall.start();
        while ((wall.elapsed() < seconds * 1000 - 500 || counter->seconds.load() < seconds) && wall.elapsed() < 60000)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        done = true;
    }
};

Q_NEVER_INLINE void blockUntilDumped(std::atomic<bool>& blocked, const std::atomic<bool>& dumped)
{
    blocked.store(true);
    while (!dumped.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

QString readText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class tst_FreezeWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void dumpShowsTheFrozenStack();
    void unansweredCaptureIsSaid();
    void freezeOfNineSeconds();
    void secondFreezeOfTheSameName();
    void idleFreezeOfFourSeconds();
    void machineSuspend();

private:
    MonitoredApplication* app() { return static_cast<MonitoredApplication*>(qApp); }
    QStringList dumps() const { return QDir(m_strDumpDir).entryList(QDir::Files, QDir::Name); }
    void freeze(int seconds, bool insideDelivery);

    QTemporaryDir m_oDir;
    QString m_strDumpDir;
    RZAppStuckMonitoringManager* m_pManager = nullptr;
    SecondCounter* m_pCounter = nullptr;
    Freezer m_oFreezer;
    EventLog m_oLog;
};

void tst_FreezeWatchdog::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
    IRZAppInfo::getInstance()->setValue(13, m_oDir.path());
    IRZAppInfo::getInstance()->setValue(14, m_oDir.path());
    m_strDumpDir = m_oDir.path() + QStringLiteral("/FreezeDump");

    // The host's start: the library's start actions make the manager; it watches after the launch.
    app()->init();
    m_pManager = RZAppStuckMonitoringManager::instance();
    QVERIFY(m_pManager);
    QCOMPARE(m_pManager->parent(), app());
    RZCustomEventDispatcher::send<NotifyLaunchFinished>();
    QTRY_VERIFY(m_pManager->isRunning());

    m_pCounter = new SecondCounter;
    m_oFreezer.setObjectName(QStringLiteral("freezer"));
    m_oFreezer.counter = m_pCounter;
    m_oLog.record<NotifySendPerformanceFreezeData>(
        [](const QString& name, int second) { return QStringLiteral("second %1 %2").arg(second).arg(name); });
    m_oLog.record<NotifyFreezeMonitor>(
        [](bool frozen, const QString& name) { return QStringLiteral("frozen %1 %2").arg(frozen).arg(name); });
    m_oLog.record<NotifySendSuspendTime>([](int ms) { return QStringLiteral("suspend %1").arg(ms); });
}

void tst_FreezeWatchdog::cleanupTestCase()
{
    delete m_pCounter;
    app()->unInit();
    QVERIFY(!RZAppStuckMonitoringManager::instance());
}

void tst_FreezeWatchdog::init()
{
    // Every scenario starts while the beat comes.
    QTRY_COMPARE(m_pManager->freezeSeconds(), 0);
    m_oLog.take();
    m_pCounter->seconds.store(0);
}

void tst_FreezeWatchdog::freeze(int seconds, bool insideDelivery)
{
    m_oFreezer.seconds = seconds;
    m_oFreezer.done = false;
    if (insideDelivery)
        QTimer::singleShot(0, &m_oFreezer, &Freezer::freezeMainThread);
    else
        m_oFreezer.freezeMainThread(); // a test function runs outside any delivery
    QTRY_VERIFY(m_oFreezer.done);
}

void tst_FreezeWatchdog::dumpShowsTheFrozenStack()
{
    const std::string path = QString(m_oDir.path() + QStringLiteral("/seam.dmp")).toStdString();
    RZPlatform::FreezeDumpInfo info;
    info.processName = "tst_freezewatchdog";
    info.freezeName = "seam";
    info.freezeSecond = 5;
    std::atomic<bool> blocked{false};
    std::atomic<bool> dumped{false};
    bool written = false;
    std::thread writer([&] {
        while (!blocked.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        written = RZPlatform::writeFreezeDump(path, info);
        dumped.store(true);
    });
    blockUntilDumped(blocked, dumped);
    writer.join();
    QVERIFY(written);

    const QString text = readText(QString::fromStdString(path));
    QVERIFY2(text.contains(QStringLiteral("process: tst_freezewatchdog (pid %1)").arg(QCoreApplication::applicationPid())), qPrintable(text));
    QVERIFY(text.contains(QStringLiteral("freeze: seam, second 5")));
    QVERIFY(text.contains(QStringLiteral("%1 \"tst_freezewatch").arg(QCoreApplication::applicationPid()))); // a name has 15 bytes
    QVERIFY(text.contains(QStringLiteral("<- frozen, stack below")));
    const QString stack = text.section(QStringLiteral("stack of the frozen thread"), 1).section(QStringLiteral("memory map:"), 0, 0);
    QVERIFY2(stack.contains(QStringLiteral("blockUntilDumped")), qPrintable(stack));
    QVERIFY2(stack.contains(QStringLiteral("tst_freezewatchdog.cpp:")), qPrintable(stack));
    QVERIFY(text.contains(QStringLiteral("memory map:\n")));

    // A dump is never replaced.
    QVERIFY(!RZPlatform::writeFreezeDump(path, info));
    QCOMPARE(readText(QString::fromStdString(path)), text);
}

void tst_FreezeWatchdog::unansweredCaptureIsSaid()
{
#ifdef Q_OS_LINUX
    // A thread that blocks every signal never answers: the report says so after half a second.
    std::atomic<int> step{0};
    std::thread deaf([&step] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        RZPlatform::prepareFreezeDumps();
        step.store(1);
        while (step.load() != 2)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    });
    QTRY_COMPARE(step.load(), 1);
    const QString path = m_oDir.path() + QStringLiteral("/deaf.dmp");
    const bool written = RZPlatform::writeFreezeDump(path.toStdString(), RZPlatform::FreezeDumpInfo());
    step.store(2);
    deaf.join();
    RZPlatform::prepareFreezeDumps(); // the main thread again
    QVERIFY(written);
    QVERIFY2(readText(path).contains(QStringLiteral(":\n  no answer\n\nmemory map:")), qPrintable(readText(path)));
#else
    QSKIP("the stack is captured by a signal on POSIX only");
#endif
}

void tst_FreezeWatchdog::freezeOfNineSeconds()
{
    freeze(9, true);
    QTRY_VERIFY(m_oLog.lines.contains(QStringLiteral("frozen 0 ")));

    const QStringList lines = m_oLog.take();
    QVERIFY(!lines.isEmpty());
    const QString name = lines.first().section(QLatin1Char(' '), 2);
    QVERIFY2(name.endsWith(QStringLiteral("43_f")), qPrintable(name)); // a queued call, one unbroken span
    QStringList expected;
    for (int second = 1; second <= 9; ++second) {
        expected << QStringLiteral("second %1 %2").arg(second).arg(name);
        if (second == 5)
            expected << QStringLiteral("frozen 1 %1").arg(name);
    }
    expected << QStringLiteral("frozen 0 ");
    QCOMPARE(lines, expected);

    QCOMPARE(dumps(), (QStringList{name + "_0.dmp", name + "_1.dmp", name + "_2.dmp"}));
    for (int n = 0; n < 3; ++n) {
        const QString text = readText(m_strDumpDir + QStringLiteral("/%1_%2.dmp").arg(name).arg(n));
        QVERIFY(text.contains(QStringLiteral("freeze: %1, second %2").arg(name).arg(5 + n)));
        QVERIFY2(text.contains(QStringLiteral("Freezer::freezeMainThread")), qPrintable(text.left(4000)));
    }
    QSettings cinvera(RZConfig::GetCinveraConfigFile(), QSettings::IniFormat);
    QCOMPARE(cinvera.value(QStringLiteral("LogRetrieval/freeze_back")).toInt(), 1);
    QCOMPARE(cinvera.value(QStringLiteral("LogRetrieval/freeze_short_name")).toString(), name);
    QCOMPARE(m_pManager->freezeNames(), QStringList{name});
}

void tst_FreezeWatchdog::secondFreezeOfTheSameName()
{
    const QStringList before = dumps();
    QCOMPARE(before.size(), 3);
    QString contents;
    for (const QString& dump : before)
        contents += readText(m_strDumpDir + QLatin1Char('/') + dump);

    freeze(7, true);
    QTRY_VERIFY(m_oLog.lines.contains(QStringLiteral("frozen 0 ")));
    const QStringList lines = m_oLog.take();
    QCOMPARE(lines.filter(QStringLiteral("second ")).size(), 7);
    const QString name = lines.first().section(QLatin1Char(' '), 2);
    QCOMPARE(name + "_0.dmp", before.first());

    // No dump replaced or added, no name added.
    QCOMPARE(dumps(), before);
    QString after;
    for (const QString& dump : before)
        after += readText(m_strDumpDir + QLatin1Char('/') + dump);
    QCOMPARE(after, contents);
    QSettings cinvera(RZConfig::GetCinveraConfigFile(), QSettings::IniFormat);
    QCOMPARE(cinvera.value(QStringLiteral("LogRetrieval/freeze_short_name")).toString(), name);
}

void tst_FreezeWatchdog::idleFreezeOfFourSeconds()
{
    const QStringList before = dumps();
    freeze(4, false);
    QTRY_COMPARE(m_pManager->freezeSeconds(), 0); // the beat is back
    QTRY_COMPARE(m_oLog.lines.size(), 4);
    const QStringList lines = m_oLog.take();
    const QString name = lines.first().section(QLatin1Char(' '), 2);
    // Frozen outside any delivery: the name of the delivery that ended last, and "i".
    QVERIFY2(name.endsWith(QLatin1Char('i')), qPrintable(name));
    QCOMPARE(lines, (QStringList{"second 1 " + name, "second 2 " + name, "second 3 " + name, "second 4 " + name}));
    QCOMPARE(dumps(), before);
}

void tst_FreezeWatchdog::machineSuspend()
{
    const QStringList before = dumps();
    const int suspends = m_pManager->suspendCount();
    // The whole process stops for 11 s, as it would in a machine sleep.
    QVERIFY(QProcess::startDetached(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("kill -STOP %1; sleep 11; kill -CONT %1").arg(QCoreApplication::applicationPid())}));
    QTRY_COMPARE_WITH_TIMEOUT(m_pManager->suspendCount(), suspends + 1, 60000);
    QTRY_COMPARE(m_oLog.lines.filter(QStringLiteral("suspend ")).size(), 1);

    const QStringList lines = m_oLog.take();
    QCOMPARE(lines.size(), 1); // not a freeze
    const int ms = lines.first().section(QLatin1Char(' '), 1).toInt();
    // At least 10 s between two ticks of the detector, less its one-second tick.
    QVERIFY2(ms >= 9000 && ms < 60000, qPrintable(lines.first()));
    QCOMPARE(m_pManager->suspendDuration(), ms);
    QCOMPARE(dumps(), before);
}

RZ_MONITOR_TEST_MAIN(tst_FreezeWatchdog)

#include "tst_freezewatchdog.moc"
