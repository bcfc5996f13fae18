// The settings store across real processes: a first start that ends in a normal exit, and a main
// process with a helper process on the same folder.

#include "ConfigTestSupport.h"

class TestConfigProcess : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void firstStartAndExit_data();
    void firstStartAndExit();
    void subProcessReadsWithoutChangingTheFile();

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

void TestConfigProcess::firstStartAndExit_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::newRow("performance default") << "Performance"
                                         << "AppStuckThreshold"
                                         << "1000";
    QTest::newRow("date of the first start")
        << "APP_STARTDAYS"
        << "APP_STARTDAYS" << QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
}

// The default is copied, readable at once and private to the user; a write made just before a normal
// exit reaches the file through the store's final sync.
void TestConfigProcess::firstStartAndExit()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    ConfigHelper helper(m_pDir->path());
    QCOMPARE(helper.next(), QStringLiteral("ready"));
    QCOMPARE(helper.send({"get", group, key}), QStringLiteral("value ") + expected);
#ifndef Q_OS_WIN
    QCOMPARE(QFile::permissions(file()), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                             QFileDevice::ReadUser | QFileDevice::WriteUser);
#endif
    QCOMPARE(helper.send({"set", "Exit", "Last", expected}), QStringLiteral("ok"));
    QVERIFY(helper.quit());
    QCOMPARE(diskValue(file(), QStringLiteral("Exit/Last")).toString(), expected);
}

void TestConfigProcess::subProcessReadsWithoutChangingTheFile()
{
    ConfigHelper main(m_pDir->path());
    QCOMPARE(main.next(), QStringLiteral("ready"));
    QCOMPARE(main.send({"set", "Shared", "Key", "v1"}), QStringLiteral("ok"));
    QTRY_COMPARE(diskValue(file(), QStringLiteral("Shared/Key")).toString(), QStringLiteral("v1"));
    const auto contents = [this] {
        QFile settings(file());
        return settings.open(QIODevice::ReadOnly) ? settings.readAll() : QByteArray();
    };
    const QByteArray before = contents();
    const QDateTime modified = QFileInfo(file()).lastModified();

    ConfigHelper sub(m_pDir->path(), true);
    QCOMPARE(sub.next(), QStringLiteral("ready"));
    QVERIFY(sub.otherLines().join('\n').contains("getIsMainAppFlag:false, SubProcessName:rz_config_helper"));
    QCOMPARE(sub.send({"get", "Shared", "Key"}), QStringLiteral("value v1"));
    QCOMPARE(sub.send({"get", "Performance", "AppStuckThreshold"}), QStringLiteral("value 1000"));
    QCOMPARE(contents(), before);
    QCOMPARE(QFileInfo(file()).lastModified(), modified);

    // The main process writes; the helper sees it once its own QSettings re-reads the file, which
    // the sync after its own next write does.
    QCOMPARE(main.send({"set", "Shared", "Key", "v2"}), QStringLiteral("ok"));
    QTRY_COMPARE(diskValue(file(), QStringLiteral("Shared/Key")).toString(), QStringLiteral("v2"));
    QCOMPARE(sub.send({"set", "Sub", "Ping", "1"}), QStringLiteral("ok"));
    QTRY_COMPARE(sub.send({"get", "Shared", "Key"}), QStringLiteral("value v2"));
    QVERIFY(sub.quit());
    QVERIFY(main.quit());
    QCOMPARE(diskValue(file(), QStringLiteral("Sub/Ping")).toString(), QStringLiteral("1"));
    QCOMPARE(diskValue(file(), QStringLiteral("Shared/Key")).toString(), QStringLiteral("v2"));
}

QTEST_GUILESS_MAIN(TestConfigProcess)
#include "tst_config_process.moc"
