// The local HTML package: "Config.json" read strictly (damaged, empty, huge or non-UTF-8 files describe
// nothing), the page switches, and packages made by the zip tool, served by nginx, downloaded and
// swapped in whole, or not at all.

#include "RZNetPeers.h"
#include "RZTestLogSink.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/config/RZLocalHtml_p.h>
#include <RZCore/net/RZNetwork.h>

#include <QStandardPaths>
#include <QtTest>

#include <memory>

namespace {

const QByteArray kDescription = R"({"data":{
  "base_config":{"version":"3.1.0","config":{
    "login":{"is_checkout_popup":"1","is_local_login_enabled":"1"},
    "pay":{"is_checkout_popup":1,"is_local_login_enabled":"1","link":{"is_local_login_enabled":"0"}},
    "help":{"is_local_login_enabled":"0","link":{"is_local_login_enabled":"1"}},
    "shop":{"is_local_login_enabled":"1","link":{}}}},
  "local_html":{"login":{"url":"URL","version":"2.0.0"}}}})";

} // namespace

class TestLocalHtml : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void reading_data();
    void reading();
    void switches();
    void packages_data();
    void packages();

private:
    QString path(const QString& name) const { return m_oDir.path() + QLatin1Char('/') + name; }
    QString configPath(const QString& name) const { return path(QStringLiteral("config/") + name); }
    // A package made by the zip tool from `files`, served by nginx under `name`.
    void makePackage(const QString& name, const QMap<QString, QByteArray>& files);
    QStringList strayFolders() const
    {
        return QDir(path(QStringLiteral("config")))
            .entryList({QStringLiteral("LocalHtml*")}, QDir::AllEntries | QDir::Hidden);
    }

    QTemporaryDir m_oHome;
    QTemporaryDir m_oDir;
    RZNetPeers::Nginx m_oNginx;
    std::unique_ptr<RZScopedTestLogger> m_pLog;
};

void TestLocalHtml::makePackage(const QString& name, const QMap<QString, QByteArray>& files)
{
    QTemporaryDir source(path(QStringLiteral("XXXXXX")));
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        QVERIFY(RZNetPeers::writeFile(source.path() + QLatin1Char('/') + it.key(), it.value()));
    QString error;
    QVERIFY2(RZNetPeers::runTool(
                 RZNetPeers::programPath(QStringLiteral("zip")),
                 {QStringLiteral("-q0r"), path(QStringLiteral("www/")) + name, QStringLiteral(".")},
                 source.path(), &error),
             qPrintable(error));
}

void TestLocalHtml::initTestCase()
{
    QVERIFY(m_oHome.isValid() && m_oDir.isValid());
    qputenv("HOME", QFile::encodeName(m_oHome.path())); // the machine value store of the settings
    QStandardPaths::setTestModeEnabled(true);
    m_pLog = std::make_unique<RZScopedTestLogger>();
    RZNetwork::setNetworkProbe([] { return true; });
    for (const char* folder : {"config", "www", "nginx", "documents"})
        QVERIFY(QDir().mkpath(path(QLatin1String(folder))));
    QString error;
    QVERIFY2(m_oNginx.start(path(QStringLiteral("nginx")), path(QStringLiteral("www")), nullptr, &error),
             qPrintable(error));

    makePackage(QStringLiteral("v2.zip"),
                {{"version", "2.0.0"}, {"index.html", "<p>two</p>"}, {"login.js", "two()"}});
    makePackage(QStringLiteral("v3.zip"), {{"version", "3.0.0"}, {"index.html", "<p>three</p>"}});
    makePackage(QStringLiteral("corrupt.zip"),
                {{"version", "9.9.9"}, {"zz-last.html", QByteArray(4000, 'z')}});
    QByteArray zip = RZNetPeers::readFile(path(QStringLiteral("www/corrupt.zip")));
    QVERIFY(zip.indexOf(QByteArray(4000, 'z')) > 0);
    zip[zip.indexOf(QByteArray(4000, 'z')) + 2000] = 'Z'; // the last entry no longer matches its checksum
    QVERIFY(RZNetPeers::writeFile(path(QStringLiteral("www/corrupt.zip")), zip));
    const QByteArray whole = RZNetPeers::readFile(path(QStringLiteral("www/v3.zip")));
    QVERIFY(RZNetPeers::writeFile(path(QStringLiteral("www/truncated.zip")), whole.left(whole.size() / 2)));
    QVERIFY(RZNetPeers::writeFile(path(QStringLiteral("www/not-a.zip")), "just text"));

    // The store reads "Config.json" once, when it is built.
    QByteArray description = kDescription;
    description.replace("URL", m_oNginx.url(QStringLiteral("/v2.zip")).toUtf8());
    QVERIFY(RZNetPeers::writeFile(configPath(QStringLiteral("Config.json")), description));
    IRZAppInfo::getInstance()->setValue(14, path(QStringLiteral("config")));
    IRZAppInfo::getInstance()->setValue(16, path(QStringLiteral("documents")));
    RZConfig::Instance();
}

