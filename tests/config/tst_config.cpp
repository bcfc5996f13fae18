// The settings store in one process: its start over an existing user file, the cache, the writes
// and their syncs, the caddy file, and the key catalogue. The store is built once per process, so
// initTestCase lays out the files of a returning user before the first Instance().

#include "ConfigTestSupport.h"
#include "RZTestLogSink.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZCBSUrlReader.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/config/RZRegistryInfo.h>
#include <RZCore/platform/RZPlatform.h>

#include <QFileSystemWatcher>
#include <QThread>

#include <atomic>
#include <functional>
#include <memory>

using Action = std::function<void()>;
using Reading = std::function<QVariant()>;
Q_DECLARE_METATYPE(Action)
Q_DECLARE_METATYPE(Reading)

class TestConfig : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void startRewritesOnlyReleaseGroups_data();
    void startRewritesOnlyReleaseGroups();
    void startTidiesTheFolder();
    void storedValueVersusDefaultAndRemoval();
    void burstOfWritesCostsFewSyncs();
    void caddyAsymmetry();
    void catalogueLogic_data();
    void catalogueLogic();
    void registryInfoEntries();
    void cinveraIniFallbacks();
    void settingsFilesAreTheUsersAlone();
    void readsFromFourThreadsWhileWriting();

private:
    QString configPath(const QString& name) const { return m_strConfigDir + QLatin1Char('/') + name; }
    void writeFile(const QString& name, const QByteArray& contents);
    QVariant onDisk(const QString& key) const
    {
        return diskValue(configPath(QStringLiteral("FConfig.ini")), key);
    }

    QTemporaryDir m_oHome;
    QTemporaryDir m_oDir;
    QString m_strConfigDir;
    std::unique_ptr<RZScopedTestLogger> m_pLog;
};

void TestConfig::writeFile(const QString& name, const QByteArray& contents)
{
    QFile file(configPath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
}

void TestConfig::initTestCase()
{
    QVERIFY(m_oHome.isValid() && m_oDir.isValid());
    isolateHome(m_oHome);
    m_strConfigDir = m_oDir.path() + QStringLiteral("/config");
    QVERIFY(QDir().mkpath(m_strConfigDir));
    IRZAppInfo::getInstance()->setValue(14, m_strConfigDir);
    IRZAppInfo::getInstance()->setValue(16, m_oDir.path() + QStringLiteral("/documents"));

    const QByteArray tenDaysAgo =
        QDate::currentDate().addDays(-10).toString(QStringLiteral("yyyy-MM-dd")).toLatin1();
    writeFile(QStringLiteral("FConfig.ini"), "[Url]\nNPS_API_URL=https://old.example.net/nps\n"
                                             "LEGACY_URL=https://legacy.example.net/\n"
                                             "[EffectStore]\nEffectStore=3\n"
                                             "[Performance]\nAppStuckThreshold=2500\n"
                                             "[ProjectTemplate]\nProjectTemplateBackupCustomShow=true\n"
                                             "[Misc]\nEmpty=\n"
                                             "[lossless]\nTipsStatus=false\n"
                                             "[APP_STARTDAYS]\nAPP_STARTDAYS=" +
                                                 tenDaysAgo + "\n[APP_CRASH]\nAPP_CRASH=true\n");
    QVERIFY(
        QFile::setPermissions(configPath(QStringLiteral("FConfig.ini")), QFileDevice::Permissions(0x6666)));
    writeFile(QStringLiteral("CaddyMsg.ini"), "[Caddy]\nMsg=old\n");
    writeFile(QStringLiteral("CustomProductInfo.ini"),
              "EffectStoreFavoritPage=https://custom.example.net/favorites\n"
              "[ENG]\nEffectStoreDefaultPage=https://custom.example.net/store\n"
              "EffectStoreLibPage=https://bad host.example.net/\n");
    for (const char* lock :
         {"FConfig.ini.lock", "Cinvera.ini.lock", "Other.ini.lock", "CinveraTemp.ini.lock"})
        writeFile(QLatin1String(lock), "stale");

    // A returning user: the first start is over (bit 0), the first preview too (bit 1).
    QVERIFY(RZPlatform::setMachineValue(QStringLiteral("UserState"), 0x3));
    QVERIFY(RZPlatform::setMachineValue(QStringLiteral("InstallInfo"),
                                        QStringLiteral("05/03/2024 14:30:15 setup")));

    m_pLog = std::make_unique<RZScopedTestLogger>();
    QCoreApplication::setApplicationVersion(QStringLiteral("9.1.0"));
    RZConfig::Instance();
}

void TestConfig::startRewritesOnlyReleaseGroups_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("release address replaced")
        << "Url/NPS_API_URL" << QVariant("https://survey.example.com/nps2/");
    QTest::newRow("user's extra address kept") << "Url/LEGACY_URL" << QVariant("https://legacy.example.net/");
    QTest::newRow("EffectStore follows the release") << "EffectStore/EffectStore" << QVariant("1");
    QTest::newRow("user's threshold kept") << "Performance/AppStuckThreshold" << QVariant("2500");
    QTest::newRow("new default key never merged") << "Performance/FunctionStuckThreshold" << QVariant();
    // The start's own write happens before the store's thread takes writes: memory only, then
    // replaced by the file's value when the memory is filled.
    QTest::newRow("start-up write stays in memory")
        << "ProjectTemplate/ProjectTemplateBackupCustomShow" << QVariant("true");
}

