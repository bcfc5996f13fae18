#include <RZCore/platform/RZPlatform.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

namespace RZPlatform {

namespace {

// Handles carry fd + 1, as the console handles do, so that a null handle never names a descriptor.
void* handleOf(int fd)
{
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1);
}

int descriptorOf(void* handle)
{
    const std::intptr_t value = reinterpret_cast<std::intptr_t>(handle);
    return value >= 1 && value <= static_cast<std::intptr_t>(INT_MAX) ? static_cast<int>(value - 1) : -1;
}

// A file name for any name: the bytes a file name may safely hold are kept (at most 100 of them),
// every other byte becomes '_', and a hash of the whole name keeps "a/b" and "a_b" apart.
std::string lockFileName(const std::string& name)
{
    std::string safe;
    for (const char c : name) {
        if (safe.size() == 100)
            break;
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-'
                           || c == '_' || c == '.';
        safe += plain ? c : '_';
    }
    std::uint64_t hash = 14695981039346656037ull; // FNV-1a
    for (const char c : name) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    char suffix[24];
    std::snprintf(suffix, sizeof suffix, "-%016llx.lock", static_cast<unsigned long long>(hash));
    return "rzsingle-" + safe + suffix;
}

// The folder of the lock files: XDG_RUNTIME_DIR (the user's own, cleared at logout), else
// "<temp>/rzcore-<uid>", made 0700 and accepted only when it is a real folder of this user that no
// one else may write, so that another user cannot plant or hold our lock files.
std::string lockFolder(int* error)
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    struct stat info;
    if (runtime && runtime[0] == '/' && ::stat(runtime, &info) == 0 && S_ISDIR(info.st_mode)
        && info.st_uid == ::geteuid())
        return runtime;
    const char* temp = std::getenv("TMPDIR");
    std::string folder = (temp && temp[0] == '/') ? temp : "/tmp";
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    folder += "/rzcore-" + std::to_string(::geteuid());
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        *error = errno;
        return std::string();
    }
    if (::lstat(folder.c_str(), &info) != 0) {
        *error = errno;
        return std::string();
    }
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::geteuid() || (info.st_mode & 022) != 0) {
        *error = EACCES;
        return std::string();
    }
    return folder;
}

std::string lockPath(const std::string& name, int* error)
{
    const std::string folder = lockFolder(error);
    return folder.empty() ? folder : folder + '/' + lockFileName(name);
}

} // namespace

void* acquireInstanceLock(const std::string& utf8Name, std::int64_t* openCode, std::int64_t* createCode)
{
    *openCode = 0;
    *createCode = 0;
    if (utf8Name.empty())
        return nullptr;
    int error = 0;
    const std::string path = lockPath(utf8Name, &error);
    if (path.empty()) {
        *openCode = *createCode = error;
        return nullptr;
    }
    // Close-on-exec: a child process must not keep the name held after its parent is gone.
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    *openCode = fd < 0 ? errno : 0;
    if (fd < 0) {
        *createCode = *openCode;
        return nullptr;
    }
    // The lock file is never removed: unlinking it would let a late opener lock a dead inode while a
    // third process locks a new file, and both would believe they are first.
    int rc;
    do {
        rc = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        *createCode = errno;
        ::close(fd);
        return nullptr;
    }
    return handleOf(fd);
}

void* duplicateInstanceLock(void* handle)
{
    const int fd = descriptorOf(handle);
    if (fd < 0)
        return nullptr;
    // One open file description, one lock: it holds until the last descriptor is closed.
    const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    return copy < 0 ? nullptr : handleOf(copy);
}

void releaseInstanceLock(void* handle)
{
    const int fd = descriptorOf(handle);
    if (fd >= 0)
        ::close(fd);
}

std::string instanceLockLocation(const std::string& utf8Name)
{
    int error = 0;
    return lockPath(utf8Name, &error);
}

} // namespace RZPlatform
