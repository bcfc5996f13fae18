#pragma once
// A thread with an event loop for tests: post calls to it, run a call there and wait, hold its loop
// still while a test queues work behind it. Calls are handed over through posted events, marked for
// the thread sanitizer the way the library marks its own hand-overs.

#include <RZCore/RZHappensBefore_p.h>

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTest>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class RZTestWorker : public QObject
{
public:
    RZTestWorker()
    {
        moveToThread(&m_thread);
        m_thread.start();
    }
    ~RZTestWorker() override
    {
        release();
        run([] {}); // what the thread did happens before what follows
        m_thread.quit();
        m_thread.wait();
        qDeleteAll(m_owners); // the thread is gone: its objects may be deleted here
    }
    // An object made on the test's thread moves here with its children and is deleted with the worker.
    QObject* adopt(QObject* owner)
    {
        owner->moveToThread(&m_thread);
        m_owners << owner;
        return owner;
    }
    void post(std::function<void()> function)
    {
        auto* call = new Call(std::move(function));
        RZHappensBefore::handedOver(call);
        QCoreApplication::postEvent(this, call);
    }
    // Runs f on the thread; the caller's own event loop keeps running meanwhile.
    bool run(std::function<void()> f)
    {
        auto done = std::make_shared<std::atomic<bool>>(false);
        post([f, done] {
            f();
            done->store(true);
        });
        return QTest::qWaitFor([&] { return done->load(); }, 10000);
    }
    // Blocks the event loop until release(): what is posted meanwhile waits behind it.
    void hold()
    {
        setHeld(true);
        post([this] {
            std::unique_lock<std::mutex> lock(m_oMutex);
            m_oCondition.wait(lock, [this] { return !m_bHeld; });
        });
    }
    void release() { setHeld(false); }

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
    struct Call : QEvent
    {
        static Type callType()
        {
            static const Type s_type = static_cast<Type>(registerEventType());
            return s_type;
        }
        explicit Call(std::function<void()> f) : QEvent(callType()), m_fnFunction(std::move(f)) {}
        ~Call() override { RZHappensBefore::received(this); }
        std::function<void()> m_fnFunction;
    };
    void setHeld(bool held)
    {
        {
            std::lock_guard<std::mutex> lock(m_oMutex);
            m_bHeld = held;
        }
        m_oCondition.notify_all();
    }

    QThread m_thread;
    QList<QObject*> m_owners;
    std::mutex m_oMutex;
    std::condition_variable m_oCondition;
    bool m_bHeld = false;
};