void TestConfig::startRewritesOnlyReleaseGroups()
{
    QFETCH(QString, key);
    QFETCH(QVariant, expected);
    RZConfig& config = RZConfig::Instance();
    const QString group = key.section(QLatin1Char('/'), 0, 0);
    const QString name = key.section(QLatin1Char('/'), 1);
    QCOMPARE(config.GetAppValue(group, name), expected);
    // On disk once a write has made the store sync.
    config.SetAppValue(QStringLiteral("Probe"), QStringLiteral("Start"), QString(QTest::currentDataTag()));
    QTRY_COMPARE(onDisk(QStringLiteral("Probe/Start")).toString(), QString(QTest::currentDataTag()));
    QCOMPARE(onDisk(key), expected);
}

void TestConfig::startTidiesTheFolder()
{
    // The stale locks of the store's own files go; those of other files stay.
    for (const char* lock : {"FConfig.ini.lock", "Cinvera.ini.lock"})
        QVERIFY2(!QFile::exists(configPath(QLatin1String(lock))), lock);
    for (const char* lock : {"Other.ini.lock", "CinveraTemp.ini.lock"})
        QVERIFY2(QFile::exists(configPath(QLatin1String(lock))), lock);
#ifndef Q_OS_WIN
    // The user's file was world-writable before the start.
    QCOMPARE(QFile::permissions(configPath(QStringLiteral("FConfig.ini"))),
             QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                 QFileDevice::WriteUser);
#endif
}

void TestConfig::storedValueVersusDefaultAndRemoval()
{
    RZConfig& config = RZConfig::Instance();
    const QString misc = QStringLiteral("Misc");
    const QVariant fallback(QStringLiteral("default"));
    config.SetAppValue(QStringLiteral("Remove"), QStringLiteral("A"), 1);
    config.SetAppValue(misc, QStringLiteral("Written"), QString(""));
    config.SetAppValue(misc, QStringLiteral("Null"), QString());
    config.SetAppValue(misc, QString(), 7);
    // An empty text, read from the file or written, is a value; a missing or null one is not.
    QCOMPARE(config.GetAppValue(misc, QStringLiteral("Empty"), fallback), QVariant(QString("")));
    QCOMPARE(config.GetAppValue(misc, QStringLiteral("Missing"), fallback), fallback);
    QCOMPARE(config.GetAppValue(misc, QStringLiteral("Written"), fallback), QVariant(QString("")));
    QCOMPARE(config.GetAppValue(misc, QStringLiteral("Null"), fallback), fallback);
    QCOMPARE(config.GetAppValue(misc, QString(), fallback), QVariant(7));
    // The empty text reaches the file as such; the empty key stays in memory.
    QTRY_VERIFY(onDisk(QStringLiteral("Misc/Written")).isValid());
    QCOMPARE(onDisk(QStringLiteral("Misc/Written")).toString(), QString(""));
    QVERIFY(!onDisk(misc).isValid());

    QVERIFY(onDisk(QStringLiteral("Remove/A")).isValid());
    config.RemoveAppGroup(QStringLiteral("Remove"));
    config.RemoveAppGroup(QString()); // not the whole file
    QVERIFY(config.GetAppGroup(QStringLiteral("Remove")).isEmpty());
    config.SetAppValue(QStringLiteral("Probe"), QStringLiteral("Remove"), 1);
    QTRY_VERIFY(onDisk(QStringLiteral("Probe/Remove")).isValid());
    QVERIFY(!onDisk(QStringLiteral("Remove/A")).isValid());
    QCOMPARE(onDisk(QStringLiteral("Performance/AppStuckThreshold")).toInt(), 2500);
}

