#pragma once
// One message of the text protocol between the main process and its helper processes, and the
// frame it travels in. A frame is the UTF-8 text
//
//     "CMD_START_SEPARATOR" command "CMD_HEAD_SEPARATOR" contents "CMD_END_SEPARATOR"
//
// with the contents joined by "CMD_CONTENT_SEPARATOR". There is no length field and no escaping: a
// command or content holding one of the four words corrupts its frame, and nothing guards against it.

#include <RZCore/RZCoreExport.h>

#include <QList>
#include <QString>
#include <QStringList>

class RZCORE_EXPORT RZCommunicatorMsg
{
public:
    RZCommunicatorMsg() = default;
    RZCommunicatorMsg(const QString& strCommand, const QStringList& lstContents);
    RZCommunicatorMsg(QString&& strCommand, QStringList&& lstContents) noexcept;
    RZCommunicatorMsg(const RZCommunicatorMsg&) = default;
    RZCommunicatorMsg(RZCommunicatorMsg&&) noexcept = default;
    RZCommunicatorMsg& operator=(const RZCommunicatorMsg&) = default;
    RZCommunicatorMsg& operator=(RZCommunicatorMsg&&) noexcept = default;
    ~RZCommunicatorMsg() = default;

    // The frame text; empty when the command is empty, whatever the contents hold.
    QString toString() const;

    // Every message of one delivered text, in order. A text that does not both start with the start
    // word and end with the end word gives nothing; a body without exactly one head word is skipped.
    // An empty contents list comes back as one empty string: the frame cannot tell them apart.
    static QList<RZCommunicatorMsg> buildListFromString(const QString& strText);

    QString command() const { return m_strCommand; }
    QStringList contents() const { return m_lstContents; }
    // The first content, or an empty string.
    QString firstContent() const;
    // Whole-string, case-sensitive equality with the command (not a substring test, and the contents
    // are not looked at): callers test a message's kind with it.
    bool contains(const QString& strCommand) const;

private:
    QString m_strCommand;
    QStringList m_lstContents;
};
