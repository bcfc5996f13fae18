#include <RZCore/app/RZObject.h>
#include <RZCore/app/RZSingleton.h>

#include "RZTestLogSink.h"

#include <QtTest>

#include <thread>

namespace lazy {

enum Kind { Plain, Builder, Late, Detached, Slow };
std::vector<std::string> g_trace;
int g_constructions = 0;

// One lazy singleton per kind: Builder builds Late while it is being destroyed, Detached opts out of
// the manager, Slow takes its time to construct.
template <int K>
class Lazy : public RZLazySingleton<Lazy<K>>
{
    friend class RZLazySingleton<Lazy<K>>;

protected:
    Lazy()
    {
        ++g_constructions;
        g_trace.push_back(std::to_string(K) + "+");
        if (K == Slow)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ~Lazy() override
    {
        g_trace.push_back(std::to_string(K) + "-");
        if (K == Builder)
            Lazy<Late>::instance();
    }
    bool attachManager() const override { return K != Detached; }
};

} // namespace lazy

namespace {

struct Observer
{
    virtual ~Observer() = default;
    virtual bool notified() = 0;
};

// Records its calls and runs an optional action inside the callback.
struct Recorder : Observer
{
    Recorder(std::string n, std::vector<std::string>* t) : name(std::move(n)), trace(t) {}
    bool notified() override
    {
        trace->push_back(name);
        if (action)
            action();
        return answer;
    }
    std::string name;
    std::vector<std::string>* trace;
    std::function<void()> action;
    bool answer = true;
};

struct ObjectRecorder : RZObject, Recorder
{
    using Recorder::Recorder;
};

struct QObjectRecorder : QObject, Recorder
{
    using Recorder::Recorder;
};

using Subject = RZSubject<Observer>;

bool notifyAll(const Subject& subject)
{
    return subject.notifyAny([](Observer* o) { return o ? o->notified() : true; });
}

void releaseAllQuietly()
{
    RZScopedTestLogger quiet;
    RZLazySingletonManager::instance()->releaseAll();
}

} // namespace

using namespace lazy;

class TestSingleton : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void lazyLifecycle();
    void lazyConcurrentFirstUse();
    void releaseAllLogsAndCatchesLateSingletons();
    void detachedSingletonStaysOutOfManager();
    void refCounted();
    void notificationRules();
    void changesDuringNotification_data();
    void changesDuringNotification();
    void deadObserversAreSkipped();
    void subjectDeletedInCallback();
    void boolGuards_data();
    void boolGuards();
};

void TestSingleton::init()
{
    releaseAllQuietly();
    g_trace.clear();
    g_constructions = 0;
}

void TestSingleton::lazyLifecycle()
{
    QVERIFY(!Lazy<Plain>::activeInstance()); // never creates
    Lazy<Plain>* first = Lazy<Plain>::instance();
    QCOMPARE(Lazy<Plain>::instance(), first);
    QCOMPARE(Lazy<Plain>::activeInstance(), first);
    Lazy<Plain>::release();
    QVERIFY(!Lazy<Plain>::isActive());
    Lazy<Plain>::release(); // a second release is a no-op
    QCOMPARE(g_trace, (std::vector<std::string>{"0+", "0-"}));

    Lazy<Plain>::instance();
    releaseAllQuietly();
    QVERIFY(!Lazy<Plain>::isActive());
    QVERIFY(Lazy<Plain>::instance()); // built anew, silently, after releaseAll
    QCOMPARE(g_constructions, 3);
}

void TestSingleton::lazyConcurrentFirstUse()
{
    std::vector<std::thread> threads;
    std::vector<Lazy<Slow>*> seen(8, nullptr);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&seen, i] { seen[i] = Lazy<Slow>::instance(); });
    for (auto& t : threads)
        t.join();
    QCOMPARE(g_constructions, 1);
    for (auto* s : seen)
        QCOMPARE(s, Lazy<Slow>::activeInstance());
}

void TestSingleton::releaseAllLogsAndCatchesLateSingletons()
{
    RZScopedTestLogger scoped;
    RZLazySingletonManager::instance()->releaseAll();
    Lazy<Builder>::instance();
    RZLazySingletonManager::instance()->releaseAll();

    QVERIFY(!Lazy<Builder>::isActive());
    QVERIFY(!Lazy<Late>::isActive());
    QCOMPARE(g_trace, (std::vector<std::string>{"1+", "1-", "2+", "2-"}));
    QCOMPARE(scoped.sink->messages(), (std::vector<std::string>{
                                          "m_oSingletonSet.count:0",
                                          "m_oSingletonSet.count:1",
                                          "pSingleton->destory begin, type: lazy::Lazy<1>",
                                          "pSingleton->destory done",
                                          "pSingleton->destory begin, type: lazy::Lazy<2>",
                                          "pSingleton->destory done",
                                      }));
    for (const auto& record : scoped.sink->records()) {
        QCOMPARE(record.level, RZBaseLog::LogLevel::info);
        QCOMPARE(record.function, std::string("RZLazySingletonManager::releaseAll"));
    }
}

void TestSingleton::detachedSingletonStaysOutOfManager()
{
    auto* detached = Lazy<Detached>::instance();
    releaseAllQuietly();
    QCOMPARE(Lazy<Detached>::activeInstance(), detached);
    Lazy<Detached>::release();
    QVERIFY(!Lazy<Detached>::isActive());
}