void TestConfig::burstOfWritesCostsFewSyncs()
{
    RZConfig& config = RZConfig::Instance();
    const QString file = configPath(QStringLiteral("FConfig.ini"));
    config.SetAppValue(QStringLiteral("Burst"), QStringLiteral("Value"), -1);
    QTRY_COMPARE(onDisk(QStringLiteral("Burst/Value")).toInt(), -1);

    // A sync replaces the file, which ends the watch on it: count and watch the new file.
    // Each sync puts a new file in place of the old one (other changes, such as its attributes, do not
    // end the watch), so a write is a watch that ended.
    int writes = 0;
    QFileSystemWatcher watcher({file});
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, [&] {
        if (watcher.files().contains(file))
            return;
        ++writes;
        watcher.addPath(file);
    });
    for (int i = 0; i < 1000; ++i)
        config.SetAppValue(QStringLiteral("Burst"), QStringLiteral("Value"), i);
    QCOMPARE(config.GetAppValue(QStringLiteral("Burst"), QStringLiteral("Value")).toInt(), 999);
    QTRY_COMPARE(onDisk(QStringLiteral("Burst/Value")).toInt(), 999);
    QTRY_VERIFY(writes >= 1);
    QVERIFY2(writes <= 3, qPrintable(QStringLiteral("%1 file writes").arg(writes)));

    // A stream of writes from another thread for 300 ms: a sync per 100 ms at most, not one per batch,
    // for as long as the store's thread takes to write the stream.
    writes = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    std::unique_ptr<QThread> writer(QThread::create([&config] {
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; timer.elapsed() < 300; ++i)
            config.SetAppValue(QStringLiteral("Burst"), QStringLiteral("Stream"), i);
        config.SetAppValue(QStringLiteral("Burst"), QStringLiteral("Stream"), -1);
    }));
    writer->start();
    QTRY_VERIFY(writer->isFinished());
    QTRY_COMPARE(onDisk(QStringLiteral("Burst/Stream")).toInt(), -1);
    QVERIFY2(writes <= elapsed.elapsed() / 100 + 2,
             qPrintable(QStringLiteral("%1 file writes in %2 ms").arg(writes).arg(elapsed.elapsed())));
}

void TestConfig::caddyAsymmetry()
{
    RZConfig& config = RZConfig::Instance();
    const QString caddy = QStringLiteral("Caddy");
    const QString msg = QStringLiteral("Msg");
    // What the file held at start: visible to GetCaddyMsgValue (and the application settings),
    // not to GetCaddyMsgGroup.
    QCOMPARE(config.GetCaddyMsgValue(caddy, msg), QVariant("old"));
    QCOMPARE(config.GetAppValue(caddy, msg), QVariant("old"));
    QVERIFY(config.GetCaddyMsgGroup(caddy).isEmpty());

    config.SetCaddyMsgValue(caddy, msg, QStringLiteral("new"));
    config.SetCaddyMsgValue(caddy, QStringLiteral("Other"), 5);
    QCOMPARE(config.GetCaddyMsgValue(caddy, msg), QVariant("old"));
    QVERIFY(!config.GetCaddyMsgValue(caddy, QStringLiteral("Other")).isValid());
    QCOMPARE(config.GetCaddyMsgGroup(caddy), (QMap<QString, QVariant>{{msg, "new"}, {"Other", 5}}));
    QTRY_COMPARE(diskValue(configPath(QStringLiteral("CaddyMsg.ini")), QStringLiteral("Caddy/Msg")),
                 QVariant("new"));

    config.RemoveCaddyMsgGroup(caddy);
    QVERIFY(config.GetCaddyMsgGroup(caddy).isEmpty());
}

