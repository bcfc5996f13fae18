#pragma once
// The operating-system seam. Everything the library needs from the system beyond Qt and the
// C++ standard library is declared here as plain functions; platform/posix/ and platform/win/
// implement them. Nothing outside platform/ includes <windows.h> or a POSIX header.

#include <RZCore/RZCoreExport.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <typeinfo>
#include <vector>

class QString;
class QVariant;

namespace RZPlatform {

// ---- settings files and the machine value store ------------------------------------------------

// Gives a settings file of the user the access the product keeps on it, creating it empty when it is
// missing, so that a file QSettings is about to write never exists with more access (QSettings keeps
// the mode of a file it rewrites). Windows: readable and writable, never read-only (_wchmod, what
// QFile::setPermissions does with the product's value 0x2606). POSIX: read and write for the owner
// only (0600): settings hold account names, paths and tokens, and the product's value would make the
// file writable by every user of the machine. False when the file cannot be made or changed.
RZCORE_EXPORT bool restrictSettingsFile(const std::string& utf8Path);

// The product's store of small values for this machine ("registry"). Windows: the values of the key
// HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node\Northwillow\Northwillow Cinvera, through
// QSettings::NativeFormat. POSIX: the same value names in an ini file under the user's configuration
// location, readable and writable by the owner only. A "/" in a name reaches a sub-key. Every call
// opens the store afresh, so any thread may call; another process sees a write once it returns.
RZCORE_EXPORT QVariant machineValue(const QString& name); // invalid when absent
// False when the store could not be written (HKLM needs rights the process may lack).
RZCORE_EXPORT bool setMachineValue(const QString& name, const QVariant& value);
// Where the store lives: the registry key, or the ini file's path.
RZCORE_EXPORT QString machineValueStoreLocation();

// Kernel id of the calling thread, as printed in log lines (gettid / GetCurrentThreadId).
RZCORE_EXPORT std::uint64_t currentThreadId();

// Broken-down local time of a calendar time (localtime_r / localtime_s). False when the
// time cannot be represented.
RZCORE_EXPORT bool localTime(std::time_t seconds, std::tm* out);

// A readable name of a run-time type ("Foo::Bar"), demangled where the compiler mangles it.
RZCORE_EXPORT std::string readableTypeName(const std::type_info& type);

// ---- files and folders -------------------------------------------------------------------------
// Paths cross the seam as UTF-8 text.

// Free bytes of the volume that holds `utf8Path`, all of them, including any the caller's quota or
// the superuser's reserve withholds (GetDiskFreeSpaceExW's total free bytes / statvfs f_bfree).
// False when the path cannot be examined.
RZCORE_EXPORT bool diskFreeBytes(const std::string& utf8Path, std::uint64_t* bytes);

// The drive of the operating system: the text before the first backslash of the system folder
// ("C:") on Windows, "/" on POSIX. Empty when the system cannot say.
RZCORE_EXPORT std::string systemDrivePath();

// Whether a path names a place on a network share. Windows: the text is rooted without a drive
// letter ("\\server\share", "/x"). POSIX, where every absolute path is rooted: a UNC-like "//server"
// or "\\server", or a path whose file system is a network one (NFS, SMB/CIFS, AFS, Ceph, 9P, ...).
RZCORE_EXPORT bool isNetworkPath(const std::string& utf8Path);

// Whether the file is a cloud placeholder whose content is not on this machine (offline or
// recall-on-access attributes). False where the file system has no such attribute.
RZCORE_EXPORT bool isOnlineFile(const std::string& utf8Path);

// Opens a folder in the desktop's file manager, detached (explorer / xdg-open). False when the
// file manager could not be started.
RZCORE_EXPORT bool openInFileManager(const std::string& utf8Path);

// Shows a file in the desktop's file manager: selected in its folder where the file manager can
// (explorer /select), its folder opened otherwise.
RZCORE_EXPORT bool revealInFileManager(const std::string& utf8Path);

// Lets the user choose a folder (SHBrowseForFolderW / a Qt folder dialog), owned by the window
// with the native handle `ownerWindow` (0 for none). False when cancelled or when no dialog can be
// shown in this process.
RZCORE_EXPORT bool browseForFolder(const std::string& utf8Title, std::uint64_t ownerWindow,
                                   std::string* utf8Chosen);
// ---- console (the colour console log sink) ------------------------------------------------------
// A console handle is what the operating system writes through: a HANDLE on Windows. On POSIX it
// carries a file descriptor as the value fd + 1, so that a null handle never names a descriptor
// (standard input, fd 0, is the handle 1) and INVALID_HANDLE_VALUE, all bits set, names none either.

// The process's standard output (GetStdHandle / descriptor 1).
RZCORE_EXPORT void* standardOutputHandle();
// The handle of a C runtime descriptor (_get_osfhandle / the fd + 1 form); null for a negative fd.
RZCORE_EXPORT void* consoleHandleFromDescriptor(int fd);
// False for null and INVALID_HANDLE_VALUE: such a handle is never written to.
RZCORE_EXPORT bool isUsableConsoleHandle(void* handle);
// Whether the handle is an interactive console (GetConsoleMode succeeds / isatty).
RZCORE_EXPORT bool isConsole(void* handle);
// Writes the bytes as they are, the way a redirected stream needs them (WriteFile / write).
RZCORE_EXPORT void writeToHandle(void* handle, const char* data, std::size_t size);
// Writes a line to a console with the bytes [spanBegin, spanEnd) in a console colour attribute
// (the low byte of a Windows character attribute: bits 0-3 foreground blue, green, red, intensity;
// bits 4-7 the same for the background). Windows keeps the console's background bits, sets the
// attribute around the span and puts the previous attributes back (7 when they cannot be read).
// POSIX surrounds the span with the matching ANSI SGR colours and a reset, in one write; there
// attribute 0 means no colour.
RZCORE_EXPORT void writeConsoleColoured(void* handle, const char* data, std::size_t size, std::size_t spanBegin,
                                        std::size_t spanEnd, std::uint16_t attribute);

// ---- display, DPI awareness, single instance (screen, high-DPI start-up, single application) -----

// What the operating system says about the desktop, asked with no QGuiApplication in the process.
// Windows: GetDeviceCaps(DESKTOPHORZRES, DESKTOPVERTRES) on the desktop window's device context
// (taken and, as the product always did, not released), the ratio DESKTOPHORZRES / SM_CXSCREEN.
// POSIX: the X display named by DISPLAY, through libX11 loaded at run time so that the library
// needs no X: the default screen's size in pixels, and the ratio "Xft.dpi" / 96 from the root
// window's resources (1.0 when the resource is not set). Without a display: not available, an empty
// size, ratio 1.0, and `reason` says why.
struct SystemDisplay
{
    bool available = false;
    int width = 0;
    int height = 0;
    double pixelRatio = 1.0;
    std::string reason; // empty when available
};
RZCORE_EXPORT SystemDisplay systemDisplay();

// "SetProcessDpiAwareness" / "GetProcessDpiAwareness" of "Shcore", resolved at run time for the
// current process. The caller checks the Windows version first. POSIX has no such facility: the
// functions are never there.
enum class DpiAwarenessCall { Unresolved, Failed, Succeeded };
RZCORE_EXPORT DpiAwarenessCall setProcessDpiAwareness(unsigned awareness);
// Succeeded: *awareness holds the value. Failed: *lastError holds GetLastError().
RZCORE_EXPORT DpiAwarenessCall getProcessDpiAwareness(int* awareness, std::uint64_t* lastError);

// A name that one process of the user holds at a time, released by the system when the holder ends.
// Windows: the named mutex (OpenMutexW with MUTEX_ALL_ACCESS; when that fails CreateMutexW, initial
// owner). POSIX: a non-blocking exclusive flock on a lock file per user and per name, in
// XDG_RUNTIME_DIR or else in a folder of the user's own under the temp folder ("rzcore-<uid>").
// Returns the held handle, or null when another process holds the name or on failure. `openCode` is
// the system's error value right after the open (GetLastError / errno of opening the lock file),
// `createCode` the one at the end of the attempt (GetLastError / errno of the lock, EWOULDBLOCK when
// another process holds it). An empty name makes no system call and returns null.
RZCORE_EXPORT void* acquireInstanceLock(const std::string& utf8Name, std::int64_t* openCode,
                                        std::int64_t* createCode);
// A second handle to the same held name (DuplicateHandle / dup): the name stays held until every
// handle is released. Null for a null handle.
RZCORE_EXPORT void* duplicateInstanceLock(void* handle);
RZCORE_EXPORT void releaseInstanceLock(void* handle);
// Where the name lives: the mutex name, or the lock file's path (empty when no folder is usable).
RZCORE_EXPORT std::string instanceLockLocation(const std::string& utf8Name);

// ---- network (the request manager's offline test) ----------------------------------------------

// Whether the machine has a network connection at all. Windows: InternetGetConnectedState, with
// `flags` as its flags word (the caller presets it) and `lastError` from GetLastError when it says
// no. POSIX: some interface other than loopback that is up and running and holds an address beyond
// link-local; `flags` becomes 0x02 (a LAN connection) when one is found and 0 otherwise, and
// `lastError` the errno of a failed interface query (0 when the query worked).
RZCORE_EXPORT bool internetConnectedState(std::uint32_t* flags, std::uint32_t* lastError);

// ---- freeze and stall monitoring (the event monitor, the watchdog thread, performance scopes) -------

// The clock the monitors measure with: milliseconds of a monotonic clock (QueryPerformanceCounter /
// CLOCK_MONOTONIC). Any thread may read it.
RZCORE_EXPORT std::int64_t monitorClockMs();
// The high-resolution counter of the performance scopes: raw QueryPerformanceCounter ticks on
// Windows, CLOCK_MONOTONIC in 100 ns units on POSIX, so that a number of ticks means the same time on
// both systems where the counter runs at 10 MHz.
RZCORE_EXPORT std::int64_t performanceCounter();
// Replaces the time source of both clocks above for the whole process, in 100 ns units, so that a
// test can drive time; null gives the system's clocks back.
using MonitorTimeSource = std::int64_t (*)();
RZCORE_EXPORT void setMonitorTimeSource(MonitorTimeSource source);

// Milliseconds of a clock that keeps counting while the machine sleeps (GetTickCount64 /
// CLOCK_BOOTTIME: CLOCK_MONOTONIC stops during a suspend on Linux, so a suspend would never show).
RZCORE_EXPORT std::int64_t suspendAwareClockMs();

// One thread of this process as the system lists it.
struct ThreadState
{
    std::uint64_t id = 0; // kernel id, as currentThreadId() gives it
    std::string name;     // the thread's name, empty when it has none
    std::string state;    // POSIX: the state letter and its meaning ("S sleeping"); Windows: empty
};
// Every thread of this process (/proc/self/task / a Toolhelp snapshot); empty when they cannot be
// listed.
RZCORE_EXPORT std::vector<ThreadState> listThreads();

// Makes the calling thread the one whose stack a freeze dump shows (the main thread). POSIX: installs
// the handler of a real-time signal that walks the interrupted stack into a preallocated buffer, and
// walks once here so that nothing is set up for the first time inside the handler. Windows: the
// minidump holds every thread, so this only records the thread. Call once, on the main thread.
RZCORE_EXPORT void prepareFreezeDumps();

struct FreezeDumpInfo
{
    std::string processName;
    std::string freezeName; // the short name of the freeze
    int freezeSecond = 0;   // the second of the freeze at which the dump is taken
};
// Writes a dump of this process to the file at `utf8Path`. Windows: MiniDumpWriteDump (dbghelp.dll)
// with the exception information of a raised 0xE0000001. POSIX: a text report that a person reads
// without tools: the process, its threads, the stack of the thread given to prepareFreezeDumps
// captured while it is frozen (a signal to that thread; an answer is awaited for at most 500 ms,
// else the report says "no answer"), symbolized with function, file and line where debugging
// information is found, then the memory map. POSIX never replaces an existing file. False when no
// file was written. Call it from a thread other than the frozen one.
RZCORE_EXPORT bool writeFreezeDump(const std::string& utf8Path, const FreezeDumpInfo& info);

// ---- process communication ---------------------------------------------------------------------

// Whether the main process's local socket is open to every local account by default. Windows: yes,
// helpers may run under other accounts and the profile's ACLs guard the machine. POSIX: no, the
// socket file is the user's alone (any account could otherwise register as a helper, receive the
// main process's broadcasts and send it commands); a host may still widen it.
RZCORE_EXPORT bool localServerOpenToAllByDefault();

} // namespace RZPlatform
