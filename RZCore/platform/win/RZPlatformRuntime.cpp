#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace RZPlatform {

std::uint64_t currentThreadId()
{
    return static_cast<std::uint64_t>(::GetCurrentThreadId());
}

bool localTime(std::time_t seconds, std::tm* out)
{
    return out && ::localtime_s(out, &seconds) == 0;
}

std::string readableTypeName(const std::type_info& type)
{
    // MSVC's names are already readable ("class Foo::Bar").
    return type.name();
}

} // namespace RZPlatform