// Rows call the store through these, so that a row fits on a line.
#define READ(...)                                                                                            \
    Reading([] {                                                                                             \
        RZConfig& c = RZConfig::Instance();                                                                  \
        return QVariant(c.__VA_ARGS__);                                                                      \
    })
#define DO(...)                                                                                              \
    Action([] {                                                                                              \
        RZConfig& c = RZConfig::Instance();                                                                  \
        __VA_ARGS__;                                                                                         \
    })

void TestConfig::catalogueLogic_data()
{
    QTest::addColumn<Action>("prepare");
    QTest::addColumn<Reading>("read");
    QTest::addColumn<QVariant>("expected");
    const Action none([] {});
    const Reading userState([] { return QVariant(RZPlatform::machineValue("UserState").toInt()); });
    // The accessors generated from the table: their defaults, and values of each type as set.
    QTest::newRow("bool, default true") << none << READ(canShowAiMusicCancelToast()) << QVariant(true);
    QTest::newRow("int, default -1") << none << READ(GetLogLevel()) << QVariant(-1);
    QTest::newRow("int64") << DO(c.setAppStuckThreshold(1LL << 40)) << READ(getAppStuckThreshold())
                           << QVariant(1LL << 40);
    QTest::newRow("text list") << DO(c.setColorSelectRecent({"#ff0000", "#00ff00"}))
                               << READ(getColorSelectRecent()) << QVariant(QStringList{"#ff0000", "#00ff00"});
    // Read from "lossless", which the user's file holds, and written to "Lossless".
    QTest::newRow("lossless: set under another case")
        << DO(c.setLossLessTipsStatus(true)) << READ(getLossLessTipsStatus()) << QVariant(false);
    QTest::newRow("algorithm, a bit missing") << DO(c.SetAppValue("AlgorithmCheck", "CheckResult", 5u))
                                              << READ(algorithmEnabled(3)) << QVariant(false);
    QTest::newRow("algorithm bits changed")
        << DO(c.RemoveAppGroup("AlgorithmCheck"); c.setAlgorithmEnabled(2, false);
              c.setAlgorithmEnabled(1, true))
        << READ(GetAppValue("AlgorithmCheck", "CheckResult")) << QVariant(0xfffffffdu);
    QTest::newRow("tag: empty user not written")
        << DO(c.RemoveAppGroup("UserWithDefaultTag"); c.setUserWithDefaultTag(""))
        << READ(GetAppValue("UserWithDefaultTag", "users")) << QVariant();
    QTest::newRow("tag: appended, empty dropped")
        << DO(c.SetAppValue("UserWithDefaultTag", "users", QStringList{"a", ""});
              c.setUserWithDefaultTag("b"))
        << READ(getUsersWithDefaultTag()) << QVariant(QStringList{"a", "b"});
    QTest::newRow("start days from the file") << none << READ(GetAppStartDays()) << QVariant(10);
    QTest::newRow("url bar, empty text") << DO(c.SetAppValue("DEVTOOL_ENABLE", "CEF_ENGINE_VIEW_URL_BAR", ""))
                                         << READ(IsShowEngineViewUrlBar()) << QVariant(false);
    QTest::newRow("store type, none")
        << DO(c.RemoveAppGroup("EffectStore")) << READ(GetEffectStoreType()) << QVariant(1);
    QTest::newRow("crash flag of the previous run") << none << READ(IsAppCrashed()) << QVariant(true);
    QTest::newRow("customised store page")
        << none << READ(GetEffectStoreHomePageUrl()) << QVariant("https://custom.example.net/store");
    QTest::newRow("invalid customised page") << none << READ(GetEffectStoreMyEffectPageUrl())
                                             << QVariant("https://effects.example.com/user/download.html");
    QTest::newRow("page for every language") << none << READ(GetEffectStoreMyFavoritesPageUrl())
                                             << QVariant("https://custom.example.net/favorites");
    QTest::newRow("guide bits share a field")
        << DO(c.SetExportGuideShowed(true); c.setStockMediaNewFeatureShowed(true);
              c.SetExportGuideFirstHide(true); c.SetExportGuideShowed(false))
        << READ(GetQuickStartState()) << QVariant(1 << 9);
    // Bits 0 and 1 of "UserState" mean "done": a set bit is a false "first".
    QTest::newRow("user state, first preview over")
        << DO(c.SetUserState(0x1); c.SetFirstPreview(false)) << userState << QVariant(0x3);
    QTest::newRow("user state, first preview again")
        << DO(c.SetUserState(0x3); c.SetFirstPreview(true)) << userState << QVariant(0x1);
    QTest::newRow("user state, first start over")
        << DO(c.SetUserState(0x10); c.SetFirstStart(false)) << userState << QVariant(0x11);
    QTest::newRow("user state, bit 31 set on true")
        << DO(c.SetUserState(0x1); c.SetFirstUseShortcut(true)) << userState << QVariant(int(0x80000001u));
    // The first start is the value of this run's start, 0x3.
    QTest::newRow("user state bits read")
        << DO(c.SetUserState(int(0x80000010u)))
        << READ(IsFirstPreview() && c.IsFirstExport() && c.IsFirstUseShortcut() && !c.IsFirstStart())
        << QVariant(true);
    QTest::newRow("smart edit, first while 0") << none << READ(IsFirstSmartEdit()) << QVariant(true);
    QTest::newRow("smart edit, stored inverted")
        << DO(c.SetFirstSmartEdit(false))
        << Reading([] { return RZPlatform::machineValue("SmartEditStartState"); }) << QVariant("1");
    QTest::newRow("install time") << none << READ(GetCurrentVersionInstallDateTime())
                                  << QVariant(
                                         QDateTime(QDate(2024, 3, 5), QTime(14, 30, 15)).toMSecsSinceEpoch());
    QTest::newRow("first install version stored")
        << DO(c.GetFirstInstallVersion())
        << Reading([] { return RZPlatform::machineValue("FirstInstallVersion"); }) << QVariant("9.1.0");
    // Asked once per run, an absent value included.
    QTest::newRow("machine value read once")
        << DO(c.GetNPSShowVersion(); RZPlatform::setMachineValue("NPSShowVersion", 2))
        << READ(GetNPSShowVersion()) << QVariant(QString());
    QTest::newRow("run flags, one each")
        << DO(c.setBeatEditShowNext(false)) << READ(getMediaDeleteConfirm() && !c.getBeatEditShowNext())
        << QVariant(true);
    QTest::newRow("feature trialed") << DO(c.setFeatureTrialed(3))
                                     << READ(isFeatureTrialed(3) && !c.isFeatureTrialed(4)) << QVariant(true);
}

