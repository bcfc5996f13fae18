#include "../../VblSystem_p.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace VblSystem {

FileHandle openForAppend(const std::string& path, std::uint64_t* size)
{
    // Log lines hold account names, paths and tokens: a log file is its owner's alone, one made by an
    // earlier release included. Rotation renames files, which keeps their mode.
    const mode_t ownerOnly = S_IRUSR | S_IWUSR;
    int fd;
    do {
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, ownerOnly);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return kNoFile;
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return kNoFile;
    }
    // Best effort on a file of another owner that we may write to: the lines still go in.
    if ((info.st_mode & 07777) != ownerOnly)
        ::fchmod(fd, ownerOnly);
    if (size)
        *size = static_cast<std::uint64_t>(info.st_size);
    return fd;
}

bool writeAll(FileHandle file, const char* data, std::size_t size)
{
    const int fd = static_cast<int>(file);
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

void closeFile(FileHandle file)
{
    if (file != kNoFile)
        ::close(static_cast<int>(file));
}

bool removeFile(const std::string& path)
{
    return ::unlink(path.c_str()) == 0 || errno == ENOENT;
}

bool renameFile(const std::string& from, const std::string& to)
{
    return ::rename(from.c_str(), to.c_str()) == 0;
}

bool makeDirectories(const std::string& path)
{
    if (path.empty())
        return true;
    struct stat info;
    if (::stat(path.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode);
    // Create each missing component from the top; "exists" is fine for all but the last check.
    for (std::size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
        const std::string part = path.substr(0, at);
        if (!part.empty() && ::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST)
            return false;
        if (at == std::string::npos)
            break;
    }
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::uint32_t currentThreadId()
{
    // Asked once per thread. The initial-exec model reads it without a call into the dynamic
    // linker; four bytes fit the static TLS reserve even when the library is loaded late.
    thread_local __attribute__((tls_model("initial-exec"))) const std::uint32_t tid =
        static_cast<std::uint32_t>(::syscall(SYS_gettid));
    return tid;
}

void now(std::int64_t* seconds, int* milliseconds)
{
    struct timespec ts;
    ::clock_gettime(CLOCK_REALTIME, &ts);
    *seconds = static_cast<std::int64_t>(ts.tv_sec);
    *milliseconds = static_cast<int>(ts.tv_nsec / 1000000);
}

bool localTime(std::int64_t seconds, std::tm* out)
{
    const time_t t = static_cast<time_t>(seconds);
    return ::localtime_r(&t, out) != nullptr;
}

} // namespace VblSystem
