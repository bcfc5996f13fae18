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

// ---- process communication ---------------------------------------------------------------------

// Whether the main process's local socket is open to every local account by default. Windows: yes,
// helpers may run under other accounts and the profile's ACLs guard the machine. POSIX: no, the
// socket file is the user's alone (any account could otherwise register as a helper, receive the
// main process's broadcasts and send it commands); a host may still widen it.
RZCORE_EXPORT bool localServerOpenToAllByDefault();

} // namespace RZPlatform
