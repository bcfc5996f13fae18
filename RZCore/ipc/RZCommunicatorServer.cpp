#include <RZCore/ipc/RZCommunicatorServer.h>

#include "RZCommunicatorFrame_p.h"
#include "RZCommunicatorServer_p.h"

#include <RZCore/ipc/RZCommunicatorMsg.h>
#include <RZCore/ipc/RZProcess.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>
#include <RZCore/util/RZHappensBefore_p.h>

#include <QCoreApplication>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMutexLocker>
#include <QThread>

namespace {

RZCommunicatorServer* g_pInstance = nullptr;

bool onCallingThread(const QLocalSocket* pSocket)
{
    return pSocket->thread() == QThread::currentThread();
}

// Writes and flushes on the socket's own thread. False when the write failed (logged).
bool writeAndFlush(QLocalSocket* pSocket, const QByteArray& oBytes, const QString& strPath)
{
    if (pSocket->write(oBytes) < 0) {
        RZLOG_ERROR("socket write error,%s,cmd %s", qUtf8Printable(strPath),
                    qUtf8Printable(QString::fromUtf8(oBytes)));
        return false;
    }
    pSocket->flush();
    return true;
}

// A socket belongs to the thread that reads it: Qt's socket notifiers may not be touched from any
// other, and its buffers have no lock. Another thread's write is queued to the socket's thread (the
// server's event filter takes it there), where the sends of one thread run in the order they were
// made; the sender does not wait. A write still queued when the socket goes is dropped with it.
void writeOnOwnThread(QLocalSocket* pSocket, const QByteArray& oBytes, const QString& strPath)
{
    auto* pEvent = new RZSocketWriteEvent(oBytes, strPath);
    RZHappensBefore::handedOver(pEvent);
    QCoreApplication::postEvent(pSocket, pEvent);
}

} // namespace

// ---- SocketMapWrapper -----------------------------------------------------------------------------

bool SocketMapWrapper::SendAndFlushData(const QString& strPath, const QString& strText)
{
    QMutexLocker oLocker(&m_oMutex);
    QLocalSocket* pSocket = nullptr;
    bool bFound = false;
    for (auto it = m_mapSockets.cbegin(); it != m_mapSockets.cend(); ++it) {
        if (it.value() == strPath) {
            pSocket = it.key();
            bFound = true;
            break;
        }
    }
    if (!bFound || !pSocket)
        return false;
    if (!onCallingThread(pSocket)) {
        // Its validity is the socket thread's to judge, when the write runs there.
        writeOnOwnThread(pSocket, strText.toUtf8(), strPath);
        return true;
    }
    if (!pSocket->isValid())
        return false;
    // A failed write still counts as sent: the caller does not broadcast it.
    writeAndFlush(pSocket, strText.toUtf8(), strPath);
    return true;
}

void SocketMapWrapper::BroadcastAndFlushData(const QString& strText)
{
    QMutexLocker oLocker(&m_oMutex);
    RZLOG_INFO("BroadcastAndFlushData %s", qUtf8Printable(strText));
    if (m_mapSockets.isEmpty())
        RZLOG_WARN("m_pSocketMap is empty,send will do nothing");
    const QByteArray oBytes = strText.toUtf8();
    // A write or flush can find the peer gone and report the disconnection at once, which removes
    // the socket from the map: walk a copy.
    const QList<QLocalSocket*> lstSockets = m_mapSockets.keys();
    for (QLocalSocket* pSocket : lstSockets) {
        if (!pSocket || !m_mapSockets.contains(pSocket))
            continue;
        if (!onCallingThread(pSocket)) {
            RZLOG_INFO("socket write handed to its thread");
            writeOnOwnThread(pSocket, oBytes, m_mapSockets.value(pSocket));
            continue;
        }
        if (!pSocket->isValid())
            continue;
        pSocket->write(oBytes);
        RZLOG_INFO("socket flush");
        pSocket->flush();
    }
}

