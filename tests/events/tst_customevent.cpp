#include <RZCore/events/RZCustomEvent.h>
#include <RZCore/events/RZCustomEvents.h>

#include <RZTestLogSink.h>

#include <QPointer>
#include <QProcess>
#include <QtTest>

#include <functional>
#include <memory>
#include <new>
#include <thread>

RZ_CUSTOM_EVENT(Probe, int);

// A host's own events under catalogue names. Written by hand, an event is keyed by its class name.
namespace host {
struct RequstObjectStack : RZCustomEventImp<RequstObjectStack, QString&>
{
    using RZCustomEventImp::RZCustomEventImp;
};
RZ_CUSTOM_EVENT(NotifySendSuspendTime, QString); // the catalogue's carries an int
} // namespace host

namespace {

class Provider : public QObject
{
public:
    bool provide(QString& name)
    {
        name += QStringLiteral("m");
        return true;
    }
    void provideConst(QString& name) const { name += QStringLiteral("c"); }
};

} // namespace

class tst_CustomEvent : public QObject
{
    Q_OBJECT

private slots:
    void sameThread_data();
    void sameThread();
    void delivery_data();
    void delivery();
    void payloads();
    void concurrentSendersAndSubscribers();
    void listenerOfAFinishedThread();
    void staticOwnerAtExit();
};

void tst_CustomEvent::sameThread_data()
{
    // Listener i writes i. In its first call listener 0 takes the steps: uN / rN / dN unlisten,
    // relisten or destroy listener N; "a" adds a listener writing n; "s" sends again.
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QList<int>>("priorities");
    QTest::addColumn<QString>("expected"); // the first send, then the second

    QTest::newRow("by priority, then subscription") << "" << QList<int>{0, 5, -3, 0, 5} << "14032|14032";
    QTest::newRow("unlisten the next, relisten is idempotent") << "r0 u1" << QList<int>{0, 0, 0} << "02|02";
    QTest::newRow("destroy the next") << "d1" << QList<int>{0, 0, 0} << "02|02";
    QTest::newRow("relisten: behind equals, ahead of lower") << "u0 r0" << QList<int>{0, 0, -1} << "012|102";
    QTest::newRow("add one") << "a" << QList<int>{0, 0, 0} << "012|012n";
    QTest::newRow("a nested send") << "s" << QList<int>{0, 0, 0} << "001212|012";
}

void tst_CustomEvent::sameThread()
{
    QFETCH(QString, steps);
    QFETCH(QList<int>, priorities);
    QFETCH(QString, expected);

    QObject owner;
    QString seen;
    QList<QPointer<RZCustomEventListener>> listeners;
    auto takeSteps = [&] {
        for (const QString& step : steps.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            RZCustomEventListener* listener = listeners.value(step.midRef(1).toInt());
            if (step.startsWith(QLatin1Char('u')))
                listener->unlisten();
            else if (step.startsWith(QLatin1Char('r')))
                listener->relisten();
            else if (step.startsWith(QLatin1Char('d')))
                delete listener;
            else if (step == QLatin1String("a"))
                RZCustomEventDispatcher::listen<Probe>(&owner, [&seen](int) { seen += QStringLiteral("n"); });
            else
                RZCustomEventDispatcher::send<Probe>(0);
        }
    };
    bool stepsTaken = false;
    for (int i = 0; i < priorities.size(); ++i)
        listeners << RZCustomEventDispatcher::listen<Probe>(
            &owner,
            [&, i](int) {
                seen += QString::number(i);
                if (i == 0 && !std::exchange(stepsTaken, true))
                    takeSteps();
            },
            priorities.at(i));
    RZCustomEventDispatcher::send<Probe>(1);
    seen += QStringLiteral("|");
    RZCustomEventDispatcher::send<Probe>(2);
    QCOMPARE(seen, expected);
}

