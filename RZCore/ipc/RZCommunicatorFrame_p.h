#pragma once
// Frame words and the reading rules shared by both ends of the communicator. Qt Core only, so the
// fuzz targets build these sources alone. Not installed.

#include <QByteArray>
#include <QList>
#include <QString>

class RZCommunicatorMsg;

namespace RZCommunicatorFrame {

inline const QString kStart = QStringLiteral("CMD_START_SEPARATOR");
inline const QString kHead = QStringLiteral("CMD_HEAD_SEPARATOR");
inline const QString kContent = QStringLiteral("CMD_CONTENT_SEPARATOR");
inline const QString kEnd = QStringLiteral("CMD_END_SEPARATOR");

inline const QString kClientName = QStringLiteral("NEW_CLIENT_COMMUNICATOR_NAME");
inline const QString kBeat = QStringLiteral("CMD_PINGPONG_BEAT");
inline const QString kEngineBeat = QStringLiteral("CMD_NATIVEENGINEPINGPONG_BEAT");

// The frame text, built without looking at the command (the client sends empty commands too).
QString build(const QString& strCommand, const QStringList& lstContents);

// The two readings of a whole text behind RZCommunicatorMsg::buildListFromString (defined beside it).
// The rule: remove every start word, split at the end word dropping empty parts, keep the parts with
// exactly one head word. And the fast reading of a text that is frames one after another with no
// start word inside a body, which gives the same messages; false for any other text.
QList<RZCommunicatorMsg> readByRule(const QString& strText);
bool readPlainFrames(const QString& strText, QList<RZCommunicatorMsg>& lstMessages);

// Whether a decoded read is a whole frame: it starts with the start word and ends with the end word.
bool isWhole(const QString& strText);

// How one decoded read went through the reassembly rule.
enum class ReadOutcome
{
    Whole,    // delivered as it stands; the buffer was not touched
    Joined,   // the buffer followed by the read was delivered; the buffer is now empty
    Buffered, // appended to the buffer; nothing delivered
};

// Applies the reassembly rule to one decoded read. The buffer persists across reads (and across
// connections), and a text that never completes stays in it. Splitting is by reads, not by frames: a
// read that ends on a frame boundary releases everything buffered before it.
ReadOutcome reassemble(QString& strBuffer, const QString& strRead, QString& strDelivered);

// One socket's reading end: each read decoded on its own, by its length (a NUL is a character like
// any other), then through the reassembly rule with this reader's own buffer. A frame that is still
// unfinished past kMaxPendingBytes is dropped: the buffer is emptied, and the rest of that frame is
// dropped as it arrives, up to the first read that ends on a frame end or is a whole frame itself.
class Reader
{
public:
    static constexpr qint64 kMaxPendingBytes = qint64(64) * 1024 * 1024;

    // True when a text was delivered (in strDelivered); strRead gets the decoded read in any case.
    bool read(const QByteArray& oBytes, QString& strRead, QString& strDelivered);
    // True once, after the first drop: the reader's owner says it once per socket.
    bool takeFirstDrop();

private:
    QString m_strBuffer;
    qint64 m_nPendingBytes = 0;
    bool m_bDropping = false;
    bool m_bFirstDropTaken = false;
    int m_nDrops = 0;
};

// The server's side of a delivered text. The path named by the first name frame of the text (empty
// parts dropped, last piece after the head word), or an empty string when the text holds no name frame.
bool findClientName(const QString& strDelivered, QString& strPath);

// The client's side: whether a read holds a beat that the client answers. Any occurrence counts,
// contents included.
bool needsBeatAnswer(const QString& strRead);

// A path in the form clients register: forward slashes. Backslashes are converted on every platform,
// so that a caller's Windows-form path still finds its helper.
QString normalizedPath(const QString& strPath);

} // namespace RZCommunicatorFrame
