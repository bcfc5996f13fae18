#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace RZPlatform {

bool restrictSettingsFile(const std::string& utf8Path)
{
    if (utf8Path.empty())
        return false;
    const int size =
        ::MultiByteToWideChar(CP_UTF8, 0, utf8Path.data(), static_cast<int>(utf8Path.size()), nullptr, 0);
    if (size <= 0)
        return false;
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8Path.data(), static_cast<int>(utf8Path.size()), &wide[0], size);
    // The product's 0x2606 holds read and write bits, which is all the CRT's chmod knows on Windows.
    if (::_wchmod(wide.c_str(), _S_IREAD | _S_IWRITE) == 0)
        return true;
    // A missing file is made, as on POSIX; who else may read it is up to the profile's ACLs.
    const int fd = ::_wopen(wide.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
    if (fd < 0)
        return false;
    ::_close(fd);
    return true;
}

} // namespace RZPlatform
