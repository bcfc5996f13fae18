#include <RZCore/ui/RZMessage.h>

#include <QtTest>

class tst_Messages : public QObject
{
    Q_OBJECT

private slots:
    // All accessors of a query share one value: the last setter wins and every getter converts.
    void queryHoldsOneValue()
    {
        const QRect rect(1, 2, 3, 4);
        RZQueryMessage query(1);
        QVERIFY(query.inRange(1, 1));  // both bounds included
        QVERIFY(!query.inRange(2, 1)); // an empty range holds nothing
        QVERIFY(!query.enabled());
        QCOMPARE(query.count(), 0);
        query.setCount(3);
        QVERIFY(query.isAudioTransition()); // a count reads as a flag
        query.setPos(rect);
        QCOMPARE(query.count(), 0); // the rect replaced the count
        QCOMPARE(query.getPos(), rect);
        query.setPlaying(true);
        QCOMPARE(query.count(), 1);
        QCOMPARE(query.getPos(), QRect()); // the flag replaced the rect
        query.setValue("abc");
        QVERIFY(query.enabled());
        QCOMPARE(query.count(), 0); // not a number
    }

    // Each line reads asInteger, asBool and asString, with the fallbacks 42, true and "fb".
    void commandFallbacks()
    {
        RZCommandMessage command(3, RZCommandMessage::ModuleType(11), {{"n", 7}, {"s", "abc"}, {"z", "0"}});
        const auto read = [&command](const char* key) {
            return QStringLiteral("%1 %2 %3")
                .arg(command.asInteger(key, 42))
                .arg(int(command.asBool(key, true)))
                .arg(command.asString(key, "fb"));
        };
        QCOMPARE(read("none"), QString("42 1 fb")); // a missing key: the fallbacks
        QCOMPARE(read("n"), QString("7 1 7"));
        QCOMPARE(read("s"), QString("0 1 abc")); // a stored text: 0, not the fallback
        QCOMPARE(read("z"), QString("0 0 0"));
        command.getParams().insert("n", "copy");
        command.params()->insert("z", "9");
        QCOMPARE(read("n"), QString("7 1 7"));
        QCOMPARE(read("z"), QString("9 1 9"));
    }
};

QTEST_APPLESS_MAIN(tst_Messages)
#include "tst_messages.moc"
