#include <RZCore/platform/RZPlatform.h>

#include <windows.h>
#include <wininet.h>

namespace RZPlatform {

bool internetConnectedState(std::uint32_t* flags, std::uint32_t* lastError)
{
    DWORD state = flags ? static_cast<DWORD>(*flags) : 0;
    const BOOL connected = InternetGetConnectedState(&state, 0);
    const DWORD error = connected ? 0 : GetLastError();
    if (flags)
        *flags = static_cast<std::uint32_t>(state);
    if (lastError)
        *lastError = static_cast<std::uint32_t>(error);
    return connected != FALSE;
}

} // namespace RZPlatform
