// The frame format; how each end reads frames off a real socket (the reassembly rule, helpers'
// names, beats, bad input); and the server against real helper processes it starts and stops.
#include "IpcTestSupport.h"
#include "RZTestLogSink.h"

#include <RZCore/ipc/RZCommunicatorClient.h>
#include <RZCore/ipc/RZCommunicatorServer.h>

#include <QCoreApplication>
#include <QDir>
#include <QLocalServer>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Reads = QList<QByteArray>;

// A frame spelled out, independent of the code under test.
QString frame(const QString& strCommand, const QStringList& lstContents = {})
{
    return QStringLiteral("CMD_START_SEPARATOR") + strCommand + QStringLiteral("CMD_HEAD_SEPARATOR") +
           lstContents.join(QStringLiteral("CMD_CONTENT_SEPARATOR")) + QStringLiteral("CMD_END_SEPARATOR");
}

QStringList textsIn(const QSignalSpy& spy)
{
    QStringList lstOut;
    for (const QList<QVariant>& lstArgs : spy)
        lstOut << lstArgs.at(0).toString();
    return lstOut;
}

// Writes each chunk through the next writer in turn and waits until the matching reader has taken
// it, so that every chunk is one read at the other end.
bool writeAsSeparateReads(const QList<QLocalSocket*>& lstWriters, const QList<QLocalSocket*>& lstReaders,
                          const Reads& lstChunks)
{
    for (int i = 0; i < lstChunks.size(); ++i) {
        QSignalSpy readSpy(lstReaders.at(i % lstReaders.size()), &QLocalSocket::readyRead);
        lstWriters.at(i % lstWriters.size())->write(lstChunks.at(i));
        if (!readSpy.wait(5000))
            return false;
    }
    return true;
}

} // namespace

class TestCommunicator : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init();
    void cleanup();

    void messageValue();
    void buildListFromString_data();
    void buildListFromString();
    void reassembly_data();
    void reassembly();
    void beatsAndNames_data();
    void beatsAndNames();
    void blockedReadsWaitForMoreData();
    void badInputNeverStopsEitherEnd();
    void onePeerCannotBreakTheOthers();
    void helperLifecycle();
    void sendsFromFourThreads();
    void startFailures();

private:
    // The server end, fed by two raw sockets; m_lstAccepted are the server's own ends of them.
    QString m_strName;
    RZCommunicatorServer* m_pServer = nullptr;
    QList<QLocalSocket*> m_lstToServer;
    QList<QLocalSocket*> m_lstAccepted;
    // The client end, connected to a raw server.
    std::unique_ptr<QLocalServer> m_pRawServer;
    std::unique_ptr<RZCommunicatorClient> m_pClient;
    QLocalSocket* m_pToClient = nullptr;
};

void TestCommunicator::init()
{
    m_strName = IpcTest::uniqueServerName();
    m_pServer = RZCommunicatorServer::GetInstance();
    m_pServer->Listen(m_strName);
    for (int i = 0; i < 2; ++i) {
        m_lstToServer << new QLocalSocket();
        m_lstToServer.last()->connectToServer(m_strName);
        QVERIFY(m_lstToServer.last()->waitForConnected(5000));
        QTRY_COMPARE(m_pServer->findChildren<QLocalSocket*>().size(), i + 1);
    }
    m_lstAccepted = m_pServer->findChildren<QLocalSocket*>();

    const QString strRawName = m_strName + QStringLiteral("-raw");
    m_pRawServer = std::make_unique<QLocalServer>();
    QVERIFY(m_pRawServer->listen(strRawName));
    m_pClient = std::make_unique<RZCommunicatorClient>();
    m_pClient->ConnectToServer(strRawName);
    QVERIFY(m_pRawServer->waitForNewConnection(5000));
    m_pToClient = m_pRawServer->nextPendingConnection();
    // The client names itself first.
    const QByteArray oName = frame("NEW_CLIENT_COMMUNICATOR_NAME",
                                   {QDir::fromNativeSeparators(QCoreApplication::applicationFilePath())})
                                 .toUtf8();
    QTRY_COMPARE(m_pToClient->bytesAvailable(), qint64(oName.size()));
    QCOMPARE(m_pToClient->readAll(), oName);
}

