#pragma once
// The few domains from which the system's web addresses are composed, by kind, so that a deployment
// replaces them without touching the URL code, and a host may redirect one at run time.
//
//     RZDomainNameService* domains = RZSingleton<RZDomainNameService>::instance();
//     domains->registerQueryDomainName([](const QString& stored) { return stored; });   // at start
//     domains->update(CbsDomain, QStringLiteral("go.example.net"));
//     const QString host = domains->domainName(ServiceDomain);    // "example.com" by default
//
// Every lookup passes the stored value through the host's query function, which decides the result.
// Without one the stored value is returned and an error line is logged, once per lookup. A kind that
// is not in the map passes an empty text on. Nothing is locked: register and update during start-up,
// before URL helpers run on other threads.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QMap>
#include <QString>

#include <functional>
#include <memory>

enum RZDomainNameKind : int
{
    ServiceDomain = 0,  // second-level domain of the service APIs ("api.", "cc-api.", "rc-api.")
    TrackingDomain = 1, // second-level domain of the analytics service and its API root
    CbsDomain = 2,      // whole host name of the redirect service ("go.php" jumps)
};

class RZDomainNameServicePrivate;

class RZCORE_EXPORT RZDomainNameService : public RZSingleton<RZDomainNameService>
{
    friend class RZSingleton<RZDomainNameService>;

public:
    QString domainName(RZDomainNameKind kind) const;
    // The stored domains, without the query function.
    QMap<RZDomainNameKind, QString> domainNameMap() const;
    // Replaces any earlier function.
    void registerQueryDomainName(std::function<QString(const QString&)> query) const;
    // Sets the kinds `domains` names and keeps the others.
    void update(const QMap<RZDomainNameKind, QString>& domains);
    void update(RZDomainNameKind kind, const QString& domain);

    // The compiled-in domain of a kind (RZDeploymentValues.h); empty for a kind outside the three.
    static QString defaultDomainName(RZDomainNameKind kind);

protected:
    RZDomainNameService();
    ~RZDomainNameService() override;

private:
    std::unique_ptr<RZDomainNameServicePrivate> d;
};

RZCORE_EXTERN_SINGLETON(RZDomainNameService)
