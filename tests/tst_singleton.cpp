#include <RZCore/RZObject.h>
#include <RZCore/RZSingleton.h>

#include "RZTestLogSink.h"

#include <QtTest>

#include <thread>

namespace lazy {

int g_constructions = 0;
std::vector<std::string> g_trace;

class Plain : public RZLazySingleton<Plain>
{
    friend class RZLazySingleton<Plain>;

protected:
    Plain()
    {
        ++g_constructions;
        g_trace.push_back("Plain+");
    }
    ~Plain() override { g_trace.push_back("Plain-"); }
};

class Builder;
// Builds another lazy singleton while it is being destroyed.
class Late : public RZLazySingleton<Late>
{
    friend class RZLazySingleton<Late>;

protected:
    Late() { g_trace.push_back("Late+"); }
    ~Late() override { g_trace.push_back("Late-"); }
};

class Builder : public RZLazySingleton<Builder>
{
    friend class RZLazySingleton<Builder>;

protected:
    Builder() { g_trace.push_back("Builder+"); }
    ~Builder() override
    {
        g_trace.push_back("Builder-");
        Late::instance();
    }
};

// Opts out of the manager: only release() or process exit destroys it.
class Detached : public RZLazySingleton<Detached>
{
    friend class RZLazySingleton<Detached>;

protected:
    Detached() = default;
    bool attachManager() const override { return false; }
};

struct Slow : public RZLazySingleton<Slow>
{
    friend class RZLazySingleton<Slow>;

protected:
    Slow()
    {
        ++g_constructions;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
};

} // namespace lazy

namespace {

struct Observer
{
    virtual ~Observer() = default;
    virtual bool notified(int round) = 0;
};

// An observer that records its calls and runs an optional action inside the callback.
struct Recorder : Observer
{
    Recorder(std::string n, std::vector<std::string>* t) : name(std::move(n)), trace(t) {}
    bool notified(int) override
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

bool notifyAll(const Subject& subject, int round = 0)
{
    return subject.notifyAny([round](Observer* o) { return o ? o->notified(round) : true; });
}

} // namespace

using namespace lazy;

class TestSingleton : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void singletonIsOneObject();
    void lazyLifecycle();
    void lazyConcurrentFirstUse();
    void releaseAllEmptyLogsCountOnly();
    void releaseAllBuildsAndReleasesLateSingleton();
    void detachedSingletonStaysOutOfManager();
    void refCounted();
    void objectTokenExpires();
    void subjectAttachDetach();
    void notifyStopsAtRefusal();
    void changesDuringNotification_data();
    void changesDuringNotification();
    void deadObserversAreSkipped();
    void subjectDeletedInCallback();
    void nestedNotificationClearsFlag();
    void boolGuards_data();
    void boolGuards();
};

void TestSingleton::init()
{
    RZScopedTestLogger quiet;
    RZSingleton<RZLazySingletonManager>::instance()->releaseAll();
    g_trace.clear();
    g_constructions = 0;
}

void TestSingleton::singletonIsOneObject()
{
    auto* manager = RZSingleton<RZLazySingletonManager>::instance();
    QVERIFY(manager);
    QCOMPARE(RZLazySingletonManager::instance(), manager);
}

void TestSingleton::lazyLifecycle()
{
    QVERIFY(!Plain::isActive());
    QVERIFY(!Plain::activeInstance()); // never creates
    QCOMPARE(g_constructions, 0);
    Plain* first = Plain::instance();
    QVERIFY(first);
    QCOMPARE(Plain::instance(), first);
    QCOMPARE(Plain::activeInstance(), first);
    QCOMPARE(g_constructions, 1);

    Plain::release();
    QVERIFY(!Plain::isActive());
    Plain::release(); // second release is a no-op
    QCOMPARE(g_trace, (std::vector<std::string>{"Plain+", "Plain-"}));

    Plain::instance();
    RZScopedTestLogger quiet;
    RZSingleton<RZLazySingletonManager>::instance()->releaseAll();
    QVERIFY(!Plain::isActive());
    QVERIFY(Plain::instance()); // resurrected silently after releaseAll
    QCOMPARE(g_constructions, 3);
}

void TestSingleton::lazyConcurrentFirstUse()
{
    std::vector<std::thread> threads;
    std::vector<Slow*> seen(8, nullptr);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&seen, i] { seen[i] = Slow::instance(); });
    for (auto& t : threads)
        t.join();
    QCOMPARE(g_constructions, 1);
    for (Slow* s : seen)
        QCOMPARE(s, Slow::activeInstance());
}