void SocketMapWrapper::flushData()
{
    QMutexLocker oLocker(&m_oMutex);
    RZLOG_INFO("flushData");
    if (m_mapSockets.isEmpty()) {
        RZLOG_WARN("m_pSocketMap is empty");
        return;
    }
    const QList<QLocalSocket*> lstSockets = m_mapSockets.keys(); // see BroadcastAndFlushData
    for (QLocalSocket* pSocket : lstSockets) {
        if (!pSocket || !m_mapSockets.contains(pSocket) || !pSocket->isValid() || !onCallingThread(pSocket))
            continue;
        RZLOG_INFO("socket flush");
        pSocket->flush();
    }
}

bool SocketMapWrapper::contains(QLocalSocket* pSocket) const
{
    QMutexLocker oLocker(&m_oMutex);
    return m_mapSockets.contains(pSocket);
}

void SocketMapWrapper::insert(QLocalSocket* pSocket, const QString& strPath)
{
    QMutexLocker oLocker(&m_oMutex);
    m_mapSockets.insert(pSocket, strPath);
}

QString SocketMapWrapper::value(QLocalSocket* pSocket) const
{
    QMutexLocker oLocker(&m_oMutex);
    return m_mapSockets.value(pSocket);
}

void SocketMapWrapper::remove(QLocalSocket* pSocket)
{
    QMutexLocker oLocker(&m_oMutex);
    m_mapSockets.remove(pSocket);
}

QList<QLocalSocket*> SocketMapWrapper::keys() const
{
    QMutexLocker oLocker(&m_oMutex);
    return m_mapSockets.keys();
}

QList<QString> SocketMapWrapper::values() const
{
    QMutexLocker oLocker(&m_oMutex);
    return m_mapSockets.values();
}

bool SocketMapWrapper::hasValue(const QString& strPath) const
{
    QMutexLocker oLocker(&m_oMutex);
    for (const QString& strValue : m_mapSockets)
        if (strValue == strPath)
            return true;
    return false;
}

// ---- RZCommunicatorServer -------------------------------------------------------------------------

RZCommunicatorServer* RZCommunicatorServer::GetInstance()
{
    if (!g_pInstance)
        g_pInstance = new RZCommunicatorServer();
    return g_pInstance;
}

void RZCommunicatorServer::Release()
{
    RZCommunicatorServer* pInstance = g_pInstance;
    g_pInstance = nullptr;
    delete pInstance;
}

RZCommunicatorServer::RZCommunicatorServer()
    : m_pSocketMap(QSharedPointer<SocketMapWrapper>::create()), m_pServer(new QLocalServer(this))
{
    setWorldAccess(RZPlatform::localServerOpenToAllByDefault());
    connect(m_pServer, &QLocalServer::newConnection, this, &RZCommunicatorServer::OnNewConnection,
            Qt::UniqueConnection);
}

RZCommunicatorServer::~RZCommunicatorServer()
{
    // Writes that other threads handed over go out before the last flush.
    const QList<QLocalSocket*> lstSockets = m_pSocketMap->keys();
    for (QLocalSocket* pSocket : lstSockets)
        if (onCallingThread(pSocket))
            QCoreApplication::sendPostedEvents(pSocket, RZSocketWriteEvent::writeType());
    m_pSocketMap->flushData();
    m_pServer->close();
    // The process objects die with this object; their last reports must not reach a half-destroyed
    // server. Whether a helper survives is up to its RZProcess (see RZProcess::detached).
    for (RZProcess* pProcess : qAsConst(m_mapProcess))
        disconnect(pProcess, nullptr, this, nullptr);
}

void RZCommunicatorServer::Listen(QString strName)
{
    QLocalServer::removeServer(strName);
    if (m_pServer->isListening())
        m_pServer->close();
    m_pServer->listen(strName);
    RZLOG_INFO("severName:%s,err:%s", qUtf8Printable(strName), qUtf8Printable(m_pServer->errorString()));
}