void TestCommunicator::cleanup()
{
    m_pClient.reset();
    m_pRawServer.reset();
    qDeleteAll(m_lstToServer);
    m_lstToServer.clear();
    RZCommunicatorServer::Release();
}

void TestCommunicator::messageValue()
{
    QCOMPARE(RZCommunicatorMsg("OPEN", {"a", "b"}).toString(),
             QString("CMD_START_SEPARATOROPENCMD_HEAD_SEPARATORaCMD_CONTENT_SEPARATORbCMD_END_SEPARATOR"));
    QCOMPARE(RZCommunicatorMsg("", {"a"}).toString(), QString());

    // Whole-string, case-sensitive equality with the command; the contents are not looked at.
    const RZCommunicatorMsg oMsg("CMD_PINGPONG_BEAT", {"OPEN"});
    QVERIFY(oMsg.contains("CMD_PINGPONG_BEAT"));
    QVERIFY(!oMsg.contains("PINGPONG"));
    QVERIFY(!oMsg.contains("cmd_pingpong_beat"));
    QVERIFY(!oMsg.contains("OPEN"));
    QVERIFY(!RZCommunicatorMsg("BEAT", {}).contains("CMD_PINGPONG_BEAT"));
}

void TestCommunicator::buildListFromString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<QStringList>>("expected"); // command, then contents

    const QString strBad = "CMD_START_SEPARATORnoheadCMD_END_SEPARATOR"
                           "CMD_START_SEPARATORBADCMD_HEAD_SEPARATORxCMD_HEAD_SEPARATORyCMD_END_SEPARATOR";
    QTest::newRow("round trip") << RZCommunicatorMsg("OPEN", {"a", "", "b"}).toString()
                                << QList<QStringList>{{"OPEN", "a", "", "b"}};
    QTest::newRow("no contents come back as one empty entry")
        << RZCommunicatorMsg("BEAT", {}).toString() << QList<QStringList>{{"BEAT", ""}};
    QTest::newRow("empty command") << frame("", {"x"}) << QList<QStringList>{{"", "x"}};
    QTest::newRow("joined frames in order")
        << frame("A", {"1"}) + frame("B") << QList<QStringList>{{"A", "1"}, {"B", ""}};
    QTest::newRow("trailing bytes") << frame("A") + "x" << QList<QStringList>{};
    QTest::newRow("greeting before a frame") << "next" + frame("A") << QList<QStringList>{};
    QTest::newRow("bodies without one head word drop alone")
        << frame("A") + strBad + frame("B") << QList<QStringList>{{"A", ""}, {"B", ""}};
    QTest::newRow("every start word goes, inside a body too")
        << frame("A", {"xCMD_START_SEPARATORy"}) + frame("B") << QList<QStringList>{{"A", "xy"}, {"B", ""}};
}

void TestCommunicator::buildListFromString()
{
    QFETCH(QString, text);
    QFETCH(QList<QStringList>, expected);
    QList<QStringList> lstParsed;
    for (const RZCommunicatorMsg& oMsg : RZCommunicatorMsg::buildListFromString(text))
        lstParsed << (QStringList(oMsg.command()) + oMsg.contents());
    QCOMPARE(lstParsed, expected);
}

