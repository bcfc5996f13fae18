#include <RZCore/events/RZCustomEvent.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/events/RZHappensBefore_p.h>

#include <RZTestLogSink.h>

#include <QPointer>
#include <QThread>
#include <QtTest>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

RZ_CUSTOM_EVENT(OrderProbe, int);
RZ_CUSTOM_EVENT(ClaimProbe, int);
RZ_CUSTOM_EVENT(FilterProbe, int);
RZ_CUSTOM_EVENT(ChangeProbe, int);
RZ_CUSTOM_EVENT(NestedProbe);
RZ_CUSTOM_EVENT(ThreadProbe, int, QString);
RZ_CUSTOM_EVENT(StressProbe, int);

// Events of the same names as catalogue events, defined the way a host that does not include the
// catalogue would define them.
namespace host {
RZ_CUSTOM_EVENT(NotifyFreezeMonitor, bool, QString);
RZ_CUSTOM_EVENT(RequstObjectStack, QString); // by value: not the catalogue's payload
struct NotifySendSuspendTime : RZCustomEventImp<NotifySendSuspendTime, int>
{
    using RZCustomEventImp::RZCustomEventImp;
};
} // namespace host

namespace naming {
struct Inner
{
};
template <typename T> struct Tmpl
{
};
struct Outer
{
    struct Nested
    {
    };
};
} // namespace naming
struct GlobalPlain
{
};
namespace {
struct Anon
{
};

// What listeners saw, from any thread.
class Journal
{
public:
    void add(const QString& entry)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        m_list.append(entry);
    }
    QStringList entries() const
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        return m_list;
    }
    int count() const { return entries().size(); }

private:
    mutable std::mutex m_oMutex;
    QStringList m_list;
};

// Runs functions posted from other threads, through its thread's event loop. The hand-over is marked
// for the thread sanitizer the way the library marks its own.
class Mailbox : public QObject
{
public:
    void post(std::function<void()> function)
    {
        auto* call = new Call(std::move(function));
        RZHappensBefore::handedOver(call);
        QCoreApplication::postEvent(this, call);
    }

protected:
    bool event(QEvent* event) override
    {
        RZHappensBefore::received(event);
        if (event->type() != Call::callType())
            return QObject::event(event);
        static_cast<Call*>(event)->m_fnFunction();
        return true;
    }

private:
    class Call : public QEvent
    {
    public:
        static Type callType()
        {
            static const Type s_type = static_cast<Type>(registerEventType());
            return s_type;
        }
        explicit Call(std::function<void()> function) : QEvent(callType()), m_fnFunction(std::move(function))
        {
        }
        ~Call() override { RZHappensBefore::received(this); }

        std::function<void()> m_fnFunction;
    };
};

// A thread with an event loop that a test can hold still, run code on, and drain.
class Worker
{
public:
    Worker()
    {
        m_thread.start();
        m_context.moveToThread(&m_thread);
    }
    ~Worker()
    {
        release();
        drain(); // what the thread did happens before what follows here
        m_thread.quit();
        m_thread.wait();
        // The thread is gone: what was moved to it may be deleted from here.
        qDeleteAll(m_owners);
    }

    QThread* thread() { return &m_thread; }

    // An owner for listeners that live on this thread. Listeners are made on the test's thread as
    // its children and travel with it.
    QObject* adopt(QObject* owner)
    {
        owner->moveToThread(&m_thread);
        m_owners.push_back(owner);
        return owner;
    }

    // Posts f behind whatever is already queued for this thread.
    void post(std::function<void()> f) { m_context.post(std::move(f)); }

    // Blocks the event loop until release(): calls posted meanwhile wait behind it.
    void hold()
    {
        {
            std::lock_guard<std::mutex> lock(m_oMutex);
            m_bHeld = true;
        }
        post([this] {
            std::unique_lock<std::mutex> lock(m_oMutex);
            m_oCondition.wait(lock, [this] { return !m_bHeld; });
        });
    }
    void release()
    {
        {
            std::lock_guard<std::mutex> lock(m_oMutex);
            m_bHeld = false;
        }
        m_oCondition.notify_all();
    }

