// The settings store in one process: its start over an existing user file, the cache, the writes
// and their syncs, the caddy file, and the key catalogue. The store is built once per process, so
// initTestCase lays out the files of a returning user before the first Instance().

#include "ConfigTestSupport.h"
#include "RZTestLogSink.h"

#include <RZCore/RZAppInfo.h>
#include <RZCore/RZCBSUrlReader.h>
#include <RZCore/RZConfig.h>
#include <RZCore/RZRegistryInfo.h>
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
    void staleLockFiles_data();
    void staleLockFiles();
    void userFileIsOwnerOnly();
    void storedValueVersusDefault_data();
    void storedValueVersusDefault();
    void burstOfWritesCostsFewSyncs();
    void removeGroup();
    void caddyAsymmetry();
    void catalogueValues_data();
    void catalogueValues();
    void catalogueLogic_data();
    void catalogueLogic();
    void userStateBits_data();
    void userStateBits();
    void registryInfoEntries();
    void cinveraIniFallbacks_data();
    void cinveraIniFallbacks();
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
    for (const char* lock : {"FConfig.ini.lock", "Cinvera.ini.lock", "FConfig.rmlock", "Other.ini.lock",
                             "CinveraTemp.ini.lock", "fconfig.ini.lock"})
        writeFile(QLatin1String(lock), "stale");

    // A returning user: the first start is over (bit 0), the first preview too (bit 1).
    QVERIFY(RZPlatform::setMachineValue(QStringLiteral("UserState"), 0x3));
    QVERIFY(RZPlatform::setMachineValue(QStringLiteral("InstallInfo"),
                                        QStringLiteral("05/03/2024 14:30:15 setup")));
    QVERIFY(RZPlatform::setMachineValue(QStringLiteral("NPSTimingTime"), 42));

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
    QTest::newRow("blank after =") << "Url/AUDIO_COMMERCIAL_URL"
                                   << QVariant("https://stock-api.example.com/music-license");
    QTest::newRow("user's extra address kept") << "Url/LEGACY_URL" << QVariant("https://legacy.example.net/");
    QTest::newRow("EffectStore follows the release") << "EffectStore/EffectStore" << QVariant("1");
    QTest::newRow("user's threshold kept") << "Performance/AppStuckThreshold" << QVariant("2500");
    QTest::newRow("new default key never merged") << "Performance/FunctionStuckThreshold" << QVariant();
    QTest::newRow("new default group never merged") << "CBSGPUInfos/available_4k_frames" << QVariant();
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

void TestConfig::staleLockFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("removed");
    QTest::newRow("FConfig ini lock") << "FConfig.ini.lock" << true;
    QTest::newRow("Cinvera ini lock") << "Cinvera.ini.lock" << true;
    QTest::newRow("FConfig rmlock") << "FConfig.rmlock" << true;
    QTest::newRow("another ini's lock") << "Other.ini.lock" << false;
    QTest::newRow("longer base name") << "CinveraTemp.ini.lock" << false;
    QTest::newRow("other case") << "fconfig.ini.lock" << false;
}

void TestConfig::staleLockFiles()
{
    QFETCH(QString, name);
    QFETCH(bool, removed);
    QCOMPARE(QFile::exists(configPath(name)), !removed);
    const std::string line = "QFile::remove: " + configPath(name).toStdString() + ",true";
    const std::vector<std::string> lines = m_pLog->sink->messages();
    QCOMPARE(std::find(lines.begin(), lines.end(), line) != lines.end(), removed);
}

void TestConfig::userFileIsOwnerOnly()
{
#ifdef Q_OS_WIN
    QSKIP("Windows keeps the file readable and writable for everyone");
#endif
    // The file was world-writable before the start.
    QCOMPARE(QFile::permissions(configPath(QStringLiteral("FConfig.ini"))),
             QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                 QFileDevice::WriteUser);
}

void TestConfig::storedValueVersusDefault_data()
{
    QTest::addColumn<Action>("prepare");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");
    RZConfig& config = RZConfig::Instance();
    QTest::newRow("empty text in the file") << Action([] {}) << "Empty" << QVariant(QString(""));
    QTest::newRow("missing key") << Action([] {}) << "Missing" << QVariant("default");
    QTest::newRow("empty text written")
        << Action([&config] { config.SetAppValue("Misc", "Written", QString("")); }) << "Written"
        << QVariant("");
    QTest::newRow("null text written") << Action([&config] { config.SetAppValue("Misc", "Null", QString()); })
                                       << "Null" << QVariant("default");
    QTest::newRow("empty key, memory only")
        << Action([&config] { config.SetAppValue("Misc", "", 7); }) << "" << QVariant(7);
}

