#pragma once
// The operating-system seam. Everything the library needs from the system beyond Qt and the
// C++ standard library is declared here as plain functions; platform/posix/ and platform/win/
// implement them. Nothing outside platform/ includes <windows.h> or a POSIX header.

#include <RZCore/RZCoreExport.h>

#include <cstddef>
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

// ---- console (the colour console log sink) ------------------------------------------------------
// A console handle is what the operating system writes through: a HANDLE on Windows. On POSIX it
// carries a file descriptor as the value fd + 1, so that a null handle never names a descriptor
// (standard input, fd 0, is the handle 1) and INVALID_HANDLE_VALUE, all bits set, names none either.

// The process's standard output (GetStdHandle / descriptor 1).
RZCORE_EXPORT void* standardOutputHandle();
// The handle of a C runtime descriptor (_get_osfhandle / the fd + 1 form); null for a negative fd.
RZCORE_EXPORT void* consoleHandleFromDescriptor(int fd);
// False for null and INVALID_HANDLE_VALUE: such a handle is never written to.
RZCORE_EXPORT bool isUsableConsoleHandle(void* handle);
// Whether the handle is an interactive console (GetConsoleMode succeeds / isatty).
RZCORE_EXPORT bool isConsole(void* handle);
// Writes the bytes as they are, the way a redirected stream needs them (WriteFile / write).
RZCORE_EXPORT void writeToHandle(void* handle, const char* data, std::size_t size);
// Writes a line to a console with the bytes [spanBegin, spanEnd) in a console colour attribute
// (the low byte of a Windows character attribute: bits 0-3 foreground blue, green, red, intensity;
// bits 4-7 the same for the background). Windows keeps the console's background bits, sets the
// attribute around the span and puts the previous attributes back (7 when they cannot be read).
// POSIX surrounds the span with the matching ANSI SGR colours and a reset, in one write; there
// attribute 0 means no colour.
RZCORE_EXPORT void writeConsoleColoured(void* handle, const char* data, std::size_t size, std::size_t spanBegin,
                                        std::size_t spanEnd, std::uint16_t attribute);

} // namespace RZPlatform