    // Runs f on the thread and waits for it, still serving the caller's own event loop.
    template <typename F> bool run(F f)
    {
        auto done = std::make_shared<Journal>();
        post([f, done]() mutable {
            f();
            done->add(QString());
        });
        return QTest::qWaitFor([&] { return done->count() == 1; }, 10000);
    }
    // True once every call queued before it has run.
    bool drain()
    {
        return run([] {});
    }

private:
    QThread m_thread;
    Mailbox m_context;
    std::vector<QObject*> m_owners;
    std::mutex m_oMutex;
    std::condition_variable m_oCondition;
    bool m_bHeld = false;
};

class Claimer : public QObject
{
public:
    explicit Claimer(Journal* journal) : m_pJournal(journal) {}
    bool onProbe(int)
    {
        m_pJournal->add(QStringLiteral("member"));
        return true;
    }
    void provide(QString& name) { name += QStringLiteral("member"); }
    void provideConst(QString& name) const { name += QStringLiteral("const"); }

private:
    Journal* m_pJournal;
};

QStringList numbers(const QList<int>& values)
{
    QStringList out;
    for (int value : values)
        out << QString::number(value);
    return out;
}

} // namespace

class tst_CustomEvent : public QObject
{
    Q_OBJECT

private slots:
    void order_data();
    void order();
    void claim_data();
    void claim();
    void handledKeptAcrossSends_data();
    void handledKeptAcrossSends();
    void filters_data();
    void filters();
    void changesDuringDelivery_data();
    void changesDuringDelivery();
    void crossThreadDelivery_data();
    void crossThreadDelivery();
    void postedCallAfterListenerChange_data();
    void postedCallAfterListenerChange();
    void referencePayload_data();
    void referencePayload();
    void sameNameFromAnotherDefinition_data();
    void sameNameFromAnotherDefinition();
    void classNames_data();
    void classNames();
    void emptyCallbackThrows();
    void nullArgumentsAreIgnored();
    void concurrentSendersAndSubscribers();
};

void tst_CustomEvent::order_data()
{
    QTest::addColumn<QList<int>>("priorities");
    QTest::addColumn<QString>("changes"); // "u1 r0": unlisten listener 1, then relisten listener 0
    QTest::addColumn<QList<int>>("expected");

    QTest::newRow("equal priorities in order of subscription")
        << QList<int>{0, 0, 0} << "" << QList<int>{0, 1, 2};
    QTest::newRow("larger priority first") << QList<int>{0, 1} << "" << QList<int>{1, 0};
    QTest::newRow("negative priorities last") << QList<int>{-5, 0, 1, -1} << "" << QList<int>{2, 1, 3, 0};
    QTest::newRow("mixed") << QList<int>{0, 5, 0, 5, -3} << "" << QList<int>{1, 3, 0, 2, 4};
    QTest::newRow("relisten goes behind its equals") << QList<int>{0, 0, 0} << "u0 r0" << QList<int>{1, 2, 0};
    QTest::newRow("relisten stays ahead of lower") << QList<int>{0, 0, -1} << "u0 r0" << QList<int>{1, 0, 2};
    QTest::newRow("relisten stays behind higher") << QList<int>{0, 1} << "u0 r0" << QList<int>{1, 0};
    QTest::newRow("unlisten removes") << QList<int>{0, 0, 0} << "u1" << QList<int>{0, 2};
    QTest::newRow("unlisten twice, relisten once") << QList<int>{0, 0} << "u0 u0 r0" << QList<int>{1, 0};
    QTest::newRow("relisten while listening") << QList<int>{0, 0} << "r0" << QList<int>{0, 1};
    QTest::newRow("everyone unlistened") << QList<int>{1, 2} << "u0 u1" << QList<int>{};
}

void tst_CustomEvent::order()
{
    QFETCH(QList<int>, priorities);
    QFETCH(QString, changes);
    QFETCH(QList<int>, expected);

    QObject owner;
    Journal journal;
    QList<RZCustomEventListener*> listeners;
    for (int i = 0; i < priorities.size(); ++i)
        listeners << RZCustomEventDispatcher::listen<OrderProbe>(
            &owner, [&journal, i](int) { journal.add(QString::number(i)); }, priorities.at(i));
    for (const QString& change : changes.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        RZCustomEventListener* listener = listeners.at(change.mid(1).toInt());
        if (change.startsWith(QLatin1Char('u')))
            listener->unlisten();
        else
            listener->relisten();
    }

    RZCustomEventDispatcher::send<OrderProbe>(0);
    QCOMPARE(journal.entries(), numbers(expected));
}

