#pragma once
// Shared pieces of the communicator tests: per-run socket names, the helper program, and the messages
// a spy caught.

#include <RZCore/ipc/RZCommunicatorMsg.h>

#include <QFileInfo>
#include <QSignalSpy>
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

// Contents of every message with the given command, in the texts a spy caught.
inline QList<QStringList> contentsOf(const QSignalSpy& spy, const QString& strCommand)
{
    QList<QStringList> lstOut;
    for (const QList<QVariant>& lstArgs : spy) {
        const QList<RZCommunicatorMsg> lstMessages =
            RZCommunicatorMsg::buildListFromString(lstArgs.at(0).toString());
        for (const RZCommunicatorMsg& oMsg : lstMessages)
            if (oMsg.contains(strCommand))
                lstOut << oMsg.contents();
    }
    return lstOut;
}

} // namespace IpcTest