void RZCommunicatorServer::setWorldAccess(bool bWorld)
{
    m_pServer->setSocketOptions(bWorld ? QLocalServer::WorldAccessOption : QLocalServer::UserAccessOption);
}

void RZCommunicatorServer::OnNewConnection()
{
    QLocalSocket* pSocket = m_pServer->nextPendingConnection();
    if (!pSocket)
        return;
    if (!m_pSocketMap->contains(pSocket)) {
        pSocket->write("next", 4);
        pSocket->installEventFilter(this); // takes the writes other threads hand over
        m_pSocketMap->insert(pSocket, QString());
        RZLOG_INFO("insert new cleint socket.");
    }
    connect(pSocket, &QLocalSocket::disconnected, this, &RZCommunicatorServer::OnDisconnect,
            Qt::UniqueConnection);
    connect(pSocket, &QLocalSocket::readyRead, this, &RZCommunicatorServer::OnRecvMsg, Qt::UniqueConnection);
}

bool RZCommunicatorServer::eventFilter(QObject* pWatched, QEvent* pEvent)
{
    RZHappensBefore::received(pEvent); // a write is made on the sending thread
    if (pEvent->type() != RZSocketWriteEvent::writeType())
        return QObject::eventFilter(pWatched, pEvent);
    const auto* pWrite = static_cast<const RZSocketWriteEvent*>(pEvent);
    auto* pSocket = static_cast<QLocalSocket*>(pWatched);
    if (pSocket->isValid())
        writeAndFlush(pSocket, pWrite->m_oBytes, pWrite->m_strPath);
    return true;
}

void RZCommunicatorServer::OnRecvMsg()
{
    // Blocked reads are not re-armed: the bytes wait on the socket for the next readyRead.
    if (m_bBlocked)
        return;
    auto* pSocket = qobject_cast<QLocalSocket*>(sender());
    if (!pSocket)
        return;
    QSharedPointer<RZCommunicatorFrame::Reader>& pReader = m_hashReaders[pSocket];
    if (!pReader)
        pReader = QSharedPointer<RZCommunicatorFrame::Reader>::create();
    QString strRead;
    QString strText;
    const bool bDelivered = pReader->read(pSocket->readAll(), strRead, strText);
    if (pReader->takeFirstDrop())
        RZLOG_WARN("a frame still unfinished past 64 MiB was dropped, process path %s",
                   qUtf8Printable(m_pSocketMap->value(pSocket)));
    if (!bDelivered)
        return;
    UpdateLocalSocketProcess(pSocket, strText);
    emit sigReceveMsgFrom(strText);
}

void RZCommunicatorServer::UpdateLocalSocketProcess(QLocalSocket* pSocket, QString strText)
{
    QString strPath;
    if (!RZCommunicatorFrame::findClientName(strText, strPath)) {
        if (strText.contains(RZCommunicatorFrame::kBeat) && m_pSocketMap->contains(pSocket))
            emit sigPingPong(m_pSocketMap->value(pSocket));
        return;
    }
    if (m_pSocketMap->contains(pSocket))
        m_pSocketMap->insert(pSocket, strPath);
}

void RZCommunicatorServer::OnDisconnect()
{
    auto* pSocket = qobject_cast<QLocalSocket*>(sender());
    if (!pSocket)
        return;
    const QString strPath = m_pSocketMap->value(pSocket);
    {
        QMutexLocker oLocker(&m_pSocketMap->lock());
        m_pSocketMap->remove(pSocket);
        pSocket->deleteLater();
    }
    m_hashReaders.remove(pSocket);
    RZLOG_INFO("sigClientErr: %s", qUtf8Printable(strPath));
    emit sigClientErr(strPath);
}

