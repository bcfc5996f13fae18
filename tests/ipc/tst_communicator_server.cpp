// The server end, against real helper processes and raw sockets.
#include "IpcTestSupport.h"

#include <RZCore/RZCommunicatorServer.h>
#include <RZTestLogSink.h>

#include <QLocalSocket>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <thread>

#include <algorithm>
#include <memory>
#include <vector>

using IpcTest::frame;

class TestCommunicatorServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void sendRouting_data();
    void sendRouting();
    void beatAnswersRaisePingPong();
    void registration_data();
    void registration();
    void reassembly_data();
    void reassembly();
    void oneBufferForAllSockets();
    void blockedReadsWaitForMoreData();
    void socketLifecycle();
    void startAndStopHelper();
    void restartKeepsEarlierArguments();
    void missingProgramThenAppearing();
    void crashingHelperRaisesStartFailed();
    void sendFromAnotherThread();
    void badInputNeverStopsTheServer();

private:
    QProcess* startHelper(const QStringList& lstArgs);
    // The server's own socket for the n-th accepted connection.
    QLocalSocket* acceptedSocket(int nIndex);
    std::unique_ptr<QLocalSocket> connectRaw(int nAcceptedBefore);

    RZCommunicatorServer* m_pServer = nullptr;
    QString m_strName;
    std::vector<std::unique_ptr<QProcess>> m_vecHelpers;
    std::unique_ptr<RZScopedTestLogger> m_pLog;
};

void TestCommunicatorServer::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(QFileInfo::exists(QStringLiteral(RZ_IPC_HELPER)));
}

void TestCommunicatorServer::init()
{
    m_pLog = std::make_unique<RZScopedTestLogger>();
    m_strName = IpcTest::uniqueServerName();
    m_pServer = RZCommunicatorServer::GetInstance();
    m_pServer->Listen(m_strName);
}

void TestCommunicatorServer::cleanup()
{
    for (const std::unique_ptr<QProcess>& pHelper : m_vecHelpers) {
        pHelper->kill();
        pHelper->waitForFinished(10000);
    }
    m_vecHelpers.clear();
    RZCommunicatorServer::Release();
    m_pServer = nullptr;
    m_pLog.reset();
}

QProcess* TestCommunicatorServer::startHelper(const QStringList& lstArgs)
{
    auto pProcess = std::make_unique<QProcess>();
    pProcess->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    pProcess->start(QStringLiteral(RZ_IPC_HELPER), lstArgs);
    if (!pProcess->waitForStarted(10000))
        return nullptr;
    m_vecHelpers.push_back(std::move(pProcess));
    return m_vecHelpers.back().get();
}

QLocalSocket* TestCommunicatorServer::acceptedSocket(int nIndex)
{
    const QList<QLocalSocket*> lstSockets = m_pServer->findChildren<QLocalSocket*>();
    return nIndex < lstSockets.size() ? lstSockets.at(nIndex) : nullptr;
}

std::unique_ptr<QLocalSocket> TestCommunicatorServer::connectRaw(int nAcceptedBefore)
{
    auto pSocket = std::make_unique<QLocalSocket>();
    pSocket->connectToServer(m_strName);
    if (!pSocket->waitForConnected(5000) ||
        !QTest::qWaitFor([&] { return acceptedSocket(nAcceptedBefore) != nullptr; }, 5000))
        return nullptr;
    return pSocket;
}

void TestCommunicatorServer::sendRouting_data()
{
    QTest::addColumn<QString>("form"); // how the helper's path is given
    QTest::addColumn<bool>("broadcastOnFail");
    QTest::addColumn<bool>("known");
    QTest::addColumn<bool>("reaches");

    QTest::newRow("exact path") << "exact" << false << true << true;
    QTest::newRow("backslash path") << "backslash" << false << true << true;
    QTest::newRow("other letter case") << "upper" << false << false << false;
    QTest::newRow("other letter case, broadcast") << "upper" << true << false << true;
    QTest::newRow("empty path") << "empty" << false << false << false;
    QTest::newRow("empty path, broadcast") << "empty" << true << false << true;
}