void TestLocalHtml::cleanupTestCase()
{
    m_oNginx.stop();
    RZNetwork::setNetworkProbe(nullptr);
    RZNetwork::ReleaseManeger();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestLocalHtml::reading_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("baseVersion");

    const QByteArray good =
        R"({"data":{"base_config":{"version":"4.0"},"local_html":{"login":{"url":"u","version":"2.2"}}}})";
    QTest::newRow("good") << good << "u"
                          << "2.2"
                          << "4.0";
    QTest::newRow("with a byte-order mark") << QByteArray("\xEF\xBB\xBF" + good) << "u"
                                            << "2.2"
                                            << "4.0";
    QTest::newRow("damaged") << good.left(good.size() - 3) << ""
                             << "1.0.0"
                             << "1.0.0";
    QTest::newRow("empty") << QByteArray("") << ""
                           << "1.0.0"
                           << "1.0.0";
    QByteArray notUtf8 = good;
    notUtf8.replace("\"u\"", "\"u\xFF\"");
    QTest::newRow("not UTF-8") << notUtf8 << ""
                               << "1.0.0"
                               << "1.0.0";
    QByteArray huge = good;
    huge.insert(1, "\"pad\":\"" + QByteArray(RZLocalHtml::kMaxBytes, 'p') + "\",");
    QTest::newRow("huge, though valid") << huge << ""
                                        << "1.0.0"
                                        << "1.0.0";
    QTest::newRow("root is an array") << QByteArray("[1,2]") << ""
                                      << "1.0.0"
                                      << "1.0.0";
    QTest::newRow("data is a string") << QByteArray(R"({"data":"x"})") << ""
                                      << "1.0.0"
                                      << "1.0.0";
    QTest::newRow("versions not texts")
        << QByteArray(
               R"({"data":{"base_config":{"version":4},"local_html":{"login":{"url":"u","version":2}}}})")
        << "u"
        << "1.0.0"
        << "1.0.0";
    QTest::newRow("login without version")
        << QByteArray(R"({"data":{"local_html":{"login":{"url":"u"}}}})") << "u"
        << "1.0.0"
        << "1.0.0";
}

void TestLocalHtml::reading()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, url);
    QFETCH(QString, version);
    QFETCH(QString, baseVersion);
    const QString file = path(QStringLiteral("reading.json"));
    QVERIFY(RZNetPeers::writeFile(file, contents));
    const RZLocalHtml::Description description = RZLocalHtml::load(file);
    QCOMPARE(RZLocalHtml::downloadUrl(description.localHtmlConfig), url);
    QCOMPARE(RZLocalHtml::localHtmlVersion(description.localHtmlConfig), version);
    QCOMPARE(RZLocalHtml::baseConfigVersion(description.baseConfig), baseVersion);
    if (url.isEmpty())
        QVERIFY(description.baseConfig.isEmpty() && description.localHtmlConfig.isEmpty());
}

