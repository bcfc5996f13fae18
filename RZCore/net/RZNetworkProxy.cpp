#include <RZCore/net/RZNetworkProxy.h>

#include <RZCore/config/RZConfig.h>
#include <RZCore/log/RZBaseLog.h>

#include <QNetworkProxy>

#include <algorithm>

RZCORE_INSTANTIATE_LAZY_SINGLETON(RZNetworkProxyInfo)

namespace {

const QString kGroup = QStringLiteral("ProxyInfo");

QVariant stored(const char* key)
{
    return RZConfig::Instance().GetAppValue(kGroup, QLatin1String(key), QVariant());
}

void store(const char* key, const QVariant& value)
{
    RZConfig::Instance().SetAppValue(kGroup, QLatin1String(key), value);
}

} // namespace

IRZNetworkProxyObserver::~IRZNetworkProxyObserver() = default;

RZNetworkProxyInfo::RZNetworkProxyInfo() = default;

RZNetworkProxyInfo::~RZNetworkProxyInfo() = default;

void RZNetworkProxyInfo::loadProxyInfo()
{
    _ProxyInfo info;
    info.nMode = std::clamp(stored("Mode").toInt(), 0, 2);
    info.nType = std::clamp(stored("Type").toInt(), 0, 2);
    info.strServer = stored("Server").toString();
    info.nPort = stored("Port").toInt();
    info.strUser = stored("User").toString();
    info.strPassword = stored("Password").toString();
    update(info);
}

void RZNetworkProxyInfo::setProxyInfo(const _ProxyInfo& info, bool save)
{
    update(info);
    if (!save)
        return;
    store("Mode", info.nMode);
    store("Type", info.nType);
    store("Server", info.strServer);
    store("Port", info.nPort);
    store("User", info.strUser);
    store("Password", info.strPassword);
}

const _ProxyInfo& RZNetworkProxyInfo::getProxyInfo() const
{
    return m_oProxyInfo;
}

const _ProxyInfo& RZNetworkProxyInfo::getSourceProxyInfo() const
{
    return m_oSourceInfo;
}

void RZNetworkProxyInfo::update(const _ProxyInfo& info)
{
    m_oSourceInfo = info;
    if (static_cast<unsigned>(info.nMode) > 2 || static_cast<unsigned>(info.nType) > 2) {
        RZLOG_WARN("mode = %d, type = %d", info.nMode, info.nType);
        return;
    }

    if (info.nMode == 0) {
        QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        m_oProxyInfo = _ProxyInfo();
        m_oProxyInfo.nMode = 0;
        notify();
    } else if (info.nMode == 1) {
        QNetworkProxyFactory::setUseSystemConfiguration(true);
        const QList<QNetworkProxy> proxies = QNetworkProxyFactory::systemProxyForQuery(
            QNetworkProxyQuery(QUrl(), QNetworkProxyQuery::UrlRequest));
        const QNetworkProxy system =
            proxies.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : proxies.first();
        m_oProxyInfo = _ProxyInfo();
        m_oProxyInfo.nMode = 1;
        m_oProxyInfo.nType = system.type() == QNetworkProxy::Socks5Proxy ? 2 : 0;
        m_oProxyInfo.strServer = system.hostName();
        m_oProxyInfo.nPort = system.port();
        // The credentials are the caller's; the system does not give its own.
        m_oProxyInfo.strUser = info.strUser;
        m_oProxyInfo.strPassword = info.strPassword;
        notify();
    } else {
        QNetworkProxy proxy(QNetworkProxy::HttpProxy);
        if (info.nType == 1 || info.nType == 2)
            proxy.setType(QNetworkProxy::Socks5Proxy);
        // Drops "scheme://" by position: everything up to the first colon and the two characters
        // after it. A "host:port" text therefore loses its host.
        QString host = info.strServer;
        const int colon = host.indexOf(QLatin1Char(':'));
        if (colon >= 0)
            host = host.mid(colon + 3);
        proxy.setHostName(host);
        proxy.setPort(static_cast<quint16>(info.nPort));
        proxy.setUser(info.strUser);
        proxy.setPassword(info.strPassword);
        if (!info.strServer.isEmpty() && info.nPort >= 1 && info.nPort <= 65535)
            QNetworkProxy::setApplicationProxy(proxy);
        if (!info.strServer.isEmpty()) {
            m_oProxyInfo = info;
            notify();
        }
    }

    RZLOG_INFO("nMode: %d, nType: %d, strServer: %s, nPort: %d, strUser: %s, strPassword: %s", info.nMode,
               info.nType, qUtf8Printable(info.strServer), info.nPort, qUtf8Printable(info.strUser),
               info.strPassword.isEmpty() ? "" : "***");
}

void RZNetworkProxyInfo::notify()
{
    const _ProxyInfo info = m_oProxyInfo;
    notifyAny([&info](IRZNetworkProxyObserver* observer) {
        if (observer)
            observer->onNetworkProxyChanged(info);
        return true;
    });
}
