#include <RZCore/ui/RZMessage.h>

#include <QtTest>

#include <functional>

struct QueryCase
{
    std::function<void(RZQueryMessage&)> write;
    bool flag;
    int count;
    QRect pos;
};
Q_DECLARE_METATYPE(QueryCase)

class tst_Messages : public QObject
{
    Q_OBJECT

private slots:
    void flagsAndPointers()
    {
        RZMessage message(5), assigned(1);
        message.accept();
        RZMessage copy(message);
        assigned = message;
        QVERIFY(copy.isAccepted() && assigned.isAccepted() && assigned.isType(5));
        QVERIFY(message.inRange(5, 5) && message.inRange(4, 5) && !message.inRange(6, 5) &&
                !message.inRange(6, 9));
        RZDataMessage data(1);
        int sent = 0;
        data.setRetData(&sent);
        QVERIFY(!data.isAccepted() && !data.hasData()); // retData doesn't count
        data.setData(&sent);
        QVERIFY(data.hasData());
    }

    // All accessors of a query share one value: the last setter wins and every getter converts.
    void queryHoldsOneValue_data()
    {
        QTest::addColumn<QueryCase>("c");
        const QRect r(1, 2, 3, 4);
        QTest::newRow("nothing") << QueryCase{[](RZQueryMessage&) {}, false, 0, QRect()};
        QTest::newRow("count reads as flag")
            << QueryCase{[](RZQueryMessage& q) { q.setCount(3); }, true, 3, QRect()};
        QTest::newRow("rect, no count")
            << QueryCase{[=](RZQueryMessage& q) { q.setCount(3), q.setPos(r); }, false, 0, r};
        QTest::newRow("flag replaces rect")
            << QueryCase{[=](RZQueryMessage& q) { q.setPos(r), q.setPlaying(true); }, true, 1, QRect()};
        QTest::newRow("not a number")
            << QueryCase{[](RZQueryMessage& q) { q.setValue("abc"); }, true, 0, QRect()};
    }
    void queryHoldsOneValue()
    {
        QFETCH(QueryCase, c);
        RZQueryMessage query(1);
        c.write(query);
        const RZQueryMessage copy(query);
        QCOMPARE(copy.enabled(), c.flag);
        QCOMPARE(copy.isAudioTransition(), c.flag);
        QCOMPARE(copy.count(), c.count);
        QCOMPARE(query.getPos(), c.pos);
    }

    void commandFallbacks_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected"); // asInteger, asBool, asString with fallbacks 42, true, "fb"
        QTest::newRow("missing key: fallbacks") << "none"
                                                << "42 1 fb";
        QTest::newRow("number") << "n"
                                << "7 1 7";
        QTest::newRow("text: 0, not the fallback") << "s"
                                                   << "0 1 abc";
        QTest::newRow("zero text") << "z"
                                   << "0 0 0";
    }
    void commandFallbacks()
    {
        QFETCH(QString, key);
        QFETCH(QString, expected);
        RZCommandMessage command(3, RZCommandMessage::ModuleType(11), {{"n", 7}, {"s", "abc"}, {"z", "0"}});
        const auto read = [&] {
            return QStringLiteral("%1 %2 %3")
                .arg(command.asInteger(key, 42))
                .arg(int(command.asBool(key, true)))
                .arg(command.asString(key, "fb"));
        };
        QCOMPARE(read(), expected);
        command.getParams().insert(key, "copy");
        QCOMPARE(read(), expected);
        command.params()->insert(key, "9");
        QCOMPARE(read(), QString("9 1 9"));
    }
};

QTEST_APPLESS_MAIN(tst_Messages)
#include "tst_messages.moc"
