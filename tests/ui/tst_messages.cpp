#include <RZCore/ui/RZMessage.h>

#include <QtTest>

#include <climits>

class CommandMessage : public RZCommandMessage
{
public:
    using RZCommandMessage::insert;
    using RZCommandMessage::RZCommandMessage;
};

class tst_Messages : public QObject
{
    Q_OBJECT

private slots:
    void copyKeepsAcceptedFlag()
    {
        RZMessage message(7);
        QVERIFY(!message.isAccepted());
        message.accept();
        RZMessage copy(message);
        RZMessage assigned(1);
        assigned = message;
        QVERIFY(copy.isAccepted() && assigned.isAccepted());
        QVERIFY(assigned.isType(7) && !assigned.isType(1));
        copy.ignore();
        QVERIFY(!copy.isAccepted() && message.isAccepted());
    }

    void inRange_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("low");
        QTest::addColumn<int>("high");
        QTest::addColumn<bool>("expected");
        QTest::newRow("single point") << 5 << 5 << 5 << true;
        QTest::newRow("empty range, type at low") << 6 << 6 << 5 << false;
        QTest::newRow("empty range, type at high") << 5 << 6 << 5 << false;
        QTest::newRow("low bound included") << 10 << 10 << 20 << true;
        QTest::newRow("high bound included") << 20 << 10 << 20 << true;
        QTest::newRow("below") << 9 << 10 << 20 << false;
        QTest::newRow("above") << 21 << 10 << 20 << false;
        QTest::newRow("negative") << -3 << -5 << -1 << true;
        QTest::newRow("whole int range") << INT_MIN << INT_MIN << INT_MAX << true;
    }
    void inRange()
    {
        QFETCH(int, type);
        QFETCH(int, low);
        QFETCH(int, high);
        QFETCH(bool, expected);
        RZMessage message(type);
        QCOMPARE(message.inRange(low, high), expected);
    }

    // Every accessor of a query works on one value: the last setter wins and getters convert.
    void queryHoldsOneValue_data()
    {
        QTest::addColumn<QStringList>("writes");
        QTest::addColumn<bool>("flag");
        QTest::addColumn<int>("count");
        QTest::addColumn<QRect>("pos");
        QTest::newRow("nothing written") << QStringList() << false << 0 << QRect();
        QTest::newRow("count reads as flag") << QStringList{"count:3"} << true << 3 << QRect();
        QTest::newRow("zero count is false") << QStringList{"count:0"} << false << 0 << QRect();
        QTest::newRow("rect is no count") << QStringList{"count:3", "pos"} << false << 0 << QRect(1, 2, 3, 4);
        QTest::newRow("flag reads as count") << QStringList{"pos", "enabled:1"} << true << 1 << QRect();
        QTest::newRow("playing replaces count") << QStringList{"count:9", "playing:0"} << false << 0 << QRect();
        QTest::newRow("numeric text") << QStringList{"value:12"} << true << 12 << QRect();
        QTest::newRow("text that isn't a number") << QStringList{"value:abc"} << true << 0 << QRect();
    }
    void queryHoldsOneValue()
    {
        QFETCH(QStringList, writes);
        QFETCH(bool, flag);
        QFETCH(int, count);
        QFETCH(QRect, pos);
        RZQueryMessage query(1);
        for (const QString& write : qAsConst(writes)) {
            const QString arg = write.section(':', 1);
            if (write.startsWith("count"))
                query.setCount(arg.toInt());
            else if (write == "pos")
                query.setPos(QRect(1, 2, 3, 4));
            else if (write.startsWith("enabled"))
                query.setEnabled(arg == "1");
            else if (write.startsWith("playing"))
                query.setPlaying(arg == "1");
            else
                query.setValue(arg);
        }
        RZQueryMessage copy(query);
        for (RZQueryMessage* q : {&query, &copy}) {
            QCOMPARE(q->enabled(), flag);
            QCOMPARE(q->inPlaying(), q->enabled());
            QCOMPARE(q->isAudioTransition(), q->enabled());
            QCOMPARE(q->count(), count);
            QCOMPARE(q->getPos(), pos);
        }
        QCOMPARE(query.value().isValid(), !writes.isEmpty());
    }

    void commandFallbacks_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("asInteger");
        QTest::addColumn<bool>("asBool");
        QTest::addColumn<QString>("asString");
        QTest::newRow("missing key takes fallbacks") << "none" << 42 << true << "fallback";
        QTest::newRow("number") << "n" << 7 << true << "7";
        QTest::newRow("text is 0, not the fallback") << "s" << 0 << true << "abc";
        QTest::newRow("zero text") << "z" << 0 << false << "0";
        QTest::newRow("bool") << "b" << 1 << true << "true";
    }
    void commandFallbacks()
    {
        QFETCH(QString, key);
        QFETCH(int, asInteger);
        QFETCH(bool, asBool);
        QFETCH(QString, asString);
        CommandMessage command(3, RZCommandMessage::ModuleType(11), {{"n", 7}, {"s", "abc"}, {"z", "0"}});
        command.insert("b", true);
        QCOMPARE(command.asInteger(key, 42), asInteger);
        QCOMPARE(command.asBool(key, true), asBool);
        QCOMPARE(command.asString(key, "fallback"), asString);
        QCOMPARE(int(command.moduleType()), 11);
        QMap<QString, QVariant> copy = command.getParams();
        copy.insert(key, "copy");
        QCOMPARE(command.asString(key, "fallback"), asString);
        command.params()->insert(key, "live");
        QCOMPARE(command.asString(key, "fallback"), QString("live"));
    }

    void hasDataFollowsDataOnly()
    {
        RZDataMessage message(1);
        int sent = 0, returned = 0;
        message.setRetData(&returned);
        QVERIFY(!message.hasData());
        message.setData(&sent);
        QVERIFY(message.hasData() && message.data() == &sent && message.retData() == &returned);
        message.setData(nullptr);
        QVERIFY(!message.hasData());
    }
};

QTEST_APPLESS_MAIN(tst_Messages)
#include "tst_messages.moc"
