#include <RZCore/net/RZDomainNameService.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/util/RZDeploymentValues.h>

RZCORE_INSTANTIATE_SINGLETON(RZDomainNameService)

class RZDomainNameServicePrivate
{
public:
    QString domainName(RZDomainNameKind kind) const
    {
        const QString stored = m_oDomains.value(kind);
        if (m_fnQuery)
            return m_fnQuery(stored);
        RZLOG_ERROR("uninit query fun");
        return stored;
    }

    QMap<RZDomainNameKind, QString> m_oDomains;
    std::function<QString(const QString&)> m_fnQuery;
};

RZDomainNameService::RZDomainNameService() : d(std::make_unique<RZDomainNameServicePrivate>())
{
    for (RZDomainNameKind kind : {ServiceDomain, TrackingDomain, CbsDomain})
        d->m_oDomains.insert(kind, defaultDomainName(kind));
}

RZDomainNameService::~RZDomainNameService() = default;

QString RZDomainNameService::defaultDomainName(RZDomainNameKind kind)
{
    switch (kind) {
    case ServiceDomain:
        return QLatin1String(RZDeployment::kServiceDomain);
    case TrackingDomain:
        return QLatin1String(RZDeployment::kTrackingDomain);
    case CbsDomain:
        return QLatin1String(RZDeployment::kCbsDomain);
    }
    return QString();
}

QString RZDomainNameService::domainName(RZDomainNameKind kind) const
{
    return d->domainName(kind);
}

QMap<RZDomainNameKind, QString> RZDomainNameService::domainNameMap() const
{
    return d->m_oDomains;
}

void RZDomainNameService::registerQueryDomainName(std::function<QString(const QString&)> query) const
{
    d->m_fnQuery = std::move(query);
}

void RZDomainNameService::update(const QMap<RZDomainNameKind, QString>& domains)
{
    if (domains.isSharedWith(d->m_oDomains))
        return;
    for (auto it = domains.cbegin(); it != domains.cend(); ++it)
        d->m_oDomains.insert(it.key(), it.value());
}

void RZDomainNameService::update(RZDomainNameKind kind, const QString& domain)
{
    d->m_oDomains.insert(kind, domain);
}
