// A helper process for the communicator tests, started as a real child process.
//
//   rz_ipc_helper client <server-name> [tag]   connects with RZCommunicatorClient, sends "READY"
//                                              (tag) once it has read the server's greeting, answers
//                                              "ECHO" with "ECHO_REPLY" (tag, then the contents) and
//                                              exits with code 0 on "QUIT"
//   rz_ipc_helper crash                        aborts at once
//
// A client gives up after a bounded time (exit code 3), so that a failed test leaves nothing behind.
#include <RZCore/ipc/RZCommunicator.h>

#include <QCoreApplication>
#include <QLocalSocket>
#include <QTimer>

#include <cstdlib>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList lstArgs = QCoreApplication::arguments();
    if (lstArgs.value(1) == QLatin1String("crash"))
        std::abort();
    if (lstArgs.value(1) != QLatin1String("client") || lstArgs.size() < 3)
        return 2;

    const QString strTag = lstArgs.value(3);
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
        if (bAwaitingGreeting)
            oClient.SendMsg(QStringLiteral("READY"), QStringList(strTag), false);
        bAwaitingGreeting = false;
    });
    QTimer::singleShot(90000, [] { QCoreApplication::exit(3); });
    oClient.ConnectToServer(lstArgs.at(2));
    return QCoreApplication::exec();
}