void tst_CustomEvent::claim_data()
{
    QTest::addColumn<int>("remotePriority"); // local listeners a, b, c have 3, 2, 1
    QTest::addColumn<QString>("claimer");
    QTest::addColumn<QStringList>("local");
    QTest::addColumn<bool>("remoteCalled");

    QTest::newRow("no claim") << 0 << "" << QStringList{"a", "b", "c"} << true;
    QTest::newRow("first claims") << 0 << "a" << QStringList{"a"} << false;
    QTest::newRow("claim stops the post below") << 0 << "c" << QStringList{"a", "b", "c"} << false;
    QTest::newRow("claim between") << 2 << "b" << QStringList{"a", "b"} << false;
    QTest::newRow("claim before the posted call runs") << 4 << "a" << QStringList{"a"} << false;
    QTest::newRow("posted above, no claim") << 4 << "" << QStringList{"a", "b", "c"} << true;
}

void tst_CustomEvent::claim()
{
    QFETCH(int, remotePriority);
    QFETCH(QString, claimer);
    QFETCH(QStringList, local);
    QFETCH(bool, remoteCalled);

    Worker worker;
    QObject owner;
    Journal journal;
    Journal remote;
    const QStringList names{"a", "b", "c"};
    for (int i = 0; i < names.size(); ++i) {
        const QString name = names.at(i);
        new RZCustomEventListenerImp<ClaimProbe>(
            &owner,
            [&journal, name, claimer](ClaimProbe*) {
                journal.add(name);
                return name == claimer;
            },
            3 - i);
    }
    QObject* remoteOwner = new QObject;
    RZCustomEventDispatcher::listen<ClaimProbe>(
        remoteOwner, [&remote](int) { remote.add(QStringLiteral("r")); }, remotePriority);
    worker.adopt(remoteOwner);

    // The remote call cannot run before the local ones have finished.
    worker.hold();
    const auto event = RZCustomEventDispatcher::send<ClaimProbe>(1);
    QCOMPARE(journal.entries(), local);
    QCOMPARE(event->handled.load(), !claimer.isEmpty());
    worker.release();
    QVERIFY(worker.drain());
    QCOMPARE(remote.count(), remoteCalled ? 1 : 0);
}

void tst_CustomEvent::handledKeptAcrossSends_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QStringList>("firstSend");
    QTest::addColumn<QStringList>("secondSend");
    QTest::addColumn<bool>("handled");

    QTest::newRow("claimed: the second send delivers nothing")
        << "handwritten" << QStringList{"claimer"} << QStringList{} << true;
    QTest::newRow("a lambda's true does not claim")
        << "lambda" << QStringList{"lambda", "next"} << QStringList{"lambda", "next"} << false;
    QTest::newRow("a member function's true does not claim")
        << "member" << QStringList{"member", "next"} << QStringList{"member", "next"} << false;
}

void tst_CustomEvent::handledKeptAcrossSends()
{
    QFETCH(QString, kind);
    QFETCH(QStringList, firstSend);
    QFETCH(QStringList, secondSend);
    QFETCH(bool, handled);

    Journal journal;
    Claimer owner(&journal);
    if (kind == QLatin1String("handwritten")) {
        new RZCustomEventListenerImp<ClaimProbe>(
            &owner,
            [&journal](ClaimProbe*) {
                journal.add(QStringLiteral("claimer"));
                return true;
            },
            1);
    } else if (kind == QLatin1String("lambda")) {
        RZCustomEventDispatcher::listen<ClaimProbe>(
            &owner,
            [&journal](int) {
                journal.add(QStringLiteral("lambda"));
                return true;
            },
            1);
    } else {
        RZCustomEventDispatcher::listen<ClaimProbe>(&owner, &Claimer::onProbe, 1);
    }
    RZCustomEventDispatcher::listen<ClaimProbe>(&owner,
                                                [&journal](int) { journal.add(QStringLiteral("next")); });

    const auto event = std::make_shared<ClaimProbe>(1);
    RZCustomEventDispatcher::instance().sendEvent(event);
    QCOMPARE(journal.entries(), firstSend);
    RZCustomEventDispatcher::instance().sendEvent(event);
    QCOMPARE(journal.entries(), firstSend + secondSend);
    QCOMPARE(event->handled.load(), handled);
}

