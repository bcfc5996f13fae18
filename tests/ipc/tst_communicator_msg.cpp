// The frame format: building, parsing, and the message value.
#include "IpcTestSupport.h"

#include <RZCore/RZCommunicatorMsg.h>

#include <QtTest>

using IpcTest::frame;

namespace {

// A parsed message as one list: the command, then the contents.
QList<QStringList> flatten(const QList<RZCommunicatorMsg>& lstMessages)
{
    QList<QStringList> lstOut;
    for (const RZCommunicatorMsg& oMsg : lstMessages)
        lstOut << (QStringList(oMsg.command()) + oMsg.contents());
    return lstOut;
}

} // namespace

class TestCommunicatorMsg : public QObject
{
    Q_OBJECT

private slots:
    void toString_data();
    void toString();
    void buildListFromString_data();
    void buildListFromString();
    void containsIsWholeCommandEquality_data();
    void containsIsWholeCommandEquality();
};

void TestCommunicatorMsg::toString_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("contents");
    QTest::addColumn<QString>("expected");

    QTest::newRow("command and two contents")
        << "OPEN" << QStringList{"a", "b"}
        << "CMD_START_SEPARATOROPENCMD_HEAD_SEPARATORaCMD_CONTENT_SEPARATORbCMD_END_SEPARATOR";
    QTest::newRow("no contents: nothing between head and end")
        << "CMD_PINGPONG_BEAT" << QStringList{}
        << "CMD_START_SEPARATORCMD_PINGPONG_BEATCMD_HEAD_SEPARATORCMD_END_SEPARATOR";
    // clang-format off
    QTest::newRow("empty entries keep their place")
        << "X" << QStringList{"", "b", ""}
        << "CMD_START_SEPARATORX" "CMD_HEAD_SEPARATOR" "CMD_CONTENT_SEPARATOR" "b" "CMD_CONTENT_SEPARATOR"
           "CMD_END_SEPARATOR";
    // clang-format on
    QTest::newRow("non-ASCII text") << "T" << QStringList{"\u00e9\u4e2d"}
                                    << "CMD_START_SEPARATORTCMD_HEAD_SEPARATOR\u00e9\u4e2dCMD_END_SEPARATOR";
    QTest::newRow("empty command gives nothing") << "" << QStringList{"a"} << "";
}

void TestCommunicatorMsg::toString()
{
    QFETCH(QString, command);
    QFETCH(QStringList, contents);
    QFETCH(QString, expected);
    QCOMPARE(RZCommunicatorMsg(command, contents).toString(), expected);
}

void TestCommunicatorMsg::buildListFromString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<QStringList>>("expected"); // command, then contents

    const QString dup = "CMD_START_SEPARATORBADCMD_HEAD_SEPARATORxCMD_HEAD_SEPARATORyCMD_END_SEPARATOR";
    QTest::newRow("one frame") << frame("OPEN", {"a", "b"}) << QList<QStringList>{{"OPEN", "a", "b"}};
    QTest::newRow("no contents parse as one empty entry")
        << frame("BEAT") << QList<QStringList>{{"BEAT", ""}};
    QTest::newRow("backslash path survives")
        << frame("NEW_CLIENT_COMMUNICATOR_NAME", {"C:\\a b\\c.exe"})
        << QList<QStringList>{{"NEW_CLIENT_COMMUNICATOR_NAME", "C:\\a b\\c.exe"}};
    QTest::newRow("empty command") << frame("", {"x"}) << QList<QStringList>{{"", "x"}};
    QTest::newRow("empty first entry") << frame("C", {"", "b"}) << QList<QStringList>{{"C", "", "b"}};
    QTest::newRow("joined frames in order")
        << frame("A", {"1"}) + frame("B") << QList<QStringList>{{"A", "1"}, {"B", ""}};
    QTest::newRow("trailing bytes") << frame("A") + "x" << QList<QStringList>{};
    QTest::newRow("leading bytes") << "x" + frame("A") << QList<QStringList>{};
    QTest::newRow("two head words drop that body only")
        << frame("A") + dup + frame("B") << QList<QStringList>{{"A", ""}, {"B", ""}};
    QTest::newRow("body without head word dropped")
        << frame("A") + "CMD_START_SEPARATORnoheadCMD_END_SEPARATOR" << QList<QStringList>{{"A", ""}};
    QTest::newRow("start word removed everywhere")
        << "CMD_START_SEPARATORACMD_START_SEPARATORBCMD_HEAD_SEPARATORxCMD_START_SEPARATORyCMD_END_SEPARATOR"
        << QList<QStringList>{{"AB", "xy"}};
    QTest::newRow("start and end only") << "CMD_START_SEPARATORCMD_END_SEPARATOR" << QList<QStringList>{};
    QTest::newRow("lower-case words are plain text")
        << "cmd_start_separatorAcmd_head_separatorcmd_end_separator" << QList<QStringList>{};
    QTest::newRow("empty text") << "" << QList<QStringList>{};
    QTest::newRow("greeting before a frame") << "next" + frame("A") << QList<QStringList>{};
}

void TestCommunicatorMsg::buildListFromString()
{
    QFETCH(QString, text);
    QFETCH(QList<QStringList>, expected);
    QCOMPARE(flatten(RZCommunicatorMsg::buildListFromString(text)), expected);
}

void TestCommunicatorMsg::containsIsWholeCommandEquality_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("contents");
    QTest::addColumn<QString>("probe");
    QTest::addColumn<bool>("expected");

    QTest::newRow("equal") << "CMD_PINGPONG_BEAT" << QStringList{} << "CMD_PINGPONG_BEAT" << true;
    QTest::newRow("substring of the command") << "CMD_PINGPONG_BEAT" << QStringList{} << "PINGPONG" << false;
    QTest::newRow("command is a substring") << "BEAT" << QStringList{} << "CMD_PINGPONG_BEAT" << false;
    QTest::newRow("other case") << "Open" << QStringList{} << "OPEN" << false;
    QTest::newRow("contents not looked at") << "A" << QStringList{"OPEN"} << "OPEN" << false;
    QTest::newRow("both empty") << "" << QStringList{} << "" << true;
}

void TestCommunicatorMsg::containsIsWholeCommandEquality()
{
    QFETCH(QString, command);
    QFETCH(QStringList, contents);
    QFETCH(QString, probe);
    QFETCH(bool, expected);
    QCOMPARE(RZCommunicatorMsg(command, contents).contains(probe), expected);
}

QTEST_GUILESS_MAIN(TestCommunicatorMsg)
#include "tst_communicator_msg.moc"