bool RZCommunicatorServer::SendMsgToProcess(QString strCommand, QStringList lstContents, QString strPath,
                                            bool bBroadcastOnFail)
{
    const RZCommunicatorMsg oMsg(strCommand, lstContents);
    strPath = RZCommunicatorFrame::normalizedPath(strPath);
    if (!strPath.isEmpty() && m_pSocketMap->hasValue(strPath)) {
        if (m_pSocketMap->SendAndFlushData(strPath, oMsg.toString()))
            return true;
    } else {
        RZLOG_ERROR("SendMsgToProcess error,process path %s", qUtf8Printable(strPath));
    }
    if (bBroadcastOnFail)
        m_pSocketMap->BroadcastAndFlushData(oMsg.toString());
    return true;
}

void RZCommunicatorServer::blockServer(bool bBlock)
{
    m_bBlocked = bBlock;
}

bool RZCommunicatorServer::IsProcessExits(QString strPath)
{
    return m_mapProcess.contains(strPath);
}

bool RZCommunicatorServer::IsProcessStarted(QString strPath)
{
    RZProcess* pProcess = m_mapProcess.value(strPath);
    return pProcess && pProcess->state() == QProcess::Running;
}

bool RZCommunicatorServer::isSocketProcessExists(const QString& strPath) const
{
    const QString strNormalized = RZCommunicatorFrame::normalizedPath(strPath);
    return !strNormalized.isEmpty() && m_pSocketMap->hasValue(strNormalized);
}

void RZCommunicatorServer::StartProcess(QString strPath, QStringList lstArgs, bool bStart, bool bDetach)
{
    RZLOG_INFO("Process: %s, arg: %s, bStart: %d, bDetach: %d", qUtf8Printable(strPath),
               qUtf8Printable(lstArgs.join(QLatin1Char(','))), int(bStart), int(bDetach));
    if (!m_mapProcess.contains(strPath) && bStart)
        AddProcess(strPath);

    RZProcess* pProcess = m_mapProcess.value(strPath);
    if (!pProcess || !QFile::exists(strPath))
        return;

    if (!bStart) {
        pProcess->close();
        m_mapProcess.remove(strPath);
        pProcess->deleteLater();
        return;
    }
    if (pProcess->state() == QProcess::Running)
        return;
    if (!lstArgs.isEmpty())
        pProcess->setArguments(lstArgs);
    pProcess->start(QIODevice::ReadWrite);
    // Recorded after the start: the flag tells how the process was started, it does not shape it.
    pProcess->detached(bDetach);
}

void RZCommunicatorServer::AddProcess(QString strPath)
{
    if (m_mapProcess.contains(strPath))
        return;
    auto* pProcess = new RZProcess(this);
    m_mapProcess.insert(strPath, pProcess);
    if (QFile::exists(strPath))
        pProcess->setProgram(strPath);

    connect(pProcess, &QProcess::started, this,
            [this, pProcess]() { RZLOG_INFO("Process started: %s", qUtf8Printable(processPath(pProcess))); });
    connect(pProcess, &QProcess::errorOccurred, this, [this, pProcess](QProcess::ProcessError eError) {
        const QString strFound = processPath(pProcess);
        RZLOG_INFO("Process started failed: %s, error code: %d", qUtf8Printable(strFound), int(eError));
        emit sigStartFailed(strFound, int(eError));
        // Any error of the process's life ends its entry, a crash as much as a failed start.
        if (m_mapProcess.value(strFound) == pProcess)
            m_mapProcess.remove(strFound);
        pProcess->deleteLater();
    });
}

QString RZCommunicatorServer::processPath(const QObject* pProcess) const
{
    for (auto it = m_mapProcess.cbegin(); it != m_mapProcess.cend(); ++it)
        if (it.value() == pProcess)
            return it.key();
    return QString();
}

void RZCommunicatorServer::OnClientExit(int /*nExitCode*/, QProcess::ExitStatus /*eStatus*/) {}

void RZCommunicatorServer::OnClientErr(QProcess::ProcessError /*eError*/) {}
