#pragma once
// Zip archives. RZQuaZip is the library's front: some of its functions forward to QuaZip's
// JlCompress, the others to ZipOperate, which works on QuaZip's archive classes so that entry names
// are always UTF-8 and extraction can report progress and be cancelled.
//
// Extraction is all or nothing as far as files go: when an entry fails, every file extracted so far
// is removed (created folders stay) and the result is empty. It never writes outside the target
// folder: an entry with an absolute name, a ".." component, or a symbolic link that would lead
// outside fails the extraction the same way, with one warning naming the entry. Symbolic-link
// entries are never made into links; an entry of that kind is written as a file holding its target.

#include <RZCore/RZCoreExport.h>

#include <QString>
#include <QStringList>

class RZCORE_EXPORT RZQuaZip
{
public:
    RZQuaZip() = delete;

    // JlCompress::compressDir, recursive.
    static bool CompressDir(const QString& zip, const QString& dir);
    // ZipOperate::compressDirectory.
    static bool CompressDirWithUTF8(const QString& zip, const QString& dir,
                                    bool (*callback)(bool, const QString&) = nullptr);
    // ZipOperate::compressFileList.
    static bool compressFiles(QString zip, QStringList files, int level);
    // ZipOperate::extractDirectory.
    static QStringList ExtractDir(const QString& zip, const QString& dir);
    // JlCompress::extractFile.
    static QString ExtractFile(QString zip, QString name, QString target);
    // JlCompress::getFileList.
    static QStringList GetFileList(const QString& zip);
    // The entry's bytes as UTF-8 text; empty for a missing entry or an unreadable archive.
    static QString ReadFile(const QString& zip, const QString& name);
};

class RZCORE_EXPORT ZipOperate
{
public:
    // Asked before each folder (`isFolder` true) and file found by compressDirectory, with its
    // absolute path; false leaves it out of the archive (a folder with everything in it).
    using EntryFilter = bool (*)(bool isFolder, const QString& path);
    // Told the bytes extracted so far, with the user value it was set with.
    using ProgressFunction = void (*)(qint64 extractedBytes, void* userData);

    ZipOperate() = delete;

    // Packs the files and folders of `dir` and its sub-folders (hidden ones included, symbolic links
    // to folders not followed) under names relative to `dir`, deflated. The archive's folder is made
    // if needed. On any failure no archive is left and the result is false; also for a missing `dir`.
    static bool compressDirectory(const QString& zip, const QString& dir, EntryFilter callback = nullptr);
    // Stores the files under their own names, with no folder, at the given level. A missing file or
    // one that cannot be added fails the whole archive.
    static bool compressFileList(const QString& zip, const QStringList& files, int level);
    // Unpacks the whole archive into `dir`; the targets of all entries, or an empty list on failure.
    // The characters * ? " < > | of a target are replaced by "_".
    static QStringList extractDirectory(const QString& zip, const QString& dir);

    // Process-wide controls of the extraction copy loop, shared by all extractions: only one
    // extraction at a time reports sensibly.
    // A set flag stops the running extraction (which then fails and cleans up) and every later one,
    // until it is cleared.
    static void setCancelled(bool cancelled);
    static bool isCancelled();
    // The progress function is called after each block while a total above 0 is set.
    static void setTotalSize(qint64 bytes);
    static qint64 totalSize();
    static void setProgressFunction(ProgressFunction function, void* userData);
    // Bytes extracted since the last extraction began.
    static qint64 extractedSize();

    // The sum of the entries' uncompressed sizes, for a total; -1 for an unreadable archive.
    static qint64 uncompressedSize(const QString& zip);
};