// Page switches: on only for the text "1"; local login also needs a package on disk and no override.
void TestLocalHtml::switches()
{
    RZConfig& config = RZConfig::Instance();
    QCOMPARE(config.GetLocalHtmlVersion(), QStringLiteral("2.0.0"));
    QCOMPARE(config.GetBaseConfigVersion(), QStringLiteral("3.1.0"));
    QCOMPARE(config.GetLocalHtmlDownloadUrl(), m_oNginx.url(QStringLiteral("/v2.zip")));
    QVERIFY(config.IsEnableCheckoutPopup(QStringLiteral("login")));
    QVERIFY(!config.IsEnableCheckoutPopup(QStringLiteral("pay"))); // a number is no text
    QVERIFY(!config.IsEnableCheckoutPopup(QStringLiteral("unknown")));
    QCOMPARE(config.GetLocalHtmlFileVersion(), QString());
    QVERIFY(!config.IsEnableLocalLogin(QStringLiteral("login"))); // no package yet

    QSignalSpy extracted(&config, &RZConfig::sigLocalHtmlExtracted);
    QSignalSpy progress(&config, &RZConfig::sigLocalHtmlDownloadProgress);
    QVERIFY(config.DownloadLocalHtml(config.GetLocalHtmlDownloadUrl()));
    QVERIFY(extracted.wait(15000));
    QCOMPARE(extracted.at(0).at(0).toBool(), true);
    QVERIFY(!progress.isEmpty());
    QCOMPARE(config.GetLocalHtmlFileVersion(), QStringLiteral("2.0.0"));

    const QMap<QString, bool> expected{
        {"login", true}, {"pay", false}, {"help", true}, {"shop", true}, {"unknown", false}};
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        QVERIFY2(config.IsEnableLocalLogin(it.key()) == it.value(), qPrintable(it.key()));
    config.SetAppValue(QStringLiteral("LOCALLOGIN_DISABLE"), QStringLiteral("LOCALLOGIN_DISABLE"), true);
    QVERIFY(!config.IsEnableLocalLogin(QStringLiteral("login")));
    config.SetAppValue(QStringLiteral("LOCALLOGIN_DISABLE"), QStringLiteral("LOCALLOGIN_DISABLE"), false);
}

void TestLocalHtml::packages_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QStringList>("files");
    const QStringList two{"index.html", "login.js", "version"};
    QTest::newRow("truncated archive") << "/truncated.zip" << false << "2.0.0" << two;
    QTest::newRow("last entry damaged") << "/corrupt.zip" << false << "2.0.0" << two;
    QTest::newRow("not an archive") << "/not-a.zip" << false << "2.0.0" << two;
    QTest::newRow("404") << "/missing.zip" << false << "2.0.0" << two;
    QTest::newRow("no address") << QString() << false << "2.0.0" << two;
    QTest::newRow("new package, replaced whole")
        << "/v3.zip" << true << "3.0.0" << QStringList{"index.html", "version"};
}

// The package on disk is the old one whole or the new one whole, and nothing else is left beside it.
void TestLocalHtml::packages()
{
    QFETCH(QString, file);
    QFETCH(bool, ok);
    QFETCH(QString, version);
    QFETCH(QStringList, files);
    RZConfig& config = RZConfig::Instance();
    QCOMPARE(config.GetLocalHtmlFileVersion(), QStringLiteral("2.0.0")); // from switches()
    QSignalSpy extracted(&config, &RZConfig::sigLocalHtmlExtracted);
    QCOMPARE(config.DownloadLocalHtml(file.isEmpty() ? QString() : m_oNginx.url(file)), !file.isEmpty());
    QVERIFY(extracted.wait(15000));
    QCOMPARE(extracted.at(0).at(0).toBool(), ok);
    QCOMPARE(config.GetLocalHtmlFileVersion(), version);
    QCOMPARE(QDir(configPath(QStringLiteral("LocalHtml"))).entryList(QDir::Files, QDir::Name), files);
    QCOMPARE(strayFolders(), QStringList{QStringLiteral("LocalHtml")});
}

QTEST_GUILESS_MAIN(TestLocalHtml)
#include "tst_localhtml.moc"
