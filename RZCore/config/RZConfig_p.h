#pragma once
// Private parts of the settings store; not installed.

#include <QDir>
#include <QEvent>
#include <QFile>
#include <QObject>
#include <QReadWriteLock>
#include <QSettings>

#include <functional>

#include <RZCore/platform/RZPlatform.h>
#include <RZCore/util/RZHappensBefore_p.h>

// Settings hold account names, paths and tokens: every settings file is the user's alone, made so
// (created if need be) before anything is written to it. Returns the path, for a QSettings over it.
inline const QString& privateSettingsFile(const QString& path)
{
    RZPlatform::restrictSettingsFile(QFile::encodeName(QDir::toNativeSeparators(path)).toStdString());
    return path;
}

// The application settings file as the store's thread uses it. QSettings on its own writes the file
// at the next turn of its thread's event loop after every change, which under a stream of writes
// means a file write per turn; the store syncs on its own schedule instead (at most one sync per
// 100 ms), so the automatic one is switched off.
class RZConfigIniSettings : public QSettings
{
public:
    explicit RZConfigIniSettings(const QString& fileName) : QSettings(fileName, QSettings::IniFormat) {}

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::UpdateRequest)
            return true;
        return QSettings::event(event);
    }
};

// The configuration thread's context: the store's timers run in it, and a wake-up event makes it
// run the queued writes. A plain event, so that nothing but the event itself crosses threads.
class RZConfigWorkerContext : public QObject
{
public:
    explicit RZConfigWorkerContext(std::function<void()> onWake) : m_fnOnWake(std::move(onWake)) {}

    // The wake-up event for QCoreApplication::postEvent.
    static QEvent* makeWakeEvent()
    {
        QEvent* event = new QEvent(wakeType());
        RZHappensBefore::handedOver(event);
        return event;
    }

    static QEvent::Type wakeType()
    {
        static const QEvent::Type s_eType = static_cast<QEvent::Type>(QEvent::registerEventType());
        return s_eType;
    }

protected:
    bool event(QEvent* event) override
    {
        RZHappensBefore::received(event); // made on another thread, handed over by Qt's own queue
        if (event->type() != wakeType())
            return QObject::event(event);
        m_fnOnWake();
        return true;
    }

private:
    std::function<void()> m_fnOnWake;
};

// The store's read-write locks. Qt is built without ThreadSanitizer, which then cannot see the order
// these locks put between threads; in such a build each lock and unlock is announced to it.
namespace RZConfigLock {

#ifdef RZCORE_THREAD_SANITIZER
constexpr unsigned kRead = __tsan_mutex_read_lock;
#endif

inline void lockForRead(QReadWriteLock& lock)
{
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_mutex_pre_lock(&lock, kRead);
#endif
    lock.lockForRead();
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_mutex_post_lock(&lock, kRead, 0);
#endif
}

inline void lockForWrite(QReadWriteLock& lock)
{
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_mutex_pre_lock(&lock, 0);
#endif
    lock.lockForWrite();
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_mutex_post_lock(&lock, 0, 0);
#endif
}

inline void unlock(QReadWriteLock& lock, bool read)
{
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_mutex_pre_unlock(&lock, read ? kRead : 0);
#else
    Q_UNUSED(read)
#endif
    lock.unlock();
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_mutex_post_unlock(&lock, read ? kRead : 0);
#endif
}

class ReadLocker
{
public:
    explicit ReadLocker(QReadWriteLock& lock) : m_oLock(lock) { lockForRead(m_oLock); }
    ~ReadLocker() { unlock(m_oLock, true); }
    Q_DISABLE_COPY(ReadLocker)

private:
    QReadWriteLock& m_oLock;
};

class WriteLocker
{
public:
    explicit WriteLocker(QReadWriteLock& lock) : m_oLock(lock) { lockForWrite(m_oLock); }
    ~WriteLocker() { unlock(m_oLock, false); }
    Q_DISABLE_COPY(WriteLocker)

private:
    QReadWriteLock& m_oLock;
};

} // namespace RZConfigLock
