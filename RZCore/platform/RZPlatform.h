#pragma once
// The operating-system seam. Everything the library needs from the system beyond Qt and the
// C++ standard library is declared here as plain functions; platform/posix/ and platform/win/
// implement them. Nothing outside platform/ includes <windows.h> or a POSIX header.

#include <RZCore/RZCoreExport.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <typeinfo>

namespace RZPlatform {

// Kernel id of the calling thread, as printed in log lines (gettid / GetCurrentThreadId).
RZCORE_EXPORT std::uint64_t currentThreadId();

// Broken-down local time of a calendar time (localtime_r / localtime_s). False when the
// time cannot be represented.
RZCORE_EXPORT bool localTime(std::time_t seconds, std::tm* out);

// A readable name of a run-time type ("Foo::Bar"), demangled where the compiler mangles it.
RZCORE_EXPORT std::string readableTypeName(const std::type_info& type);

} // namespace RZPlatform
