#include <RZCore/events/RZCustomEvent.h>
#include <RZCore/events/RZCustomEvents.h>

#include <RZTestLogSink.h>
#include <RZTestWorker.h>

#include <QPointer>
#include <QThread>
#include <QtTest>

#include <mutex>
#include <thread>

RZ_CUSTOM_EVENT(Probe, int);
RZ_CUSTOM_EVENT(NestedProbe);

// Events named like catalogue events, defined the way a host that does not include the catalogue would.
namespace host {
RZ_CUSTOM_EVENT(NotifyFreezeMonitor, bool, QString);
RZ_CUSTOM_EVENT(RequstObjectStack, QString); // by value: not the catalogue's payload
struct NotifySendSuspendTime : RZCustomEventImp<NotifySendSuspendTime, int>
{
    using RZCustomEventImp::RZCustomEventImp;
};
} // namespace host
namespace hostref {
RZ_CUSTOM_EVENT(RequstObjectStack, QString&);
} // namespace hostref

namespace {

// What listeners saw, from any thread.
class Journal
{
public:
    void add(const QString& entry)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        m_list << entry;
    }
    QStringList entries()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        return m_list;
    }

private:
    std::mutex m_oMutex;
    QStringList m_list;
};

class Provider : public QObject
{
public:
    bool provide(QString& name)
    {
        name += QStringLiteral("member");
        return true;
    }
    void provideConst(QString& name) const { name += QStringLiteral("const"); }
};

auto recorder(Journal& journal, const QString& name)
{
    return [&journal, name](int) { journal.add(name); };
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
    void filters_data();
    void filters();
    void changesDuringDelivery_data();
    void changesDuringDelivery();
    void otherThread_data();
    void otherThread();
    void referencePayload_data();
    void referencePayload();
    void sameNameFromAnotherDefinition_data();
    void sameNameFromAnotherDefinition();
    void concurrentSendersAndSubscribers();
};

void tst_CustomEvent::order_data()
{
    QTest::addColumn<QList<int>>("priorities");
    QTest::addColumn<QString>("changes"); // "u1 r0": unlisten listener 1, then relisten listener 0
    QTest::addColumn<QString>("expected");

    QTest::newRow("equal priorities by subscription") << QList<int>{0, 0, 0} << ""
                                                      << "012";
    QTest::newRow("larger first, negative last") << QList<int>{-5, 0, 1, -1} << ""
                                                 << "2130";
    QTest::newRow("mixed") << QList<int>{0, 5, 0, 5, -3} << ""
                           << "13024";
    QTest::newRow("relisten goes behind its equals") << QList<int>{0, 0, 0} << "u0 r0"
                                                     << "120";
    QTest::newRow("relisten stays ahead of lower") << QList<int>{0, 0, -1} << "u0 r0"
                                                   << "102";
    QTest::newRow("unlisten removes") << QList<int>{0, 0, 0} << "u1"
                                      << "02";
    QTest::newRow("unlisten twice, relisten once") << QList<int>{0, 0} << "u0 u0 r0"
                                                   << "10";
    QTest::newRow("relisten while listening") << QList<int>{0, 0} << "r0"
                                              << "01";
}

void tst_CustomEvent::order()
{
    QFETCH(QList<int>, priorities);
    QFETCH(QString, changes);
    QFETCH(QString, expected);

    QObject owner;
    Journal journal;
    QList<RZCustomEventListener*> listeners;
    for (int i = 0; i < priorities.size(); ++i)
        listeners << RZCustomEventDispatcher::listen<Probe>(&owner, recorder(journal, QString::number(i)),
                                                            priorities.at(i));
    for (const QString& change : changes.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        RZCustomEventListener* listener = listeners.at(change.mid(1).toInt());
        change.startsWith(QLatin1Char('u')) ? listener->unlisten() : listener->relisten();
    }
    RZCustomEventDispatcher::send<Probe>(0);
    QCOMPARE(journal.entries().join(QString()), expected);
}

void tst_CustomEvent::claim_data()
{
    QTest::addColumn<int>("remotePriority"); // local listeners a, b, c have priorities 3, 2, 1
    QTest::addColumn<QString>("claimer");
    QTest::addColumn<QString>("local");
    QTest::addColumn<bool>("remoteCalled");

    QTest::newRow("no claim") << 0 << ""
                              << "abc" << true;
    QTest::newRow("first claims") << 0 << "a"
                                  << "a" << false;
    QTest::newRow("the post below a claim is never made") << 0 << "c"
                                                          << "abc" << false;
    QTest::newRow("claim before the posted call runs") << 4 << "a"
                                                       << "a" << false;
    QTest::newRow("posted above, no claim") << 4 << ""
                                            << "abc" << true;
}

