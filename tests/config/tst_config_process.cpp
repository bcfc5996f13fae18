// The settings store across real processes: a first start, a main process with a helper process
// on the same folder, and the last writes at a normal exit.

#include "ConfigTestSupport.h"

class TestConfigProcess : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void firstStart_data();
    void firstStart();
    void subProcessReadsWithoutChangingTheFile();
    void lastWritesReachTheFileAtExit();

private:
    QString file() const { return m_pDir->path() + QStringLiteral("/FConfig.ini"); }

    QTemporaryDir m_oHome;
    std::unique_ptr<QTemporaryDir> m_pDir;
};

void TestConfigProcess::initTestCase()
{
    QVERIFY(m_oHome.isValid());
    isolateHome(m_oHome);
}

void TestConfigProcess::init()
{
    m_pDir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_pDir->isValid());
}

void TestConfigProcess::firstStart_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::newRow("performance default") << "Performance"
                                         << "AppStuckThreshold"
                                         << "1000";
    QTest::newRow("gpu figures") << "CBSGPUInfos"
                                 << "algorithm_transform_time_4k"
                                 << "115";
    QTest::newRow("quoted with a blank") << "Url"
                                         << "NPS_API_URL"
                                         << "https://survey.example.com/nps2/";
    QTest::newRow("place markers kept") << "Url"
                                        << "NORTHWILLOW_DETECTION_URL"
                                        << "https://effects.example.com/api/user/res/exist?md5=%1&type=%2";
    QTest::newRow("credential placeholder") << "MacNwidCon"
                                            << "appKey"
                                            << "example-app-key";
    QTest::newRow("date of the first start")
        << "APP_STARTDAYS"
        << "APP_STARTDAYS" << QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
}

void TestConfigProcess::firstStart()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    ConfigHelper helper(m_pDir->path());
    QCOMPARE(helper.next(), QStringLiteral("ready"));
    QCOMPARE(helper.send({"get", group, key}), QStringLiteral("value ") + expected);
    QVERIFY(QFile::exists(file()));
#ifndef Q_OS_WIN
    QCOMPARE(QFile::permissions(file()), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                             QFileDevice::ReadUser | QFileDevice::WriteUser);
#endif
    QVERIFY(helper.quit());
}

void TestConfigProcess::subProcessReadsWithoutChangingTheFile()
{
    ConfigHelper main(m_pDir->path());
    QCOMPARE(main.next(), QStringLiteral("ready"));
    QCOMPARE(main.send({"set", "Shared", "Key", "v1"}), QStringLiteral("ok"));
    QTRY_COMPARE(diskValue(file(), QStringLiteral("Shared/Key")).toString(), QStringLiteral("v1"));
    QFile before(file());
    QVERIFY(before.open(QIODevice::ReadOnly));
    const QByteArray contents = before.readAll();
    const QDateTime modified = QFileInfo(file()).lastModified();

    ConfigHelper sub(m_pDir->path(), true);
    QCOMPARE(sub.next(), QStringLiteral("ready"));
    QVERIFY(sub.otherLines().join('\n').contains("getIsMainAppFlag:false, SubProcessName:rz_config_helper"));
    QCOMPARE(sub.send({"get", "Shared", "Key"}), QStringLiteral("value v1"));
    QCOMPARE(sub.send({"get", "Performance", "AppStuckThreshold"}), QStringLiteral("value 1000"));
    QFile after(file());
    QVERIFY(after.open(QIODevice::ReadOnly));
    QCOMPARE(after.readAll(), contents);
    QCOMPARE(QFileInfo(file()).lastModified(), modified);

    // The main process writes; the helper sees it once its own QSettings re-reads the file, which
    // its next sync does.
    QCOMPARE(main.send({"set", "Shared", "Key", "v2"}), QStringLiteral("ok"));
    QTRY_COMPARE(diskValue(file(), QStringLiteral("Shared/Key")).toString(), QStringLiteral("v2"));
    QCOMPARE(sub.send({"set", "Sub", "Ping", "1"}), QStringLiteral("ok"));
    QCOMPARE(sub.send({"wait", "Shared", "Key", "v2"}), QStringLiteral("seen"));
    QVERIFY(sub.quit());
    QVERIFY(main.quit());
    QCOMPARE(diskValue(file(), QStringLiteral("Sub/Ping")).toString(), QStringLiteral("1"));
    QCOMPARE(diskValue(file(), QStringLiteral("Shared/Key")).toString(), QStringLiteral("v2"));
}

void TestConfigProcess::lastWritesReachTheFileAtExit()
{
    ConfigHelper helper(m_pDir->path());
    QCOMPARE(helper.next(), QStringLiteral("ready"));
    for (int i = 0; i < 20; ++i)
        QCOMPARE(helper.send({"set", "Exit", QStringLiteral("K%1").arg(i), QString::number(i)}),
                 QStringLiteral("ok"));
    QVERIFY(helper.quit());
    for (int i = 0; i < 20; ++i)
        QCOMPARE(diskValue(file(), QStringLiteral("Exit/K%1").arg(i)).toString(), QString::number(i));
}

QTEST_GUILESS_MAIN(TestConfigProcess)
#include "tst_config_process.moc"