void TestCommunicatorServer::sendRouting()
{
    QFETCH(QString, form);
    QFETCH(bool, broadcastOnFail);
    QFETCH(bool, known);
    QFETCH(bool, reaches);

    const QString strPath = IpcTest::helperPath();
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QVERIFY(startHelper({"client", m_strName, "h"}));
    QTRY_COMPARE(IpcTest::readyCount(received), 1);
    QCOMPARE(IpcTest::contentsOf(received, "NEW_CLIENT_COMMUNICATOR_NAME"), QList<QStringList>{{strPath}});

    QString strGiven = strPath;
    if (form == "backslash")
        strGiven.replace('/', '\\');
    else if (form == "upper")
        strGiven = strPath.toUpper();
    else if (form == "empty")
        strGiven.clear();
    QCOMPARE(m_pServer->isSocketProcessExists(strGiven), known);

    m_pLog->sink->clear();
    QVERIFY(m_pServer->SendMsgToProcess("ECHO", {"probe"}, strGiven, broadcastOnFail));
    const std::vector<std::string> vecLines = m_pLog->sink->messages();
    const bool bErrorLogged = std::any_of(vecLines.begin(), vecLines.end(), [&](const std::string& strLine) {
        return strLine == "SendMsgToProcess error,process path " + strGiven.toStdString();
    });
    QCOMPARE(bErrorLogged, !known);

    // One socket keeps its order: once the marker's answer is in, the probe's would be too.
    m_pServer->SendMsgToProcess("ECHO", {"marker"}, strPath, false);
    QTRY_VERIFY(IpcTest::contentsOf(received, "ECHO_REPLY").contains(QStringList{"h", "marker"}));
    QCOMPARE(IpcTest::contentsOf(received, "ECHO_REPLY").contains(QStringList{"h", "probe"}), reaches);
}

void TestCommunicatorServer::beatAnswersRaisePingPong()
{
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QSignalSpy pongs(m_pServer, &RZCommunicatorServer::sigPingPong);
    QVERIFY(startHelper({"client", m_strName}));
    QTRY_COMPARE(IpcTest::readyCount(received), 1);
    for (int i = 0; i < 3; ++i) {
        m_pServer->SendMsgToProcess("CMD_PINGPONG_BEAT", {}, IpcTest::helperPath(), false);
        QTRY_COMPARE(pongs.count(), i + 1);
    }
    for (const QList<QVariant>& lstArgs : pongs)
        QCOMPARE(lstArgs.at(0).toString(), IpcTest::helperPath());
}

void TestCommunicatorServer::registration_data()
{
    QTest::addColumn<QString>("read"); // one read from a raw client
    QTest::addColumn<QString>("path"); // what the socket is registered under; empty: nothing
    QTest::addColumn<int>("pongs");

    const QString name = frame("NEW_CLIENT_COMMUNICATOR_NAME", {"/opt/a"});
    const QString beat = frame("CMD_PINGPONG_BEAT");
    QTest::newRow("name") << name << "/opt/a" << 0;
    QTest::newRow("name without a path keeps the frame's head")
        << frame("NEW_CLIENT_COMMUNICATOR_NAME") << "CMD_START_SEPARATORNEW_CLIENT_COMMUNICATOR_NAME" << 0;
    QTest::newRow("name and beat in one read: no pong") << name + beat << "/opt/a" << 0;
    QTest::newRow("first name frame of a read wins")
        << name + frame("NEW_CLIENT_COMMUNICATOR_NAME", {"/opt/b"}) << "/opt/a" << 0;
    QTest::newRow("beat from an unnamed socket") << beat << "" << 1;
    QTest::newRow("beat word in the contents") << frame("X", {"CMD_PINGPONG_BEAT"}) << "" << 1;
}

void TestCommunicatorServer::registration()
{
    QFETCH(QString, read);
    QFETCH(QString, path);
    QFETCH(int, pongs);

    QSignalSpy pongSpy(m_pServer, &RZCommunicatorServer::sigPingPong);
    std::unique_ptr<QLocalSocket> pRaw = connectRaw(0);
    QVERIFY(pRaw);
    QVERIFY(IpcTest::writeAsSeparateReads(*pRaw, acceptedSocket(0), {IpcTest::bytes(read)}));
    QCOMPARE(pongSpy.count(), pongs);
    if (pongs > 0)
        QCOMPARE(pongSpy.at(0).at(0).toString(), path);
    QCOMPARE(m_pServer->isSocketProcessExists(path), !path.isEmpty());
}

void TestCommunicatorServer::reassembly_data()
{
    IpcTest::addReassemblyRows();
}

void TestCommunicatorServer::reassembly()
{
    QFETCH(QList<QByteArray>, reads);
    QFETCH(QStringList, delivered);

    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    std::unique_ptr<QLocalSocket> pRaw = connectRaw(0);
    QVERIFY(pRaw);
    QVERIFY(IpcTest::writeAsSeparateReads(*pRaw, acceptedSocket(0), reads));
    QCOMPARE(IpcTest::textsIn(received), delivered);
}

void TestCommunicatorServer::oneBufferForAllSockets()
{
    // The head of a frame from one client and the tail from another are joined: the buffer is shared.
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    std::unique_ptr<QLocalSocket> pFirst = connectRaw(0);
    QVERIFY(pFirst);
    std::unique_ptr<QLocalSocket> pSecond = connectRaw(1);
    QVERIFY(pSecond);

    const QByteArray oFrame = IpcTest::bytes(frame("FROM_FIRST", {"x"}));
    QVERIFY(IpcTest::writeAsSeparateReads(*pFirst, acceptedSocket(0), {oFrame.left(30)}));
    QVERIFY(received.isEmpty());
    QVERIFY(IpcTest::writeAsSeparateReads(*pSecond, acceptedSocket(1), {oFrame.mid(30)}));
    QCOMPARE(IpcTest::textsIn(received), QStringList{QString::fromUtf8(oFrame)});
}

