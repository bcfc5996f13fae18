// Freeze and stall monitoring on POSIX: the monitors' clocks, the thread list and the freeze dump.
//
// A freeze dump is a text report. The frozen thread's stack is taken while it is frozen: the
// watchdog sends it a real-time signal with tgkill, and the handler walks its own stack with
// libunwind into a buffer of static storage and posts a semaphore. The handler allocates nothing
// and takes no lock of ours; everything it could set up for the first time (libunwind's per-thread
// cache, the loader's tables) is touched once by prepareFreezeDumps on the same thread. The names
// are looked up afterwards, on the watchdog thread, with libdw.

#include <RZCore/platform/RZPlatform.h>

#define UNW_LOCAL_ONLY
#include <libunwind.h>

#include <cxxabi.h>
#include <dirent.h>
#include <dwarf.h>
#include <elfutils/libdwfl.h>
#include <fcntl.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

namespace RZPlatform {

namespace {

std::atomic<MonitorTimeSource> g_timeSource{nullptr};

std::int64_t clockNanoseconds(clockid_t clock)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// ---- the stack of the frozen thread -------------------------------------------------------------

constexpr int kMaxFrames = 128;
constexpr long kAnswerWaitNs = 500L * 1000 * 1000;

enum CapturePhase : int
{
    kIdle = 0,
    kRequested = 1, // the signal is on its way
    kWalking = 2,   // the handler is writing the frames
    kAnswered = 3,  // the frames are ready
};

// Everything the handler touches: static storage, no constructor that could run late.
struct StackCapture
{
    std::atomic<int> phase{kIdle};
    std::atomic<long> thread{0}; // kernel id of the thread to capture
    int signalNumber = 0;
    int frameCount = 0;
    int interrupted = 0; // index of the frame the signal interrupted
    std::uintptr_t frames[kMaxFrames];
    sem_t answer;
};

StackCapture g_capture;
std::once_flag g_installOnce;
std::mutex g_requestMutex; // one request at a time (several watchdogs may write dumps)

long kernelThreadId()
{
    return static_cast<long>(::syscall(SYS_gettid));
}

// Walks the calling thread's stack. Only libunwind's local calls, which are safe in a signal
// handler. The frame after the signal trampoline is the one that was interrupted; without a
// trampoline (the warm-up) the walk starts at this function.
int walkOwnStack(std::uintptr_t* frames, int capacity, int* interrupted)
{
    *interrupted = 0;
    unw_context_t context;
    unw_cursor_t cursor;
    if (unw_getcontext(&context) != 0 || unw_init_local(&cursor, &context) != 0)
        return 0;
    int count = 0;
    do {
        unw_word_t ip = 0;
        if (unw_get_reg(&cursor, UNW_REG_IP, &ip) != 0)
            break;
        frames[count++] = static_cast<std::uintptr_t>(ip);
        if (*interrupted == 0 && unw_is_signal_frame(&cursor) > 0)
            *interrupted = count;
    } while (count < capacity && unw_step(&cursor) > 0);
    return count;
}

void onStackRequest(int, siginfo_t*, void*)
{
    const int savedErrno = errno;
    int expected = kRequested;
    if (g_capture.phase.compare_exchange_strong(expected, kWalking, std::memory_order_acq_rel)) {
        g_capture.frameCount = walkOwnStack(g_capture.frames, kMaxFrames, &g_capture.interrupted);
        g_capture.phase.store(kAnswered, std::memory_order_release);
        ::sem_post(&g_capture.answer);
    }
    errno = savedErrno;
}

// A real-time signal nobody else handles, from the top.
int freeSignal()
{
    for (int signal = SIGRTMAX - 2; signal > SIGRTMIN + 2; --signal) {
        struct sigaction current
        {
        };
        if (::sigaction(signal, nullptr, &current) == 0 && !(current.sa_flags & SA_SIGINFO)
            && current.sa_handler == SIG_DFL)
            return signal;
    }
    return 0;
}

void installHandler()
{
    if (::sem_init(&g_capture.answer, 0, 0) != 0)
        return;
    const int signal = freeSignal();
    if (signal == 0)
        return;
    struct sigaction action
    {
    };
    action.sa_sigaction = &onStackRequest;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    if (::sigaction(signal, &action, nullptr) == 0)
        g_capture.signalNumber = signal;
}

struct CapturedStack
{
    bool answered = false;
    long thread = 0;
    std::string failure; // why there is no stack
    std::vector<std::uintptr_t> frames;
    int interrupted = 0;
};

CapturedStack captureFrozenStack()
{
    CapturedStack result;
    std::lock_guard<std::mutex> lock(g_requestMutex);
    result.thread = g_capture.thread.load(std::memory_order_acquire);
    if (g_capture.signalNumber == 0 || result.thread == 0) {
        result.failure = "no answer (no thread was prepared for capture)";
        return result;
    }
    if (result.thread == kernelThreadId()) {
        result.failure = "no answer (the dump is written by the thread it would show)";
        return result;
    }
    int phase = g_capture.phase.load(std::memory_order_acquire);
    if (phase == kWalking) {
        result.failure = "no answer (an earlier walk has not finished)";
        return result;
    }
    while (::sem_trywait(&g_capture.answer) == 0) {
    }
    g_capture.phase.store(kRequested, std::memory_order_release);
    if (::syscall(SYS_tgkill, static_cast<long>(::getpid()), result.thread, g_capture.signalNumber) != 0) {
        g_capture.phase.store(kIdle, std::memory_order_release);
        result.failure = std::string("no answer (signal not delivered: ") + std::strerror(errno) + ")";
        return result;
    }
    timespec deadline{};
    ::clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += kAnswerWaitNs;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    for (;;) {
        if (g_capture.phase.load(std::memory_order_acquire) == kAnswered)
            break;
        if (::sem_timedwait(&g_capture.answer, &deadline) != 0 && errno != EINTR)
            break;
    }
    if (g_capture.phase.load(std::memory_order_acquire) == kAnswered) {
        result.answered = true;
        result.frames.assign(g_capture.frames, g_capture.frames + g_capture.frameCount);
        result.interrupted = g_capture.interrupted;
        g_capture.phase.store(kIdle, std::memory_order_release);
        return result;
    }
    // Withdraw the request; a walk already under way finishes on its own and is ignored.
    phase = kRequested;
    g_capture.phase.compare_exchange_strong(phase, kIdle, std::memory_order_acq_rel);
    result.failure = "no answer";
    return result;
}

// ---- text helpers -----------------------------------------------------------------------------

std::string readWholeFile(const char* path)
{
    std::string text;
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return text;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0)
            text.append(buffer, static_cast<std::size_t>(n));
        else if (n == 0 || errno != EINTR)
            break;
    }
    ::close(fd);
    return text;
}

