#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>

#include <string>
#include <vector>

namespace RZPlatform {

namespace {

std::wstring toWide(const std::string& utf8)
{
    if (utf8.empty())
        return std::wstring();
    const int size =
        ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    if (size <= 0)
        return std::wstring();
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &wide[0], size);
    return wide;
}

std::string toUtf8(const wchar_t* wide)
{
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1)
        return std::string();
    std::string utf8(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, &utf8[0], size, nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(size - 1));
    return utf8;
}

// Starts explorer with the given argument text, without waiting for it.
bool startExplorer(const std::wstring& arguments)
{
    std::wstring commandLine = L"explorer " + arguments;
    std::vector<wchar_t> buffer(commandLine.begin(), commandLine.end());
    buffer.push_back(L'\0');
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessW(nullptr, buffer.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &process))
        return false;
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return true;
}

std::wstring quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

} // namespace

bool diskFreeBytes(const std::string& utf8Path, std::uint64_t* bytes)
{
    ULARGE_INTEGER totalFree;
    const std::wstring path = toWide(utf8Path);
    if (path.empty() || !::GetDiskFreeSpaceExW(path.c_str(), nullptr, nullptr, &totalFree))
        return false;
    if (bytes)
        *bytes = totalFree.QuadPart;
    return true;
}

std::string systemDrivePath()
{
    wchar_t buffer[260] = {};
    const UINT length = ::GetSystemDirectoryW(buffer, 260);
    if (length == 0 || length >= 260)
        return std::string();
    std::wstring folder(buffer, length);
    const std::size_t slash = folder.find(L'\\');
    return toUtf8(folder.substr(0, slash).c_str());
}

bool isNetworkPath(const std::string& utf8Path)
{
    // A rooted path without a drive letter: a UNC share, or the root of the current drive.
    return !utf8Path.empty() && (utf8Path[0] == '/' || utf8Path[0] == '\\');
}

bool isOnlineFile(const std::string& utf8Path)
{
    const std::wstring path = toWide(utf8Path);
    if (path.empty())
        return false;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD placeholder = 0x1000 /* OFFLINE */ | 0x40000 /* RECALL_ON_OPEN */
                              | 0x400000 /* RECALL_ON_DATA_ACCESS */;
    return (attributes & placeholder) != 0;
}

bool openInFileManager(const std::string& utf8Path)
{
    const std::wstring path = toWide(utf8Path);
    return !path.empty() && startExplorer(quoted(path));
}

bool revealInFileManager(const std::string& utf8Path)
{
    std::wstring path = toWide(utf8Path);
    if (path.empty())
        return false;
    for (wchar_t& c : path) {
        if (c == L'/')
            c = L'\\';
    }
    return startExplorer(L"/select," + quoted(path));
}

bool browseForFolder(const std::string& utf8Title, std::uint64_t ownerWindow, std::string* utf8Chosen)
{
    // The new dialog style needs COM on this thread.
    const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const std::wstring title = toWide(utf8Title);
    BROWSEINFOW info = {};
    info.hwndOwner = reinterpret_cast<HWND>(static_cast<std::uintptr_t>(ownerWindow));
    info.pidlRoot = nullptr; // the desktop
    info.lpszTitle = title.c_str();
    info.ulFlags = 0x1041;
    bool chosen = false;
    if (PIDLIST_ABSOLUTE list = ::SHBrowseForFolderW(&info)) {
        wchar_t path[MAX_PATH] = {};
        if (::SHGetPathFromIDListW(list, path)) {
            if (utf8Chosen)
                *utf8Chosen = toUtf8(path);
            chosen = true;
        }
        ::CoTaskMemFree(list);
    }
    if (SUCCEEDED(com))
        ::CoUninitialize();
    return chosen;
}

} // namespace RZPlatform