void TestConfig::catalogueLogic()
{
    QFETCH(Action, prepare);
    QFETCH(Reading, read);
    QFETCH(QVariant, expected);
    prepare();
    QCOMPARE(read(), expected);
}

void TestConfig::registryInfoEntries()
{
    RZConfig& config = RZConfig::Instance();
    QCOMPARE(config.GetCinveraFirstUsedDateTime(), Q_INT64_C(0));
    const std::vector<std::string> lines = m_pLog->sink->messages();
    QVERIFY(std::find(lines.begin(), lines.end(), "read registry returned a invalid value") != lines.end());
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    const qint64 visit = config.GetFirstVisitDateResult();
    QVERIFY(visit >= before && visit <= QDateTime::currentMSecsSinceEpoch());
    QCOMPARE(config.GetCinveraFirstUsedDateTime(), visit);
    QCOMPARE(IRZRegistryInfo::getInstance()->value(5), QString::number(visit));
    const qint64 stamp = config.GetTimeStampfromFirstVisit();
    QCOMPARE(config.GetTimeStampfromFirstVisit(), stamp);
}

// A folder kept in "Cinvera.ini", or the caller's fallback when the value or the folder is missing.
void TestConfig::cinveraIniFallbacks()
{
    RZConfig& config = RZConfig::Instance();
    const QString fallback = QStringLiteral("/fallback");
    const auto read = [&] {
        return QStringList{config.getDefaultImportDir(fallback), config.getDefaultAudioImportDir(fallback)};
    };
    config.setDefaultImportDir(m_oDir.path());
    config.setDefaultAudioImportDir(m_strConfigDir);
    QCOMPARE(read(), (QStringList{m_oDir.path(), m_strConfigDir}));
    config.setDefaultImportDir(m_oDir.path() + QStringLiteral("/gone"));
    config.setDefaultAudioImportDir(QString());
    QCOMPARE(read(), (QStringList{fallback, fallback}));
}