std::string hex(std::uintptr_t value)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%016" PRIxPTR, value);
    return text;
}

std::string demangled(const char* name)
{
    if (!name)
        return std::string();
    int status = 0;
    char* readable = abi::__cxa_demangle(name, nullptr, nullptr, &status);
    std::string result = (status == 0 && readable) ? readable : name;
    std::free(readable);
    return result;
}

std::string baseName(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

const char* stateMeaning(char state)
{
    switch (state) {
    case 'R':
        return "running";
    case 'S':
        return "sleeping";
    case 'D':
        return "waiting on the disk";
    case 'T':
        return "stopped";
    case 't':
        return "stopped by a tracer";
    case 'Z':
        return "zombie";
    case 'X':
        return "dead";
    case 'I':
        return "idle";
    default:
        return "unknown";
    }
}

// ---- names of code addresses ------------------------------------------------------------------

// The name of an inlined or out-of-line function's debugging entry.
std::string dieName(Dwarf_Die* die)
{
    Dwarf_Attribute attribute;
    for (int name : {DW_AT_linkage_name, DW_AT_MIPS_linkage_name}) {
        if (dwarf_attr_integrate(die, name, &attribute))
            if (const char* text = dwarf_formstring(&attribute))
                return demangled(text);
    }
    if (dwarf_attr_integrate(die, DW_AT_name, &attribute))
        if (const char* text = dwarf_formstring(&attribute))
            return text;
    return std::string();
}

class Symbolizer
{
public:
    Symbolizer()
    {
        static const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, dwfl_standard_find_debuginfo,
                                                 nullptr, nullptr};
        m_pDwfl = dwfl_begin(&callbacks);
        if (!m_pDwfl)
            return;
        dwfl_report_begin(m_pDwfl);
        const bool reported = dwfl_linux_proc_report(m_pDwfl, ::getpid()) == 0;
        dwfl_report_end(m_pDwfl, nullptr, nullptr);
        if (!reported) {
            dwfl_end(m_pDwfl);
            m_pDwfl = nullptr;
        }
    }
    ~Symbolizer()
    {
        if (m_pDwfl)
            dwfl_end(m_pDwfl);
    }
    Symbolizer(const Symbolizer&) = delete;
    Symbolizer& operator=(const Symbolizer&) = delete;

    // "0x... in function at file:line [inlined: ...] (module+0xoffset)". A return address is looked
    // up one byte back, inside the call that returns there.
    std::string describe(std::uintptr_t pc, bool returnAddress, const std::string& maps) const
    {
        std::string text = hex(pc);
        const Dwarf_Addr lookup = returnAddress && pc > 0 ? pc - 1 : pc;
        Dwfl_Module* module = m_pDwfl ? dwfl_addrmodule(m_pDwfl, lookup) : nullptr;
        if (!module)
            return text + " (" + mappingOf(pc, maps) + ")";

        Dwarf_Addr start = 0;
        const char* moduleName = dwfl_module_info(module, nullptr, &start, nullptr, nullptr, nullptr,
                                                  nullptr, nullptr);
        GElf_Off offset = 0;
        GElf_Sym symbol;
        const char* function = dwfl_module_addrinfo(module, lookup, &offset, &symbol, nullptr, nullptr, nullptr);
        if (function)
            text += " in " + demangled(function);

        if (Dwfl_Line* line = dwfl_module_getsrc(module, lookup)) {
            int lineNumber = 0;
            if (const char* file = dwfl_lineinfo(line, nullptr, &lineNumber, nullptr, nullptr, nullptr))
                text += " at " + std::string(file) + ":" + std::to_string(lineNumber);
        }

        Dwarf_Addr bias = 0;
        if (Dwarf_Die* unit = dwfl_module_addrdie(module, lookup, &bias)) {
            Dwarf_Die* scopes = nullptr;
            const int count = dwarf_getscopes(unit, lookup - bias, &scopes);
            std::string inlined;
            for (int i = 0; i < count; ++i) {
                if (dwarf_tag(&scopes[i]) != DW_TAG_inlined_subroutine)
                    continue;
                const std::string name = dieName(&scopes[i]);
                if (!name.empty())
                    inlined += (inlined.empty() ? "" : " <- ") + name;
            }
            std::free(scopes);
            if (!inlined.empty())
                text += " [inlined: " + inlined + "]";
        }

        char where[64];
        std::snprintf(where, sizeof where, "+0x%" PRIx64, static_cast<std::uint64_t>(pc - start));
        text += " (" + baseName(moduleName ? moduleName : "?") + where + ")";
        return text;
    }

private:
    // Module and file offset from the memory map, for an address libdw knows nothing about.
    static std::string mappingOf(std::uintptr_t pc, const std::string& maps)
    {
        std::size_t at = 0;
        while (at < maps.size()) {
            std::size_t end = maps.find('\n', at);
            if (end == std::string::npos)
                end = maps.size();
            const std::string line = maps.substr(at, end - at);
            at = end + 1;
            unsigned long long low = 0, high = 0, fileOffset = 0;
            char path[512] = {0};
            if (std::sscanf(line.c_str(), "%llx-%llx %*s %llx %*s %*s %511[^\n]", &low, &high, &fileOffset, path) < 3)
                continue;
            if (pc < low || pc >= high)
                continue;
            char where[64];
            std::snprintf(where, sizeof where, "+0x%llx", static_cast<unsigned long long>(pc - low + fileOffset));
            return baseName(path[0] ? path : "anonymous") + where;
        }
        return "unmapped";
    }

    Dwfl* m_pDwfl = nullptr;
};

} // namespace

