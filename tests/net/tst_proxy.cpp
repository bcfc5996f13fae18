// The proxy settings: what is stored and loaded, the rules of each mode, the observers, and real
// requests through tinyproxy and microsocks, seen in their own logs and failing once they are stopped.

#include "NetTestSupport.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/net/RZHttpClient.h>
#include <RZCore/net/RZNetworkProxy.h>

#include <QNetworkProxy>
#include <QNetworkReply>

namespace {

class CountingObserver : public IRZNetworkProxyObserver
{
public:
    void onNetworkProxyChanged(const _ProxyInfo& info) override
    {
        ++calls;
        last = info;
        if (then)
            then();
    }
    int calls = 0;
    _ProxyInfo last;
    std::function<void()> then;
};

_ProxyInfo proxyInfo(int mode, int type, const QString& server, int port, const QString& user = QString(),
                     const QString& password = QString())
{
    _ProxyInfo info;
    info.nMode = mode;
    info.nType = type;
    info.strServer = server;
    info.nPort = port;
    info.strUser = user;
    info.strPassword = password;
    return info;
}

QString describe(const _ProxyInfo& info)
{
    return QStringLiteral("%1/%2/%3/%4/%5/%6")
        .arg(info.nMode)
        .arg(info.nType)
        .arg(info.strServer)
        .arg(info.nPort)
        .arg(info.strUser, info.strPassword);
}

QString describe(const QNetworkProxy& proxy)
{
    return QStringLiteral("%1 %2:%3").arg(proxy.type()).arg(proxy.hostName()).arg(proxy.port());
}

RZNetworkProxyInfo* proxies()
{
    return RZNetworkProxyInfo::instance();
}

} // namespace

class TestProxy : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void loadClamps();
    void updateRules_data();
    void updateRules();
    void systemProxy();
    void observerDetachedDuringNotification();
    void throughRealProxies_data();
    void throughRealProxies();

private:
    NetFixture m_oNet;
    QTemporaryDir m_oHome;
    CountingObserver m_oObserver;
};

void TestProxy::initTestCase()
{
    const QString error = m_oNet.start();
    QVERIFY2(error.isEmpty(), qPrintable(error));
    qputenv("HOME", QFile::encodeName(m_oHome.path())); // the machine value store of the settings
    IRZAppInfo::getInstance()->setValue(14, m_oNet.path(QStringLiteral("config")));
    IRZAppInfo::getInstance()->setValue(16, m_oNet.path(QStringLiteral("documents")));
    QVERIFY(QDir().mkpath(m_oNet.path(QStringLiteral("config"))));
    RZNetPeers::writeFile(m_oNet.path(QStringLiteral("www/hello.txt")), "hello via proxy");
    proxies()->attach(&m_oObserver);
}

void TestProxy::cleanupTestCase()
{
    proxies()->detach(&m_oObserver);
    proxies()->setProxyInfo(proxyInfo(0, 0, QString(), 0), false);
    RZNetworkProxyInfo::release();
    m_oNet.stop();
}

// Each case starts with no proxy and a quiet observer.
void TestProxy::init()
{
    proxies()->setProxyInfo(proxyInfo(0, 0, QString(), 0), false);
    m_oObserver.calls = 0;
    m_oNet.log->sink->clear();
}

void TestProxy::loadClamps()
{
    RZConfig& config = RZConfig::Instance();
    const auto store = [&config](const QVariant& mode, const QVariant& type) {
        config.SetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Mode"), mode);
        config.SetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Type"), type);
    };
    config.SetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Server"),
                       QStringLiteral("proxy.example.com"));
    config.SetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Port"), 3128);
    config.SetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Password"), QStringLiteral("pw"));
    store(7, 1);
    proxies()->loadProxyInfo();
    QCOMPARE(describe(proxies()->getSourceProxyInfo()), QStringLiteral("2/1/proxy.example.com/3128//pw"));
    QCOMPARE(describe(QNetworkProxy::applicationProxy()), QStringLiteral("1 proxy.example.com:3128"));
    store(-4, QStringLiteral("9"));
    proxies()->loadProxyInfo();
    QCOMPARE(describe(proxies()->getProxyInfo()), QStringLiteral("0/0//0//"));
    QCOMPARE(QNetworkProxy::applicationProxy().type(), QNetworkProxy::NoProxy);
    QCOMPARE(proxies()->getSourceProxyInfo().nType, 2);
    config.RemoveAppGroup(QStringLiteral("ProxyInfo"));
}

