#include <RZCore/ipc/RZCommunicatorMsg.h>

#include "RZCommunicatorFrame_p.h"

#include <QStringView>
#include <QVarLengthArray>

#include <cstring>
#include <utility>

RZCommunicatorMsg::RZCommunicatorMsg(const QString& strCommand, const QStringList& lstContents)
    : m_strCommand(strCommand), m_lstContents(lstContents)
{
}

RZCommunicatorMsg::RZCommunicatorMsg(QString&& strCommand, QStringList&& lstContents) noexcept
    : m_strCommand(std::move(strCommand)), m_lstContents(std::move(lstContents))
{
}

QString RZCommunicatorMsg::toString() const
{
    if (m_strCommand.isEmpty())
        return QString();
    return RZCommunicatorFrame::build(m_strCommand, m_lstContents);
}

namespace RZCommunicatorFrame {
namespace {

enum class Word
{
    None,
    Start,
    Head,
    Content,
    End,
};

struct Candidate
{
    char16_t cLetter; // the letter after "CMD_"
    Word eWord;
    const QString& strWord;
};
const Candidate kWords[] = {
    {u'S', Word::Start, kStart}, {u'H', Word::Head, kHead}, {u'C', Word::Content, kContent}, {u'E', Word::End, kEnd}};

// The next frame word at or after nFrom (its position in nAt), in one pass over the text. Every word
// begins with "CMD_" and none holds "CMD_" anywhere else, so occurrences of the words never overlap
// and each one begins at a "CMD_".
Word nextWord(const QChar* pText, int nSize, int nFrom, int& nAt)
{
    const auto is = [&](int i, const QString& strWord) {
        return i + strWord.size() <= nSize &&
               std::memcmp(pText + i, strWord.constData(), std::size_t(strWord.size()) * sizeof(QChar)) == 0;
    };
    for (int i = nFrom; i + kEnd.size() <= nSize; ++i) { // the end word is the shortest
        if (pText[i].unicode() != u'C' || pText[i + 1].unicode() != u'M' || pText[i + 2].unicode() != u'D' ||
            pText[i + 3].unicode() != u'_')
            continue;
        // The letter after "CMD_" tells which word it can be.
        for (const Candidate& oWord : kWords) {
            if (pText[i + 4].unicode() != oWord.cLetter)
                continue;
            if (is(i, oWord.strWord)) {
                nAt = i;
                return oWord.eWord;
            }
            break;
        }
    }
    return Word::None;
}

} // namespace

// Frames one after another, no start word inside a body: each start word is then a frame's first
// word and the end word found first is the frame's end, so the messages are those of the rule, read
// in one pass and without its copies of the whole text.
bool readPlainFrames(const QString& strText, QList<RZCommunicatorMsg>& lstMessages)
{
    const QChar* pText = strText.constData();
    const int nSize = strText.size();
    QString strCommand; // shared by the messages of a stream of one command
    QVarLengthArray<int, 16> vecCuts; // where the contents begin and end
    int nAt = 0;
    for (int nPos = 0; nPos < nSize;) {
        if (nextWord(pText, nSize, nPos, nAt) != Word::Start || nAt != nPos)
            return false;
        const int nBody = nPos + kStart.size();
        int nHead = -1;
        int nHeads = 0;
        vecCuts.clear();
        Word eWord = Word::None;
        for (int nFrom = nBody; (eWord = nextWord(pText, nSize, nFrom, nAt)) != Word::End;) {
            if (eWord == Word::None || eWord == Word::Start)
                return false;
            if (eWord == Word::Head) {
                nHead = nHeads++ == 0 ? nAt : nHead;
                nFrom = nAt + kHead.size();
                vecCuts.append(nFrom);
            } else {
                nFrom = nAt + kContent.size();
                if (nHeads == 1) // content words before the head belong to the command
                    vecCuts << nAt << nFrom;
            }
        }
        nPos = nAt + kEnd.size();
        if (nHeads != 1)
            continue;
        vecCuts.append(nAt);
        const QStringView oCommand(pText + nBody, nHead - nBody);
        if (oCommand != strCommand)
            strCommand = oCommand.toString();
        QStringList lstContents;
        lstContents.reserve(vecCuts.size() / 2);
        for (int i = 0; i + 1 < vecCuts.size(); i += 2)
            lstContents.append(QString(pText + vecCuts[i], vecCuts[i + 1] - vecCuts[i]));
        lstMessages.append(RZCommunicatorMsg(QString(strCommand), std::move(lstContents)));
    }
    return true;
}

QList<RZCommunicatorMsg> readByRule(const QString& strText)
{
    QList<RZCommunicatorMsg> lstMessages;
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

} // namespace RZCommunicatorFrame

QList<RZCommunicatorMsg> RZCommunicatorMsg::buildListFromString(const QString& strText)
{
    using namespace RZCommunicatorFrame;
    QList<RZCommunicatorMsg> lstMessages;
    if (!isWhole(strText))
        return lstMessages;
    if (readPlainFrames(strText, lstMessages))
        return lstMessages;
    return readByRule(strText);
}

QString RZCommunicatorMsg::firstContent() const
{
    return m_lstContents.isEmpty() ? QString() : m_lstContents.first();
}

bool RZCommunicatorMsg::contains(const QString& strCommand) const
{
    return m_strCommand == strCommand;
}
