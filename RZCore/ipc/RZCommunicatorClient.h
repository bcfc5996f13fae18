#pragma once
// A helper process's end of the communicator. It connects to the main process's server by name,
// announces its executable path on every connection, answers beats, and keeps reconnecting every
// 1,200 ms for as long as auto-connect is on. Lives on the thread that created it; no locks.

#include <RZCore/RZCoreExport.h>

#include <QLocalSocket>
#include <QMetaType>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

class QTimer;
namespace RZCommunicatorFrame {
class Reader;
}

class RZCORE_EXPORT RZCommunicatorClient : public QObject
{
    Q_OBJECT

public:
    explicit RZCommunicatorClient(QObject* parent = nullptr);
    // Waits up to 10 s for unsent bytes, so that a last message gets out before the process ends.
    ~RZCommunicatorClient() override;

    // Remembers the name for reconnections and starts connecting. A failed first attempt starts the
    // retries through the error report.
    void ConnectToServer(const QString& strName);
    // Stops the retries and turns auto-connect off.
    void DisconnectFromServer();
    // Writes one frame, an empty command included. The bytes written, or -1 (e.g. not connected);
    // nothing is queued. The last argument has no effect.
    int SendMsg(QString strCommand, QStringList lstContents, bool bFlag);
    void SetAutoConnectToServer(bool bAuto);
    bool isConnectedState() const;

signals:
    void sigRecveMsg(QString strText);
    void sigErrorOccurred(QLocalSocket::LocalSocketError socketError);
    // From the fifth socket error in a row on, and on every check with the socket unconnected while
    // auto-connect is off. Retries go on regardless.
    void sigServerClosed();

private slots:
    void OnReceiveMsg();
    void OnConnected();
    void OnErrorOccurred(QLocalSocket::LocalSocketError eError);
    void OnStateChanged(QLocalSocket::LocalSocketState eState);
    void OnCheckTimerTimeout();

private:
    Q_DISABLE_COPY(RZCommunicatorClient)

    void StartCheckTimer();
    void StopReConnectToServer();

    QLocalSocket* m_pSocket = nullptr;
    QTimer* m_pCheckTimer = nullptr;
    QString m_strServerName;
    // The reassembly of what the server sends; a frame still unfinished past 64 MiB is dropped.
    QSharedPointer<RZCommunicatorFrame::Reader> m_pReader;
    int m_nErrorCount = 0;
    bool m_bAutoConnect = true;
};

// Lets hosts take sigErrorOccurred through queued connections.
Q_DECLARE_METATYPE(QLocalSocket::LocalSocketError)
