#include <RZCore/ipc/RZCommunicatorClient.h>

#include "RZCommunicatorFrame_p.h"

#include <RZCore/log/RZBaseLog.h>

#include <QCoreApplication>
#include <QDir>
#include <QTimer>

namespace {

constexpr int kCheckIntervalMs = 1200;
// Errors tolerated in a row before the server counts as closed.
constexpr int kErrorLimit = 3;
constexpr int kLastWriteWaitMs = 10000;

} // namespace

RZCommunicatorClient::RZCommunicatorClient(QObject* parent)
    : QObject(parent), m_pSocket(new QLocalSocket(this)), m_pCheckTimer(new QTimer(this)),
      m_pReader(QSharedPointer<RZCommunicatorFrame::Reader>::create())
{
    qRegisterMetaType<QLocalSocket::LocalSocketError>();
    m_pCheckTimer->setInterval(kCheckIntervalMs);
    connect(m_pSocket, &QLocalSocket::readyRead, this, &RZCommunicatorClient::OnReceiveMsg);
    connect(m_pSocket, &QLocalSocket::connected, this, &RZCommunicatorClient::OnConnected);
    connect(m_pSocket, &QLocalSocket::errorOccurred, this, &RZCommunicatorClient::OnErrorOccurred);
    connect(m_pSocket, &QLocalSocket::stateChanged, this, &RZCommunicatorClient::OnStateChanged);
    connect(m_pCheckTimer, &QTimer::timeout, this, &RZCommunicatorClient::OnCheckTimerTimeout);
}

RZCommunicatorClient::~RZCommunicatorClient()
{
    if (m_pSocket->state() != QLocalSocket::UnconnectedState)
        m_pSocket->waitForBytesWritten(kLastWriteWaitMs);
    m_pSocket->close();
}

void RZCommunicatorClient::ConnectToServer(const QString& strName)
{
    m_strServerName = strName;
    m_pSocket->connectToServer(strName, QIODevice::ReadWrite);
}

void RZCommunicatorClient::DisconnectFromServer()
{
    StopReConnectToServer();
    m_bAutoConnect = false;
    m_pSocket->disconnectFromServer();
}

int RZCommunicatorClient::SendMsg(QString strCommand, QStringList lstContents, bool /*bFlag*/)
{
    if (!m_pSocket->isOpen())
        return -1; // what the write would return, without Qt's warning
    const qint64 nWritten = m_pSocket->write(RZCommunicatorFrame::build(strCommand, lstContents).toUtf8());
    m_pSocket->flush();
    return static_cast<int>(nWritten);
}

void RZCommunicatorClient::SetAutoConnectToServer(bool bAuto)
{
    m_bAutoConnect = bAuto;
}

bool RZCommunicatorClient::isConnectedState() const
{
    return m_pSocket->state() == QLocalSocket::ConnectedState;
}

void RZCommunicatorClient::OnReceiveMsg()
{
    auto* pSocket = qobject_cast<QLocalSocket*>(sender());
    if (!pSocket)
        return;
    QString strRead;
    QString strText;
    const bool bDelivered = m_pReader->read(pSocket->readAll(), strRead, strText);
    if (m_pReader->takeFirstDrop())
        RZLOG_WARN("a frame still unfinished past 64 MiB was dropped");
    if (!bDelivered)
        return;
    // Only this read is searched, not the joined text: a beat word in the buffered head of a split
    // frame goes unanswered.
    if (RZCommunicatorFrame::needsBeatAnswer(strRead))
        SendMsg(RZCommunicatorFrame::kBeat, QStringList(), false);
    emit sigRecveMsg(strText);
}

void RZCommunicatorClient::OnConnected()
{
    RZLOG_INFO("connect successful");
    SendMsg(RZCommunicatorFrame::kClientName,
            QStringList(QDir::fromNativeSeparators(QCoreApplication::applicationFilePath())), false);
    StartCheckTimer();
}

void RZCommunicatorClient::OnErrorOccurred(QLocalSocket::LocalSocketError eError)
{
    emit sigErrorOccurred(eError);
    StartCheckTimer();
    if (m_nErrorCount++ > kErrorLimit)
        emit sigServerClosed();
}

void RZCommunicatorClient::OnStateChanged(QLocalSocket::LocalSocketState /*eState*/) {}

void RZCommunicatorClient::OnCheckTimerTimeout()
{
    switch (m_pSocket->state()) {
    case QLocalSocket::ConnectedState:
        m_nErrorCount = 0;
        break;
    case QLocalSocket::UnconnectedState:
        if (m_bAutoConnect)
            m_pSocket->connectToServer(m_strServerName, QIODevice::ReadWrite);
        else
            emit sigServerClosed();
        break;
    default:
        break; // connecting or closing: the socket will report
    }
}

void RZCommunicatorClient::StartCheckTimer()
{
    if (!m_pCheckTimer->isActive())
        m_pCheckTimer->start(kCheckIntervalMs);
}

void RZCommunicatorClient::StopReConnectToServer()
{
    m_pCheckTimer->stop();
}