void tst_CustomEvent::delivery_data()
{
    // Listeners a, b (owner A), c (owner C) and p (no parent), of priorities 3, 2, 1, -1, live on a
    // sender thread that has no event loop; r is made there too, then moved here. The sender sends
    // one event object twice. Expected: what the sender's listeners saw, then "|" and what r saw.
    QTest::addColumn<QString>("variant"); // a claimer, a filter, or a change to r before its calls run
    QTest::addColumn<int>("remotePriority");
    QTest::addColumn<QString>("expected");

    QTest::newRow("posted to the listener's thread") << "" << 0 << "abcpabcp|rr";
    QTest::newRow("a claim, kept: the post below it is never made") << "claim c" << 0 << "abc|";
    QTest::newRow("a claim before the posted call runs") << "claim a" << 4 << "a|";
    QTest::newRow("the posted call dies with its listener") << "destroy r" << 4 << "abcpabcp|";
    QTest::newRow("unlistened after the post: still called") << "unlisten r" << 4 << "abcpabcp|rr";
    QTest::newRow("current thread: the one that made it") << "currentThread" << 0 << "|rr";
    QTest::newRow("main thread, made on the sender") << "mainThread" << 0 << "|rr";
    QTest::newRow("target: the listener's parent") << "targetA" << 0 << "abab|";
    QTest::newRow("target is a listener, never reached") << "targetListener" << 0 << "|";
}

void tst_CustomEvent::delivery()
{
    QFETCH(QString, variant);
    QFETCH(int, remotePriority);
    QFETCH(QString, expected);

    // Each listener writes its name into text, or "?" when called off its parent's thread (off the
    // thread that made it when it has no parent).
    const QString claimer = variant.startsWith(QLatin1String("claim ")) ? variant.mid(6) : QString();
    auto listen = [&claimer](QObject* owner, QString& text, const QString& name, int priority) {
        QThread* const maker = QThread::currentThread();
        auto callback = [&text, owner, maker, name, claim = name == claimer](Probe*) {
            const QThread* home = owner ? owner->thread() : maker;
            text += QThread::currentThread() == home ? name : QStringLiteral("?");
            return claim;
        };
        return new RZCustomEventListenerImp<Probe>(owner, callback, priority);
    };
    QThread* const here = QThread::currentThread();
    RZCustomEventDispatcher::Filter test;
    if (variant == QLatin1String("currentThread"))
        test = RZCustomEventDispatcher::currentThread();
    std::unique_ptr<QObject> ownerR;
    RZCustomEventListener* r = nullptr;
    QString remote;
    QString local;
    std::thread sender([&] {
        ownerR = std::make_unique<QObject>();
        r = listen(ownerR.get(), remote, QStringLiteral("r"), remotePriority);
        ownerR->moveToThread(here); // with its listener, before the sends
        QObject ownerA;
        QObject ownerC;
        RZCustomEventListener* a = listen(&ownerA, local, QStringLiteral("a"), 3);
        listen(&ownerA, local, QStringLiteral("b"), 2);
        listen(&ownerC, local, QStringLiteral("c"), 1);
        std::unique_ptr<RZCustomEventListener> p(listen(nullptr, local, QStringLiteral("p"), -1));
        if (variant == QLatin1String("mainThread"))
            test = RZCustomEventDispatcher::mainThread();
        else if (variant.startsWith(QLatin1String("target")))
            test = RZCustomEventDispatcher::targetObject(variant == QLatin1String("targetA") ? &ownerA : a);
        const auto event = std::make_shared<Probe>(1);
        RZCustomEventDispatcher::instance().sendEvent(event, test);
        RZCustomEventDispatcher::instance().sendEvent(event, test);
    });
    sender.join(); // it never waits for this thread
    if (variant == QLatin1String("destroy r"))
        delete r;
    else if (variant == QLatin1String("unlisten r"))
        r->unlisten();
    QCoreApplication::processEvents();
    QCOMPARE(QString(local + QLatin1Char('|') + remote), expected);
}

void tst_CustomEvent::payloads()
{
    // Each listener writes into the sender's string; the adapters never claim, whatever the callable
    // returns. The same name and payload defined elsewhere reach them too.
    RZScopedTestLogger log;
    Provider owner;
    RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, &Provider::provide, 3);
    RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, &Provider::provideConst, 2);
    RZCustomEventDispatcher::listen<RequstObjectStack>(
        &owner,
        [](QString& name) {
            name += QStringLiteral("l");
            return true;
        },
        1);
    new RZCustomEventListenerImp<RequstObjectStack>(&owner, [](RequstObjectStack* event) {
        event->get<0>() += QStringLiteral("e");
        return false;
    });
    QString name;
    RZCustomEventDispatcher::send<RequstObjectStack>(name);
    RZCustomEventDispatcher::send<host::RequstObjectStack>(name);
    // Another payload under the same name is refused, and said once.
    RZCustomEventDispatcher::listen<NotifySendSuspendTime>(&owner, [&name](int) { name.clear(); });
    for (int i = 0; i < 2; ++i)
        RZCustomEventDispatcher::send<host::NotifySendSuspendTime>(QStringLiteral("9000"));
    QCOMPARE(name, QStringLiteral("mclemcle"));
    const std::vector<RZTestLogSink::Record> records = log.sink->records();
    QCOMPARE(records.size(), std::size_t(1));
    QVERIFY(records.at(0).level == RZBaseLog::LogLevel::warn);
}

