#include <RZCore/platform/RZPlatform.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace RZPlatform {

bool restrictSettingsFile(const std::string& utf8Path)
{
    if (utf8Path.empty())
        return false;
    const mode_t ownerOnly = S_IRUSR | S_IWUSR;
    if (::chmod(utf8Path.c_str(), ownerOnly) == 0)
        return true;
    if (errno != ENOENT)
        return false;
    // Made here, so that it never exists with more access; QSettings keeps the mode of a file it
    // rewrites. fchmod, because the umask may take bits off the mode given to open.
    const int fd = ::open(utf8Path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownerOnly);
    if (fd < 0)
        return errno == EEXIST && ::chmod(utf8Path.c_str(), ownerOnly) == 0;
    const bool restricted = ::fchmod(fd, ownerOnly) == 0;
    ::close(fd);
    return restricted;
}

} // namespace RZPlatform
