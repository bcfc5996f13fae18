#pragma once
// The server's map of accepted sockets to helper paths, with the lock that serialises every send.
// Not installed.

#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>

class QLocalSocket;

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
