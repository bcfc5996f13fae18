// Freeze and stall monitoring on Windows: the monitors' clocks, the thread list and the minidump.

#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
// after windows.h
#include <dbghelp.h>
#include <tlhelp32.h>

#include <atomic>

namespace RZPlatform {

namespace {

std::atomic<MonitorTimeSource> g_timeSource{nullptr};
std::atomic<DWORD> g_frozenThread{0};

constexpr DWORD kDumpExceptionCode = 0xE0000001;

std::wstring widened(const std::string& utf8)
{
    if (utf8.empty())
        return std::wstring();
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &wide[0], length);
    return wide;
}

std::string narrowed(const wchar_t* wide)
{
    if (!wide || !*wide)
        return std::string();
    const int length = ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(length > 0 ? length - 1 : 0), '\0');
    if (length > 1)
        ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, &utf8[0], length, nullptr, nullptr);
    return utf8;
}

using MiniDumpWriteDumpFunction = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE,
                                                PMINIDUMP_EXCEPTION_INFORMATION,
                                                PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION);
using GetThreadDescriptionFunction = HRESULT(WINAPI*)(HANDLE, PWSTR*);

// Looked up at run time: dbghelp.dll is loaded only by a process that writes a dump, and
// GetThreadDescription exists from Windows 10 1607 on.
template <typename F> F systemFunction(const wchar_t* library, const char* name)
{
    HMODULE module = ::GetModuleHandleW(library);
    if (!module)
        module = ::LoadLibraryW(library);
    return module ? reinterpret_cast<F>(reinterpret_cast<void*>(::GetProcAddress(module, name))) : nullptr;
}

struct DumpRequest
{
    const std::wstring* path;
    bool written;
};

// The filter of the guard around the raised exception: writes the dump with the exception's
// information, then lets the thread go on after the raise.
LONG writeDumpFilter(EXCEPTION_POINTERS* pointers, DumpRequest* request)
{
    const auto writeDump = systemFunction<MiniDumpWriteDumpFunction>(L"dbghelp.dll", "MiniDumpWriteDump");
    HANDLE file = ::CreateFileW(request->path->c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return EXCEPTION_CONTINUE_EXECUTION;
    if (writeDump) {
        MINIDUMP_EXCEPTION_INFORMATION exception{};
        exception.ThreadId = ::GetCurrentThreadId();
        exception.ExceptionPointers = pointers;
        exception.ClientPointers = TRUE;
        request->written = writeDump(::GetCurrentProcess(), ::GetCurrentProcessId(), file, MiniDumpNormal,
                                     &exception, nullptr, nullptr)
                           != FALSE;
    }
    ::CloseHandle(file);
    return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

std::int64_t monitorClockMs()
{
    if (const MonitorTimeSource source = g_timeSource.load(std::memory_order_acquire))
        return source() / 10000;
    LARGE_INTEGER counter;
    LARGE_INTEGER frequency;
    ::QueryPerformanceCounter(&counter);
    ::QueryPerformanceFrequency(&frequency);
    return counter.QuadPart / (frequency.QuadPart / 1000);
}

std::int64_t performanceCounter()
{
    if (const MonitorTimeSource source = g_timeSource.load(std::memory_order_acquire))
        return source();
    LARGE_INTEGER counter;
    ::QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

void setMonitorTimeSource(MonitorTimeSource source)
{
    g_timeSource.store(source, std::memory_order_release);
}

std::int64_t suspendAwareClockMs()
{
    // The tick count goes on while the machine sleeps.
    return static_cast<std::int64_t>(::GetTickCount64());
}

std::vector<ThreadState> listThreads()
{
    std::vector<ThreadState> threads;
    HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return threads;
    const DWORD process = ::GetCurrentProcessId();
    const auto describe = systemFunction<GetThreadDescriptionFunction>(L"kernel32.dll", "GetThreadDescription");
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != process)
            continue;
        ThreadState thread;
        thread.id = entry.th32ThreadID;
        if (describe) {
            if (HANDLE handle = ::OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ThreadID)) {
                PWSTR name = nullptr;
                if (SUCCEEDED(describe(handle, &name)) && name) {
                    thread.name = narrowed(name);
                    ::LocalFree(name);
                }
                ::CloseHandle(handle);
            }
        }
        threads.push_back(std::move(thread));
    }
    ::CloseHandle(snapshot);
    return threads;
}

void prepareFreezeDumps()
{
    g_frozenThread.store(::GetCurrentThreadId(), std::memory_order_release);
}

bool writeFreezeDump(const std::string& utf8Path, const FreezeDumpInfo&)
{
    const std::wstring path = widened(utf8Path);
    DumpRequest request{&path, false};
#if defined(_MSC_VER)
    // The dump needs this thread's exception pointers: raise, write in the filter, resume.
    __try {
        ::RaiseException(kDumpExceptionCode, 0, 0, nullptr);
    } __except (writeDumpFilter(GetExceptionInformation(), &request)) {
    }
#else
    // Compilers without structured exception handling: the same pointers, built from this thread's
    // context at this point.
    CONTEXT context{};
    ::RtlCaptureContext(&context);
    EXCEPTION_RECORD record{};
    record.ExceptionCode = kDumpExceptionCode;
    record.ExceptionAddress = reinterpret_cast<PVOID>(context.Rip);
    EXCEPTION_POINTERS pointers{&record, &context};
    writeDumpFilter(&pointers, &request);
#endif
    return request.written;
}

} // namespace RZPlatform
