// Arbitrary byte chunks through the reassembly rule of both ends, as their sockets deliver them:
// the client's stream starts with the server's "next" greeting, the server's socket's does not. Each
// chunk is one read, decoded on its own, and the reader of each end must agree with the rule.
//
// Input: a sequence of [length byte][that many bytes].
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

// One reading end: its buffer and what went in and came out, which must balance.
struct ReadingEnd
{
    QString strBuffer;
    RZCommunicatorFrame::Reader oReader;
    qsizetype nIn = 0;
    qsizetype nOut = 0;

    void read(const QByteArray& oBytes, bool bServer)
    {
        using namespace RZCommunicatorFrame;
        const QString strRead = QString::fromUtf8(oBytes.constData(), oBytes.size());
        const QString strBefore = strBuffer;
        QString strText;
        const ReadOutcome eOutcome = reassemble(strBuffer, strRead, strText);
        QString strReaderRead;
        QString strReaderText;
        const bool bDelivered = oReader.read(oBytes, strReaderRead, strReaderText);
        check(strReaderRead == strRead && bDelivered == (eOutcome != ReadOutcome::Buffered));
        check(!bDelivered || strReaderText == strText);
        nIn += strRead.size();
        switch (eOutcome) {
        case ReadOutcome::Whole:
            check(strText == strRead && strBuffer == strBefore);
            break;
        case ReadOutcome::Joined:
            check(strText == strBefore + strRead && strBuffer.isEmpty());
            break;
        case ReadOutcome::Buffered:
            check(strBuffer == strBefore + strRead);
            return;
        }
        nOut += strText.size();
        check(isWhole(strText));
        RZCommunicatorMsg::buildListFromString(strText);
        if (bServer) {
            QString strPath;
            check(findClientName(strText, strPath) == strText.contains(kClientName));
        } else {
            needsBeatAnswer(strRead);
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    ReadingEnd oClient;
    ReadingEnd oServer;
    oClient.read(QByteArrayLiteral("next"), false);

    std::size_t nPos = 0;
    while (nPos < nSize) {
        const std::size_t nLength = pData[nPos];
        ++nPos;
        const std::size_t nTake = nLength < nSize - nPos ? nLength : nSize - nPos;
        const QByteArray oChunk(reinterpret_cast<const char*>(pData + nPos), int(nTake));
        nPos += nTake;
        oClient.read(oChunk, false);
        oServer.read(oChunk, true);
    }
    for (const ReadingEnd* pEnd : {&oClient, &oServer})
        check(pEnd->nIn == pEnd->nOut + pEnd->strBuffer.size());
    return 0;
}