void TestProxy::updateRules_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("server");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("applied"); // the application proxy afterwards; empty: as it was
    QTest::addColumn<bool>("told");       // observers told, and the proxy in effect is the value
    QTest::addColumn<QString>("warning");

    QTest::newRow("scheme stripped") << 2 << 0 << "http://proxy.example.com" << 8080
                                     << "3 proxy.example.com:8080" << true << QString();
    QTest::newRow("SOCKS5, type 1") << 2 << 1 << "socks.example.com" << 1080 << "1 socks.example.com:1080"
                                    << true << QString();
    QTest::newRow("SOCKS5, type 2") << 2 << 2 << "socks.example.com" << 1080 << "1 socks.example.com:1080"
                                    << true << QString();
    // The text is cut by position, not parsed: "host:port" loses its host.
    QTest::newRow("host:port") << 2 << 0 << "proxy.example.com:8080" << 8080 << "3 80:8080" << true
                               << QString();
    QTest::newRow("port 0: recorded, not applied")
        << 2 << 0 << "proxy.example.com" << 0 << QString() << true << QString();
    QTest::newRow("port 65536") << 2 << 0 << "proxy.example.com" << 65536 << QString() << true << QString();
    QTest::newRow("empty server: nothing") << 2 << 0 << QString() << 8080 << QString() << false << QString();
    QTest::newRow("mode 5") << 5 << 0 << "proxy.example.com" << 8080 << QString() << false
                            << "mode = 5, type = 0";
    QTest::newRow("type -1") << 2 << -1 << "proxy.example.com" << 8080 << QString() << false
                             << "mode = 2, type = -1";
}

void TestProxy::updateRules()
{
    QFETCH(int, mode);
    QFETCH(int, type);
    QFETCH(QString, server);
    QFETCH(int, port);
    QFETCH(QString, applied);
    QFETCH(bool, told);
    QFETCH(QString, warning);

    const QString before = describe(QNetworkProxy::applicationProxy());
    const _ProxyInfo effectiveBefore = proxies()->getProxyInfo();
    const _ProxyInfo info =
        proxyInfo(mode, type, server, port, QStringLiteral("user"), QStringLiteral("s3cret"));
    proxies()->setProxyInfo(info, true);

    QCOMPARE(describe(QNetworkProxy::applicationProxy()), applied.isEmpty() ? before : applied);
    QCOMPARE(m_oObserver.calls, told ? 1 : 0);
    QCOMPARE(describe(proxies()->getProxyInfo()), describe(told ? info : effectiveBefore));
    QCOMPARE(describe(proxies()->getSourceProxyInfo()), describe(info));
    // Saved whatever was applied, the password beside the other keys; never in the log.
    QCOMPARE(RZConfig::Instance().GetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Mode")).toInt(),
             mode);
    QCOMPARE(
        RZConfig::Instance().GetAppValue(QStringLiteral("ProxyInfo"), QStringLiteral("Password")).toString(),
        QStringLiteral("s3cret"));
    if (warning.isEmpty())
        QVERIFY(m_oNet.logged(QStringLiteral("strUser: user, strPassword: ***")));
    else
        QVERIFY(m_oNet.logged(warning));
    QVERIFY(!m_oNet.logged(QStringLiteral("s3cret")));
}

// The system's proxy (the environment on Linux), with the credentials handed in.
void TestProxy::systemProxy()
{
    const QByteArray saved = qgetenv("all_proxy");
    qputenv("all_proxy", "socks5://127.0.0.1:1080");
    proxies()->setProxyInfo(
        proxyInfo(1, 0, QStringLiteral("ignored.example.com"), 1, QStringLiteral("u"), QStringLiteral("p")),
        false);
    QCOMPARE(describe(proxies()->getProxyInfo()), QStringLiteral("1/2/127.0.0.1/1080/u/p"));
    QCOMPARE(m_oObserver.calls, 1);
    QCOMPARE(m_oObserver.last.nType, 2);
    qputenv("all_proxy", saved);
}

