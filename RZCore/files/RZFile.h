#pragma once
// File operations as classes of static functions: name arithmetic, existence tests, copying,
// whole-file reading and writing, hashing. RZFile carries the rules for free names; FileOperation
// is the older interface, with its own names and a flag for the text codec.
//
// "Base" is QFileInfo::baseName() (up to the first dot), "suffix" QFileInfo::suffix() (after the
// last dot), "folder" QFileInfo::path(). Failures are reported only by the results; an empty text
// cannot be told from an empty file. Nothing here logs.

#include <RZCore/RZCoreExport.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

// The Windows headers define CopyFile/DeleteFile as macros for CopyFileW/DeleteFileW; the exported
// names are the W forms and must not be renamed by any macro of that name.
#pragma push_macro("CopyFileW")
#pragma push_macro("DeleteFileW")
#undef CopyFileW
#undef DeleteFileW

class RZCORE_EXPORT RZFile : public QObject
{
    Q_OBJECT

public:
    RZFile() = delete;

    static QString baseName(const QString& path);
    static QString completeBaseName(const QString& path);
    static QString fileName(const QString& path);
    static QString suffix(const QString& path);

    static bool exists(const QString& path);
    // True if every path exists; true for an empty list.
    static bool exists(const QStringList& paths);
    // Existence for code that must never wait on a slow disk: answered from a cache of 1,000 paths
    // and refreshed in the background, at most about once a second per path and with at most four
    // checks at a time. Optimistic and late: an unknown path answers true, and a change on disk is
    // seen only by a call after a refresh has ended. Any thread may call it.
    static bool lazyExists(const QString& path);
    // True if the file was not there; otherwise whether it could be removed.
    static bool removeFile(const QString& path);

    // The text before the last delimiter; empty when there is none or it is at position 0.
    static QString extractFilePath(const QString& path);
    // Folder (with a delimiter), base, extra, ".", suffix.
    static QString appendFileNameSuffix(const QString& path, const QString& extra);
    // Base, extra, ".", suffix.
    static QString makeFileName(const QString& path, const QString& extra);
    // Folder, base, then `newSuffix` as given: the caller includes the dot.
    static QString replaceSuffix(const QString& path, const QString& newSuffix);

    // A free path for a copy of the file in its folder: "clip - Copy.mp4", then "clip - Copy (1).mp4",
    // "clip - Copy (2).mp4". Always base up to the first dot and suffix after the last.
    static QString makeValidDuplicationFilePath(const QString& path);
    // A free path for renaming the file to `newBaseName` in its folder, numbered like the copies; the
    // file's own base gives back its own path.
    static QString makeValidRenameFilePath(const QString& path, const QString& newBaseName);
    // A name that was free at the moment of the call, from a QTemporaryFile template; nothing reserves
    // it afterwards. Empty when no file could be made.
    static QString generateUniqueFileName(const QString& templatePath);

    static QString makeWorkPath(const QString& name);
    static QString getAppSettingsFile();
    static QString getEffectPackPathConfigFile();

    // True for a path on a network share (on Windows: any rooted path without a drive letter, UNC
    // paths among them) and for a cloud placeholder.
    static bool isNetWorkDrivePath(const QString& path);
    // False as soon as one URL's local file is a network path.
    static bool canDropUrls(const QList<QUrl>& urls);

    // UTF-8; empty when the file cannot be opened.
    static QString readTextFile(const QString& path);
    // UTF-8; whether the file could be opened.
    static bool writeTextFile(const QString& path, const QString& text);

    // Opens a folder in the desktop's file manager.
    static void openFolder(const QString& path);
    // Shows a file in the desktop's file manager.
    static void findTargetFile(const QString& path);
};

class RZCORE_EXPORT FileOperation
{
public:
    FileOperation() = delete;

    static QString GetFileBaseName(const QString& path);
    static QString GetFileName(const QString& path);
    static QString GetFileSuffixName(const QString& path);
    // The absolute folder, ending in "/".
    static QString GetFileDir(const QString& path);
    static QString AppendFileNameSuffix(const QString& path, const QString& extra);
    static QString MakeFileName(const QString& path, const QString& extra);
    static QString RepalceSuffixName(const QString& path, const QString& newSuffix);

    static bool IsFileExist(const QString& path);
    static bool IsFileExist(const QStringList& paths);
    static bool RemoveFile(const QString& path);
    static bool DeleteFileW(const QString& path);
    // Makes an empty file; an existing file is left as it is.
    static void CreateNewFile(const QString& path);
    // Replaces `target`.
    static bool CopyOneFile(const QString& source, const QString& target);
    // Copies into `folder` under the source's name, replacing a file there.
    static bool CopyFileW(const QString& source, const QString& folder);
    // Stops at the first failure; earlier copies stay. True for an empty list.
    static bool CopyFiles(const QStringList& sources, const QString& folder);
    // Lower-case hexadecimal MD5 of the file's content, read in blocks up to its size at the start;
    // empty when it cannot be opened.
    static QString CalcFileMD5(const QString& path);

    // The text of the file; UTF-8 when `utf8` is set, the locale's codec otherwise.
    static QString ReadFile(const QString& path, bool utf8 = true);
    static QString ReadTextFile(const QString& path, bool utf8 = true);
    static void WriteFile(const QString& path, QString text, bool utf8 = true);
    // Whether the file exists afterwards, not whether the writing worked.
    static bool WriteTextFile(const QString& path, const QString& text, bool utf8 = true);
};

#pragma pop_macro("DeleteFileW")
#pragma pop_macro("CopyFileW")
