#pragma once
// Whether another process of the same name already runs. The first process to build an object with
// a key holds the key's system-wide name until the object is destroyed or the process ends (a
// crashed first instance never blocks the next start); a later one only learns that it is not the
// first. Talking to the first instance is the host's business.
//
//     RZSingleApplication single(QStringLiteral("Cinvera-%1").arg(userName));
//     if (single.isRunning()) {
//         single.printErrorCode();      // which case it was, in the log
//         return 0;
//     }
//
// An error while taking the name counts as "running": a host would rather not start twice.

#include <RZCore/RZCoreExport.h>

#include <QString>

class RZCORE_EXPORT RZSingleApplication
{
public:
    // Takes the name at once; an empty key takes nothing and never reports another instance.
    explicit RZSingleApplication(const QString& key);
    // A copy holds the name too (a second handle to it), so the name stays held until both are gone.
    RZSingleApplication(const RZSingleApplication& other);
    RZSingleApplication& operator=(const RZSingleApplication& other);
    ~RZSingleApplication();

    // True when the key is not empty and this object holds no handle.
    bool isRunning();
    // Logs "openCode:%x, createCode:%x" at WARN: the system's error values of the attempt.
    void printErrorCode();

    QString key() const { return m_strKey; }
    // The held name's handle; null when another process holds it, on failure, or for an empty key.
    void* handle() const { return m_pHandle; }
    qint64 openCode() const { return m_nOpenCode; }
    qint64 createCode() const { return m_nCreateCode; }

private:
    void init();

    QString m_strKey;
    void* m_pHandle = nullptr;
    qint64 m_nOpenCode = 0;
    qint64 m_nCreateCode = 0;
};
