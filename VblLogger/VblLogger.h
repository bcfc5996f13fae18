#ifndef VBLLOGGER_H
#define VBLLOGGER_H
/*
 * VblLogger: a rotating file logger with a C interface.
 *
 * One process-wide logging service keeps any number of named loggers. Each logger writes the file
 * "<directory>/<name>.log"; when the next line would take that file past `maxFileSize` bytes, the
 * files are rotated: "<name>.log" becomes "<name>.1.log", "<name>.1.log" becomes "<name>.2.log" and
 * so on, so that `maxFiles` files remain (the live one and `maxFiles - 1` older ones). A line is
 * never split across files.
 *
 * A line is laid out by the logger's pattern. Markers:
 *   %s  level name: DEBUG (1), TRACE (3), INFO (4), WARN (5), ERROR (6), CRITICAL (7), OFF (8);
 *       any other level prints as its number
 *   %i  id of the calling thread, as the kernel numbers it
 *   %d  local date and time of the call with milliseconds, "2021-03-02 10:11:12.345"
 *   %f  source file name (empty when none is given)
 *   %l  source line number (empty when negative, i.e. unknown)
 *   %F  function name (empty when none is given)
 *   %m  message
 *   %%  a percent sign
 * Anything else is copied as it stands; an empty pattern is the default one. Each `writeLog` call gives
 * exactly one line, followed by the platform's line end ("\n", or "\r\n" on Windows); a line longer
 * than a whole file is cut to fit one.
 *
 * In the file name, characters that some file system refuses (/ \ : * ? " < > | and control
 * characters) become '_', so that a name never leads out of its directory; an empty name gives
 * "vbl.log".
 *
 * All functions may be called from any thread. Nothing is reported to the caller: a directory that
 * cannot be created or a file that cannot be written loses its lines silently, and the logger tries
 * to open its file again at most once a second.
 */

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#if defined(_WIN32)
#if defined(VBLLOGGER_LIBRARY)
#define VBLLOGGER_API __declspec(dllexport)
#else
#define VBLLOGGER_API __declspec(dllimport)
#endif
#else
#define VBLLOGGER_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define VBL_PATTERN_CAPACITY 128
#define VBL_NAME_CAPACITY 128
#define VBL_DIRECTORY_CAPACITY 1024
#define VBL_DEFAULT_PATTERN "[%s][%i][%d][%f][%l][%F]%m"
#define VBL_DEFAULT_NAME "vbl"
#define VBL_DEFAULT_MAX_FILES 3
#define VBL_DEFAULT_MAX_FILE_SIZE 0x500000u

/*
 * The set-up record, passed by value; its layout is part of the binary interface (1,296 bytes).
 * Texts are NUL-terminated; a text that fills its whole field is read up to the field's end.
 */
typedef struct VblLoggingConfig
{
    char pattern[VBL_PATTERN_CAPACITY];     /* line layout, see the markers above */
    int32_t reserved0;                      /* accepted and not interpreted */
    int32_t reserved1;                      /* accepted and not interpreted */
    char loggerName[VBL_NAME_CAPACITY];     /* the name `writeLog` is called with; the file's base name */
    char directory[VBL_DIRECTORY_CAPACITY]; /* created when missing; empty means the current directory */
    int32_t maxFiles;                       /* files kept, the live one included; below 1 counts as 1 */
    uint32_t maxFileSize;                   /* bytes per file; 0 means no rotation */
} VblLoggingConfig;

#ifdef __cplusplus
#define VBL_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define VBL_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif
VBL_STATIC_ASSERT(sizeof(VblLoggingConfig) == 1296, "VblLoggingConfig is 1,296 bytes");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, pattern) == 0, "pattern at 0");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, reserved0) == 128, "reserved0 at 128");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, reserved1) == 132, "reserved1 at 132");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, loggerName) == 136, "loggerName at 136");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, directory) == 264, "directory at 264");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, maxFiles) == 1288, "maxFiles at 1288");
VBL_STATIC_ASSERT(offsetof(VblLoggingConfig, maxFileSize) == 1292, "maxFileSize at 1292");
#undef VBL_STATIC_ASSERT

/*
 * The record's default form: the default pattern, -1 in both reserved words, the name "vbl", no
 * directory, 3 files of 0x500000 bytes. Unused bytes of the texts are zero.
 */
static inline void vblDefaultLoggingConfig(VblLoggingConfig* config)
{
    memset(config, 0, sizeof *config);
    memcpy(config->pattern, VBL_DEFAULT_PATTERN, sizeof VBL_DEFAULT_PATTERN);
    config->reserved0 = -1;
    config->reserved1 = -1;
    memcpy(config->loggerName, VBL_DEFAULT_NAME, sizeof VBL_DEFAULT_NAME);
    config->maxFiles = VBL_DEFAULT_MAX_FILES;
    config->maxFileSize = VBL_DEFAULT_MAX_FILE_SIZE;
}

/*
 * Starts the service if needed and sets up the logger named in `config`: a logger of that name that
 * already exists is closed and replaced. Its file is opened (and the directory created) at once; an
 * existing file is appended to. `flags` is accepted and not interpreted.
 */
VBLLOGGER_API void setupLoggingService(VblLoggingConfig config, int32_t flags);

/* Lines of the named logger below `minimumLevel` are dropped; 0 lets every line through. */
VBLLOGGER_API void setLogLevel(const char* loggerName, int32_t minimumLevel);

/*
 * Non-zero: every line is handed to the operating system before `writeLog` returns. Zero (the
 * default): lines are collected and written in blocks, at rotation and at tear-down.
 */
VBLLOGGER_API void enableAutoFlushLog(int32_t enable);

/*
 * Appends one line to the named logger's file. `file`, `function` and `message` may be null, `line`
 * is -1 when unknown; `reserved` is accepted and not interpreted. Unknown names are ignored.
 */
VBLLOGGER_API void writeLog(const char* loggerName, int32_t level, int32_t reserved, const char* file,
                            const char* function, int32_t line, const char* message);

/* Writes what is pending, closes every file and forgets every logger. */
VBLLOGGER_API void teardownLoggingService(void);

#ifdef __cplusplus
}
#endif

#endif /* VBLLOGGER_H */
