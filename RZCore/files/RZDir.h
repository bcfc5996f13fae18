#pragma once
// Folder operations as classes of static functions: path delimiters, making folders, listing,
// sizes and file counts, the MD5 of a folder, copying, removal, free space, and the small XML file
// that records the effect-pack folders. PathOperation is the older interface and keeps its own
// names.
//
// A path delimiter is QDir::separator() or "/"; both are recognised wherever a path is taken apart,
// and QDir::separator() is the one added. Failures are reported only by the results: an empty
// text, false, or nothing at all. Nothing here logs.
//
// Recursive walks (sizes, counts, listings, copies, removal) never enter a folder reached through a
// link (a symbolic link, a shortcut, a junction): such a link may lead back up the tree or out of it,
// and a folder's walk sees what is stored below the folder itself, once. Copies leave linked folders
// out; removal leaves the links (and so their folders) in place. A link to a file counts as the file.

#include <RZCore/RZCoreExport.h>

#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QString>
#include <QStringList>

class RZCORE_EXPORT RZDir
{
public:
    RZDir() = delete;

    // The QDir filter combinations the operations list with.
    static constexpr int kFilterFiles = 0x2;         // Files
    static constexpr int kFilterSubDirs = 0x6001;    // Dirs | NoDot | NoDotDot
    static constexpr int kFilterOnlyFiles = 0x6002;  // Files | NoDot | NoDotDot
    static constexpr int kFilterDirsFiles = 0x6003;  // Dirs | Files | NoDot | NoDotDot
    static constexpr int kFilterClear = 0x6133;      // + Readable | Writable | Hidden
    static constexpr int kFilterAllSubDirs = 0x6400; // AllDirs | NoDot | NoDotDot
    // Files | NoSymLinks | Hidden | AllDirs | NoDot | NoDotDot
    static constexpr int kFilterRemoveTree = 0x650a;

    // Adds QDir::separator() unless the path is empty or already ends in a delimiter. A delimiter at
    // position 0 does not count, so "/" becomes "//".
    static QString slash(const QString& path);
    // Drops one trailing delimiter (not one at position 0).
    static QString removePathDelimiter(const QString& path);
    // Removes every delimiter and trims: for name-like texts only.
    static QString removeSlash(const QString& text);
    // The position of the last delimiter, or -1.
    static int pathDelimiterPos(const QString& path);

    // The absolute folder of a path, ending in "/".
    static QString GetFileDir(const QString& path);
    // False for an empty path; true if it exists, else whether QDir::mkpath made it.
    static bool mkPath(const QString& path);
    static bool makeSureDirExist(const QString& path);
    // The path once it exists (made if needed), with a trailing delimiter on request; empty on failure.
    static QString checkDir(const QString& path, bool withDelimiter);

    // Counts sub-folders only: a folder holding files but no sub-folder is "empty". True for an
    // empty path and for a missing folder.
    static bool checkDirIsEmpty(const QString& path);
    // Greater than 0 if any file exists in or below the folder; exact only in some cases.
    static int dirHasFiles(const QString& path);
    // Files in the folder and all its sub-folders.
    static int getFileNumber(const QString& path);
    // Bytes of those files.
    static qint64 getFolderSize(QString path);
    // The same sum, walking every sub-folder whatever its name.
    static qint64 getDirFileTotalSize(const QString& path);
    // Appends the files of `dir` to `out`, those of sub-folders first when `recursive` is set, down
    // to depth 5; files further down are left out.
    static void getAllFile(QString dir, QList<QFileInfo>& out, bool recursive = true, int depth = 0);
    static QStringList getFileList(const QString& dir, const QStringList& nameFilters, bool fullPath);
    // The absolute paths of the files below `path` (or `path` itself, a file) whose suffix passes
    // CheckFilters.
    static QStringList GetFilesFromDir(const QString& path, const QStringList& suffixes);
    // True for no filters, or when `filters` holds "*.<suffix>" or "<suffix>", ignoring case.
    static bool CheckFilters(const QStringList& filters, const QString& suffix);

    static bool IsPathReadable(const QString& path);
    static bool IsPathWriteable(const QString& path);
    static bool IsPathWriteAndReadable(const QString& path);

    // A drive letter and ":" plus separator at the start ("C:\" on Windows, "C:/" elsewhere).
    static bool hasDrive(const QString& path);
    // The system drive ("C:"; "/" on POSIX), asked once and kept.
    static QString getOsDrivePath();
    // Free MiB of the volume holding the path; 0x7FFFFFFF when the path cannot be examined, so that
    // an unknown drive counts as roomy. Not an error code.
    static quint64 getDiskFreeSpace(const QString& path);

    // Lower-case hexadecimal MD5 of a file; empty when it cannot be read.
    static QString calculateFileMD5(const QString& path);
    // The MD5 of the sorted, concatenated MD5 texts of the folder's own files (not its sub-folders).
    // File names and listing order play no part. Empty for a missing folder; the MD5 of empty input
    // for a folder without readable files.
    static QString calculateDirectoryMD5(const QString& path);
    static bool hasSameMD5(const QString& first, const QString& second);

    // Copies a tree, replacing files of the same name. Never fails once `to` exists.
    static bool copyAllDirFiles(const QString& from, const QString& to);
    // Copies a tree; with `overwrite` cleared an existing target file fails the copy at that point.
    // Stops at the first failure; what was copied before stays.
    static bool copyDirectoryFiles(const QString& from, const QString& to, bool overwrite);
    // Empties a folder and keeps it. False only when the folder does not exist.
    static bool removeFolderContent(const QString& path);
    // Removes files and sub-folders (those matching `filters`, if any), then the folder itself when
    // `removeSelf` is set. True if nothing failed.
    static bool removeRecursively(const QString& path, bool removeSelf = true,
                                  const QStringList& filters = QStringList());

    static QString readTextFile(const QString& path, bool utf8 = true);
    // Always true.
    static bool writeTextFile(const QString& path, QString text, bool utf8 = true);

    // The folders recorded in the effect-pack file, without duplicates.
    static QStringList getEffectPackPath();
    // Records a folder in the effect-pack file unless it is there already.
    static void saveEffectPackPath(const QString& path);

private:
    friend class PathOperation;
    // A delimiter at `index`; position 0 never counts.
    static bool isPathDelimiter(const QString& path, int index);
};

class RZCORE_EXPORT PathOperation
{
public:
    PathOperation() = delete;

    static QString Slash(const QString& path);
    static QString ExcludeTrailingPathDelimiter(const QString& path);
    // The text before the last delimiter; empty when there is none or it is at position 0.
    static QString ExtractFilePath(const QString& path);
    // Makes the folder and its missing parents; the climb ends where the parent's text is the path's.
    static bool ForceDir(const QString& path);
    static QString CheckDir(const QString& path);
    static QString MakeWorkPath(const QString& name);
    static QString GetDocumentPath();
    static QString GetTempDir();
    static QStringList GetFileList(const QString& dir, const QStringList& nameFilters, bool fullPath);
    // A folder chosen by the user, or an empty string when cancelled.
    static QString GetUserSelectDir(QString title, quint64 owner);
    static bool RemoveDirectoryrecursive(const QString& path, bool removeSelf = true,
                                         const QStringList& filters = QStringList());
};