void tst_CustomEvent::filters_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("reached");

    // A and B: owners on the test's thread; W: an owner on the worker; P: a listener without parent.
    QTest::newRow("none") << "none" << QStringList{"A", "B", "P", "W"};
    QTest::newRow("current thread") << "currentThread" << QStringList{"A", "B"};
    QTest::newRow("current thread, made on the worker") << "workerThread" << QStringList{"W"};
    QTest::newRow("main thread") << "mainThread" << QStringList{"A", "B"};
    QTest::newRow("target A") << "targetA" << QStringList{"A"};
    QTest::newRow("target W") << "targetW" << QStringList{"W"};
    QTest::newRow("target is a listener, not a parent") << "targetListenerOfA" << QStringList{};
    QTest::newRow("target null: the listener without parent") << "targetNull" << QStringList{"P"};
}

void tst_CustomEvent::filters()
{
    QFETCH(QString, filter);
    QFETCH(QStringList, reached);

    Worker worker;
    Journal journal;
    QObject ownerA;
    QObject ownerB;
    QObject* ownerW = new QObject;
    auto record = [&journal](const char* name) {
        return [&journal, name](int) { journal.add(QLatin1String(name)); };
    };
    RZCustomEventListener* listenerOfA = RZCustomEventDispatcher::listen<FilterProbe>(&ownerA, record("A"));
    RZCustomEventDispatcher::listen<FilterProbe>(&ownerB, record("B"));
    RZCustomEventDispatcher::listen<FilterProbe>(ownerW, record("W"));
    worker.adopt(ownerW);
    RZCustomEventListenerImp<FilterProbe> parentless(nullptr, [&journal](FilterProbe*) {
        journal.add(QStringLiteral("P"));
        return false;
    });

    RZCustomEventDispatcher::Filter test;
    if (filter == QLatin1String("currentThread"))
        test = RZCustomEventDispatcher::currentThread();
    else if (filter == QLatin1String("workerThread"))
        QVERIFY(worker.run([&test] { test = RZCustomEventDispatcher::currentThread(); }));
    else if (filter == QLatin1String("mainThread"))
        test = RZCustomEventDispatcher::mainThread();
    else if (filter == QLatin1String("targetA"))
        test = RZCustomEventDispatcher::targetObject(&ownerA);
    else if (filter == QLatin1String("targetW"))
        test = RZCustomEventDispatcher::targetObject(ownerW);
    else if (filter == QLatin1String("targetListenerOfA"))
        test = RZCustomEventDispatcher::targetObject(listenerOfA);
    else if (filter == QLatin1String("targetNull"))
        test = RZCustomEventDispatcher::targetObject(nullptr);

    RZCustomEventDispatcher::sendTo<FilterProbe>(test, 1);
    QVERIFY(worker.drain());
    QStringList seen = journal.entries();
    seen.sort();
    QCOMPARE(seen, reached);
}

void tst_CustomEvent::changesDuringDelivery_data()
{
    QTest::addColumn<QString>("action"); // done by listener 0 during the first send
    QTest::addColumn<QStringList>("firstSend");
    QTest::addColumn<QStringList>("secondSend");

    QTest::newRow("add a listener") << "add" << QStringList{"0", "1", "2"}
                                    << QStringList{"0", "1", "2", "new"};
    QTest::newRow("unlisten the next") << "unlistenNext" << QStringList{"0", "2"} << QStringList{"0", "2"};
    QTest::newRow("destroy the next") << "destroyNext" << QStringList{"0", "2"} << QStringList{"0", "2"};
    QTest::newRow("destroy all others") << "destroyOthers" << QStringList{"0"} << QStringList{"0"};
    QTest::newRow("unlisten itself") << "unlistenSelf" << QStringList{"0", "1", "2"} << QStringList{"1", "2"};
    QTest::newRow("unlisten and relisten itself")
        << "relistenSelf" << QStringList{"0", "1", "2"} << QStringList{"1", "2", "0"};
    QTest::newRow("send another event")
        << "sendNested" << QStringList{"0", "nested", "1", "2"} << QStringList{"0", "1", "2"};
}

