#include <RZCore/platform/RZPlatform.h>

#include <QHostAddress>
#include <QNetworkInterface>

#include <cerrno>

namespace RZPlatform {

// The natural counterpart of "connected through a LAN": a real interface that carries traffic. An
// address that is only link-local reaches no further than the cable, so it does not count.
bool internetConnectedState(std::uint32_t* flags, std::uint32_t* lastError)
{
    errno = 0;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    const int queryError = interfaces.isEmpty() ? errno : 0;
    bool connected = false;
    for (const QNetworkInterface& iface : interfaces) {
        const QNetworkInterface::InterfaceFlags state = iface.flags();
        if (!(state & QNetworkInterface::IsUp) || !(state & QNetworkInterface::IsRunning) ||
            (state & QNetworkInterface::IsLoopBack))
            continue;
        const QList<QNetworkAddressEntry> entries = iface.addressEntries();
        for (const QNetworkAddressEntry& entry : entries) {
            const QHostAddress ip = entry.ip();
            if (!ip.isNull() && !ip.isLoopback() && !ip.isLinkLocal()) {
                connected = true;
                break;
            }
        }
        if (connected)
            break;
    }
    if (flags)
        *flags = connected ? 0x02u : 0u;
    if (lastError)
        *lastError = static_cast<std::uint32_t>(queryError);
    return connected;
}

} // namespace RZPlatform
