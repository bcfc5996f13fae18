#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <io.h>
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

void* consoleHandleFromDescriptor(int fd)
{
    return fd < 0 ? nullptr : reinterpret_cast<void*>(::_get_osfhandle(fd));
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
