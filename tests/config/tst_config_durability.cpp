// A process that writes settings without pause, killed at random moments: every time, the file
// still parses and holds whole values.

#include "ConfigTestSupport.h"

#include <QRandomGenerator>

class TestConfigDurability : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void survivesKillsWhileWriting();

private:
    QTemporaryDir m_oHome;
    QTemporaryDir m_oDir;
};

void TestConfigDurability::initTestCase()
{
    QVERIFY(m_oHome.isValid() && m_oDir.isValid());
    isolateHome(m_oHome);
}

void TestConfigDurability::survivesKillsWhileWriting()
{
    // The generator's start value is printed, so that a failing series of moments can be replayed.
    const quint32 start = QRandomGenerator::global()->generate();
    qInfo("random start value %u", start);
    QRandomGenerator random(start);
    const QString file = m_oDir.path() + QStringLiteral("/FConfig.ini");
    int withValue = 0;
    for (int round = 0; round < 20; ++round) {
        ConfigHelper helper(m_oDir.path());
        QCOMPARE(helper.next(), QStringLiteral("ready"));
        // A random moment, counted in writes (one a millisecond), across several syncs.
        const int target = random.bounded(1, 400);
        helper.process().write("loop\tDurable\tValue\n");
        QString reply;
        do {
            reply = helper.next();
            QVERIFY2(reply.startsWith(QLatin1String("wrote ")), qPrintable(reply));
        } while (reply.mid(6).toInt() < target);
        helper.process().kill(); // SIGKILL on POSIX: no handler, no static destructors
        QVERIFY(helper.process().waitForFinished(10000));

        const QString copy = file + QStringLiteral(".round%1").arg(round);
        QVERIFY(QFile::copy(file, copy));
        QSettings settings(copy, QSettings::IniFormat);
        QCOMPARE(settings.status(), QSettings::NoError);
        QCOMPARE(settings.value(QStringLiteral("Performance/AppStuckThreshold")).toInt(), 1000);
        const QString value = settings.value(QStringLiteral("Durable/Value")).toString();
        if (value.isEmpty())
            continue;
        ++withValue;
        // The helper's payload: "<n>|<2000 times the n-th letter>|<n>".
        const int n = value.section(QLatin1Char('|'), 0, 0).toInt();
        QCOMPARE(value,
                 QStringLiteral("%1|%2|%1").arg(n).arg(QString(2000, QChar(QLatin1Char('a' + n % 26)))));
    }
    QVERIFY2(withValue > 0, "no round lived long enough to sync");
}

QTEST_GUILESS_MAIN(TestConfigDurability)
#include "tst_config_durability.moc"
