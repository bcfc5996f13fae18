// A helper process for the communicator tests, started as a real child process.
//
//   rz_ipc_helper client <server-name> [tag]   connects with RZCommunicatorClient, sends "READY"
//                                              (tag) once it has read the server's greeting, and
//                                              answers "ECHO" with "ECHO_REPLY" (tag, then the
//                                              contents) and "QUIT" by exiting with code 0
//   rz_ipc_helper server <server-name>         listens with RZCommunicatorServer and prints one line
//                                              per message received: "msg <command> <contents|...>"
//   rz_ipc_helper crash                        aborts at once
//
// Every mode gives up after a bounded time (exit code 3), so that a failed test leaves nothing behind.
#include <RZCore/RZCommunicator.h>
#include <RZCore/log/RZBaseLog.h>

#include <QCoreApplication>
#include <QLocalSocket>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kLifetimeMs = 90000;

int runClient(const QString& strServer, const QString& strTag)
{
    RZCommunicatorClient oClient;
    QObject::connect(&oClient, &RZCommunicatorClient::sigRecveMsg, [&](const QString& strText) {
        const QList<RZCommunicatorMsg> lstMessages = RZCommunicatorMsg::buildListFromString(strText);
        for (const RZCommunicatorMsg& oMsg : lstMessages) {
            if (oMsg.contains(QStringLiteral("ECHO")))
                oClient.SendMsg(QStringLiteral("ECHO_REPLY"), QStringList(strTag) + oMsg.contents(), false);
            else if (oMsg.contains(QStringLiteral("QUIT")))
                QCoreApplication::exit(0);
        }
    });
    // A frame that shares a read with the greeting is never delivered, so tests send nothing before
    // this helper has read the greeting on each connection.
    auto* pSocket = oClient.findChild<QLocalSocket*>();
    bool bAwaitingGreeting = false;
    QObject::connect(pSocket, &QLocalSocket::connected, [&] { bAwaitingGreeting = true; });
    QObject::connect(pSocket, &QLocalSocket::readyRead, [&] {
        if (!bAwaitingGreeting)
            return;
        bAwaitingGreeting = false;
        oClient.SendMsg(QStringLiteral("READY"), QStringList(strTag), false);
    });
    oClient.ConnectToServer(strServer);
    return QCoreApplication::exec();
}

int runServer(const QString& strName)
{
    RZCommunicatorServer* pServer = RZCommunicatorServer::GetInstance();
    QObject::connect(pServer, &RZCommunicatorServer::sigReceveMsgFrom, [](const QString& strText) {
        const QList<RZCommunicatorMsg> lstMessages = RZCommunicatorMsg::buildListFromString(strText);
        for (const RZCommunicatorMsg& oMsg : lstMessages)
            std::printf("msg %s %s\n", qUtf8Printable(oMsg.command()),
                        qUtf8Printable(oMsg.contents().join(QLatin1Char('|'))));
        std::fflush(stdout);
    });
    pServer->Listen(strName);
    std::printf("listening\n");
    std::fflush(stdout);
    const int nCode = QCoreApplication::exec();
    RZCommunicatorServer::Release();
    return nCode;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    RZBaseLog::setLevel(RZBaseLog::LogLevel::warn); // keep stdout for the protocol lines
    const QStringList lstArgs = QCoreApplication::arguments();
    const QString strMode = lstArgs.value(1);
    if (strMode == QLatin1String("crash"))
        std::abort();

    QTimer::singleShot(kLifetimeMs, [] { QCoreApplication::exit(3); });
    if (strMode == QLatin1String("client") && lstArgs.size() >= 3)
        return runClient(lstArgs.at(2), lstArgs.value(3));
    if (strMode == QLatin1String("server") && lstArgs.size() >= 3)
        return runServer(lstArgs.at(2));
    std::fprintf(stderr, "usage: rz_ipc_helper client <server> [tag] | server <name> | crash\n");
    return 2;
}