void tst_CustomEvent::changesDuringDelivery()
{
    QFETCH(QString, action);
    QFETCH(QStringList, firstSend);
    QFETCH(QStringList, secondSend);

    QObject owner;
    Journal journal;
    QList<QPointer<RZCustomEventListener>> listeners;
    bool done = false;
    auto act = [&] {
        if (done)
            return;
        done = true;
        if (action == QLatin1String("add"))
            RZCustomEventDispatcher::listen<ChangeProbe>(
                &owner, [&journal](int) { journal.add(QStringLiteral("new")); });
        else if (action == QLatin1String("unlistenNext"))
            listeners.at(1)->unlisten();
        else if (action == QLatin1String("destroyNext"))
            delete listeners.at(1);
        else if (action == QLatin1String("destroyOthers"))
            qDeleteAll(listeners.mid(1));
        else if (action == QLatin1String("unlistenSelf"))
            listeners.at(0)->unlisten();
        else if (action == QLatin1String("relistenSelf")) {
            listeners.at(0)->unlisten();
            listeners.at(0)->relisten();
        } else if (action == QLatin1String("sendNested"))
            RZCustomEventDispatcher::send<NestedProbe>();
    };
    RZCustomEventDispatcher::listen<NestedProbe>(&owner,
                                                 [&journal] { journal.add(QStringLiteral("nested")); });
    for (int i = 0; i < 3; ++i)
        listeners << RZCustomEventDispatcher::listen<ChangeProbe>(&owner, [&journal, &act, i](int) {
            journal.add(QString::number(i));
            if (i == 0)
                act();
        });

    RZCustomEventDispatcher::send<ChangeProbe>(1);
    QCOMPARE(journal.entries(), firstSend);
    RZCustomEventDispatcher::send<ChangeProbe>(2);
    QCOMPARE(journal.entries(), firstSend + secondSend);
}

void tst_CustomEvent::crossThreadDelivery_data()
{
    QTest::addColumn<bool>("listenersOnWorker");

    QTest::newRow("from the main thread to a worker") << true;
    QTest::newRow("from a worker to the main thread") << false;
}

void tst_CustomEvent::crossThreadDelivery()
{
    QFETCH(bool, listenersOnWorker);

    Worker worker;
    Journal journal;
    std::vector<QThread*> threads;
    std::mutex threadsMutex;
    QObject* owner = new QObject;
    std::unique_ptr<QObject> mainOwner(listenersOnWorker ? nullptr : owner);
    auto record = [&](const char* name) {
        return [&, name](int value, const QString& text) {
            {
                std::lock_guard<std::mutex> lock(threadsMutex);
                threads.push_back(QThread::currentThread());
            }
            journal.add(QStringLiteral("%1 %2 %3").arg(QLatin1String(name)).arg(value).arg(text));
        };
    };
    RZCustomEventDispatcher::listen<ThreadProbe>(owner, record("low"), 0);
    RZCustomEventDispatcher::listen<ThreadProbe>(owner, record("high"), 1);
    QThread* expectedThread = QThread::currentThread();
    if (listenersOnWorker) {
        worker.adopt(owner);
        expectedThread = worker.thread();
        worker.hold();
        RZCustomEventDispatcher::send<ThreadProbe>(7, QStringLiteral("payload"));
        // The sender did not wait: nothing ran yet.
        QCOMPARE(journal.count(), 0);
        worker.release();
    } else {
        QVERIFY(worker.run([] { RZCustomEventDispatcher::send<ThreadProbe>(7, QStringLiteral("payload")); }));
    }

    QTRY_COMPARE(journal.entries(), (QStringList{"high 7 payload", "low 7 payload"}));
    std::lock_guard<std::mutex> lock(threadsMutex);
    QCOMPARE(threads, (std::vector<QThread*>{expectedThread, expectedThread}));
}

