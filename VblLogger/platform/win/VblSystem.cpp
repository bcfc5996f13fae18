#include "../../VblSystem_p.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace VblSystem {

namespace {

std::wstring widen(const std::string& text)
{
    if (text.empty())
        return std::wstring();
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    if (n <= 0)
        return std::wstring();
    std::wstring wide(static_cast<std::size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &wide[0], n);
    return wide;
}

bool isDirectory(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace

FileHandle openForAppend(const std::string& path, std::uint64_t* size)
{
    // Readers and the rotation's rename may touch the file while it is open.
    HANDLE h = ::CreateFileW(widen(path).c_str(), FILE_APPEND_DATA,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return kNoFile;
    LARGE_INTEGER length;
    if (!::GetFileSizeEx(h, &length)) {
        ::CloseHandle(h);
        return kNoFile;
    }
    if (size)
        *size = static_cast<std::uint64_t>(length.QuadPart);
    return reinterpret_cast<FileHandle>(h);
}

bool writeAll(FileHandle file, const char* data, std::size_t size)
{
    HANDLE h = reinterpret_cast<HANDLE>(file);
    while (size > 0) {
        const DWORD chunk = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
        DWORD written = 0;
        if (!::WriteFile(h, data, chunk, &written, nullptr) || written == 0)
            return false;
        data += written;
        size -= written;
    }
    return true;
}

void closeFile(FileHandle file)
{
    if (file != kNoFile)
        ::CloseHandle(reinterpret_cast<HANDLE>(file));
}

bool removeFile(const std::string& path)
{
    return ::DeleteFileW(widen(path).c_str()) || ::GetLastError() == ERROR_FILE_NOT_FOUND;
}

bool renameFile(const std::string& from, const std::string& to)
{
    return ::MoveFileExW(widen(from).c_str(), widen(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

bool makeDirectories(const std::string& path)
{
    if (path.empty())
        return true;
    const std::wstring wide = widen(path);
    if (isDirectory(wide))
        return true;
    for (std::size_t at = wide.find_first_of(L"\\/", 1);; at = wide.find_first_of(L"\\/", at + 1)) {
        const std::wstring part = wide.substr(0, at);
        // "C:" and "\\server\share" prefixes fail harmlessly and are checked at the end.
        if (!part.empty() && part.back() != L':')
            ::CreateDirectoryW(part.c_str(), nullptr);
        if (at == std::wstring::npos)
            break;
    }
    return isDirectory(wide);
}

std::uint32_t currentThreadId()
{
    return static_cast<std::uint32_t>(::GetCurrentThreadId());
}

void now(std::int64_t* seconds, int* milliseconds)
{
    FILETIME ft;
    ::GetSystemTimePreciseAsFileTime(&ft);
    ULARGE_INTEGER ticks;
    ticks.LowPart = ft.dwLowDateTime;
    ticks.HighPart = ft.dwHighDateTime;
    // FILETIME counts 100 ns from 1601-01-01.
    const std::int64_t sinceEpoch = static_cast<std::int64_t>(ticks.QuadPart) - 116444736000000000LL;
    *seconds = sinceEpoch / 10000000;
    *milliseconds = static_cast<int>(sinceEpoch / 10000 % 1000);
}

bool localTime(std::int64_t seconds, std::tm* out)
{
    const __time64_t t = static_cast<__time64_t>(seconds);
    return ::_localtime64_s(out, &t) == 0;
}

} // namespace VblSystem