void TestSingleton::releaseAllEmptyLogsCountOnly()
{
    RZScopedTestLogger scoped;
    RZSingleton<RZLazySingletonManager>::instance()->releaseAll();
    const auto records = scoped.sink->records();
    QCOMPARE(records.size(), std::size_t(1));
    QCOMPARE(records[0].message, std::string("m_oSingletonSet.count:0"));
    QCOMPARE(records[0].level, RZBaseLog::LogLevel::info);
    QCOMPARE(records[0].function, std::string("RZLazySingletonManager::releaseAll"));
}

void TestSingleton::releaseAllBuildsAndReleasesLateSingleton()
{
    Builder::instance();
    RZScopedTestLogger scoped;
    RZSingleton<RZLazySingletonManager>::instance()->releaseAll();
    QVERIFY(!Builder::isActive());
    QVERIFY(!Late::isActive());
    QCOMPARE(g_trace, (std::vector<std::string>{"Builder+", "Builder-", "Late+", "Late-"}));
    QCOMPARE(scoped.sink->messages(), (std::vector<std::string>{
                                          "m_oSingletonSet.count:1",
                                          "pSingleton->destory begin, type: lazy::Builder",
                                          "pSingleton->destory done",
                                          "pSingleton->destory begin, type: lazy::Late",
                                          "pSingleton->destory done",
                                      }));
}

void TestSingleton::detachedSingletonStaysOutOfManager()
{
    Detached* d = Detached::instance();
    QVERIFY(d);
    RZScopedTestLogger quiet;
    RZSingleton<RZLazySingletonManager>::instance()->releaseAll();
    QCOMPARE(Detached::activeInstance(), d);
    Detached::release();
    QVERIFY(!Detached::isActive());
}

void TestSingleton::refCounted()
{
    RZRefCounted counted;
    QCOMPARE(counted.refCount(), 0);
    counted.addRef();
    QVERIFY(!counted.release()); // the last reference
    counted.addRef();
    counted.addRef();
    QVERIFY(counted.release()); // still referenced
    QCOMPARE(counted.refCount(), 1);
}

void TestSingleton::objectTokenExpires()
{
    auto* object = new RZObject;
    const std::weak_ptr<char> token = object->externData();
    const RZObject copy(*object);
    QVERIFY(!token.expired());
    delete object;
    QVERIFY(token.expired());
    QVERIFY(!copy.externData().expired()); // a copy lives its own life
}

void TestSingleton::subjectAttachDetach()
{
    std::vector<std::string> trace;
    Recorder a("a", &trace);
    Subject subject;
    subject.attach(nullptr);
    subject.detach(nullptr);
    QVERIFY(subject.isEmpty());
    QVERIFY(notifyAll(subject)); // empty list: true
    QVERIFY(!subject.inNotify());

    subject.attach(&a);
    subject.attach(&a);
    QVERIFY(notifyAll(subject));
    QCOMPARE(trace, (std::vector<std::string>{"a"}));
    QVERIFY(subject.contains(&a));
    subject.detach(&a);
    QVERIFY(!subject.contains(&a));
}