void tst_CustomEvent::claim()
{
    QFETCH(int, remotePriority);
    QFETCH(QString, claimer);
    QFETCH(QString, local);
    QFETCH(bool, remoteCalled);

    RZTestWorker worker;
    QObject owner;
    Journal journal;
    for (int i = 0; i < 3; ++i) {
        const QString name(QChar('a' + i));
        new RZCustomEventListenerImp<Probe>(
            &owner,
            [&journal, name, claimer](Probe*) {
                journal.add(name);
                return name == claimer;
            },
            3 - i);
    }
    QObject* remoteOwner = new QObject;
    RZCustomEventDispatcher::listen<Probe>(remoteOwner, recorder(journal, QStringLiteral("r")),
                                           remotePriority);
    worker.adopt(remoteOwner);

    worker.hold(); // the remote call cannot run before the local ones have finished
    const auto event = RZCustomEventDispatcher::send<Probe>(1);
    QCOMPARE(journal.entries().join(QString()), local);
    worker.release();
    QVERIFY(worker.run([] {}));
    QCOMPARE(journal.entries().contains(QStringLiteral("r")), remoteCalled);

    // The same object sent again keeps its claim.
    QVERIFY(event->handled.load() == !claimer.isEmpty());
    const int before = journal.entries().size();
    RZCustomEventDispatcher::instance().sendEvent(event);
    QVERIFY(worker.run([] {}));
    QCOMPARE(journal.entries().size() - before, claimer.isEmpty() ? 4 : 0);
}

void tst_CustomEvent::filters_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("reached"); // A, B: owners here; W: an owner on the worker; P: no parent

    QTest::newRow("none") << "none"
                          << "ABPW";
    QTest::newRow("current thread") << "currentThread"
                                    << "AB";
    QTest::newRow("current thread, made on the worker") << "workerThread"
                                                        << "W";
    QTest::newRow("main thread") << "mainThread"
                                 << "AB";
    QTest::newRow("target A") << "targetA"
                              << "A";
    QTest::newRow("target is a listener, not a parent") << "targetListenerOfA"
                                                        << "";
    QTest::newRow("target null: the listener without parent") << "targetNull"
                                                              << "P";
}

void tst_CustomEvent::filters()
{
    QFETCH(QString, filter);
    QFETCH(QString, reached);

    RZTestWorker worker;
    Journal journal;
    QObject ownerA;
    QObject ownerB;
    QObject* ownerW = new QObject;
    RZCustomEventListener* listenerOfA =
        RZCustomEventDispatcher::listen<Probe>(&ownerA, recorder(journal, "A"));
    RZCustomEventDispatcher::listen<Probe>(&ownerB, recorder(journal, "B"));
    RZCustomEventDispatcher::listen<Probe>(ownerW, recorder(journal, "W"));
    worker.adopt(ownerW);
    RZCustomEventListenerImp<Probe> parentless(
        nullptr, [&journal](Probe*) { return recorder(journal, "P")(0), false; });

    RZCustomEventDispatcher::Filter test;
    if (filter == QLatin1String("currentThread"))
        test = RZCustomEventDispatcher::currentThread();
    else if (filter == QLatin1String("workerThread"))
        QVERIFY(worker.run([&test] { test = RZCustomEventDispatcher::currentThread(); }));
    else if (filter == QLatin1String("mainThread"))
        test = RZCustomEventDispatcher::mainThread();
    else if (filter.startsWith(QLatin1String("target")))
        test = RZCustomEventDispatcher::targetObject(filter == QLatin1String("targetA")      ? &ownerA
                                                     : filter == QLatin1String("targetNull") ? nullptr
                                                                                             : listenerOfA);
    RZCustomEventDispatcher::sendTo<Probe>(test, 1);
    QVERIFY(worker.run([] {}));
    QStringList seen = journal.entries();
    seen.sort();
    QCOMPARE(seen.join(QString()), reached);
}

