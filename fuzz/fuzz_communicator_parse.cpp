// Any text through RZCommunicatorMsg::buildListFromString: it must not crash, and what it returns
// must hold what the format promises; where the fast reading of plain frames applies, it must give
// what the rule gives. Text free of frame words also goes through a round trip.
#include <RZCore/ipc/RZCommunicatorFrame_p.h>
#include <RZCore/ipc/RZCommunicatorMsg.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool bHolds)
{
    if (!bHolds)
        std::abort();
}

bool same(const QList<RZCommunicatorMsg>& lstA, const QList<RZCommunicatorMsg>& lstB)
{
    if (lstA.size() != lstB.size())
        return false;
    for (int i = 0; i < lstA.size(); ++i)
        if (lstA.at(i).command() != lstB.at(i).command() || lstA.at(i).contents() != lstB.at(i).contents())
            return false;
    return true;
}

bool holdsFrameWord(const QString& strText)
{
    using namespace RZCommunicatorFrame;
    return strText.contains(kHead) || strText.contains(kContent) || strText.contains(kEnd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QString strText = QString::fromUtf8(reinterpret_cast<const char*>(pData), int(nSize));

    const QList<RZCommunicatorMsg> lstMessages = RZCommunicatorMsg::buildListFromString(strText);
    check(lstMessages.isEmpty() || RZCommunicatorFrame::isWhole(strText));
    for (const RZCommunicatorMsg& oMsg : lstMessages) {
        check(!oMsg.contents().isEmpty()); // empty parts are kept: at least one entry
        check(!oMsg.command().contains(RZCommunicatorFrame::kHead) &&
              !oMsg.command().contains(RZCommunicatorFrame::kEnd));
        for (const QString& strEntry : oMsg.contents())
            check(!holdsFrameWord(strEntry));
        check(oMsg.firstContent() == oMsg.contents().first());
    }
    QList<RZCommunicatorMsg> lstPlain;
    if (RZCommunicatorFrame::isWhole(strText) && RZCommunicatorFrame::readPlainFrames(strText, lstPlain))
        check(same(lstPlain, RZCommunicatorFrame::readByRule(strText)));

    // Lines as command and contents. Without "CMD_" no frame word can appear, or form across a
    // boundary, so the frame must parse back to the same message.
    if (strText.contains(QLatin1String("CMD_")))
        return 0;
    const QStringList lstLines = strText.split(QLatin1Char('\n'));
    const RZCommunicatorMsg oMsg(lstLines.first(), lstLines.mid(1));
    const QString strFrame = oMsg.toString();
    if (oMsg.command().isEmpty()) {
        check(strFrame.isEmpty());
        return 0;
    }
    const QList<RZCommunicatorMsg> lstBack = RZCommunicatorMsg::buildListFromString(strFrame);
    check(lstBack.size() == 1);
    check(lstBack.first().command() == oMsg.command());
    check(lstBack.first().contents() ==
          (oMsg.contents().isEmpty() ? QStringList(QString()) : oMsg.contents()));
    check(lstBack.first().contains(oMsg.command()));
    return 0;
}
