// Communicator behaviour that runs on the client's 1,200 ms check timer or needs many processes:
// reconnection as the server comes and goes, auto-connect off, a detached helper, a broadcast to
// twenty helpers.
#include "IpcTestSupport.h"

#include <RZCore/ipc/RZCommunicatorClient.h>
#include <RZCore/ipc/RZCommunicatorServer.h>

#include <QCoreApplication>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>

#include <memory>
#include <vector>

class TestCommunicatorRealtime : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup() { RZCommunicatorServer::Release(); }

    void clientFollowsTheServer();
    void detachedHelperOutlivesTheServer();
    void broadcastReachesTwentyHelpers();
};

void TestCommunicatorRealtime::clientFollowsTheServer()
{
    const QString strName = IpcTest::uniqueServerName();
    const QString strSelf = QCoreApplication::applicationFilePath();
    RZCommunicatorClient oClient;
    QSignalSpy errors(&oClient, &RZCommunicatorClient::sigErrorOccurred);
    QSignalSpy closed(&oClient, &RZCommunicatorClient::sigServerClosed);

    // No server yet: from the fifth error in a row on, every failed retry reports it closed.
    oClient.ConnectToServer(strName);
    QTRY_VERIFY_WITH_TIMEOUT(closed.count() >= 2, 15000);
    QCOMPARE(closed.count(), errors.count() - 4);

    // A server appears, goes away and comes back: each time the client gets in and names itself.
    for (int i = 0; i < 2; ++i) {
        RZCommunicatorServer::GetInstance()->Listen(strName);
        QTRY_VERIFY(RZCommunicatorServer::GetInstance()->isSocketProcessExists(strSelf));
        RZCommunicatorServer::Release();
        QTRY_VERIFY(!oClient.isConnectedState());
    }

    // With auto-connect off, a server that comes back is not sought: every tick reports it closed.
    RZCommunicatorServer::GetInstance()->Listen(strName);
    QTRY_VERIFY(oClient.isConnectedState());
    oClient.SetAutoConnectToServer(false);
    RZCommunicatorServer::Release();
    QTRY_VERIFY(!oClient.isConnectedState());
    RZCommunicatorServer::GetInstance()->Listen(strName);
    closed.clear();
    QTRY_VERIFY_WITH_TIMEOUT(closed.count() >= 3, 10000);
    QVERIFY(!oClient.isConnectedState());
}

void TestCommunicatorRealtime::detachedHelperOutlivesTheServer()
{
    const QString strName = IpcTest::uniqueServerName();
    const QString strPath = IpcTest::helperPath();
    RZCommunicatorServer::GetInstance()->Listen(strName);
    RZCommunicatorServer::GetInstance()->StartProcess(strPath, {"client", strName, "d"}, true, true);
    QTRY_VERIFY(RZCommunicatorServer::GetInstance()->isSocketProcessExists(strPath));

    // The server and its process objects go; the helper stays and finds the next server.
    RZCommunicatorServer::Release();
    RZCommunicatorServer* pServer = RZCommunicatorServer::GetInstance();
    QSignalSpy received(pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QSignalSpy clientErrors(pServer, &RZCommunicatorServer::sigClientErr);
    pServer->Listen(strName);
    QTRY_COMPARE_WITH_TIMEOUT(IpcTest::contentsOf(received, "READY").size(), 1, 10000);
    pServer->SendMsgToProcess("QUIT", {}, strPath, false);
    QTRY_COMPARE(clientErrors.count(), 1);
}

void TestCommunicatorRealtime::broadcastReachesTwentyHelpers()
{
    constexpr int kHelpers = 20;
    const QString strName = IpcTest::uniqueServerName();
    RZCommunicatorServer* pServer = RZCommunicatorServer::GetInstance();
    QSignalSpy received(pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    pServer->Listen(strName);
    std::vector<std::unique_ptr<QProcess>> vecHelpers;
    for (int i = 0; i < kHelpers; ++i) {
        vecHelpers.push_back(std::make_unique<QProcess>());
        vecHelpers.back()->start(QStringLiteral(RZ_IPC_HELPER), {"client", strName, QString::number(i)});
    }
    QTRY_COMPARE_WITH_TIMEOUT(IpcTest::contentsOf(received, "READY").size(), kHelpers, 60000);

    // All twenty registered the same path: a send by path reaches one of them, a broadcast all.
    pServer->SendMsgToProcess("ECHO", {"one"}, IpcTest::helperPath(), false);
    pServer->SendMsgToProcess("ECHO", {"all"}, QString(), true);
    const auto repliers = [&](const QString& strWord) {
        QSet<QString> setTags;
        for (const QStringList& lstContents : IpcTest::contentsOf(received, "ECHO_REPLY"))
            if (lstContents.value(1) == strWord)
                setTags.insert(lstContents.value(0));
        return setTags.size();
    };
    QTRY_COMPARE_WITH_TIMEOUT(repliers("all"), kHelpers, 30000);
    QCOMPARE(repliers("one"), 1); // each helper answers in order: a second "one" would be in by now

    for (const std::unique_ptr<QProcess>& pHelper : vecHelpers) {
        pHelper->kill();
        pHelper->waitForFinished(10000);
    }
}

QTEST_GUILESS_MAIN(TestCommunicatorRealtime)
#include "tst_communicator_realtime.moc"
