#include "DemoHost.h"

#include <RZCore/config/RZConfig.h>
#include <RZCore/files/ZipOperate.h>
#include <RZCore/net/RZDomainNameService.h>
#include <RZCore/net/RZHttpClient.h>
#include <RZCore/net/RZNetwork.h>
#include <RZCore/net/RZNetworkProxy.h>
#include <RZCore/net/RZTokenHelper.h>
#include <RZCore/net/RZUrlHelper.h>

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

namespace {

const char kPackageUrl[] = "http://packages.example.com/LocalHtml.zip";

// The demo's stand-in for the outside world: an HTTP proxy on loopback that answers every request
// itself, with the package for the package address and a greeting for anything else. It asks for
// Basic credentials first, as a real proxy with authentication does.
class DemoProxy : public QTcpServer
{
public:
    explicit DemoProxy(QByteArray package) : m_oPackage(std::move(package))
    {
        listen(QHostAddress::LocalHost, 0);
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto* socket = new QTcpSocket(this);
        socket->setSocketDescriptor(descriptor);
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            m_oPending[socket] += socket->readAll();
            const QByteArray request = m_oPending[socket];
            if (!request.contains("\r\n\r\n"))
                return;
            m_oPending.remove(socket);
            const QByteArray line = request.left(request.indexOf("\r\n"));
            if (!request.toLower().contains("proxy-authorization: basic")) {
                socket->write("HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic "
                              "realm=\"demo\"\r\n"
                              "Content-Length: 0\r\n\r\n");
                return;
            }
            demoSay(QStringLiteral("  [proxy] %1 (with credentials)").arg(QString::fromLatin1(line)));
            const QByteArray body =
                line.contains(".zip") ? m_oPackage : QByteArray("hello through the proxy");
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) +
                          "\r\nConnection: close\r\n\r\n" + body);
            socket->disconnectFromHost();
        });
    }

private:
    QByteArray m_oPackage;
    QMap<QTcpSocket*, QByteArray> m_oPending;
};

// A zipped HTML package with its version file, made at run time.
QByteArray makePackage(const QString& workDir)
{
    const QString source = workDir + QStringLiteral("/package");
    QDir().mkpath(source);
    for (const auto& file :
         {std::make_pair("version", QByteArray("2.0.0")),
          std::make_pair("index.html", QByteArray("<html><body>local login</body></html>"))}) {
        QFile out(source + QLatin1Char('/') + QLatin1String(file.first));
        if (out.open(QIODevice::WriteOnly))
            out.write(file.second);
    }
    const QString zip = workDir + QStringLiteral("/LocalHtml.zip");
    RZQuaZip::CompressDir(zip, source);
    QFile archive(zip);
    return archive.open(QIODevice::ReadOnly) ? archive.readAll() : QByteArray();
}

void showAddresses(const char* when)
{
    demoSay(QStringLiteral("addresses %1:").arg(QLatin1String(when)));
    demoSay(QStringLiteral("  support tickets:  %1").arg(RZFeedBackUrlHelper::NewSupportTickets()));
    demoSay(QStringLiteral("  jump (db):        %1").arg(RZProductUrlHelper::buyPageWithImportFileFail()));
    demoSay(QStringLiteral("  stored jump:      %1")
                .arg(RZCbsUrlHelper::standardCbsUrltransition(
                    QStringLiteral("http://go.example.org/go.php?pid=846&m=c101"))));
    demoSay(QStringLiteral("  product home:     %1").arg(RZProductUrlHelper::homePage()));
}

} // namespace

void demoNetworkPrepareStore(const QString& directory)
{
    // "Config.json" arrives from outside the library; the store reads it once, when it is built.
    QFile file(directory + QStringLiteral("/Config.json"));
    if (file.open(QIODevice::WriteOnly))
        file.write(
            QByteArray(
                R"({"data":{"base_config":{"version":"3.1.0","config":{"login":{"is_local_login_enabled":"1"}}},)") +
            R"("local_html":{"login":{"url":")" + kPackageUrl + R"(","version":"2.0.0"}}}})");
}

