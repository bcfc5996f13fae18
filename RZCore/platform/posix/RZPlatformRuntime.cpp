#include <RZCore/platform/RZPlatform.h>

#include <cxxabi.h>
#include <sys/syscall.h>

#include <cstdlib>
#include <time.h>
#include <unistd.h>

namespace RZPlatform {

std::uint64_t currentThreadId()
{
    // gettid is a syscall; a thread's id never changes, so ask the kernel once per thread.
    thread_local const std::uint64_t tid = static_cast<std::uint64_t>(::syscall(SYS_gettid));
    return tid;
}

bool localTime(std::time_t seconds, std::tm* out)
{
    return out && ::localtime_r(&seconds, out) != nullptr;
}

std::string readableTypeName(const std::type_info& type)
{
    int status = 0;
    char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    std::string name = (status == 0 && demangled) ? demangled : type.name();
    std::free(demangled);
    return name;
}

} // namespace RZPlatform