void tst_CustomEvent::changesDuringDelivery_data()
{
    QTest::addColumn<QString>("action"); // done by listener 0 during the first send only
    QTest::addColumn<QString>("firstSend");
    QTest::addColumn<QString>("secondSend");

    QTest::newRow("add a listener") << "add"
                                    << "012"
                                    << "012n";
    QTest::newRow("unlisten the next") << "unlistenNext"
                                       << "02"
                                       << "02";
    QTest::newRow("destroy the next") << "destroyNext"
                                      << "02"
                                      << "02";
    QTest::newRow("destroy all others") << "destroyOthers"
                                        << "0"
                                        << "0";
    QTest::newRow("unlisten itself") << "unlistenSelf"
                                     << "012"
                                     << "12";
    QTest::newRow("unlisten and relisten itself") << "relistenSelf"
                                                  << "012"
                                                  << "120";
    QTest::newRow("send another event") << "sendNested"
                                        << "0x12"
                                        << "012";
}

void tst_CustomEvent::changesDuringDelivery()
{
    QFETCH(QString, action);
    QFETCH(QString, firstSend);
    QFETCH(QString, secondSend);

    QObject owner;
    Journal journal;
    QList<QPointer<RZCustomEventListener>> listeners;
    bool done = false;
    auto act = [&] {
        if (std::exchange(done, true))
            return;
        if (action == QLatin1String("add"))
            RZCustomEventDispatcher::listen<Probe>(&owner, recorder(journal, "n"));
        else if (action == QLatin1String("unlistenNext"))
            listeners.at(1)->unlisten();
        else if (action == QLatin1String("destroyNext"))
            delete listeners.at(1);
        else if (action == QLatin1String("destroyOthers"))
            qDeleteAll(listeners.mid(1));
        else if (action == QLatin1String("sendNested"))
            RZCustomEventDispatcher::send<NestedProbe>();
        else
            listeners.at(0)->unlisten();
        if (action == QLatin1String("relistenSelf"))
            listeners.at(0)->relisten();
    };
    RZCustomEventDispatcher::listen<NestedProbe>(&owner, [&journal] { journal.add(QStringLiteral("x")); });
    for (int i = 0; i < 3; ++i)
        listeners << RZCustomEventDispatcher::listen<Probe>(&owner, [&journal, &act, i](int) {
            journal.add(QString::number(i));
            if (i == 0)
                act();
        });

    RZCustomEventDispatcher::send<Probe>(1);
    RZCustomEventDispatcher::send<Probe>(2);
    QCOMPARE(journal.entries().join(QString()), firstSend + secondSend);
}

void tst_CustomEvent::otherThread_data()
{
    QTest::addColumn<bool>("toWorker");
    QTest::addColumn<QString>("change"); // made on the listener's thread after the post, before the call
    QTest::addColumn<QString>("expected");

    QTest::newRow("to a worker, in list order") << true << ""
                                                << "high 7,low 7";
    QTest::newRow("to a worker that destroyed the listener first") << true << "destroy"
                                                                   << "low 7";
    QTest::newRow("to a worker, unlistened after the post") << true << "unlisten"
                                                            << "high 7,low 7";
    QTest::newRow("from a worker to the main thread") << false << ""
                                                      << "high 7,low 7";
}

void tst_CustomEvent::otherThread()
{
    QFETCH(bool, toWorker);
    QFETCH(QString, change);
    QFETCH(QString, expected);

    RZTestWorker worker;
    Journal journal;
    std::mutex threadsMutex;
    QSet<QThread*> threads;
    QObject* owner = new QObject;
    std::unique_ptr<QObject> keep(toWorker ? nullptr : owner);
    auto record = [&](const char* name) {
        return [&, name](int value) {
            std::lock_guard<std::mutex> lock(threadsMutex);
            threads << QThread::currentThread();
            journal.add(QStringLiteral("%1 %2").arg(QLatin1String(name)).arg(value));
        };
    };
    RZCustomEventDispatcher::listen<Probe>(owner, record("low"), 0);
    QPointer<RZCustomEventListener> high = RZCustomEventDispatcher::listen<Probe>(owner, record("high"), 1);
    if (toWorker) {
        worker.adopt(owner);
        worker.hold();
        worker.post([high, change] { // queued behind the hold, ahead of the calls the send posts
            if (change == QLatin1String("destroy"))
                delete high.data();
            else if (change == QLatin1String("unlisten"))
                high->unlisten();
        });
        RZCustomEventDispatcher::send<Probe>(7);
        QVERIFY(journal.entries().isEmpty()); // the sender did not wait
        worker.release();
    } else {
        QVERIFY(worker.run([] { RZCustomEventDispatcher::send<Probe>(7); }));
    }
    QTRY_COMPARE(journal.entries().join(QLatin1Char(',')), expected);
    QVERIFY(worker.run([] {}));
    QCOMPARE(journal.entries().join(QLatin1Char(',')), expected);
    std::lock_guard<std::mutex> lock(threadsMutex);
    QCOMPARE(threads, QSet<QThread*>{toWorker ? worker.thread() : QThread::currentThread()});
}

