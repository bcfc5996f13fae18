#include <RZCore/platform/RZPlatform.h>

#include <cerrno>
#include <climits>
#include <string>
#include <unistd.h>

namespace RZPlatform {

namespace {

// Handles carry fd + 1 (see RZPlatform.h); -1 for a handle that names no descriptor.
int descriptorOf(void* handle)
{
    const std::intptr_t value = reinterpret_cast<std::intptr_t>(handle);
    return value >= 1 && value <= static_cast<std::intptr_t>(INT_MAX) ? static_cast<int>(value - 1) : -1;
}

void writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return; // a line that cannot be written is lost
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

// Windows colour bits are blue 1, green 2, red 4; ANSI colour numbers are red 1, green 2, blue 4.
int ansiColour(unsigned bits)
{
    return static_cast<int>(((bits & 1u) << 2) | (bits & 2u) | ((bits & 4u) >> 2));
}

void appendSgr(std::string& out, std::uint16_t attribute)
{
    const unsigned foreground = attribute & 0x0fu;
    const unsigned background = (attribute >> 4) & 0x0fu;
    out += "\x1b[";
    out += std::to_string(((foreground & 8u) ? 90 : 30) + ansiColour(foreground));
    // A black background is the terminal's own background, whatever its theme.
    if (background != 0) {
        out += ';';
        out += std::to_string(((background & 8u) ? 100 : 40) + ansiColour(background));
    }
    out += 'm';
}

} // namespace

void* standardOutputHandle()
{
    return consoleHandleFromDescriptor(STDOUT_FILENO);
}

void* consoleHandleFromDescriptor(int fd)
{
    return fd < 0 ? nullptr : reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1);
}

bool isUsableConsoleHandle(void* handle)
{
    return descriptorOf(handle) >= 0;
}

bool isConsole(void* handle)
{
    const int fd = descriptorOf(handle);
    return fd >= 0 && ::isatty(fd) == 1;
}

void writeToHandle(void* handle, const char* data, std::size_t size)
{
    const int fd = descriptorOf(handle);
    if (fd >= 0)
        writeAll(fd, data, size);
}

void writeConsoleColoured(void* handle, const char* data, std::size_t size, std::size_t spanBegin,
                          std::size_t spanEnd, std::uint16_t attribute)
{
    const int fd = descriptorOf(handle);
    if (fd < 0)
        return;
    if (spanEnd > size)
        spanEnd = size;
    if (attribute == 0 || spanBegin >= spanEnd) {
        writeAll(fd, data, size);
        return;
    }
    // One write per line: a terminal shared with other writers sees the line whole.
    thread_local std::string line;
    line.clear();
    line.append(data, spanBegin);
    appendSgr(line, attribute);
    line.append(data + spanBegin, spanEnd - spanBegin);
    line += "\x1b[0m";
    line.append(data + spanEnd, size - spanEnd);
    writeAll(fd, line.data(), line.size());
}

} // namespace RZPlatform