void TestCommunicator::reassembly_data()
{
    QTest::addColumn<Reads>("reads");
    QTest::addColumn<QStringList>("delivered");

    const QString f1 = frame("ONE", {"a", "b"});
    const QString f2 = frame("TWO");
    const QByteArray b1 = f1.toUtf8();
    const QByteArray b2 = f2.toUtf8();
    QTest::newRow("whole frame") << Reads{b1} << QStringList{f1};
    QTest::newRow("split frames") << Reads{b1.left(25), b1.mid(25), b2.left(25), b2.mid(25)}
                                  << QStringList{f1, f2};
    QTest::newRow("cut inside the start word never completes")
        << Reads{b1.left(10), b1.mid(10)} << QStringList{};
    QTest::newRow("whole frame while a head waits")
        << Reads{b1.left(25), b2, b1.mid(25)} << QStringList{f2, f1};
    QTest::newRow("trailing bytes hold a frame back") << Reads{b1 + "xy", b2} << QStringList{f2};
    QTest::newRow("greeting keeps split frames for good")
        << Reads{"next", b1.left(25), b1.mid(25), b2} << QStringList{f2};
    QTest::newRow("greeting in the same read as a frame") << Reads{"next" + b1} << QStringList{};
    // A NUL is a character like any other: the rest of the read is not lost behind it.
    const QString fNul = frame("NUL", {QStringLiteral("a") + QChar(0) + QStringLiteral("b")});
    QTest::newRow("NUL inside a frame") << Reads{fNul.toUtf8() + b2} << QStringList{fNul + f2};

    // "café" cut between the two bytes of "é": each half is decoded alone and both are damaged.
    const QByteArray cafe = frame("TXT", {QStringLiteral("caf\u00e9")}).toUtf8();
    const int nCut = cafe.indexOf('\xc3') + 1;
    QTest::newRow("cut UTF-8 character") << Reads{cafe.left(nCut), cafe.mid(nCut)}
                                         << QStringList{frame("TXT", {QStringLiteral("caf\ufffd\ufffd")})};
}

