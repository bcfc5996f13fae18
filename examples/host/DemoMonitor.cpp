// Freeze monitoring as a host meets it: the application object announces every delivery (notify
// below), the start actions made the watchdog, and a handler freezes the main thread for about six
// seconds. The watchdog's reports are printed as they arrive, by a listener on a thread of its own,
// and then the stack of the frozen thread is read back from the dump.

#include "DemoHost.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/monitor/RZAppStuckMonitoring.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <thread>

bool DemoApplication::notify(QObject* receiver, QEvent* event)
{
    // Deliveries of other threads are not the main thread's stalls.
    if (QThread::currentThread() != thread())
        return RZApplication::notify(receiver, event);
    RZCustomEventDispatcher::send<NotifyBeginNotifyEvent>(receiver, event);
    const bool result = RZApplication::notify(receiver, event);
    RZCustomEventDispatcher::send<NotifyEndNotifyEvent>(receiver, event);
    return result;
}

namespace {

// Prints the watchdog's reports on its own thread, so they show while the main thread is frozen.
class ReportPrinter : public QObject
{
public:
    ReportPrinter()
    {
        RZCustomEventDispatcher::listen<NotifySendPerformanceFreezeData>(this, [](const QString& name, int second) {
            demoSay(QStringLiteral("  [watchdog] frozen for %1 s  (%2)").arg(second).arg(name));
        });
        RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(this, [](bool frozen, const QString& name) {
            demoSay(frozen ? QStringLiteral("  [watchdog] NotifyFreezeMonitor(true, %1): dumps follow").arg(name)
                           : QStringLiteral("  [watchdog] NotifyFreezeMonitor(false): the beat is back"));
        });
        RZCustomEventDispatcher::listen<NotifySendPerformanceMoreData>(
            this, [](int ms, const QString& level, const QString&, int type, const QString& shortName, int) {
                demoSay(QStringLiteral("  [main] stuck delivery: %1 ms, event %2 to %3 (%4)").arg(ms).arg(type).arg(level, shortName));
            });
        moveToThread(&m_oThread);
        m_oThread.start();
    }
    ~ReportPrinter() override
    {
        m_oThread.quit();
        m_oThread.wait();
    }

private:
    QThread m_oThread;
};

// The demo's slow handler.
class DemoTimeline : public QObject
{
public:
    Q_NEVER_INLINE void renderThumbnails()
    {
        demoSay(QStringLiteral("DemoTimeline::renderThumbnails() blocks the main thread for about 6 s..."));
        std::this_thread::sleep_for(std::chrono::milliseconds(6300));
    }
};

} // namespace

void demoMonitor(DemoContext& context)
{
    demoSection("freeze monitoring");
    const QString dumpRoot = context.runDir.path() + QStringLiteral("/monitor");
    IRZAppInfo::getInstance()->setValue(13, dumpRoot);
    RZAppStuckMonitoringManager* manager = RZAppStuckMonitoringManager::instance();
    demoSay(QStringLiteral("the start actions made the watchdog: %1").arg(manager ? "yes" : "no"));
    if (!manager)
        return;
    RZAppStuckMonitoring* monitor = RZAppStuckMonitoring::instance();
    monitor->openMonitoring(1000);

    ReportPrinter printer;
    RZCustomEventDispatcher::send<NotifyLaunchFinished>(); // the watchdog starts watching
    demoSay(QStringLiteral("NotifyLaunchFinished sent; dumps go to %1").arg(QDir(context.runDir.path()).relativeFilePath(manager->dumpDirectory())));

    QEventLoop loop;
    QObject waiter;
    RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(&waiter, [&loop](bool frozen, const QString&) {
        if (!frozen)
            loop.quit();
    });
    DemoTimeline timeline;
    timeline.setObjectName(QStringLiteral("timeline"));
    QTimer::singleShot(0, &timeline, &DemoTimeline::renderThumbnails);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit); // never wait for ever
    loop.exec();

    const QDir dumps(manager->dumpDirectory());
    const QStringList names = dumps.entryList({QStringLiteral("*.dmp")}, QDir::Files, QDir::Name);
    demoSay(QStringLiteral("dumps written: %1").arg(names.join(QStringLiteral(", "))));
    if (!names.isEmpty()) {
        QFile dump(dumps.filePath(names.first()));
        dump.open(QIODevice::ReadOnly);
        const QString text = QString::fromUtf8(dump.readAll());
        const QStringList lines = text.section(QStringLiteral("stack of the frozen thread"), 1)
                                      .section(QStringLiteral("\n\n"), 0, 0)
                                      .split(QLatin1Char('\n'));
        demoSay(QStringLiteral("%1, stack of the frozen thread%2").arg(names.first(), lines.value(0)));
        for (int i = 1; i < lines.size() && i <= 6; ++i)
            demoSay(QStringLiteral("  ") + lines.at(i).trimmed().left(160));
        demoSay(text.contains(QStringLiteral("DemoTimeline::renderThumbnails"))
                    ? QStringLiteral("the dump names the frozen handler: DemoTimeline::renderThumbnails")
                    : QStringLiteral("the dump does not name the frozen handler"));
    }
    demoSay(QStringLiteral("event monitor: %1 stuck delivery(ies), %2 ms; watchdog: %3 counted, freezes named %4")
                .arg(monitor->getTotalStuckCount())
                .arg(monitor->getTotalStuckDuration())
                .arg(manager->stuckCount())
                .arg(manager->freezeNames().join(QStringLiteral(","))));

    QObject summary;
    RZCustomEventDispatcher::listen<NotifySendPerformanceMoreDataNew>(&summary, [](const StuckMoreData& data) {
        demoSay(QStringLiteral("summary at exit: %1 stuck, %2 ms, run %3 ms, %4 suspend(s)")
                    .arg(data.stuckCount)
                    .arg(data.stuckDuration)
                    .arg(data.runDuration)
                    .arg(data.suspendCount));
    });
    RZCustomEventDispatcher::send<NotifyApplicationBeforeExitEvent>();
    monitor->closeMonitoring();
}