void TestProxy::observerDetachedDuringNotification()
{
    CountingObserver first;
    CountingObserver second;
    first.then = [&second] { proxies()->detach(&second); };
    proxies()->attach(&first);
    proxies()->attach(&second);
    proxies()->setProxyInfo(proxyInfo(0, 0, QString(), 0), false);
    proxies()->detach(&first);
    QCOMPARE(first.calls, 1);
    QCOMPARE(second.calls, 0);
}

void TestProxy::throughRealProxies_data()
{
    QTest::addColumn<bool>("socks");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("given"); // the password the application uses
    QTest::newRow("tinyproxy") << false << QString() << QString() << QString();
    QTest::newRow("tinyproxy, Basic authentication") << false << "rz"
                                                     << "pw1"
                                                     << "pw1";
    QTest::newRow("tinyproxy, wrong password") << false << "rz"
                                               << "pw1"
                                               << "nope";
    QTest::newRow("microsocks") << true << QString() << QString() << QString();
    QTest::newRow("microsocks, user and password") << true << "rz"
                                                   << "pw2"
                                                   << "pw2";
}

// Both request paths follow the application proxy; the proxy sees the request; a stopped proxy
// fails it.
void TestProxy::throughRealProxies()
{
    QFETCH(bool, socks);
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QString, given);

    RZNetPeers::TinyProxy tinyproxy;
    RZNetPeers::MicroSocks microsocks;
    QString error;
    const bool started = socks
                             ? microsocks.start(user, password, &error)
                             : tinyproxy.start(m_oNet.path(QStringLiteral("nginx")), user, password, &error);
    QVERIFY2(started, qPrintable(error));
    const quint16 port = socks ? microsocks.port : tinyproxy.port;
    proxies()->setProxyInfo(proxyInfo(2, socks ? 2 : 0, QStringLiteral("127.0.0.1"), port, user, given),
                            false);

    // Named by the host name: Qt sends requests for loopback addresses past any proxy.
    const QString url = m_oNet.nginx.hostNameUrl(QStringLiteral("/hello.txt"));
    const bool accepted = given == password;
    RZNetwork net;
    QSignalSpy finished(&net, &RZNetwork::HttpGetRequestFinished);
    QNetworkRequest request{QUrl(url)};
    net.HttpGetRequest(request, QString(), 0);
    QVERIFY(caught(finished));
    QCOMPARE(finished.takeFirst().at(0).toBool(), accepted);
    RZHttpClient client;
    QByteArray data;
    QString err;
    QCOMPARE(client.get(url, data, err, 10000),
             int(accepted ? RZBaseTask::RequestSucceeded : RZBaseTask::RequestFailed));
    if (accepted)
        QCOMPARE(data, QByteArray("hello via proxy"));
    const QString where = QStringLiteral("%1:%2").arg(m_oNet.nginx.hostName).arg(m_oNet.nginx.hostNamePort);
    QTRY_VERIFY2((socks ? microsocks.log() : tinyproxy.log()).contains(where) || !accepted,
                 qPrintable(socks ? microsocks.log() : tinyproxy.log()));

    socks ? microsocks.stop() : tinyproxy.stop();
    RZNetwork::GetNetManager()->clearConnectionCache();
    net.HttpGetRequest(request, QString(), 0);
    QVERIFY(caught(finished));
    QCOMPARE(finished.at(0).at(0).toBool(), false);
    QVERIFY2(finished.at(0).at(1).toString().endsWith(QLatin1String(":0:")),
             qPrintable(finished.at(0).at(1).toString()));
    QCOMPARE(client.get(url, data, err, 10000), int(RZBaseTask::RequestFailed));
}

QTEST_GUILESS_MAIN(TestProxy)
#include "tst_proxy.moc"