void TestCommunicator::reassembly()
{
    QFETCH(Reads, reads);
    QFETCH(QStringList, delivered);

    QSignalSpy fromServer(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QSignalSpy fromClient(m_pClient.get(), &RZCommunicatorClient::sigRecveMsg);
    QVERIFY(writeAsSeparateReads({m_lstToServer.at(0)}, {m_lstAccepted.at(0)}, reads));
    QVERIFY(writeAsSeparateReads({m_pToClient}, {m_pClient->findChild<QLocalSocket*>()}, reads));
    QCOMPARE(textsIn(fromServer), delivered);
    QCOMPARE(textsIn(fromClient), delivered);
}

void TestCommunicator::beatsAndNames_data()
{
    QTest::addColumn<QString>("read");  // one read, at each end
    QTest::addColumn<QString>("path");  // what the server registers the socket under; empty: nothing
    QTest::addColumn<int>("pongs");     // sigPingPong at the server
    QTest::addColumn<bool>("answered"); // whether the client answers with a beat

    const QString strName = frame("NEW_CLIENT_COMMUNICATOR_NAME", {"/opt/a"});
    const QString strBeat = frame("CMD_PINGPONG_BEAT", {"42"});
    QTest::newRow("name") << strName << "/opt/a" << 0 << false;
    QTest::newRow("name without a path keeps the frame's head")
        << frame("NEW_CLIENT_COMMUNICATOR_NAME") << "CMD_START_SEPARATORNEW_CLIENT_COMMUNICATOR_NAME" << 0
        << false;
    QTest::newRow("name and beat in one read") << strName + strBeat << "/opt/a" << 0 << true;
    QTest::newRow("beat") << strBeat << "" << 1 << true;
    QTest::newRow("two beats in one read") << strBeat + strBeat << "" << 1 << true;
    QTest::newRow("beat word in the contents") << frame("X", {"CMD_PINGPONG_BEAT"}) << "" << 1 << true;
    QTest::newRow("engine beat") << frame("CMD_NATIVEENGINEPINGPONG_BEAT") << "" << 0 << false;
}

void TestCommunicator::beatsAndNames()
{
    QFETCH(QString, read);
    QFETCH(QString, path);
    QFETCH(int, pongs);
    QFETCH(bool, answered);

    QSignalSpy pongSpy(m_pServer, &RZCommunicatorServer::sigPingPong);
    QVERIFY(writeAsSeparateReads({m_lstToServer.at(0)}, {m_lstAccepted.at(0)}, {read.toUtf8()}));
    QCOMPARE(pongSpy.count(), pongs);
    QCOMPARE(m_pServer->isSocketProcessExists(path), !path.isEmpty());

    QSignalSpy received(m_pClient.get(), &RZCommunicatorClient::sigRecveMsg);
    m_pToClient->write(read.toUtf8());
    QTRY_COMPARE(textsIn(received), QStringList{read}); // beats reach the host too
    // The answer goes out before the signal, so a frame sent now lands right behind it. Unlike
    // RZCommunicatorMsg::toString, the client makes a frame of an empty command too.
    const QByteArray oMarker = frame("", {"x"}).toUtf8();
    QCOMPARE(m_pClient->SendMsg("", {"x"}, false), oMarker.size());
    const QByteArray oExpected = (answered ? frame("CMD_PINGPONG_BEAT") : QString()).toUtf8() + oMarker;
    QTRY_COMPARE(m_pToClient->bytesAvailable(), qint64(oExpected.size()));
    QCOMPARE(m_pToClient->readAll(), oExpected);
}

void TestCommunicator::blockedReadsWaitForMoreData()
{
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QLocalSocket* pWriter = m_lstToServer.at(0);

    m_pServer->blockServer(true);
    QVERIFY(writeAsSeparateReads({pWriter}, {m_lstAccepted.at(0)}, {frame("A").toUtf8()}));
    m_pServer->blockServer(false);
    QVERIFY(received.isEmpty());
    // Nothing re-arms the read: the queued frame comes out with the next data, as one text.
    QVERIFY(writeAsSeparateReads({pWriter}, {m_lstAccepted.at(0)}, {frame("B").toUtf8()}));
    QCOMPARE(textsIn(received), QStringList{frame("A") + frame("B")});
}

void TestCommunicator::badInputNeverStopsEitherEnd()
{
    QSignalSpy fromServer(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QByteArray oGarbage(256 * 1024, '\0');
    for (char& c : oGarbage)
        c = char(QRandomGenerator::global()->bounded(256));
    const QByteArray oBad = frame("HUGE", {QString(8 * 1024 * 1024, 'x')}).toUtf8() +
                            "CMD_START_SEPARATOR\xff\xfe\xc0\x80"
                            "CMD_HEAD_SEPARATOR\xed\xa0\x80"
                            "CMD_END_SEPARATOR" +
                            oGarbage;
    m_lstToServer.at(0)->write(oBad);
    m_pToClient->write(oBad);
    QTRY_VERIFY_WITH_TIMEOUT(m_lstToServer.at(0)->bytesToWrite() + m_pToClient->bytesToWrite() == 0, 60000);

    // A frame read on its own still gets through at both ends: the server hears it, the client
    // answers the beat (its first tries may share a read with the garbage's tail).
    const QByteArray oBeat = frame("CMD_PINGPONG_BEAT").toUtf8();
    m_lstToServer.at(1)->write(oBeat);
    QTRY_VERIFY(textsIn(fromServer).contains(QString::fromUtf8(oBeat)));
    const auto bAnswered = [&] {
        m_pToClient->write(oBeat);
        return m_pToClient->bytesAvailable() >= oBeat.size();
    };
    QVERIFY(QTest::qWaitFor(bAnswered, 10000));
    QVERIFY(m_pToClient->readAll().startsWith(oBeat));
}

void TestCommunicator::onePeerCannotBreakTheOthers()
{
    RZScopedTestLogger log;
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    const QByteArray oFrame = frame("SPLIT", {"x"}).toUtf8();
    // Each socket has a buffer of its own: bytes that are no frame, or a frame cut inside its end
    // word, on one socket leave another socket's split frames alone (and are never joined to them).
    QVERIFY(writeAsSeparateReads({m_lstToServer.at(0)}, {m_lstAccepted.at(0)}, {"junk", oFrame.chopped(3)}));
    QVERIFY(writeAsSeparateReads({m_lstToServer.at(1)}, {m_lstAccepted.at(1)}, {oFrame.left(25), oFrame.mid(25)}));
    QCOMPARE(textsIn(received), QStringList{QString::fromUtf8(oFrame)});

    // A frame that grows past 64 MiB unfinished is dropped as it comes, and said once.
    m_lstToServer.at(0)->write("CMD_START_SEPARATOR" + QByteArray(64 * 1024 * 1024 + 1, 'x') +
                               "CMD_END_SEPARATOR");
    const auto dropped = [&log] {
        int nLines = 0;
        for (const std::string& strLine : log.sink->messages())
            nLines += strLine.find("64 MiB") != std::string::npos ? 1 : 0;
        return nLines;
    };
    QTRY_COMPARE_WITH_TIMEOUT(dropped(), 1, 120000);
    QVERIFY(writeAsSeparateReads({m_lstToServer.at(1)}, {m_lstAccepted.at(1)}, {oFrame.left(25), oFrame.mid(25)}));
    QCOMPARE(textsIn(received).size(), 2);
}

void TestCommunicator::helperLifecycle()
{
    const QString strPath = IpcTest::helperPath();
    QString strBackslashed = strPath;
    strBackslashed.replace('/', '\\');
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    QSignalSpy pongs(m_pServer, &RZCommunicatorServer::sigPingPong);
    QSignalSpy clientErrors(m_pServer, &RZCommunicatorServer::sigClientErr);
    QSignalSpy failures(m_pServer, &RZCommunicatorServer::sigStartFailed);
    // The socket is the user's alone, unless the host lets other accounts in.
    const auto othersMay = [this] {
        return QFileInfo(QDir::tempPath() + '/' + m_strName).permissions() &
               (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther);
    };
    QCOMPARE(othersMay(), QFile::Permissions());

    m_pServer->StartProcess(strPath, {"client", m_strName, "h"}, true, false);
    QTRY_COMPARE(IpcTest::contentsOf(received, "READY").size(), 1);
    QCOMPARE(IpcTest::contentsOf(received, "NEW_CLIENT_COMMUNICATOR_NAME"), QList<QStringList>{{strPath}});
    QVERIFY(m_pServer->IsProcessStarted(strPath));

    // A normal exit ends the connection but keeps the entry; an empty argument list starts the
    // helper again with the arguments it had.
    m_pServer->SendMsgToProcess("QUIT", {}, strPath, false);
    QTRY_COMPARE(clientErrors.count(), 1);
    QTRY_VERIFY(!m_pServer->IsProcessStarted(strPath));
    QVERIFY(m_pServer->IsProcessExits(strPath));
    m_pServer->StartProcess(strPath, {}, true, false);
    QTRY_COMPARE(IpcTest::contentsOf(received, "READY"), (QList<QStringList>{{"h"}, {"h"}}));

    m_pServer->SendMsgToProcess("CMD_PINGPONG_BEAT", {}, strPath, false);
    QTRY_COMPARE(pongs.count(), 1);
    QCOMPARE(pongs.at(0).at(0).toString(), strPath);

    // From another thread (the writes wait for this thread's event loop): the backslash form of the
    // path finds the helper, another letter case does not, unless the send may fall back to a
    // broadcast. A standard thread, so that its join is visible to ThreadSanitizer.
    QVERIFY(m_pServer->isSocketProcessExists(strBackslashed));
    std::thread oWorker([&] {
        m_pServer->SendMsgToProcess("ECHO", {"backslash"}, strBackslashed, false);
        m_pServer->SendMsgToProcess("ECHO", {"lost"}, strPath.toUpper(), false);
        m_pServer->SendMsgToProcess("ECHO", {"broadcast"}, strPath.toUpper(), true);
    });
    oWorker.join();
    // One socket keeps its order: "lost" would come before "broadcast".
    QTRY_COMPARE(IpcTest::contentsOf(received, "ECHO_REPLY"),
                 (QList<QStringList>{{"h", "backslash"}, {"h", "broadcast"}}));

    // Stopping kills the helper (SIGKILL): the kill takes the error route, and the server reports
    // the lost connection.
    m_pServer->StartProcess(strPath, {}, false, false);
    QVERIFY(!m_pServer->IsProcessExits(strPath));
    QCOMPARE(failures.count(), 1);
    QCOMPARE(failures.at(0).at(1).toInt(), int(QProcess::Crashed));
    QTRY_COMPARE(clientErrors.count(), 2);
    QCOMPARE(clientErrors.at(1).at(0).toString(), strPath);
    QVERIFY(!m_pServer->isSocketProcessExists(strPath));

    m_pServer->setWorldAccess(true);
    m_pServer->Listen(m_strName);
    QCOMPARE(othersMay() & QFile::WriteOther, QFile::WriteOther);
}

namespace {

std::mutex g_oWarningsMutex;
QStringList g_lstWarnings;

void keepWarnings(QtMsgType eType, const QMessageLogContext&, const QString& strMessage)
{
    if (eType == QtDebugMsg || eType == QtInfoMsg)
        return;
    std::lock_guard<std::mutex> oLock(g_oWarningsMutex);
    g_lstWarnings << strMessage;
}

} // namespace

void TestCommunicator::sendsFromFourThreads()
{
    // Worker threads send while this thread reads the same socket: each sender's frames arrive in
    // its order, and no socket is ever touched from a thread it does not belong to.
    constexpr int kSenders = 4;
    constexpr int kFrames = 50;
    const QString strPath = IpcTest::helperPath();
    QSignalSpy received(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom);
    m_pServer->StartProcess(strPath, {"client", m_strName, "h"}, true, false);
    QTRY_COMPARE(IpcTest::contentsOf(received, "READY").size(), 1);

    g_lstWarnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(keepWarnings);
    std::vector<std::thread> vecSenders;
    for (int t = 0; t < kSenders; ++t)
        vecSenders.emplace_back([this, t, strPath] {
            for (int i = 0; i < kFrames; ++i)
                m_pServer->SendMsgToProcess("ECHO", {QString::number(t), QString::number(i)}, strPath, false);
        });
    QTRY_COMPARE_WITH_TIMEOUT(IpcTest::contentsOf(received, "ECHO_REPLY").size(), kSenders * kFrames, 30000);
    for (std::thread& oSender : vecSenders)
        oSender.join();
    qInstallMessageHandler(previous);
    QCOMPARE(g_lstWarnings, QStringList());

    QList<QStringList> lstExpected;
    for (int i = 0; i < kFrames; ++i)
        lstExpected << QStringList{"h", QString::number(i)};
    QList<QStringList> lstBySender[kSenders];
    for (const QStringList& lstReply : IpcTest::contentsOf(received, "ECHO_REPLY"))
        lstBySender[lstReply.value(1).toInt()] << QStringList{lstReply.value(0), lstReply.value(2)};
    for (int t = 0; t < kSenders; ++t)
        QCOMPARE(lstBySender[t], lstExpected);

    m_pServer->SendMsgToProcess("QUIT", {}, strPath, false);
    QTRY_VERIFY(!m_pServer->IsProcessStarted(strPath));
}

void TestCommunicator::startFailures()
{
    const QString strPath = IpcTest::helperPath();
    QTemporaryDir oDir;
    const QString strMissing = oDir.filePath("later-helper");
    QSignalSpy failures(m_pServer, &RZCommunicatorServer::sigStartFailed);

    // A missing program keeps an entry that never starts, and reports nothing.
    m_pServer->StartProcess(strMissing, {}, true, false);
    QVERIFY(m_pServer->IsProcessExits(strMissing));
    QVERIFY(!m_pServer->IsProcessStarted(strMissing));

    m_pServer->StartProcess(strPath, {"crash"}, true, false);
    QTRY_COMPARE(failures.count(), 1);
    QCOMPARE(failures.at(0), (QVariantList{strPath, int(QProcess::Crashed)}));
    QVERIFY(!m_pServer->IsProcessExits(strPath));

    // The entry made while the file was missing has no program: once the file is there, its start
    // fails and drops it.
    QFile oFile(strMissing);
    QVERIFY(oFile.open(QIODevice::WriteOnly));
    oFile.close();
    m_pServer->StartProcess(strMissing, {}, true, false);
    QTRY_COMPARE(failures.count(), 2);
    QCOMPARE(failures.at(1), (QVariantList{strMissing, int(QProcess::FailedToStart)}));
    QVERIFY(!m_pServer->IsProcessExits(strMissing));
}

QTEST_GUILESS_MAIN(TestCommunicator)
#include "tst_communicator.moc"
