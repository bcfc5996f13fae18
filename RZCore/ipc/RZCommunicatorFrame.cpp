#include "RZCommunicatorFrame_p.h"

#include <QStringList>

#include <utility>

namespace RZCommunicatorFrame {

QString build(const QString& strCommand, const QStringList& lstContents)
{
    // One allocation: frames are built at the rate they are sent.
    int nSize = kStart.size() + strCommand.size() + kHead.size() + kEnd.size();
    for (const QString& strContent : lstContents)
        nSize += strContent.size() + kContent.size();
    QString strFrame;
    strFrame.reserve(nSize);
    strFrame.append(kStart).append(strCommand).append(kHead);
    for (int i = 0; i < lstContents.size(); ++i) {
        if (i > 0)
            strFrame.append(kContent);
        strFrame.append(lstContents.at(i));
    }
    return strFrame.append(kEnd);
}

bool isWhole(const QString& strText)
{
    return strText.startsWith(kStart) && strText.endsWith(kEnd);
}

ReadOutcome reassemble(QString& strBuffer, const QString& strRead, QString& strDelivered)
{
    if (isWhole(strRead)) {
        strDelivered = strRead;
        return ReadOutcome::Whole;
    }
    if (strRead.endsWith(kEnd) && strBuffer.startsWith(kStart)) {
        // Appended and moved out: the buffer, which may be long, is not copied again.
        strBuffer += strRead;
        strDelivered = std::move(strBuffer);
        strBuffer = QString();
        return ReadOutcome::Joined;
    }
    strBuffer += strRead;
    return ReadOutcome::Buffered;
}

bool Reader::read(const QByteArray& oBytes, QString& strRead, QString& strDelivered)
{
    strRead = QString::fromUtf8(oBytes.constData(), oBytes.size());
    if (m_bDropping && !isWhole(strRead)) {
        m_bDropping = !strRead.endsWith(kEnd);
        return false;
    }
    m_bDropping = false;
    switch (reassemble(m_strBuffer, strRead, strDelivered)) {
    case ReadOutcome::Whole:
        return true;
    case ReadOutcome::Joined:
        m_nPendingBytes = 0;
        return true;
    case ReadOutcome::Buffered:
        break;
    }
    m_nPendingBytes += oBytes.size();
    if (m_nPendingBytes <= kMaxPendingBytes)
        return false;
    // The frame's tail goes as well when it comes, so that it does not start a buffer that no later
    // read could complete.
    m_strBuffer = QString();
    m_nPendingBytes = 0;
    m_bDropping = !strRead.endsWith(kEnd);
    ++m_nDrops;
    return false;
}

bool Reader::takeFirstDrop()
{
    if (m_nDrops == 0 || m_bFirstDropTaken)
        return false;
    m_bFirstDropTaken = true;
    return true;
}

bool findClientName(const QString& strDelivered, QString& strPath)
{
    if (!strDelivered.contains(kClientName))
        return false;
    const QStringList lstParts = strDelivered.split(kEnd, Qt::SkipEmptyParts);
    for (const QString& strPart : lstParts) {
        if (!strPart.contains(kClientName))
            continue;
        // Empty pieces are dropped, so a name frame without a path yields its own head as the path.
        const QStringList lstPieces = strPart.split(kHead, Qt::SkipEmptyParts);
        strPath = lstPieces.isEmpty() ? QString() : lstPieces.last();
        return true;
    }
    return false; // not reached: the name word cannot overlap an end word
}

bool needsBeatAnswer(const QString& strRead)
{
    // The engine beat (kEngineBeat) is recognised by hosts only; the client never answers it.
    return strRead.contains(kBeat);
}

QString normalizedPath(const QString& strPath)
{
    QString strOut = strPath;
    strOut.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return strOut;
}

} // namespace RZCommunicatorFrame