void demoNetwork(DemoContext& context)
{
    demoSection("network");
    RZConfig& config = RZConfig::Instance();
    if (!RZNetwork::IsNetworkDeviceValid()) {
        // Everything below stays on this machine; a host may decide the answer the same way.
        RZNetwork::setNetworkProbe([] { return true; });
        demoSay(QStringLiteral("no network device is up: the host's probe now answers for loopback"));
    }

    DemoProxy proxy(makePackage(context.runDir.path()));
    _ProxyInfo info;
    info.nMode = 2;
    info.strServer = QStringLiteral("http://127.0.0.1");
    info.nPort = proxy.serverPort();
    info.strUser = QStringLiteral("demo");
    info.strPassword = QStringLiteral("secret");
    RZNetworkProxyInfo::instance()->setProxyInfo(info, false);
    demoSay(QStringLiteral("application proxy: %1:%2 (the log line above shows the password as ***)")
                .arg(RZNetworkProxyInfo::instance()->getProxyInfo().strServer)
                .arg(RZNetworkProxyInfo::instance()->getProxyInfo().nPort));

    demoSay(QStringLiteral("Config.json wants package %1 from %2; on disk: \"%3\"")
                .arg(config.GetLocalHtmlVersion(), config.GetLocalHtmlDownloadUrl(),
                     config.GetLocalHtmlFileVersion()));
    demoSay(QStringLiteral("local login for \"login\": %1 (no package unpacked yet)")
                .arg(config.IsEnableLocalLogin(QStringLiteral("login")) ? "on" : "off"));
    if (config.GetLocalHtmlVersion() != config.GetLocalHtmlFileVersion()) {
        QEventLoop loop;
        bool extracted = false;
        const auto progress =
            QObject::connect(&config, &RZConfig::sigLocalHtmlDownloadProgress, [](qint64 done, qint64 total) {
                demoSay(QStringLiteral("  downloaded %1 of %2 bytes").arg(done).arg(total));
            });
        const auto done = QObject::connect(&config, &RZConfig::sigLocalHtmlExtracted, &loop, [&](bool ok) {
            extracted = ok;
            loop.quit();
        });
        QTimer::singleShot(15000, &loop, &QEventLoop::quit);
        config.DownloadLocalHtml(config.GetLocalHtmlDownloadUrl());
        loop.exec();
        QObject::disconnect(progress);
        QObject::disconnect(done);
        demoSay(
            QStringLiteral("package %1; \"LocalHtml/version\" reads \"%2\"; local login for \"login\": %3")
                .arg(extracted ? "unpacked and swapped in" : "not unpacked", config.GetLocalHtmlFileVersion(),
                     config.IsEnableLocalLogin(QStringLiteral("login")) ? "on" : "off"));
    }

    RZHttpClient client;
    QByteArray data;
    QString err;
    const int result = client.get(QStringLiteral("http://service.example.com/hello"), data, err, 10000);
    demoSay(QStringLiteral("blocking get through the proxy: result %1, \"%2\"")
                .arg(result)
                .arg(QString::fromUtf8(data)));
    info.nMode = 0;
    RZNetworkProxyInfo::instance()->setProxyInfo(info, false);

    RZDomainNameService* domains = RZSingleton<RZDomainNameService>::instance();
    demoSay(QStringLiteral("no query function registered yet: each lookup logs \"uninit query fun\""));
    showAddresses("by default");
    domains->update(CbsDomain, QStringLiteral("go.example.net"));
    domains->registerQueryDomainName([](const QString& stored) {
        return stored == QLatin1String("example.com") ? QStringLiteral("eu.example.com") : stored;
    });
    showAddresses("after update(CbsDomain) and a query function mapping the service domain");

    RZTokenHelper::s_getTokenFun = [] { return QStringLiteral("demo-token"); };
    demoSay(QStringLiteral("token from the host's function: %1").arg(RZTokenHelper::token()));
    RZTokenHelper::s_getTokenFun = nullptr;
    RZNetwork::ReleaseManeger();
}