void TestCommunicatorServer::blockedReadsWaitForMoreData()
{
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QSignalSpy clientErrors(m_pServer, &RZCommunicatorServer::sigClientErr);
    std::unique_ptr<QLocalSocket> pRaw = connectRaw(0);
    QVERIFY(pRaw);

    m_pServer->blockServer(true);
    QVERIFY(IpcTest::writeAsSeparateReads(*pRaw, acceptedSocket(0), {IpcTest::bytes(frame("A"))}));
    m_pServer->blockServer(false);
    QVERIFY(received.isEmpty());

    // Nothing re-arms the read: the queued frame comes out with the next data, as one text.
    QVERIFY(IpcTest::writeAsSeparateReads(*pRaw, acceptedSocket(0), {IpcTest::bytes(frame("B"))}));
    QCOMPARE(IpcTest::textsIn(received), QStringList{frame("A") + frame("B")});

    // Disconnections are handled while blocked.
    m_pServer->blockServer(true);
    pRaw->disconnectFromServer();
    QTRY_COMPARE(clientErrors.count(), 1);
    QCOMPARE(clientErrors.at(0).at(0).toString(), QString());
}

void TestCommunicatorServer::socketLifecycle()
{
    const QString strPath = IpcTest::helperPath();
    QSignalSpy clientErrors(m_pServer, &RZCommunicatorServer::sigClientErr);
    QProcess* pHelper = startHelper({"client", m_strName});
    QVERIFY(pHelper);
    QTRY_VERIFY(m_pServer->isSocketProcessExists(strPath));

    // Listening again keeps the accepted sockets, and new clients get the greeting.
    m_pServer->Listen(m_strName);
    QVERIFY(m_pServer->isSocketProcessExists(strPath));
    std::unique_ptr<QLocalSocket> pRaw = connectRaw(1);
    QVERIFY(pRaw);
    QTRY_COMPARE(pRaw->bytesAvailable(), qint64(4));
    QCOMPARE(pRaw->readAll(), QByteArray("next"));
    QVERIFY(!m_pServer->isSocketProcessExists(QString())); // the unnamed socket's empty path is no helper

    pHelper->kill(); // SIGKILL: no goodbye
    QTRY_COMPARE(clientErrors.count(), 1);
    QCOMPARE(clientErrors.at(0).at(0).toString(), strPath);
    QVERIFY(!m_pServer->isSocketProcessExists(strPath));
}

void TestCommunicatorServer::startAndStopHelper()
{
    const QString strPath = IpcTest::helperPath();
    QSignalSpy clientErrors(m_pServer, &RZCommunicatorServer::sigClientErr);

    m_pServer->StartProcess(strPath, {"client", m_strName}, false, false);
    QVERIFY(!m_pServer->IsProcessExits(strPath)); // stopping an unknown path creates nothing

    m_pServer->StartProcess(strPath, {"client", m_strName}, true, false);
    QVERIFY(m_pServer->IsProcessExits(strPath));
    QTRY_VERIFY(m_pServer->IsProcessStarted(strPath));
    QTRY_VERIFY(m_pServer->isSocketProcessExists(strPath));

    QSignalSpy failures(m_pServer, &RZCommunicatorServer::sigStartFailed);
    m_pServer->StartProcess(strPath, {}, false, false);
    QVERIFY(!m_pServer->IsProcessExits(strPath));
    // Stopping kills the helper, and the kill takes the error route like any other.
    QCOMPARE(failures.count(), 1);
    QCOMPARE(failures.at(0).at(1).toInt(), int(QProcess::Crashed));
    QTRY_COMPARE(clientErrors.count(), 1);
    QCOMPARE(clientErrors.at(0).at(0).toString(), strPath);
}

