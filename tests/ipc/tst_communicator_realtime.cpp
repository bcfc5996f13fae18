// Communicator behaviour that runs on the client's 1,200 ms check timer or needs many processes:
// reconnection across server restarts, auto-connect off, a detached helper, a broadcast to twenty
// helpers.
#include "IpcTestSupport.h"

#include <RZCore/RZCommunicatorClient.h>
#include <RZCore/RZCommunicatorServer.h>

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QtTest>

#include <memory>
#include <vector>

using IpcTest::frame;

namespace {

// A server in its own process (rz_ipc_helper server), whose output lines tell what it received.
class ServerProcess
{
public:
    explicit ServerProcess(const QString& strName)
    {
        m_oProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_oProcess.start(QStringLiteral(RZ_IPC_HELPER), {QStringLiteral("server"), strName});
    }
    bool waitForListening() { return waitForLine(QStringLiteral("listening")); }
    // Waits until the process has printed `strLine` `nTimes` times in all.
    bool waitForLine(const QString& strLine, int nTimes = 1)
    {
        return QTest::qWaitFor([&] { return count(strLine) >= nTimes; }, 15000);
    }
    int count(const QString& strLine)
    {
        m_strOutput += QString::fromUtf8(m_oProcess.readAllStandardOutput());
        return m_strOutput.split(QLatin1Char('\n')).count(strLine);
    }
    void kill()
    {
        m_oProcess.kill();
        m_oProcess.waitForFinished(10000);
    }

private:
    QProcess m_oProcess;
    QString m_strOutput;
};

QString nameLine()
{
    return QStringLiteral("msg NEW_CLIENT_COMMUNICATOR_NAME ") +
           QDir::fromNativeSeparators(QCoreApplication::applicationFilePath());
}

} // namespace

class TestCommunicatorRealtime : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void clientReconnectsAcrossServerRestarts();
    void autoConnectOffReportsEveryTick();
    void detachedHelperOutlivesTheServer();
    void broadcastReachesTwentyHelpers();
};

void TestCommunicatorRealtime::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestCommunicatorRealtime::clientReconnectsAcrossServerRestarts()
{
    const QString strName = IpcTest::uniqueServerName();
    RZCommunicatorClient oClient;
    QSignalSpy errors(&oClient, &RZCommunicatorClient::sigErrorOccurred);
    QSignalSpy closed(&oClient, &RZCommunicatorClient::sigServerClosed);

    // No server yet: the fifth error in a row reports it closed, and the retries go on.
    oClient.ConnectToServer(strName);
    QTRY_VERIFY_WITH_TIMEOUT(closed.count() >= 2, 15000);
    QCOMPARE(closed.count(), errors.count() - 4);

    // The server appears: the client gets in and names itself.
    auto pServer = std::make_unique<ServerProcess>(strName);
    QVERIFY(pServer->waitForListening());
    QVERIFY(pServer->waitForLine(nameLine()));
    QTRY_VERIFY(oClient.isConnectedState());

    // It dies without closing its socket, and a new one takes the name over: a new name frame.
    pServer->kill();
    QTRY_VERIFY(!oClient.isConnectedState());
    pServer = std::make_unique<ServerProcess>(strName);
    QVERIFY(pServer->waitForListening());
    QVERIFY(pServer->waitForLine(nameLine()));
    QTRY_VERIFY(oClient.isConnectedState());
    pServer->kill();
}

void TestCommunicatorRealtime::autoConnectOffReportsEveryTick()
{
    const QString strName = IpcTest::uniqueServerName();
    auto pServer = std::make_unique<ServerProcess>(strName);
    QVERIFY(pServer->waitForListening());

    RZCommunicatorClient oClient;
    QSignalSpy errors(&oClient, &RZCommunicatorClient::sigErrorOccurred);
    QSignalSpy closed(&oClient, &RZCommunicatorClient::sigServerClosed);
    oClient.ConnectToServer(strName);
    QVERIFY(pServer->waitForLine(nameLine()));
    oClient.SetAutoConnectToServer(false);

    // The server goes away and a new one listens, but the client no longer tries: every tick
    // that finds it unconnected reports the server closed instead.
    pServer->kill();
    QTRY_VERIFY(!oClient.isConnectedState());
    pServer = std::make_unique<ServerProcess>(strName);
    QVERIFY(pServer->waitForListening());
    QTRY_VERIFY_WITH_TIMEOUT(closed.count() >= 3, 10000);
    QVERIFY(errors.count() < 5); // so these came from the timer, not from the error count
    QVERIFY(!oClient.isConnectedState());
    QCOMPARE(pServer->count(nameLine()), 0);
    oClient.DisconnectFromServer();
    pServer->kill();
}

void TestCommunicatorRealtime::detachedHelperOutlivesTheServer()
{
    const QString strName = IpcTest::uniqueServerName();
    const QString strPath = IpcTest::helperPath();
    RZCommunicatorServer* pServer = RZCommunicatorServer::GetInstance();
    pServer->Listen(strName);
    pServer->StartProcess(strPath, {"client", strName, "detached"}, true, true);
    QTRY_VERIFY(pServer->isSocketProcessExists(strPath));

    // The server and its process objects go; the helper stays and finds the next server.
    RZCommunicatorServer::Release();
    pServer = RZCommunicatorServer::GetInstance();
    QSignalSpy received(pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    pServer->Listen(strName);
    QTRY_COMPARE_WITH_TIMEOUT(IpcTest::readyCount(received), 1, 10000);
    QVERIFY(pServer->isSocketProcessExists(strPath));
    QVERIFY(!pServer->IsProcessExits(strPath));
    pServer->SendMsgToProcess("ECHO", {}, strPath, false);
    QTRY_COMPARE(IpcTest::contentsOf(received, "ECHO_REPLY"), (QList<QStringList>{{"detached", ""}}));

    QSignalSpy clientErrors(pServer, &RZCommunicatorServer::sigClientErr);
    pServer->SendMsgToProcess("QUIT", {}, strPath, false);
    QTRY_COMPARE(clientErrors.count(), 1);
    RZCommunicatorServer::Release();
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
        vecHelpers.back()->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        vecHelpers.back()->start(QStringLiteral(RZ_IPC_HELPER), {"client", strName, QString::number(i)});
    }
    QTRY_COMPARE_WITH_TIMEOUT(IpcTest::readyCount(received), kHelpers, 60000);
    QCOMPARE(IpcTest::contentsOf(received, "NEW_CLIENT_COMMUNICATOR_NAME").size(), kHelpers);

    // All twenty registered the same path: a send by path reaches only one of them, a broadcast all.
    pServer->SendMsgToProcess("ECHO", {"one"}, IpcTest::helperPath(), false);
    pServer->SendMsgToProcess("ECHO", {"all"}, QString(), true);
    QSet<QString> setTags;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            for (const QStringList& lstContents : IpcTest::contentsOf(received, "ECHO_REPLY"))
                if (lstContents.value(1) == "all")
                    setTags.insert(lstContents.value(0));
            return setTags.size() == kHelpers;
        }(),
        30000);
    // Each helper answers in order, so a second "one" would have come before its "all".
    QCOMPARE(IpcTest::contentsOf(received, "ECHO_REPLY").size(), kHelpers + 1);

    for (const std::unique_ptr<QProcess>& pHelper : vecHelpers) {
        pHelper->kill();
        pHelper->waitForFinished(10000);
    }
    RZCommunicatorServer::Release();
}

QTEST_GUILESS_MAIN(TestCommunicatorRealtime)
#include "tst_communicator_realtime.moc"
