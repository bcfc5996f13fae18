// The client end, against a raw local server in the test, so that every byte on the wire is seen.
#include "IpcTestSupport.h"

#include <RZCore/RZCommunicatorClient.h>

#include <QCoreApplication>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QtTest>

#include <memory>

using IpcTest::frame;

namespace {

QByteArray nameFrame()
{
    return IpcTest::bytes(frame("NEW_CLIENT_COMMUNICATOR_NAME",
                                {QDir::fromNativeSeparators(QCoreApplication::applicationFilePath())}));
}

} // namespace

class TestCommunicatorClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void wireFormat();
    void answers_data();
    void answers();
    void reassembly_data();
    void reassembly();
    void badInputNeverStopsTheClient();

private:
    // Connects a fresh client to the raw server; the server's end of the connection.
    QLocalSocket* connectClient();
    // Reads from the server's end until `nBytes` arrived.
    QByteArray readExactly(int nBytes);
    QLocalSocket* clientSocket() const { return m_pClient->findChild<QLocalSocket*>(); }

    std::unique_ptr<QLocalServer> m_pRawServer;
    std::unique_ptr<RZCommunicatorClient> m_pClient;
    QLocalSocket* m_pPeer = nullptr;
    QString m_strName;
};

void TestCommunicatorClient::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestCommunicatorClient::init()
{
    m_strName = IpcTest::uniqueServerName();
    m_pRawServer = std::make_unique<QLocalServer>();
    QVERIFY(m_pRawServer->listen(m_strName));
    m_pClient = std::make_unique<RZCommunicatorClient>();
}

void TestCommunicatorClient::cleanup()
{
    m_pClient.reset();
    m_pRawServer.reset();
    m_pPeer = nullptr;
}

QLocalSocket* TestCommunicatorClient::connectClient()
{
    m_pClient->ConnectToServer(m_strName);
    if (!m_pRawServer->waitForNewConnection(5000))
        return nullptr;
    m_pPeer = m_pRawServer->nextPendingConnection();
    return m_pPeer;
}

QByteArray TestCommunicatorClient::readExactly(int nBytes)
{
    QByteArray oOut;
    const bool bDone = QTest::qWaitFor(
        [&] {
            oOut += m_pPeer->read(nBytes - oOut.size());
            return oOut.size() >= nBytes;
        },
        5000);
    Q_UNUSED(bDone) // a short read shows in the caller's comparison
    return oOut;
}

void TestCommunicatorClient::wireFormat()
{
    QCOMPARE(m_pClient->SendMsg("A", {}, false), -1); // not connected: nothing is queued

    QVERIFY(connectClient());
    QCOMPARE(readExactly(nameFrame().size()), nameFrame());
    QTRY_VERIFY(m_pClient->isConnectedState());

    // Unlike RZCommunicatorMsg::toString, an empty command still makes a frame.
    const QByteArray oEmpty = IpcTest::bytes(frame("", {"x", "y"}));
    QCOMPARE(m_pClient->SendMsg("", {"x", "y"}, false), oEmpty.size());
    QCOMPARE(readExactly(oEmpty.size()), oEmpty);
}

void TestCommunicatorClient::answers_data()
{
    QTest::addColumn<QString>("incoming");
    QTest::addColumn<QString>("answer"); // what the client writes back before anything else

    const QString beatAnswer = frame("CMD_PINGPONG_BEAT");
    QTest::newRow("beat") << frame("CMD_PINGPONG_BEAT") << beatAnswer;
    QTest::newRow("beat with contents") << frame("CMD_PINGPONG_BEAT", {"42"}) << beatAnswer;
    QTest::newRow("beat word in the contents") << frame("OTHER", {"CMD_PINGPONG_BEAT"}) << beatAnswer;
    QTest::newRow("two beats in one read, one answer")
        << frame("CMD_PINGPONG_BEAT") + frame("CMD_PINGPONG_BEAT") << beatAnswer;
    QTest::newRow("engine beat gets none") << frame("CMD_NATIVEENGINEPINGPONG_BEAT") << "";
    QTest::newRow("lower-case beat gets none") << frame("cmd_pingpong_beat") << "";
    QTest::newRow("ordinary command gets none") << frame("OPEN", {"a"}) << "";
}

void TestCommunicatorClient::answers()
{
    QFETCH(QString, incoming);
    QFETCH(QString, answer);

    QSignalSpy received(m_pClient.get(), &RZCommunicatorClient::sigRecveMsg);
    QVERIFY(connectClient());
    QCOMPARE(readExactly(nameFrame().size()), nameFrame());

    m_pPeer->write(IpcTest::bytes(incoming));
    m_pPeer->flush();
    QTRY_COMPARE(received.count(), 1);
    QCOMPARE(received.at(0).at(0).toString(), incoming); // beats reach the host too

    // The client answers before it raises the signal; a marker sent now lands right behind any answer.
    const QByteArray oMarker = IpcTest::bytes(frame("MARK"));
    QCOMPARE(m_pClient->SendMsg("MARK", {}, false), oMarker.size());
    const QByteArray oExpected = IpcTest::bytes(answer) + oMarker;
    QCOMPARE(readExactly(oExpected.size()), oExpected);
}

void TestCommunicatorClient::reassembly_data()
{
    IpcTest::addReassemblyRows();
}

void TestCommunicatorClient::reassembly()
{
    QFETCH(QList<QByteArray>, reads);
    QFETCH(QStringList, delivered);

    QSignalSpy received(m_pClient.get(), &RZCommunicatorClient::sigRecveMsg);
    QVERIFY(connectClient());
    QTRY_VERIFY(m_pClient->isConnectedState());
    QVERIFY(IpcTest::writeAsSeparateReads(*m_pPeer, clientSocket(), reads));
    QCOMPARE(IpcTest::textsIn(received), delivered);
}

void TestCommunicatorClient::badInputNeverStopsTheClient()
{
    QSignalSpy received(m_pClient.get(), &RZCommunicatorClient::sigRecveMsg);
    QVERIFY(connectClient());
    QTRY_VERIFY(m_pClient->isConnectedState());

    QByteArray oGarbage(256 * 1024, '\0');
    for (char& c : oGarbage)
        c = char(QRandomGenerator::global()->bounded(256));
    m_pPeer->write(IpcTest::bytes(frame("HUGE", {QString(8 * 1024 * 1024, 'x')})));
    m_pPeer->write("CMD_START_SEPARATOR\xff\xfe\xc0\x80"
                   "CMD_HEAD_SEPARATOR\xed\xa0\x80"
                   "CMD_END_SEPARATOR");
    m_pPeer->write(oGarbage);
    QTRY_VERIFY_WITH_TIMEOUT(m_pPeer->bytesToWrite() == 0, 60000);

    // Whole frames still arrive once one is read on its own (earlier ones may share a read with the
    // garbage's tail), and a beat is still answered.
    const QString strProbe = frame("PROBE");
    QVERIFY(QTest::qWaitFor(
        [&] {
            m_pPeer->write(IpcTest::bytes(strProbe));
            m_pPeer->flush();
            return IpcTest::textsIn(received).contains(strProbe);
        },
        10000));
    QCOMPARE(readExactly(nameFrame().size()), nameFrame());
    m_pPeer->write(IpcTest::bytes(frame("CMD_PINGPONG_BEAT")));
    const QByteArray oAnswer = IpcTest::bytes(frame("CMD_PINGPONG_BEAT"));
    QCOMPARE(readExactly(oAnswer.size()), oAnswer);
}

QTEST_GUILESS_MAIN(TestCommunicatorClient)
#include "tst_communicator_client.moc"
