#include <RZCore/ipc/RZCommunicatorMsg.h>

#include "RZCommunicatorFrame_p.h"

RZCommunicatorMsg::RZCommunicatorMsg(const QString& strCommand, const QStringList& lstContents)
    : m_strCommand(strCommand), m_lstContents(lstContents)
{
}

QString RZCommunicatorMsg::toString() const
{
    if (m_strCommand.isEmpty())
        return QString();
    return RZCommunicatorFrame::build(m_strCommand, m_lstContents);
}

QList<RZCommunicatorMsg> RZCommunicatorMsg::buildListFromString(const QString& strText)
{
    using namespace RZCommunicatorFrame;
    QList<RZCommunicatorMsg> lstMessages;
    if (!isWhole(strText))
        return lstMessages;

    QString strBodies = strText;
    strBodies.remove(kStart);
    const QStringList lstBodies = strBodies.split(kEnd, Qt::SkipEmptyParts);
    for (const QString& strBody : lstBodies) {
        const QStringList lstPieces = strBody.split(kHead, Qt::KeepEmptyParts);
        if (lstPieces.size() != 2)
            continue; // malformed bodies are dropped silently; their neighbours survive
        lstMessages.append(
            RZCommunicatorMsg(lstPieces.at(0), lstPieces.at(1).split(kContent, Qt::KeepEmptyParts)));
    }
    return lstMessages;
}

QString RZCommunicatorMsg::firstContent() const
{
    return m_lstContents.isEmpty() ? QString() : m_lstContents.first();
}

bool RZCommunicatorMsg::contains(const QString& strCommand) const
{
    return m_strCommand == strCommand;
}