void tst_CustomEvent::referencePayload_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("expected"); // a listener after the first one appends "+next"

    QTest::newRow("member function") << "member"
                                     << "start:member+next";
    QTest::newRow("const member function") << "const"
                                           << "start:const+next";
    QTest::newRow("lambda") << "lambda"
                            << "start:lambda+next";
    QTest::newRow("whole event") << "event"
                                 << "start:event+next";
}

void tst_CustomEvent::referencePayload()
{
    QFETCH(QString, kind);
    QFETCH(QString, expected);

    // The adapters return false whatever the callable returns, so "next" is always reached.
    Provider owner;
    if (kind == QLatin1String("member"))
        RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, &Provider::provide, 1);
    else if (kind == QLatin1String("const"))
        RZCustomEventDispatcher::listen<RequstObjectStack>(&owner, &Provider::provideConst, 1);
    else if (kind == QLatin1String("lambda"))
        RZCustomEventDispatcher::listen<RequstObjectStack>(
            &owner, [](QString& name) { return name += QStringLiteral("lambda"), true; }, 1);
    else
        new RZCustomEventListenerImp<RequstObjectStack>(
            &owner,
            [](RequstObjectStack* event) { return event->get<0>() += QStringLiteral("event"), false; }, 1);
    RZCustomEventDispatcher::listen<RequstObjectStack>(
        &owner, [](QString& name) { name += QStringLiteral("+next"); });

    QString name = QStringLiteral("start:");
    RZCustomEventDispatcher::send<RequstObjectStack>(name);
    QCOMPARE(name, expected);
}

void tst_CustomEvent::sameNameFromAnotherDefinition_data()
{
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("delivered");
    QTest::addColumn<int>("warnings");

    QTest::newRow("same name, same payload") << "freeze"
                                             << "1 x,1 x" << 0;
    QTest::newRow("hand-written class, same payload") << "suspend"
                                                      << "9000,9000" << 0;
    QTest::newRow("same reference payload: written through") << "stackRef"
                                                             << "written,written" << 0;
    QTest::newRow("same name, other payload: refused, said once") << "stack"
                                                                  << "" << 1;
}

void tst_CustomEvent::sameNameFromAnotherDefinition()
{
    QFETCH(QString, sent);
    QFETCH(QString, delivered);
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
    RZCustomEventDispatcher::listen<RequstObjectStack>(
        &owner, [&journal](QString& name) { journal.add(name = "written"); });

    for (int i = 0; i < 2; ++i) {
        if (sent == QLatin1String("freeze"))
            RZCustomEventDispatcher::send<host::NotifyFreezeMonitor>(true, QStringLiteral("x"));
        else if (sent == QLatin1String("suspend"))
            RZCustomEventDispatcher::send<host::NotifySendSuspendTime>(9000);
        else {
            const bool byReference = sent == QLatin1String("stackRef");
            QString name = QStringLiteral("kept");
            if (byReference)
                RZCustomEventDispatcher::send<hostref::RequstObjectStack>(name);
            else
                name = RZCustomEventDispatcher::send<host::RequstObjectStack>(name)->get<0>();
            QCOMPARE(name, byReference ? QStringLiteral("written") : QStringLiteral("kept"));
        }
    }
    QCOMPARE(journal.entries().join(QLatin1Char(',')), delivered);
    int seen = 0;
    for (const RZTestLogSink::Record& record : log.sink->records())
        seen += record.level == RZBaseLog::LogLevel::warn &&
                record.message.find("RequstObjectStack") != std::string::npos;
    QCOMPARE(seen, warnings);
}

void tst_CustomEvent::concurrentSendersAndSubscribers()
{
    // Senders on other threads post to listeners of this thread for as long as this thread keeps
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
        delete RZCustomEventDispatcher::listen<Probe>(
            &owner, [](int) {}, round % 3);
        QCoreApplication::processEvents();
    }
    churning = false;
    for (std::thread& sender : senders)
        sender.join();
    QTRY_COMPARE_WITH_TIMEOUT(received.load(), sent.load(), 30000);
}

QTEST_GUILESS_MAIN(tst_CustomEvent)
#include "tst_customevent.moc"
