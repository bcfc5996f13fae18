#pragma once
// The few operating-system calls of the logging service: files, directories, thread ids and the
// clock. platform/posix/ and platform/win/ implement them; the rest of the service is portable.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace VblSystem {

using FileHandle = std::intptr_t;
constexpr FileHandle kNoFile = -1;

// The platform's line end and path separator.
#if defined(_WIN32)
constexpr char kLineEnd[] = "\r\n";
constexpr char kSeparator = '\\';
#else
constexpr char kLineEnd[] = "\n";
constexpr char kSeparator = '/';
#endif
constexpr std::size_t kLineEndLength = sizeof kLineEnd - 1;

// Opens (creating it when missing) a file for appending; `size` gets its current length.
// kNoFile on failure. Paths are UTF-8.
FileHandle openForAppend(const std::string& path, std::uint64_t* size);
// Writes every byte, retrying partial writes; false when the system refused.
bool writeAll(FileHandle file, const char* data, std::size_t size);
void closeFile(FileHandle file);
// Removing a file that does not exist is not a failure.
bool removeFile(const std::string& path);
// Replaces `to` when it exists.
bool renameFile(const std::string& from, const std::string& to);
// Creates the directory and its missing parents; true when it exists afterwards.
bool makeDirectories(const std::string& path);

// Kernel id of the calling thread.
std::uint32_t currentThreadId();
// Wall-clock time as seconds since 1970 and the millisecond part.
void now(std::int64_t* seconds, int* milliseconds);
bool localTime(std::int64_t seconds, std::tm* out);

} // namespace VblSystem