void TestConfig::storedValueVersusDefault()
{
    QFETCH(Action, prepare);
    QFETCH(QString, key);
    QFETCH(QVariant, expected);
    prepare();
    QCOMPARE(RZConfig::Instance().GetAppValue(QStringLiteral("Misc"), key, QStringLiteral("default")),
             expected);
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
    // The empty key of storedValueVersusDefault never reached the file.
    QCOMPARE(onDisk(QStringLiteral("Misc/Written")).toString(), QString(""));
    QVERIFY(!onDisk(QStringLiteral("Misc")).isValid());
}

void TestConfig::removeGroup()
{
    RZConfig& config = RZConfig::Instance();
    config.SetAppValue(QStringLiteral("Remove"), QStringLiteral("A"), 1);
    config.SetAppValue(QStringLiteral("Remove"), QStringLiteral("B"), 2);
    QCOMPARE(config.GetAppGroup(QStringLiteral("Remove")).size(), 2);
    QTRY_COMPARE(onDisk(QStringLiteral("Remove/B")).toInt(), 2);

    config.RemoveAppGroup(QStringLiteral("Remove"));
    config.RemoveAppGroup(QString()); // not the whole file
    QVERIFY(config.GetAppGroup(QStringLiteral("Remove")).isEmpty());
    config.SetAppValue(QStringLiteral("Probe"), QStringLiteral("Remove"), 1);
    QTRY_VERIFY(onDisk(QStringLiteral("Probe/Remove")).isValid());
    QVERIFY(!onDisk(QStringLiteral("Remove/A")).isValid());
    QCOMPARE(onDisk(QStringLiteral("Performance/AppStuckThreshold")).toInt(), 2500);
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

void TestConfig::catalogueValues_data()
{
    QTest::addColumn<Reading>("get");
    QTest::addColumn<Action>("set");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("after");
    QTest::newRow("bool, default true")
        << READ(canShowAiMusicCancelToast()) << DO(c.setCanShowAiMusicCancelToast(false))
        << "AIMusic/showCancelToast" << QVariant(true) << QVariant(false);
    QTest::newRow("key with blanks") << READ(getSTTAndTTSCloseConfirm())
                                     << DO(c.setSTTAndTTSCloseConfirm(false))
                                     << "AccountBalanceCloseCheck/Text-to-Speech and Speech-to-Text"
                                     << QVariant(true) << QVariant(false);
    QTest::newRow("int, default -1") << READ(GetLogLevel()) << DO(c.SetLogLevel(4)) << "LogLevel/LogLevel"
                                     << QVariant(-1) << QVariant(4);
    QTest::newRow("int64 from the user's file")
        << READ(getAppStuckThreshold()) << DO(c.setAppStuckThreshold(1LL << 40))
        << "Performance/AppStuckThreshold" << QVariant(2500LL) << QVariant(1LL << 40);
    QTest::newRow("text") << READ(GetAccountNickName()) << DO(c.SetAccountNickName("Zoë, \"x\"; y"))
                          << "AccountInfo/APP_NICKNAME" << QVariant(QString()) << QVariant("Zoë, \"x\"; y");
    QTest::newRow("text list") << READ(getColorSelectRecent())
                               << DO(c.setColorSelectRecent({"#ff0000", "#00ff00"}))
                               << "ColorSelectRecent/ColorList" << QVariant(QStringList())
                               << QVariant(QStringList{"#ff0000", "#00ff00"});
    QTest::newRow("shortcut by name")
        << READ(getShortcutSwitch("Ctrl+K")) << DO(c.setShortcutSwitch("Ctrl+K", true))
        << "ShortcutSwitch/Ctrl+K" << QVariant(false) << QVariant(true);
    QTest::newRow("lossless: set under another case")
        << READ(getLossLessTipsStatus()) << DO(c.setLossLessTipsStatus(true)) << "Lossless/TipsStatus"
        << QVariant(false) << QVariant(false);
}

void TestConfig::catalogueValues()
{
    QFETCH(Reading, get);
    QFETCH(Action, set);
    QFETCH(QString, key);
    QFETCH(QVariant, before);
    QFETCH(QVariant, after);
    QCOMPARE(get(), before);
    set();
    QCOMPARE(get(), after);
    // The setter's value reached the file under the catalogue's group and key.
    const QVariant stored = RZConfig::Instance().GetAppValue(key.section('/', 0, 0), key.section('/', 1));
    const auto diskAsStored = [&] {
        QVariant disk = onDisk(key);
        disk.convert(stored.userType());
        return disk;
    };
    QVERIFY(stored.isValid());
    QTRY_COMPARE(diskAsStored(), stored);
}

void TestConfig::catalogueLogic_data()
{
    QTest::addColumn<Action>("prepare");
    QTest::addColumn<Reading>("read");
    QTest::addColumn<QVariant>("expected");
    const Action none([] {});
    QTest::newRow("algorithm default, bit 0")
        << DO(c.RemoveAppGroup("AlgorithmCheck")) << READ(algorithmEnabled(1)) << QVariant(false);
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
    QTest::newRow("start days, bad date") << DO(c.SetAppValue("APP_STARTDAYS", "APP_STARTDAYS", "soon"))
                                          << READ(GetAppStartDays()) << QVariant(0);
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
    QTest::newRow("balance switches reset")
        << DO(c.resetBalanceCloseCheckFilter())
        << READ(GetAppValue("AccountBalanceCloseCheck", "Text-to-Video")) << QVariant(false);
    QTest::newRow("guide bits share a field")
        << DO(c.SetExportGuideShowed(true); c.setStockMediaNewFeatureShowed(true);
              c.SetExportGuideFirstHide(true); c.SetExportGuideShowed(false))
        << READ(GetQuickStartState()) << QVariant(1 << 9);
    QTest::newRow("smart edit, first while 0") << none << READ(IsFirstSmartEdit()) << QVariant(true);
    QTest::newRow("smart edit, stored inverted")
        << DO(c.SetFirstSmartEdit(false))
        << Reading([] { return RZPlatform::machineValue("SmartEditStartState"); }) << QVariant("1");
    QTest::newRow("install time") << none << READ(GetCurrentVersionInstallDateTime())
                                  << QVariant(
                                         QDateTime(QDate(2024, 3, 5), QTime(14, 30, 15)).toMSecsSinceEpoch());
    QTest::newRow("timing, logged") << none << READ(GetNpsTimingTime()) << QVariant(42LL);
    QTest::newRow("first install version stored")
        << DO(c.GetFirstInstallVersion())
        << Reading([] { return RZPlatform::machineValue("FirstInstallVersion"); }) << QVariant("9.1.0");
    // Asked once per run, an absent value included.
    QTest::newRow("machine value read once")
        << DO(c.GetNPSShowVersion(); RZPlatform::setMachineValue("NPSShowVersion", 2))
        << READ(GetNPSShowVersion()) << QVariant(QString());
    QTest::newRow("run flag, default true")
        << DO(c.setBeatEditShowNext(false)) << READ(getMediaDeleteConfirm()) << QVariant(true);
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

void TestConfig::userStateBits_data()
{
    QTest::addColumn<int>("start");
    QTest::addColumn<Action>("set");
    QTest::addColumn<Reading>("get");
    QTest::addColumn<int>("stored");
    QTest::addColumn<bool>("reads");
    QTest::newRow("first preview over: bit 1 set")
        << 0x1 << DO(c.SetFirstPreview(false)) << READ(IsFirstPreview()) << 0x3 << false;
    QTest::newRow("first preview again: bit 1 cleared")
        << 0x3 << DO(c.SetFirstPreview(true)) << READ(IsFirstPreview()) << 0x1 << true;
    QTest::newRow("first start over: bit 0 set")
        << 0x10 << DO(c.SetFirstStart(false)) << READ(IsFirstExport()) << 0x11 << true;
    QTest::newRow("bit 31 set on true")
        << 0x1 << DO(c.SetFirstUseShortcut(true)) << READ(IsFirstUseShortcut()) << int(0x80000001u) << true;
}

void TestConfig::userStateBits()
{
    QFETCH(int, start);
    QFETCH(Action, set);
    QFETCH(Reading, get);
    QFETCH(int, stored);
    QFETCH(bool, reads);
    RZConfig& config = RZConfig::Instance();
    QVERIFY(!config.IsFirstStart()); // the value at this run's start: 0x3
    config.SetUserState(start);
    set();
    QCOMPARE(RZPlatform::machineValue(QStringLiteral("UserState")).toInt(), stored);
    QCOMPARE(get().toBool(), reads);
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

void TestConfig::cinveraIniFallbacks_data()
{
    QTest::addColumn<bool>("file");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<bool>("useStored");
    const QString existing = m_oDir.path();
    QTest::newRow("no file") << false << existing << false;
    QTest::newRow("no value") << true << QString() << false;
    QTest::newRow("folder gone") << true << existing + QStringLiteral("/gone") << false;
    QTest::newRow("folder there") << true << existing << true;
}

void TestConfig::cinveraIniFallbacks()
{
    QFETCH(bool, file);
    QFETCH(QString, stored);
    QFETCH(bool, useStored);
    RZConfig& config = RZConfig::Instance();
    QFile::remove(RZConfig::GetCinveraConfigFile());
    if (file) {
        config.setDefaultImportDir(stored);
        config.setDefaultAudioImportDir(stored);
    }
    const QString fallback = QStringLiteral("/fallback");
    QCOMPARE(config.getDefaultImportDir(fallback), useStored ? stored : fallback);
    QCOMPARE(config.getDefaultAudioImportDir(fallback), useStored ? stored : fallback);
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
