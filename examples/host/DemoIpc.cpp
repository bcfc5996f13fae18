// Process communication: the demo starts itself again as a helper process, talks to it through the
// communicator, and stops it.
#include "DemoHost.h"

#include <RZCore/ipc/RZCommunicator.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QTimer>
#include <QUuid>

#include <functional>

namespace {

const QString kUpper = QStringLiteral("DEMO_UPPER");
const QString kUpperReply = QStringLiteral("DEMO_UPPER_REPLY");
const QString kQuit = QStringLiteral("DEMO_QUIT");

// Runs the event loop until `done` holds or the time is up.
bool waitFor(const std::function<bool()>& done, int nMs = 15000)
{
    QDeadlineTimer oDeadline(nMs);
    QEventLoop oLoop;
    QTimer oPoll;
    QObject::connect(&oPoll, &QTimer::timeout, [&] {
        if (done() || oDeadline.hasExpired())
            oLoop.quit();
    });
    oPoll.start(10);
    if (!done())
        oLoop.exec();
    return done();
}

} // namespace

void demoIpc(DemoContext& /*context*/)
{
    demoSection("process communication");
    const QString strName =
        QStringLiteral("rzcore-demo-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
    const QString strSelf = QCoreApplication::applicationFilePath();
    const QString strHelper = QDir::fromNativeSeparators(strSelf); // the path the helper registers

    RZCommunicatorServer* pServer = RZCommunicatorServer::GetInstance();
    int nPongs = 0;
    QString strReply;
    bool bHelperGone = false;
    QObject::connect(pServer, &RZCommunicatorServer::sigPingPong, [&](const QString& strPath) {
        ++nPongs;
        demoSay(QStringLiteral("sigPingPong #%1 from %2").arg(nPongs).arg(QDir(strPath).dirName()));
    });
    QObject::connect(pServer, &RZCommunicatorServer::sigReceveMsgFrom, [&](const QString& strText) {
        for (const RZCommunicatorMsg& oMsg : RZCommunicatorMsg::buildListFromString(strText))
            if (oMsg.contains(kUpperReply))
                strReply = oMsg.firstContent();
    });
    QObject::connect(pServer, &RZCommunicatorServer::sigClientErr,
                     [&](const QString&) { bHelperGone = true; });

    demoSay(QStringLiteral("listening on \"%1\"; starting this program again as the helper").arg(strName));
    pServer->Listen(strName);
    pServer->StartProcess(strSelf, {QStringLiteral("--ipc-helper"), strName}, true, false);
    if (!waitFor([&] { return pServer->isSocketProcessExists(strHelper); })) {
        demoSay(QStringLiteral("the helper did not connect"));
        RZCommunicatorServer::Release();
        return;
    }
    demoSay(QStringLiteral("the helper connected and registered its path"));
    demoSay(QStringLiteral("a beat on the wire: ") +
            RZCommunicatorMsg(QStringLiteral("CMD_PINGPONG_BEAT"), {}).toString());

    // The host sends its own heartbeat. A frame that shares one read with the server's "next" greeting
    // is never delivered, so the first beat may go unanswered: a heartbeat shrugs that off.
    QTimer oHeartbeat;
    QObject::connect(&oHeartbeat, &QTimer::timeout, [&] {
        pServer->SendMsgToProcess(QStringLiteral("CMD_PINGPONG_BEAT"), {}, strHelper, false);
    });
    oHeartbeat.start(300);
    waitFor([&] { return nPongs >= 3; });
    oHeartbeat.stop();

    const QString strText = QStringLiteral("hello from the main process");
    demoSay(QStringLiteral("sending %1 \"%2\"").arg(kUpper, strText));
    pServer->SendMsgToProcess(kUpper, {strText}, strHelper, false);
    waitFor([&] { return !strReply.isEmpty(); });
    demoSay(QStringLiteral("the helper answered \"%1\"").arg(strReply));

    pServer->SendMsgToProcess(kQuit, {}, strHelper, false);
    waitFor([&] { return bHelperGone; });
    pServer->StartProcess(strSelf, {}, false, false); // forget the exited process
    demoSay(pServer->IsProcessExits(strSelf)
                ? QStringLiteral("helper stopped, its process entry still there")
                : QStringLiteral("helper stopped and its process entry removed"));
    RZCommunicatorServer::Release();
}

int demoIpcHelper(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    RZCommunicatorClient oClient;
    QObject::connect(&oClient, &RZCommunicatorClient::sigRecveMsg, [&](const QString& strText) {
        for (const RZCommunicatorMsg& oMsg : RZCommunicatorMsg::buildListFromString(strText)) {
            if (oMsg.contains(kUpper))
                oClient.SendMsg(kUpperReply, {oMsg.firstContent().toUpper()}, false);
            else if (oMsg.contains(kQuit))
                QCoreApplication::exit(0);
        }
    });
    // The main process went away: nobody to help.
    QObject::connect(&oClient, &RZCommunicatorClient::sigServerClosed, [] { QCoreApplication::exit(1); });
    QTimer::singleShot(60000, [] { QCoreApplication::exit(2); });
    oClient.ConnectToServer(QString::fromLocal8Bit(argv[2]));
    return QCoreApplication::exec();
}