std::int64_t monitorClockMs()
{
    if (const MonitorTimeSource source = g_timeSource.load(std::memory_order_acquire))
        return source() / 10000;
    return clockNanoseconds(CLOCK_MONOTONIC) / 1000000;
}

std::int64_t performanceCounter()
{
    if (const MonitorTimeSource source = g_timeSource.load(std::memory_order_acquire))
        return source();
    return clockNanoseconds(CLOCK_MONOTONIC) / 100;
}

void setMonitorTimeSource(MonitorTimeSource source)
{
    g_timeSource.store(source, std::memory_order_release);
}

std::int64_t suspendAwareClockMs()
{
    return clockNanoseconds(CLOCK_BOOTTIME) / 1000000;
}

std::vector<ThreadState> listThreads()
{
    std::vector<ThreadState> threads;
    DIR* dir = ::opendir("/proc/self/task");
    if (!dir)
        return threads;
    while (const dirent* entry = ::readdir(dir)) {
        char* end = nullptr;
        const unsigned long long id = std::strtoull(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0')
            continue;
        ThreadState thread;
        thread.id = id;
        const std::string base = std::string("/proc/self/task/") + entry->d_name;
        thread.name = readWholeFile((base + "/comm").c_str());
        while (!thread.name.empty() && thread.name.back() == '\n')
            thread.name.pop_back();
        // "tid (name) S ...": the name may hold blanks and parentheses, the state follows the last ')'.
        const std::string stat = readWholeFile((base + "/stat").c_str());
        const std::size_t close = stat.rfind(')');
        if (close != std::string::npos && close + 2 < stat.size()) {
            const char letter = stat[close + 2];
            thread.state = std::string(1, letter) + " " + stateMeaning(letter);
        }
        threads.push_back(std::move(thread));
    }
    ::closedir(dir);
    return threads;
}

void prepareFreezeDumps()
{
    std::call_once(g_installOnce, [] {
        // Per-thread caches: the global cache of libunwind is guarded by a lock.
        unw_set_caching_policy(unw_local_addr_space, UNW_CACHE_PER_THREAD);
        installHandler();
    });
    // The walk once on this thread, outside a handler, so that the handler sets nothing up.
    std::uintptr_t frames[kMaxFrames];
    int interrupted = 0;
    walkOwnStack(frames, kMaxFrames, &interrupted);
    g_capture.thread.store(kernelThreadId(), std::memory_order_release);
}

bool writeFreezeDump(const std::string& utf8Path, const FreezeDumpInfo& info)
{
    // Taken first, while the thread is still frozen.
    const CapturedStack stack = captureFrozenStack();

    const int fd = ::open(utf8Path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;

    std::string text;
    text += "RZCore freeze dump\n";
    text += "process: " + info.processName + " (pid " + std::to_string(::getpid()) + ")\n";
    char when[64] = {0};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (::localtime_r(&now, &local))
        std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S %z", &local);
    text += std::string("time: ") + when + "\n";
    text += "freeze: " + info.freezeName + ", second " + std::to_string(info.freezeSecond) + "\n";

    const std::vector<ThreadState> threads = listThreads();
    text += "\nthreads (" + std::to_string(threads.size()) + "):\n";
    for (const ThreadState& thread : threads) {
        text += "  " + std::to_string(thread.id) + " \"" + thread.name + "\" " + thread.state;
        if (static_cast<long>(thread.id) == stack.thread)
            text += "  <- frozen, stack below";
        text += "\n";
    }

    const std::string maps = readWholeFile("/proc/self/maps");
    text += "\nstack of the frozen thread " + std::to_string(stack.thread) + ":\n";
    if (!stack.answered) {
        text += "  " + stack.failure + "\n";
    } else {
        const Symbolizer symbolizer;
        const int first = stack.interrupted < static_cast<int>(stack.frames.size()) ? stack.interrupted : 0;
        for (int i = first; i < static_cast<int>(stack.frames.size()); ++i) {
            char number[16];
            std::snprintf(number, sizeof number, "  #%-3d ", i - first);
            // The interrupted frame's address is exact; every other one is a return address.
            text += number + symbolizer.describe(stack.frames[static_cast<std::size_t>(i)], i != first, maps) + "\n";
        }
    }

    text += "\nmemory map:\n" + maps;

    const char* data = text.data();
    std::size_t left = text.size();
    bool written = true;
    while (left > 0) {
        const ssize_t n = ::write(fd, data, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            written = false;
            break;
        }
        data += n;
        left -= static_cast<std::size_t>(n);
    }
    ::close(fd);
    return written;
}

} // namespace RZPlatform