void TestSingleton::refCounted()
{
    RZRefCounted counted;
    QCOMPARE(counted.refCount(), 0);
    counted.addRef();
    QVERIFY(!counted.release()); // that was the last reference
    counted.addRef();
    counted.addRef();
    QVERIFY(counted.release()); // still referenced
}

void TestSingleton::notificationRules()
{
    std::vector<std::string> trace;
    Recorder a("a", &trace), b("b", &trace), c("c", &trace);
    Subject subject;
    subject.attach(nullptr);
    QVERIFY(subject.isEmpty());
    QVERIFY(notifyAll(subject)); // an empty list agrees
    QVERIFY(!subject.inNotify());

    subject.attach(&a);
    subject.attach(&a); // once only
    subject.attach(&b);
    subject.attach(&c);
    b.answer = false;
    QVERIFY(!notifyAll(subject)); // stops at the first refusal
    QCOMPARE(trace, (std::vector<std::string>{"a", "b"}));
    QVERIFY(!subject.inNotify());

    trace.clear();
    subject.notifyFunc([](Observer* o) { o->notified(); }); // answers do not matter
    QCOMPARE(trace, (std::vector<std::string>{"a", "b", "c"}));
    subject.detach(&b);
    subject.detach(nullptr);
    QVERIFY(!subject.contains(&b));
    QVERIFY(subject.contains(&c));
}

void TestSingleton::changesDuringNotification_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QStringList>("firstRound");
    QTest::addColumn<QStringList>("secondRound");
    QTest::newRow("a detaches the next") << "detach-next" << QStringList{"a", "c"} << QStringList{"a", "c"};
    QTest::newRow("a detaches itself") << "detach-self" << QStringList{"a", "b", "c"} << QStringList{"b", "c"};
    QTest::newRow("a attaches a new one") << "attach-new" << QStringList{"a", "b", "c"}
                                          << QStringList{"a", "b", "c", "d"};
    QTest::newRow("a clears the list") << "clear" << QStringList{"a"} << QStringList{};
}

void TestSingleton::changesDuringNotification()
{
    QFETCH(QString, change);
    QFETCH(QStringList, firstRound);
    QFETCH(QStringList, secondRound);
    std::vector<std::string> trace;
    Recorder a("a", &trace), b("b", &trace), c("c", &trace), d("d", &trace);
    Subject subject;
    subject.attach(&a);
    subject.attach(&b);
    subject.attach(&c);
    bool done = false;
    a.action = [&] {
        if (std::exchange(done, true))
            return;
        if (change == QLatin1String("detach-next"))
            subject.detach(&b);
        else if (change == QLatin1String("detach-self"))
            subject.detach(&a);
        else if (change == QLatin1String("attach-new"))
            subject.attach(&d);
        else
            subject.clear();
    };
    const auto round = [&] {
        trace.clear();
        notifyAll(subject);
        QStringList out;
        for (const auto& s : trace)
            out << QString::fromStdString(s);
        return out;
    };
    QCOMPARE(round(), firstRound);
    QCOMPARE(round(), secondRound);
}

void TestSingleton::deadObserversAreSkipped()
{
    std::vector<std::string> trace;
    auto* object = new ObjectRecorder("object", &trace);
    auto* qobject = new QObjectRecorder("qobject", &trace);
    Observer* const objectAsObserver = object;
    Recorder plain("plain", &trace);
    auto* victim = new ObjectRecorder("victim", &trace);
    plain.action = [&victim] { // kills an observer later in the same round
        delete victim;
        victim = nullptr;
    };
    Subject subject;
    subject.attach(object);
    subject.attach(qobject);
    subject.attach(&plain);
    subject.attach(victim);
    QVERIFY(subject.find(object)->tracked && subject.find(qobject)->tracked);
    QVERIFY(!subject.find(&plain)->tracked);

    delete object;
    delete qobject;
    QVERIFY(notifyAll(subject));
    QCOMPARE(trace, (std::vector<std::string>{"plain"}));
    QVERIFY(subject.contains(objectAsObserver)); // found by the raw pointer until detached
}

void TestSingleton::subjectDeletedInCallback()
{
    std::vector<std::string> trace;
    Recorder a("a", &trace), b("b", &trace);
    auto* subject = new Subject;
    subject->attach(&a);
    subject->attach(&b);
    a.action = [&subject] {
        delete subject;
        subject = nullptr;
    };
    b.answer = false;
    QVERIFY(notifyAll(*subject)); // b would refuse, but the round ends after a's callback
    QCOMPARE(trace, (std::vector<std::string>{"a"}));
}

void TestSingleton::boolGuards_data()
{
    QTest::addColumn<bool>("before");
    QTest::addColumn<bool>("value");
    QTest::addColumn<bool>("flipInScope");
    QTest::addColumn<bool>("after");
    QTest::newRow("true, guard false") << true << false << false << true;
    QTest::newRow("false, guard false") << false << false << false << true;
    QTest::newRow("false, guard true") << false << true << false << false;
    QTest::newRow("the scope flips it") << false << true << true << true;
}

void TestSingleton::boolGuards()
{
    QFETCH(bool, before);
    QFETCH(bool, value);
    QFETCH(bool, flipInScope);
    QFETCH(bool, after);
    bool flag = before;
    {
        RZBoolGuards guard(flag, value);
        QCOMPARE(flag, value);
        if (flipInScope)
            flag = !flag;
    }
    QCOMPARE(flag, after); // the guard inverts what it finds, it does not restore
}

QTEST_GUILESS_MAIN(TestSingleton)
#include "tst_singleton.moc"