void TestConfig::settingsFilesAreTheUsersAlone()
{
#ifdef Q_OS_WIN
    QSKIP("the profile's ACLs decide on Windows");
#endif
    // "Cinvera.ini" is made by its first write; "CaddyMsg.ini" was readable by all before the start; a
    // sync rewrites each file through a new one.
    RZConfig& config = RZConfig::Instance();
    QFile::remove(RZConfig::GetCinveraConfigFile());
    config.setMainPlayerVolume(33);
    config.setLifeTimeUpgradeAutoPopCount(2);
    config.SetCaddyMsgValue(QStringLiteral("Account"), QStringLiteral("Token"), QStringLiteral("t1"));
    config.SetAppValue(QStringLiteral("Account"), QStringLiteral("Token"), QStringLiteral("t1"));
    QVERIFY(RZPlatform::setMachineValue(QStringLiteral("Token"), QStringLiteral("t1")));
    QTRY_COMPARE(diskValue(configPath(QStringLiteral("CaddyMsg.ini")), QStringLiteral("Account/Token")),
                 QVariant("t1"));
    QTRY_COMPARE(onDisk(QStringLiteral("Account/Token")), QVariant("t1"));
    for (const QString& file : {RZConfig::GetCinveraConfigFile(), configPath(QStringLiteral("CaddyMsg.ini")),
                                configPath(QStringLiteral("FConfig.ini")), RZPlatform::machineValueStoreLocation()})
        QVERIFY2(QFile::permissions(file) == (QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                              QFileDevice::ReadUser | QFileDevice::WriteUser),
                 qPrintable(file));
}

void TestConfig::readsFromFourThreadsWhileWriting()
{
    RZConfig& config = RZConfig::Instance();
    std::atomic<bool> writing{true};
    std::atomic<int> torn{0};
    std::vector<std::unique_ptr<QThread>> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back(QThread::create([&] {
            while (writing.load()) {
                const QStringList parts = config.GetAppValue(QStringLiteral("Threads"), QStringLiteral("V"))
                                              .toString()
                                              .split(QLatin1Char('|'));
                if (parts.size() == 2 && parts[0] != parts[1])
                    ++torn;
                config.GetAppGroup(QStringLiteral("Threads"));
                config.GetCaddyMsgValue(QStringLiteral("Caddy"), QStringLiteral("Msg"));
            }
        }));
        readers.back()->start();
    }
    for (int i = 0; i < 3000; ++i) {
        config.SetAppValue(QStringLiteral("Threads"), QStringLiteral("V"), QStringLiteral("%1|%1").arg(i));
        config.SetAppValue(QStringLiteral("Threads"), QStringLiteral("K%1").arg(i % 50), i);
    }
    writing = false;
    for (auto& reader : readers)
        QVERIFY(reader->wait(10000));
    QCOMPARE(torn.load(), 0);
    QTRY_COMPARE(onDisk(QStringLiteral("Threads/V")).toString(), QStringLiteral("2999|2999"));
}

QTEST_GUILESS_MAIN(TestConfig)
#include "tst_config.moc"