void TestCommunicatorServer::restartKeepsEarlierArguments()
{
    const QString strPath = IpcTest::helperPath();
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QSignalSpy clientErrors(m_pServer, &RZCommunicatorServer::sigClientErr);

    m_pServer->StartProcess(strPath, {"client", m_strName, "first"}, true, false);
    QTRY_COMPARE(IpcTest::readyCount(received), 1);
    m_pServer->SendMsgToProcess("QUIT", {}, strPath, false);
    QTRY_COMPARE(clientErrors.count(), 1);
    QTRY_VERIFY(!m_pServer->IsProcessStarted(strPath));
    QVERIFY(m_pServer->IsProcessExits(strPath)); // a normal exit keeps the entry

    // An empty argument list starts the same helper again with the arguments it had.
    m_pServer->StartProcess(strPath, {}, true, false);
    QTRY_COMPARE(IpcTest::readyCount(received), 2);
    m_pServer->SendMsgToProcess("ECHO", {}, strPath, false);
    // (an empty contents list arrives as one empty entry)
    QTRY_COMPARE(IpcTest::contentsOf(received, "ECHO_REPLY"), (QList<QStringList>{{"first", ""}}));
    QCOMPARE(IpcTest::contentsOf(received, "NEW_CLIENT_COMMUNICATOR_NAME").size(), 2);
    m_pServer->StartProcess(strPath, {}, false, false);
}

void TestCommunicatorServer::missingProgramThenAppearing()
{
    QTemporaryDir oDir;
    QVERIFY(oDir.isValid());
    const QString strPath = oDir.filePath("later-helper");
    QSignalSpy failures(m_pServer, &RZCommunicatorServer::sigStartFailed);

    m_pServer->StartProcess(strPath, {}, true, false);
    QVERIFY(m_pServer->IsProcessExits(strPath)); // the entry stays, without a program
    QVERIFY(!m_pServer->IsProcessStarted(strPath));
    m_pServer->StartProcess(strPath, {}, false, false);
    QVERIFY(m_pServer->IsProcessExits(strPath)); // stop gives up too: the file is missing
    QVERIFY(failures.isEmpty());

    QFile oFile(strPath);
    QVERIFY(oFile.open(QIODevice::WriteOnly));
    oFile.close();
    // The old entry has no program, so this start fails and drops it.
    m_pServer->StartProcess(strPath, {}, true, false);
    QTRY_COMPARE(failures.count(), 1);
    QCOMPARE(failures.at(0).at(0).toString(), strPath);
    QCOMPARE(failures.at(0).at(1).toInt(), int(QProcess::FailedToStart));
    QVERIFY(!m_pServer->IsProcessExits(strPath));
}

void TestCommunicatorServer::crashingHelperRaisesStartFailed()
{
    const QString strPath = IpcTest::helperPath();
    QSignalSpy failures(m_pServer, &RZCommunicatorServer::sigStartFailed);
    m_pServer->StartProcess(strPath, {"crash"}, true, false);
    QTRY_COMPARE(failures.count(), 1);
    QCOMPARE(failures.at(0).at(0).toString(), strPath);
    QCOMPARE(failures.at(0).at(1).toInt(), int(QProcess::Crashed));
    QVERIFY(!m_pServer->IsProcessExits(strPath));
}

void TestCommunicatorServer::sendFromAnotherThread()
{
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QVERIFY(startHelper({"client", m_strName, "t"}));
    QTRY_COMPARE(IpcTest::readyCount(received), 1);

    // The main thread waits, so the worker's blocking waits are what moves the bytes. A standard
    // thread, so that its join is visible to ThreadSanitizer.
    std::thread oWorker([this] {
        m_pServer->SendMsgToProcess("ECHO", {"direct"}, IpcTest::helperPath(), false);
        m_pServer->SendMsgToProcess("ECHO", {"broadcast"}, QString(), true);
    });
    oWorker.join();
    QTRY_COMPARE(IpcTest::contentsOf(received, "ECHO_REPLY"),
                 (QList<QStringList>{{"t", "direct"}, {"t", "broadcast"}}));
}

void TestCommunicatorServer::badInputNeverStopsTheServer()
{
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    std::unique_ptr<QLocalSocket> pRaw = connectRaw(0);
    QVERIFY(pRaw);

    QByteArray oGarbage(256 * 1024, '\0');
    for (char& c : oGarbage)
        c = char(QRandomGenerator::global()->bounded(256));
    const QByteArray oHuge = IpcTest::bytes(frame("HUGE", {QString(8 * 1024 * 1024, 'x')}));
    const QByteArray oInvalid("CMD_START_SEPARATOR\xff\xfe\xc0\x80"
                              "CMD_HEAD_SEPARATOR\xed\xa0\x80"
                              "CMD_END_SEPARATOR");
    pRaw->write(oHuge);
    pRaw->write(oInvalid);
    pRaw->write(oGarbage);
    pRaw->write(oInvalid);
    QTRY_VERIFY_WITH_TIMEOUT(pRaw->bytesToWrite() == 0, 60000);

    // A well-formed client is still heard.
    std::unique_ptr<QLocalSocket> pGood = connectRaw(1);
    QVERIFY(pGood);
    pGood->write(IpcTest::bytes(frame("STILL_HERE")));
    QTRY_VERIFY(IpcTest::textsIn(received).contains(frame("STILL_HERE")));
}

QTEST_GUILESS_MAIN(TestCommunicatorServer)
#include "tst_communicator_server.moc"
