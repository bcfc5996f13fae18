#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <io.h>
#include <stdlib.h>
#include <windows.h>

namespace RZPlatform {

namespace {

void writeConsolePart(HANDLE h, const char* data, std::size_t size)
{
    DWORD written = 0;
    ::WriteConsoleA(h, data, static_cast<DWORD>(size), &written, nullptr);
}

} // namespace

void* standardOutputHandle()
{
    return ::GetStdHandle(STD_OUTPUT_HANDLE);
}

namespace {
#if defined(_MSC_VER)
// The CRT would end the process on a descriptor it does not know; an unknown one is simply invalid.
void ignoreInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {}
#endif
} // namespace

void* consoleHandleFromDescriptor(int fd)
{
    if (fd < 0)
        return nullptr;
#if defined(_MSC_VER)
    const _invalid_parameter_handler previous =
        ::_set_thread_local_invalid_parameter_handler(ignoreInvalidParameter);
    const intptr_t handle = ::_get_osfhandle(fd);
    ::_set_thread_local_invalid_parameter_handler(previous);
#else
    const intptr_t handle = ::_get_osfhandle(fd);
#endif
    return reinterpret_cast<void*>(handle);
}

bool isUsableConsoleHandle(void* handle)
{
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

bool isConsole(void* handle)
{
    DWORD mode = 0;
    return isUsableConsoleHandle(handle) && ::GetConsoleMode(handle, &mode) != 0;
}

void writeToHandle(void* handle, const char* data, std::size_t size)
{
    DWORD written = 0;
    ::WriteFile(handle, data, static_cast<DWORD>(size), &written, nullptr);
}

void writeConsoleColoured(void* handle, const char* data, std::size_t size, std::size_t spanBegin,
                          std::size_t spanEnd, std::uint16_t attribute)
{
    if (spanEnd > size)
        spanEnd = size;
    if (spanBegin > 0)
        writeConsolePart(handle, data, spanBegin);
    WORD current = 7;
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (::GetConsoleScreenBufferInfo(handle, &info)) {
        current = info.wAttributes;
        ::SetConsoleTextAttribute(handle, static_cast<WORD>((current & 0xfff0) | attribute));
    }
    writeConsolePart(handle, data + spanBegin, spanEnd - spanBegin);
    ::SetConsoleTextAttribute(handle, current);
    if (spanEnd < size)
        writeConsolePart(handle, data + spanEnd, size - spanEnd);
}

} // namespace RZPlatform
