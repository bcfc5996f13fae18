#pragma once
// The rewrite behind RZCbsUrlHelper::standardCbsUrltransition, on its own so that it can be fuzzed
// without the rest of the library. Qt Core only.

#include <QString>

namespace RZCbsUrl {

// `url` with every occurrence of `defaultHost` replaced by the domain `currentDomain()` gives, both
// case-sensitive. The domain is asked for only when the URL holds the default host, and the URL comes
// back as it is when that domain is the default one.
template <typename DomainFunction>
QString standardize(const QString& url, const QString& defaultHost, DomainFunction currentDomain)
{
    if (defaultHost.isEmpty() || !url.contains(defaultHost, Qt::CaseSensitive))
        return url;
    const QString domain = currentDomain();
    if (domain == defaultHost)
        return url;
    QString result = url;
    return result.replace(defaultHost, domain, Qt::CaseSensitive);
}

} // namespace RZCbsUrl
