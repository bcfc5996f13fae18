#pragma once
// The main process's end of the communicator: listens on a named local socket, knows which helper
// executable is behind each accepted socket, sends frames to one helper or to all, and starts and
// stops helper processes. One instance per process, created on the main thread.
//
// The server has no timer: the host sends "CMD_PINGPONG_BEAT" at the rate it wants, the clients
// answer, and the answers surface as sigPingPong. Delivered texts are raw and may hold several
// frames; receivers parse them with RZCommunicatorMsg::buildListFromString.

#include <RZCore/RZCoreExport.h>

#include <QMap>
#include <QObject>
#include <QProcess>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

class QLocalServer;
class QLocalSocket;
class RZProcess;
class SocketMapWrapper;

class RZCORE_EXPORT RZCommunicatorServer : public QObject
{
    Q_OBJECT

public:
    // The first call must come from the main thread: creation takes no lock.
    static RZCommunicatorServer* GetInstance();
    static void Release();

    // Removes a stale socket of that name, then (re)listens on it. The outcome is only logged.
    void Listen(QString strName);

    // bStart: start the helper at `strPath` (no-op while it runs) or stop it and forget it. An empty
    // argument list keeps the arguments of an earlier start.
    void StartProcess(QString strPath, QStringList lstArgs, bool bStart, bool bDetach);

    // Sends one frame to the helper registered under `strPath` (either slash form), or to every
    // helper when that fails and bBroadcastOnFail is set. Always true: the result says nothing about
    // delivery. Callable from any thread.
    bool SendMsgToProcess(QString strCommand, QStringList lstContents, QString strPath,
                          bool bBroadcastOnFail);

    // While blocked, incoming data stays queued on its socket until more data arrives after unblocking.
    void blockServer(bool bBlock);

    // Whether a process entry exists for the path, whatever its state.
    bool IsProcessExits(QString strPath);
    bool IsProcessStarted(QString strPath);
    // Whether a connected helper registered this path (case-sensitive). False for an empty path.
    bool isSocketProcessExists(const QString& strPath) const;

signals:
    void sigReceveMsgFrom(QString strText);
    void sigClientErr(QString ProcessPath);
    void sigPingPong(QString ProcessPath);
    void sigStartFailed(QString ProcessPath, int code);
    void sigTrackPublic();

private slots:
    void OnNewConnection();
    void OnRecvMsg();
    void OnDisconnect();
    void OnClientExit(int nExitCode, QProcess::ExitStatus eStatus);
    void OnClientErr(QProcess::ProcessError eError);

private:
    RZCommunicatorServer();
    ~RZCommunicatorServer() override;
    Q_DISABLE_COPY(RZCommunicatorServer)

    void AddProcess(QString strPath);
    void UpdateLocalSocketProcess(QLocalSocket* pSocket, QString strText);
    QString processPath(const QObject* pProcess) const;

    QMap<QString, RZProcess*> m_mapProcess;
    QSharedPointer<SocketMapWrapper> m_pSocketMap;
    QString m_strRecvBuffer;
    QLocalServer* m_pServer = nullptr;
    bool m_bBlocked = false;
};
