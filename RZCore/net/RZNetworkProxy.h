#pragma once
// The application's proxy choice: kept in the settings (group "ProxyInfo"), turned into the
// process-wide QNetworkProxy, and told to observers when the proxy in effect changes. Every request of
// RZNetwork and RZHttpClient follows it without knowing.
//
//     RZNetworkProxyInfo::instance()->loadProxyInfo();           // at start: what the user chose
//
//     _ProxyInfo info;
//     info.nMode = 2;                                             // manual
//     info.nType = 1;                                             // SOCKS5 (0 is HTTP)
//     info.strServer = QStringLiteral("proxy.example.com");
//     info.nPort = 1080;
//     RZNetworkProxyInfo::instance()->setProxyInfo(info, true);   // applied, then saved
//
// Modes: 0 no proxy, 1 the system's proxy (on Linux the *_proxy environment variables), 2 manual.
// A manual server is taken as a host name after an optional "scheme://": a "host:port" text keeps
// only what follows the colon and two more characters, so give the port in nPort. A manual proxy with
// an empty server changes nothing; one with a port outside 1..65535 is recorded and told to observers
// but not applied. The password lies in the settings file beside the other keys; the log shows "***".
// Belongs to the main thread.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZObject.h>
#include <RZCore/app/RZSingleton.h>

#include <QString>

struct RZCORE_EXPORT _ProxyInfo
{
    int nMode = 0; // 0 no proxy, 1 system proxy, 2 manual proxy
    int nType = 0; // 0 HTTP; 1 and 2 SOCKS5
    int nPort = 0;
    QString strServer; // may carry a scheme in front
    QString strUser;
    QString strPassword;
    // Copied with the structure; neither stored nor used here.
    QString strReserved1;
    QString strReserved2;
};

class RZCORE_EXPORT IRZNetworkProxyObserver
{
public:
    virtual ~IRZNetworkProxyObserver();
    // The proxy in effect changed; `info` is what is now in effect.
    virtual void onNetworkProxyChanged(const _ProxyInfo& info) = 0;
};

class RZCORE_EXPORT RZNetworkProxyInfo : public RZLazySingleton<RZNetworkProxyInfo>,
                                         public RZSubject<IRZNetworkProxyObserver>
{
    friend class RZLazySingleton<RZNetworkProxyInfo>;

public:
    // Reads the settings (mode and type clamped to 0..2) and applies them; writes nothing back.
    void loadProxyInfo();
    // Applies `info`; with `save`, writes it to the settings afterwards (also a value it refused).
    void setProxyInfo(const _ProxyInfo& info, bool save);
    // The proxy in effect.
    const _ProxyInfo& getProxyInfo() const;
    // What was last asked for.
    const _ProxyInfo& getSourceProxyInfo() const;

protected:
    RZNetworkProxyInfo();
    ~RZNetworkProxyInfo() override;

private:
    void update(const _ProxyInfo& info);
    void notify();

    _ProxyInfo m_oSourceInfo;
    _ProxyInfo m_oProxyInfo;
};

RZCORE_EXTERN_LAZY_SINGLETON(RZNetworkProxyInfo)
