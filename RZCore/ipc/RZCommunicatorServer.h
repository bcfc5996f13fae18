#pragma once
// The main process's end of the communicator: listens on a named local socket, knows which helper
// executable is behind each accepted socket, sends frames to one helper or to all, and starts and
// stops helper processes. One instance per process, created on the main thread.
//
// The server has no timer: the host sends "CMD_PINGPONG_BEAT" at the rate it wants, the clients
// answer, and the answers surface as sigPingPong. Delivered texts are raw and may hold several
// frames; receivers parse them with RZCommunicatorMsg::buildListFromString.
//
// Each accepted socket is read on its own: a frame split across reads is joined from that socket's
// reads only, and a frame still unfinished past 64 MiB is dropped (logged once per socket), without
// any effect on the other helpers.

#include <RZCore/RZCoreExport.h>

#include <QHash>
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
namespace RZCommunicatorFrame {
class Reader;
}

class RZCORE_EXPORT RZCommunicatorServer : public QObject
{
    Q_OBJECT

public:
    // The first call must come from the main thread: creation takes no lock.
    static RZCommunicatorServer* GetInstance();
    static void Release();

    // Removes a stale socket of that name, then (re)listens on it. The outcome is only logged.
    void Listen(QString strName);
    // Who may connect, and so register as a helper, receive broadcasts and send commands. By default
    // on Linux only processes of this user (the socket file is the user's alone); on Windows every
    // local account, as the product always had it. World access lets helpers that run under other
    // accounts in: a choice for the host to make knowingly. Takes effect at the next Listen.
    void setWorldAccess(bool bWorld);

    // bStart: start the helper at `strPath` (no-op while it runs) or stop it and forget it. An empty
    // argument list keeps the arguments of an earlier start.
    void StartProcess(QString strPath, QStringList lstArgs, bool bStart, bool bDetach);

    // Sends one frame to the helper registered under `strPath` (either slash form), or to every
    // helper when that fails and bBroadcastOnFail is set. Always true: the result says nothing about
    // delivery. Callable from any thread: a socket is only ever written on its own thread, so a send
    // from another thread hands the write over and returns at once; each sender's frames leave in the
    // order it sent them.
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

protected:
    // Takes the writes that other threads hand to a socket's thread.
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;

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
    // One reader per accepted socket, made by its first read.
    QHash<QLocalSocket*, QSharedPointer<RZCommunicatorFrame::Reader>> m_hashReaders;
    QLocalServer* m_pServer = nullptr;
    bool m_bBlocked = false;
};
