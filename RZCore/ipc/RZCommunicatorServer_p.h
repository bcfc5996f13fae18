#pragma once
// The server's map of accepted sockets to helper paths, with the lock that serialises every send.
// Not installed.

#include <QByteArray>
#include <QEvent>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>

#include <utility>

class QLocalSocket;

// A write that another thread hands to a socket's own thread: posted to the socket, so that Qt drops
// it with the socket, and taken there by the server's event filter.
class RZSocketWriteEvent : public QEvent
{
public:
    static QEvent::Type writeType()
    {
        static const QEvent::Type s_eType = static_cast<QEvent::Type>(QEvent::registerEventType());
        return s_eType;
    }
    RZSocketWriteEvent(QByteArray oBytes, QString strPath)
        : QEvent(writeType()), m_oBytes(std::move(oBytes)), m_strPath(std::move(strPath))
    {
    }

    const QByteArray m_oBytes;
    const QString m_strPath; // for the error line
};

class SocketMapWrapper
{
public:
    // Writes to the first socket, in map order, registered under `strPath`. False when there is none
    // or it is not valid; a failed write is logged and still counts as sent. From a thread other than
    // the socket's, the write is handed to the socket's thread (whose validity test runs there) and
    // counts as sent. The broadcast does the same per socket.
    bool SendAndFlushData(const QString& strPath, const QString& strText);
    void BroadcastAndFlushData(const QString& strText);
    // Flushes the valid sockets that belong to the calling thread.
    void flushData();

    bool contains(QLocalSocket* pSocket) const;
    void insert(QLocalSocket* pSocket, const QString& strPath);
    QString value(QLocalSocket* pSocket) const;
    void remove(QLocalSocket* pSocket);
    QList<QLocalSocket*> keys() const;
    QList<QString> values() const;
    bool hasValue(const QString& strPath) const;

    // For callers that must hold the lock across several operations.
    QRecursiveMutex& lock() { return m_oMutex; }

private:
    mutable QRecursiveMutex m_oMutex;
    QMap<QLocalSocket*, QString> m_mapSockets;
};