void tst_CustomEvent::concurrentSendersAndSubscribers()
{
    // Senders on other threads post to a listener of this thread for as long as this thread keeps
    // making and destroying listeners of the same event.
    QObject owner;
    std::atomic<int> received{0};
    std::atomic<int> sent{0};
    std::atomic<bool> churning{true};
    RZCustomEventDispatcher::listen<Probe>(
        &owner, [&received](int) { ++received; }, 1);
    std::vector<std::thread> senders;
    for (int s = 0; s < 3; ++s)
        senders.emplace_back([&] {
            do {
                RZCustomEventDispatcher::send<Probe>(++sent);
            } while (churning.load());
        });
    QVERIFY(QTest::qWaitFor([&] { return sent.load() >= 3; }));
    for (int round = 0; round < 300; ++round) {
        RZCustomEventListener* churned = RZCustomEventDispatcher::listen<Probe>(
            &owner, [](int) {}, round % 3);
        for (const int before = sent; sent < before + 3;) // one of the senders began after it listened
            QThread::yieldCurrentThread();
        delete churned;
        QCoreApplication::processEvents();
    }
    churning = false;
    for (std::thread& sender : senders)
        sender.join();
    QTRY_COMPARE_WITH_TIMEOUT(received.load(), sent.load(), 30000);
}

namespace {

// A thread that runs one function. Its end is told through an atomic, which ThreadSanitizer sees,
// unlike Qt's own join.
class OneShot : public QThread
{
public:
    explicit OneShot(std::function<void()> function) : m_fnRun(std::move(function)) {}
    void run() override
    {
        m_fnRun();
        m_bDone.store(true, std::memory_order_release);
    }
    bool finish() { return wait(10000) && m_bDone.load(std::memory_order_acquire); }

private:
    std::function<void()> m_fnRun;
    std::atomic<bool> m_bDone{false};
};

} // namespace

void tst_CustomEvent::listenerOfAFinishedThread()
{
    // A listener outlives the thread it was made on, and a new thread is made at the very address of
    // the old one (here on purpose, in real programs by the allocator) and sends. Its thread is gone:
    // the listener is never called on the sender's thread.
    alignas(OneShot) unsigned char storage[sizeof(OneShot)];
    RZCustomEventListener* orphan = nullptr;
    std::atomic<int> calls{0};
    OneShot* thread = new (storage) OneShot([&] {
        orphan = new RZCustomEventListenerImp<Probe>(nullptr, [&calls](Probe*) { return ++calls > 0; });
    });
    thread->start();
    QVERIFY(thread->finish());
    thread->~OneShot();
    thread = new (storage) OneShot([] { RZCustomEventDispatcher::send<Probe>(1); });
    thread->start();
    QVERIFY(thread->finish());
    thread->~OneShot();
    QCOMPARE(calls.load(), 0);
    delete orphan;
}

void tst_CustomEvent::staticOwnerAtExit()
{
    // The helper's static controller and its listeners are destroyed at exit, after the bus would
    // have been if it were an ordinary static. A crash, a sanitizer report or a leak report fails.
    QProcess helper;
    helper.start(QStringLiteral(RZ_EVENTS_EXIT_HELPER), QStringList());
    QVERIFY(helper.waitForFinished(60000));
    const QByteArray errors = helper.readAllStandardError();
    QVERIFY2(helper.exitStatus() == QProcess::NormalExit && helper.exitCode() == 0, errors.constData());
    QVERIFY2(errors.isEmpty(), errors.constData());
}

QTEST_GUILESS_MAIN(tst_CustomEvent)
#include "tst_customevent.moc"
