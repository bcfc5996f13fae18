#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace RZPlatform {

namespace {

std::wstring wide(const std::string& utf8)
{
    if (utf8.empty())
        return std::wstring();
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(size > 0 ? size : 0), L'\0');
    if (size > 0)
        ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &out[0], size);
    return out;
}

} // namespace

void* acquireInstanceLock(const std::string& utf8Name, std::int64_t* openCode, std::int64_t* createCode)
{
    *openCode = 0;
    *createCode = 0;
    if (utf8Name.empty())
        return nullptr;
    const std::wstring name = wide(utf8Name);
    HANDLE handle = nullptr;
    HANDLE existing = ::OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name.c_str());
    *openCode = static_cast<std::int64_t>(::GetLastError());
    if (!existing)
        handle = ::CreateMutexW(nullptr, TRUE, name.c_str());
    else
        ::CloseHandle(existing); // another process holds the name
    *createCode = static_cast<std::int64_t>(::GetLastError());
    return handle;
}

void* duplicateInstanceLock(void* handle)
{
    if (!handle)
        return nullptr;
    HANDLE copy = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    if (!::DuplicateHandle(process, handle, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return nullptr;
    return copy;
}

void releaseInstanceLock(void* handle)
{
    if (handle)
        ::CloseHandle(handle);
}

std::string instanceLockLocation(const std::string& utf8Name)
{
    return utf8Name;
}

} // namespace RZPlatform