void TestSingleton::notifyStopsAtRefusal()
{
    std::vector<std::string> trace;
    Recorder a("a", &trace), b("b", &trace), c("c", &trace);
    b.answer = false;
    Subject subject;
    subject.attach(&a);
    subject.attach(&b);
    subject.attach(&c);
    QVERIFY(!notifyAll(subject));
    QCOMPARE(trace, (std::vector<std::string>{"a", "b"}));
    QVERIFY(!subject.inNotify());

    trace.clear();
    int calls = 0;
    subject.notifyFunc([&calls](Observer* o) {
        ++calls;
        o->notified(0);
    });
    QCOMPARE(calls, 3); // notifyFunc ignores the answers
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
    bool once = true;
    a.action = [&] {
        if (!once)
            return;
        once = false;
        if (change == QLatin1String("detach-next"))
            subject.detach(&b);
        else if (change == QLatin1String("detach-self"))
            subject.detach(&a);
        else if (change == QLatin1String("attach-new"))
            subject.attach(&d);
        else
            subject.clear();
    };
    const auto asList = [&trace] {
        QStringList out;
        for (const auto& s : trace)
            out << QString::fromStdString(s);
        trace.clear();
        return out;
    };
    QVERIFY(notifyAll(subject));
    QCOMPARE(asList(), firstRound);
    QVERIFY(notifyAll(subject));
    QCOMPARE(asList(), secondRound);
}

void TestSingleton::deadObserversAreSkipped()
{
    std::vector<std::string> trace;
    auto* object = new ObjectRecorder("object", &trace);
    Observer* const objectAsObserver = object;
    auto* qobject = new QObjectRecorder("qobject", &trace);
    Recorder plain("plain", &trace);
    Subject subject;
    subject.attach(object);
    subject.attach(qobject);
    subject.attach(&plain);
    QCOMPARE(subject.find(object)->tracked, true);
    QCOMPARE(subject.find(qobject)->tracked, true);
    QCOMPARE(subject.find(&plain)->tracked, false);

    delete object;
    delete qobject;
    QVERIFY(notifyAll(subject));
    QCOMPARE(trace, (std::vector<std::string>{"plain"}));
    // The entries stay, found by the raw pointer, until detached.
    QVERIFY(subject.contains(objectAsObserver));

    // An observer killed by an earlier callback of the same round is skipped as well.
    trace.clear();
    auto* victim = new ObjectRecorder("victim", &trace);
    Recorder killer("killer", &trace);
    killer.action = [&victim] {
        delete victim;
        victim = nullptr;
    };
    Subject second;
    second.attach(&killer);
    second.attach(victim);
    QVERIFY(notifyAll(second));
    QCOMPARE(trace, (std::vector<std::string>{"killer"}));
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
    QVERIFY(notifyAll(*subject)); // b would refuse, but the loop ends after a's callback
    QCOMPARE(trace, (std::vector<std::string>{"a"}));
    QVERIFY(!subject);
}

void TestSingleton::nestedNotificationClearsFlag()
{
    std::vector<std::string> trace;
    Recorder a("a", &trace), b("b", &trace);
    Subject subject;
    subject.attach(&a);
    subject.attach(&b);
    bool insideOuter = false;
    bool afterInner = true;
    bool nested = false;
    a.action = [&] {
        if (nested)
            return;
        nested = true;
        insideOuter = subject.inNotify();
        subject.notifyFunc([](Observer*) {});
        afterInner = subject.inNotify();
    };
    notifyAll(subject);
    QVERIFY(insideOuter);
    QVERIFY(!afterInner); // one flag, not a counter
    QVERIFY(!subject.inNotify());
}

void TestSingleton::boolGuards_data()
{
    QTest::addColumn<bool>("before");
    QTest::addColumn<bool>("value");
    QTest::addColumn<bool>("changeInScope");
    QTest::addColumn<bool>("inScope");
    QTest::addColumn<bool>("after");
    QTest::newRow("true, guard false") << true << false << false << false << true;
    QTest::newRow("false, guard false") << false << false << false << false << true;
    QTest::newRow("false, guard true") << false << true << false << true << false;
    QTest::newRow("true, guard true") << true << true << false << true << false;
    QTest::newRow("scope flips it back") << false << true << true << false << true;
}

void TestSingleton::boolGuards()
{
    QFETCH(bool, before);
    QFETCH(bool, value);
    QFETCH(bool, changeInScope);
    QFETCH(bool, inScope);
    QFETCH(bool, after);
    bool flag = before;
    {
        RZBoolGuards guard(flag, value);
        if (changeInScope)
            flag = !flag;
        QCOMPARE(flag, inScope);
    }
    QCOMPARE(flag, after);
}

QTEST_GUILESS_MAIN(TestSingleton)
#include "tst_singleton.moc"
