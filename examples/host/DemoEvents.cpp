#include "DemoHost.h"

#include <RZCore/events/RZColdLoading.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/events/RZElapsedTimerManager.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QThread>

#include <mutex>

namespace {

// What a background task did, filled on the pool's threads.
struct TaskReport
{
    std::mutex mutex;
    QStringList lines;

    void add(const QString& line)
    {
        std::lock_guard<std::mutex> lock(mutex);
        lines << line;
    }
};

QString threadName(QThread* mainThread)
{
    return QThread::currentThread() == mainThread ? QStringLiteral("the main thread")
                                                  : QStringLiteral("a pool thread");
}

// The host's own listener: answers the stack-name question with a member function.
class StackNamer : public QObject
{
public:
    void name(QString& stack) { stack = QStringLiteral("DemoWindow/OpenProject"); }
};

} // namespace

void demoEvents(DemoContext& context)
{
    demoSection("events");
    QThread* const mainThread = QThread::currentThread();

    // Listening: a member function, and lambdas with priorities; the larger priority runs first.
    QObject host;
    StackNamer namer;
    RZCustomEventDispatcher::listen<RequstObjectStack>(&namer, &StackNamer::name);
    RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(&host, [](bool frozen, const QString& name) {
        demoSay(QStringLiteral("  [priority 0] freeze %1: %2").arg(frozen ? "begins" : "ends", name));
    });
    RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(
        &host, [](bool, const QString&) { demoSay(QStringLiteral("  [priority 5] runs first")); }, 5);

    QString stack;
    RZCustomEventDispatcher::send<RequstObjectStack>(stack);
    demoSay(QStringLiteral("RequstObjectStack filled the sender's string: \"%1\"").arg(stack));
    demoSay(QStringLiteral("NotifyFreezeMonitor to two listeners:"));
    RZCustomEventDispatcher::send<NotifyFreezeMonitor>(true, QStringLiteral("DemoWindow/Paint"));

    demoSection("cold loading");
    RZElapsedTimerManager::instance()->startTimer(QStringLiteral("cold-loading"));
    RZColdLoadingManager* pool = RZColdLoadingManager::instance();
    const QString dir = context.runDir.path();
    TaskReport report;

    pool->addTask([&report, dir, mainThread] {
        QFile file(dir + QStringLiteral("/recent-projects.txt"));
        if (file.open(QIODevice::WriteOnly))
            file.write("demo.project\nholiday.project\n");
        report.add(QStringLiteral("recent projects written on %1").arg(threadName(mainThread)));
    });
    pool->addTask([&report, mainThread] {
        QByteArray block(4 << 20, 'x');
        for (int i = 0; i < 8; ++i)
            block = QCryptographicHash::hash(block, QCryptographicHash::Sha256).repeated(1 << 17);
        report.add(QStringLiteral("effect cache warmed on %1").arg(threadName(mainThread)));
    });
    int templates = 0;
    bool indexedHere = false;
    RZColdTask* index = pool->addTask([&templates, &indexedHere, &report, dir, mainThread] {
        indexedHere = QThread::currentThread() == mainThread;
        QDir(dir).mkpath(QStringLiteral("templates"));
        for (int i = 0; i < 50; ++i) {
            QFile file(QStringLiteral("%1/templates/title-%2.xml").arg(dir).arg(i));
            if (file.open(QIODevice::WriteOnly))
                file.write("<title/>");
        }
        QDirIterator it(dir + QStringLiteral("/templates"), {QStringLiteral("*.xml")}, QDir::Files);
        while (it.hasNext()) {
            it.next();
            ++templates;
        }
        report.add(QStringLiteral("template index built on %1").arg(threadName(mainThread)));
    });
    demoSay(QStringLiteral("%1 tasks registered; nothing runs before the application begins")
                .arg(pool->taskCount()));

    RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    demoSay(QStringLiteral("NotifyApplicationBegin: the pool started (%1 threads at most)")
                .arg(pool->maxThreadCount()));

    // The main thread needs the index now: pull that task forward.
    const bool wasFinished = index->isFinished();
    index->waitFinished();
    const QString how = wasFinished ? QStringLiteral("it had already finished")
                        : indexedHere
                            ? QStringLiteral("still queued, so it ran right here on the main thread")
                            : QStringLiteral("it was running, so its thread was raised and the main "
                                             "thread waited");
    demoSay(QStringLiteral("waitFinished on the template index: %1; %2 templates indexed")
                .arg(how)
                .arg(templates));

    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    demoSay(QStringLiteral("NotifyApplicationEnd: the pool waited for every task and deleted them (%1 left)")
                .arg(pool->taskCount()));
    for (const QString& line : std::as_const(report.lines))
        demoSay(QStringLiteral("  ") + line);
    const qint64 ms = RZElapsedTimerManager::instance()->stopTimer(QStringLiteral("cold-loading"));
    demoSay(QStringLiteral("the named timer \"cold-loading\" read %1 ms").arg(ms));
}
