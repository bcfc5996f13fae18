#pragma once
// Shared pieces of the communicator tests: per-run socket names, the helper program, frames written
// out by hand, and the reassembly cases that both ends must handle alike.

#include <RZCore/RZCommunicatorMsg.h>

#include <QByteArray>
#include <QFileInfo>
#include <QList>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QtTest>

namespace IpcTest {

// A fresh name per call, so that parallel test runs never meet on a socket.
inline QString uniqueServerName()
{
    return QStringLiteral("rzcore-tst-") + QUuid::createUuid().toString(QUuid::Id128).left(16);
}

// The path a helper registers: the canonical path of its executable.
inline QString helperPath()
{
    return QFileInfo(QStringLiteral(RZ_IPC_HELPER)).canonicalFilePath();
}

// A frame spelled out, independent of the code under test.
inline QString frame(const QString& strCommand, const QStringList& lstContents = {})
{
    return QStringLiteral("CMD_START_SEPARATOR") + strCommand + QStringLiteral("CMD_HEAD_SEPARATOR") +
           lstContents.join(QStringLiteral("CMD_CONTENT_SEPARATOR")) + QStringLiteral("CMD_END_SEPARATOR");
}

inline QByteArray bytes(const QString& strText)
{
    return strText.toUtf8();
}

// Every message in the texts a spy caught (first argument of each emission).
inline QList<RZCommunicatorMsg> messagesIn(const QSignalSpy& spy)
{
    QList<RZCommunicatorMsg> lstOut;
    for (const QList<QVariant>& lstArgs : spy)
        lstOut += RZCommunicatorMsg::buildListFromString(lstArgs.at(0).toString());
    return lstOut;
}

inline QStringList textsIn(const QSignalSpy& spy)
{
    QStringList lstOut;
    for (const QList<QVariant>& lstArgs : spy)
        lstOut << lstArgs.at(0).toString();
    return lstOut;
}

// Contents of every message with the given command.
inline QList<QStringList> contentsOf(const QSignalSpy& spy, const QString& strCommand)
{
    QList<QStringList> lstOut;
    for (const RZCommunicatorMsg& oMsg : messagesIn(spy))
        if (oMsg.contains(strCommand))
            lstOut << oMsg.contents();
    return lstOut;
}

// Helpers say "READY" once they have read the server's greeting; anything sent earlier could share
// a read with the greeting and be lost.
inline int readyCount(const QSignalSpy& spy)
{
    return contentsOf(spy, QStringLiteral("READY")).size();
}

// Writes each chunk and waits until the reading socket has taken it, so that every chunk is one
// read at the other end.
inline bool writeAsSeparateReads(QLocalSocket& writer, QLocalSocket* pReader,
                                 const QList<QByteArray>& lstChunks)
{
    QSignalSpy readSpy(pReader, &QLocalSocket::readyRead);
    for (int i = 0; i < lstChunks.size(); ++i) {
        writer.write(lstChunks.at(i));
        writer.flush();
        if (!QTest::qWaitFor([&] { return readSpy.count() > i; }, 5000))
            return false;
    }
    return true;
}

// Reassembly cases, read by read: what the reading end delivers, in order.
inline void addReassemblyRows()
{
    QTest::addColumn<QList<QByteArray>>("reads");
    QTest::addColumn<QStringList>("delivered");

    const QString f1 = frame(QStringLiteral("ONE"), {QStringLiteral("a"), QStringLiteral("b")});
    const QString f2 = frame(QStringLiteral("TWO"));
    const QByteArray b1 = bytes(f1);
    const QByteArray b2 = bytes(f2);
    const QByteArray greeting("next");

    QTest::newRow("whole frame") << QList<QByteArray>{b1} << QStringList{f1};
    QTest::newRow("two frames in one read") << QList<QByteArray>{b1 + b2} << QStringList{f1 + f2};
    QTest::newRow("split in two") << QList<QByteArray>{b1.left(25), b1.mid(25)} << QStringList{f1};
    QTest::newRow("cut inside the start word never completes")
        << QList<QByteArray>{b1.left(10), b1.mid(10)} << QStringList{};
    QTest::newRow("split in three") << QList<QByteArray>{b1.left(5), b1.mid(5, 30), b1.mid(35)}
                                    << QStringList{f1};
    QTest::newRow("cut inside the end word never completes")
        << QList<QByteArray>{b1.left(b1.size() - 3), b1.right(3)} << QStringList{};
    QTest::newRow("tail of one frame with a whole second")
        << QList<QByteArray>{b1.left(25), b1.mid(25) + b2} << QStringList{f1 + f2};
    QTest::newRow("whole frame while a head waits")
        << QList<QByteArray>{b1.left(25), b2, b1.mid(25)} << QStringList{f2, f1};
    QTest::newRow("complete and partial in one read")
        << QList<QByteArray>{b1 + b2.left(8), b2.mid(8)} << QStringList{f1 + f2};
    QTest::newRow("trailing bytes hold a frame back") << QList<QByteArray>{b1 + "xy", b2} << QStringList{f2};
    QTest::newRow("greeting, then a whole frame") << QList<QByteArray>{greeting, b1} << QStringList{f1};
    QTest::newRow("greeting keeps split frames for good")
        << QList<QByteArray>{greeting, b1.left(25), b1.mid(25), b2} << QStringList{f2};
    QTest::newRow("greeting in the same read as a frame")
        << QList<QByteArray>{greeting + b1} << QStringList{};
    QTest::newRow("lower-case words are plain text")
        << QList<QByteArray>{QByteArray("cmd_start_separatorONEcmd_head_separatorcmd_end_separator")}
        << QStringList{};

    // "café" cut between the two bytes of "é": each half is decoded alone and both are damaged.
    const QByteArray cafe = bytes(frame(QStringLiteral("TXT"), {QStringLiteral("caf\u00e9")}));
    const int nCut = cafe.indexOf('\xc3') + 1;
    const QString damaged = frame(QStringLiteral("TXT"), {QStringLiteral("caf\ufffd\ufffd")});
    QTest::newRow("cut UTF-8 character")
        << QList<QByteArray>{cafe.left(nCut), cafe.mid(nCut)} << QStringList{damaged};
}

} // namespace IpcTest