void tst_CustomEvent::postedCallAfterListenerChange_data()
{
    QTest::addColumn<QString>("change"); // made on the listener's thread after the post
    QTest::addColumn<bool>("called");

    QTest::newRow("destroyed before the call runs: dropped") << "destroy" << false;
    QTest::newRow("unlistened after the post: still called") << "unlisten" << true;
    QTest::newRow("no change") << "none" << true;
}

void tst_CustomEvent::postedCallAfterListenerChange()
{
    QFETCH(QString, change);
    QFETCH(bool, called);

    Worker worker;
    Journal journal;
    QObject* owner = new QObject;
    QPointer<RZCustomEventListener> listener = RZCustomEventDispatcher::listen<ThreadProbe>(
        owner, [&journal](int, const QString&) { journal.add(QStringLiteral("called")); });
    worker.adopt(owner);

    worker.hold();
    // Queued behind the hold, ahead of the call that the send posts.
    worker.post([listener, change] {
        if (change == QLatin1String("destroy"))
            delete listener.data();
        else if (change == QLatin1String("unlisten"))
            listener->unlisten();
    });
    RZCustomEventDispatcher::send<ThreadProbe>(1, QString());
    worker.release();
    QVERIFY(worker.drain());
    QCOMPARE(journal.count(), called ? 1 : 0);
}

void tst_CustomEvent::referencePayload_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("expected");

    QTest::newRow("member function") << "member"
                                     << "start:member";
    QTest::newRow("const member function") << "const"
                                           << "start:const";
    QTest::newRow("lambda") << "lambda"
                            << "start:lambda";
    QTest::newRow("whole event") << "event"
                                 << "start:event";
    QTest::newRow("member, then lambda") << "both"
                                         << "start:member,lambda";
}

void tst_CustomEvent::referencePayload()
{
    QFETCH(QString, kind);
    QFETCH(QString, expected);

    Journal journal;
    Claimer owner(&journal);
    if (kind == QLatin1String("member") || kind == QLatin1String("both"))
        RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, &Claimer::provide, 1);
    if (kind == QLatin1String("const"))
        RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, &Claimer::provideConst);
    if (kind == QLatin1String("lambda") || kind == QLatin1String("both"))
        RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, [](QString& name) {
            if (!name.endsWith(QLatin1Char(':')))
                name += QLatin1Char(',');
            name += QStringLiteral("lambda");
        });
    if (kind == QLatin1String("event"))
        new RZCustomEventListenerImp<RequstObjectStack>(&owner, [](RequstObjectStack* event) {
            event->get<0>() += QStringLiteral("event");
            return false;
        });

    QString name = QStringLiteral("start:");
    RZCustomEventDispatcher::send<RequstObjectStack>(name);
    QCOMPARE(name, expected);
}

void tst_CustomEvent::sameNameFromAnotherDefinition_data()
{
    QTest::addColumn<QString>("sent");
    QTest::addColumn<int>("delivered");
    QTest::addColumn<int>("warnings");

    QTest::newRow("same name, same payload") << "freeze" << 2 << 0;
    QTest::newRow("hand-written class, same payload") << "suspend" << 2 << 0;
    QTest::newRow("same name, other payload: refused once") << "stack" << 0 << 1;
}

void tst_CustomEvent::sameNameFromAnotherDefinition()
{
    QFETCH(QString, sent);
    QFETCH(int, delivered);
    QFETCH(int, warnings);

    RZScopedTestLogger log;
    QObject owner;
    Journal journal;
    RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(
        &owner, [&journal](bool frozen, const QString& name) {
            journal.add(QStringLiteral("%1 %2").arg(frozen).arg(name));
        });
    RZCustomEventDispatcher::listen<NotifySendSuspendTime>(
        &owner, [&journal](int ms) { journal.add(QString::number(ms)); });
    RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, [&journal](QString& name) {
        name = QStringLiteral("written");
        journal.add(name);
    });

    for (int i = 0; i < 2; ++i) {
        if (sent == QLatin1String("freeze")) {
            const auto event =
                RZCustomEventDispatcher::send<host::NotifyFreezeMonitor>(true, QStringLiteral("x"));
            QCOMPARE(QString::fromStdString(event->name()), QStringLiteral("NotifyFreezeMonitor"));
        } else if (sent == QLatin1String("suspend")) {
            const auto event = RZCustomEventDispatcher::send<host::NotifySendSuspendTime>(9000);
            QCOMPARE(QString::fromStdString(event->name()), QStringLiteral("NotifySendSuspendTime"));
        } else {
            const auto event = RZCustomEventDispatcher::send<host::RequstObjectStack>(QStringLiteral("kept"));
            QCOMPARE(event->get<0>(), QStringLiteral("kept"));
        }
    }
    QCOMPARE(journal.count(), delivered);
    int seen = 0;
    for (const RZTestLogSink::Record& record : log.sink->records())
        seen += record.level == RZBaseLog::LogLevel::warn &&
                record.message.find("RequstObjectStack") != std::string::npos;
    QCOMPARE(seen, warnings);
}

void tst_CustomEvent::classNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");

    auto row = [](const char* title, const std::type_info& type, const char* expected) {
        QTest::newRow(title) << QString::fromStdString(RZCustomEventNames::classNameOf(type)) << expected;
    };
    row("global", typeid(GlobalPlain), "GlobalPlain");
    row("in a namespace", typeid(naming::Inner), "Inner");
    row("nested in a class", typeid(naming::Outer::Nested), "Nested");
    row("anonymous namespace", typeid(Anon), "Anon");
    row("template keeps its arguments", typeid(naming::Tmpl<naming::Inner>), "Tmpl<naming::Inner>");
    row("catalogue event", typeid(NotifyPerfomanceTrackEvent), "NotifyPerfomanceTrackEvent");
}

void tst_CustomEvent::classNames()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(name, expected);
}

void tst_CustomEvent::emptyCallbackThrows()
{
    QObject owner;
    auto* empty = new RZCustomEventListenerImp<OrderProbe>(&owner, {});
    QVERIFY_EXCEPTION_THROWN(RZCustomEventDispatcher::send<OrderProbe>(1), std::bad_function_call);

    // The dispatcher holds no lock after the throw.
    delete empty;
    int calls = 0;
    RZCustomEventDispatcher::listen<OrderProbe>(&owner, [&calls](int) { ++calls; });
    RZCustomEventDispatcher::send<OrderProbe>(1);
    QCOMPARE(calls, 1);
}

void tst_CustomEvent::nullArgumentsAreIgnored()
{
    QObject owner;
    int calls = 0;
    RZCustomEventDispatcher::listen<OrderProbe>(&owner, [&calls](int) { ++calls; });
    RZCustomEventDispatcher& dispatcher = RZCustomEventDispatcher::instance();
    dispatcher.addListener("OrderProbe", nullptr);
    dispatcher.removeListener("OrderProbe", nullptr);
    dispatcher.sendEvent(nullptr);
    dispatcher.sendEvent(std::make_shared<OrderProbe>(1));
    QCOMPARE(calls, 1);
}

void tst_CustomEvent::concurrentSendersAndSubscribers()
{
    // Senders on other threads post to listeners of this thread while this thread keeps making and
    // destroying listeners of the same key.
    constexpr int kSenders = 4;
    constexpr int kSends = 300;
    QObject owner;
    std::atomic<int> stable{0};
    std::atomic<int> churned{0};
    RZCustomEventDispatcher::listen<StressProbe>(
        &owner, [&stable](int) { ++stable; }, 1);

    std::atomic<bool> go{false};
    std::vector<std::thread> senders;
    for (int s = 0; s < kSenders; ++s)
        senders.emplace_back([&go] {
            while (!go.load())
                std::this_thread::yield();
            for (int i = 0; i < kSends; ++i)
                RZCustomEventDispatcher::send<StressProbe>(i);
        });
    go = true;
    for (int round = 0; round < 200; ++round) {
        auto* churn = RZCustomEventDispatcher::listen<StressProbe>(
            &owner, [&churned](int) { ++churned; }, round % 3);
        QCoreApplication::processEvents();
        delete churn;
    }
    for (std::thread& sender : senders)
        sender.join();

    QTRY_COMPARE_WITH_TIMEOUT(stable.load(), kSenders * kSends, 30000);
}

QTEST_GUILESS_MAIN(tst_CustomEvent)
#include "tst_customevent.moc"
