#include <RZCore/files/ZipOperate.h>

#include <RZCore/log/RZBaseLog.h>

#include <JlCompress.h>
#include <quazip.h>
#include <quazipfile.h>
#include <quazipfileinfo.h>
#include <quazipnewinfo.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <atomic>

namespace {

// ---- process-wide controls of the copy loop -----------------------------------------------------

std::atomic<bool> s_bCancelled{false};
std::atomic<qint64> s_nTotalSize{0};
std::atomic<qint64> s_nExtractedSize{0};
std::atomic<ZipOperate::ProgressFunction> s_pProgress{nullptr};
std::atomic<void*> s_pProgressUserData{nullptr};

constexpr qint64 kExtractBlock = 4096;
constexpr qint64 kCompressBlock = 256 * 1024;

// ---- the guard against writing outside the target folder ----------------------------------------

bool isInside(const QString& path, const QString& root)
{
    return path == root || path.startsWith(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/'));
}

bool isAbsoluteName(const QString& name)
{
    if (name.startsWith(QLatin1Char('/')) || name.startsWith(QLatin1Char('\\')))
        return true;
    // "C:..." is rooted on Windows, relative or not.
    return name.size() >= 2 && name.at(1) == QLatin1Char(':') && name.at(0).isLetter();
}

bool hasParentComponent(const QString& name)
{
    QString unified = name;
    unified.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QStringList parts = unified.split(QLatin1Char('/'));
    return parts.contains(QStringLiteral(".."));
}

// Where writing to `path` really ends up lies inside the real `canonicalRoot`: links already on disk
// (at the path itself, dangling ones too, or on the way to it) are followed.
bool writesInside(const QString& path, const QString& canonicalRoot)
{
    QString target = QDir::cleanPath(path);
    for (int hops = 0; QFileInfo(target).isSymLink(); ++hops) {
        if (hops == 40)
            return false;
        target = QDir::cleanPath(QFileInfo(target).symLinkTarget());
    }
    QString existing = target;
    while (!QFileInfo::exists(existing)) {
        const QString parent = QFileInfo(existing).path();
        if (parent == existing)
            return false;
        existing = parent;
    }
    return isInside(QFileInfo(existing).canonicalFilePath(), canonicalRoot);
}

// The entry's link target, for a symbolic-link entry (the entry's data).
QString readLinkTarget(QuaZip& zip)
{
    QuaZipFile link(&zip);
    if (!link.open(QIODevice::ReadOnly))
        return QString();
    const QByteArray text = link.read(4096);
    link.close();
    return QFile::decodeName(text);
}

// Whether the current entry, unpacked at `target`, stays inside the target folder.
bool entryStaysInside(QuaZip& zip, const QString& name, const QString& target, const QString& root,
                      const QString& canonicalRoot)
{
    if (name.isEmpty() || isAbsoluteName(name) || hasParentComponent(name))
        return false;
    if (!isInside(QDir::cleanPath(target), root) || !writesInside(target, canonicalRoot))
        return false;
    QuaZipFileInfo64 info;
    if (zip.getCurrentFileInfo(&info) && info.isSymbolicLink()) {
        const QString link = readLinkTarget(zip);
        if (link.isEmpty() || isAbsoluteName(link))
            return false;
        const QString resolved = QDir::cleanPath(QFileInfo(target).path() + QLatin1Char('/') + link);
        if (!isInside(resolved, root) || !writesInside(resolved, canonicalRoot))
            return false;
    }
    return true;
}

// ---- extraction ---------------------------------------------------------------------------------

bool copyEntryData(QuaZipFile& in, QFile& out)
{
    char block[kExtractBlock];
    while (!in.atEnd()) {
        if (s_bCancelled.load(std::memory_order_relaxed))
            return false;
        const qint64 read = in.read(block, kExtractBlock);
        if (read <= 0)
            return false;
        if (out.write(block, read) != read)
            return false;
        const qint64 done = s_nExtractedSize.fetch_add(read, std::memory_order_relaxed) + read;
        const ZipOperate::ProgressFunction progress = s_pProgress.load();
        if (progress && s_nTotalSize.load(std::memory_order_relaxed) > 0)
            progress(done, s_pProgressUserData.load());
    }
    return true;
}

void applyPermissions(const QString& path, QFile::Permissions permissions)
{
    // The owner keeps the right to read and remove what was unpacked.
    if (permissions != QFile::Permissions())
        QFile::setPermissions(path, permissions | QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser |
                                        QFile::WriteUser);
}

// Unpacks the current entry (or the entry `name`, if given) to `target`. A partly written file is
// removed again.
bool extractFile(QuaZip& zip, const QString& name, const QString& target)
{
    if (!name.isEmpty() && !zip.setCurrentFile(name))
        return false;
    const QByteArray entryName = zip.getCurrentFileName().toUtf8();
    QuaZipFile in(&zip);
    if (!in.open(QIODevice::ReadOnly) || in.getZipError() != UNZ_OK) {
        RZLOG_WARN("open zip file failed, error = %d, file = %s", in.getZipError(), entryName.constData());
        return false;
    }
    const bool folderEntry = target.endsWith(QLatin1Char('/'));
    if (folderEntry) {
        if (!QDir().mkpath(target)) {
            RZLOG_WARN("make path failed, file = %s", qUtf8Printable(target));
            return false;
        }
    } else if (!QDir().mkpath(QFileInfo(target).absolutePath())) {
        RZLOG_WARN("make path by absolute path failed, file = %s", qUtf8Printable(target));
        return false;
    }
    QuaZipFileInfo64 info;
    if (!zip.getCurrentFileInfo(&info)) {
        RZLOG_WARN("get current file failed, error = %d, file = %s", zip.getZipError(),
                   entryName.constData());
        return false;
    }
    if (folderEntry && QFileInfo(target).isDir()) {
        applyPermissions(target, info.getPermissions());
        return true;
    }
    QFile out(target);
    if (!out.open(QIODevice::WriteOnly)) {
        RZLOG_WARN("open file failed, error = %s file = %s", qUtf8Printable(out.errorString()),
                   qUtf8Printable(target));
        return false;
    }
    const bool copied = copyEntryData(in, out) && in.getZipError() == UNZ_OK;
    out.close();
    if (!copied) {
        RZLOG_WARN("copy data failed, error = %d, file = %s", in.getZipError(), qUtf8Printable(target));
        out.remove();
        return false;
    }
    // Closing the entry checks its CRC.
    in.close();
    if (in.getZipError() != UNZ_OK) {
        RZLOG_WARN("copy file failed, error = %d, file = %s", in.getZipError(), qUtf8Printable(target));
        out.remove();
        return false;
    }
    applyPermissions(target, info.getPermissions());
    return true;
}

void removeFiles(const QStringList& paths)
{
    for (const QString& path : paths)
        QFile::remove(path);
}

QString cleanTargetText(QString target)
{
    for (const char c : {'*', '?', '"', '<', '>', '|'})
        target.replace(QLatin1Char(c), QLatin1Char('_'));
    return target;
}

// ---- compression --------------------------------------------------------------------------------

bool openForCreate(QuaZip& zip, const QString& zipPath)
{
    zip.setFileNameCodec("UTF-8");
    // Flag the names as UTF-8 too, so that other tools read them as such.
    zip.setUtf8Enabled(true);
    QDir().mkpath(QFileInfo(zipPath).absolutePath());
    if (!zip.open(QuaZip::mdCreate)) {
        QFile::remove(zipPath);
        return false;
    }
    return true;
}

bool addFile(QuaZip& zip, const QString& path, const QString& name, int method, int level)
{
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    QuaZipFile out(&zip);
    if (!out.open(QIODevice::WriteOnly, QuaZipNewInfo(name, path), nullptr, 0, method, level, false,
                  -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY))
        return false;
    QByteArray block(static_cast<int>(kCompressBlock), Qt::Uninitialized);
    bool ok = true;
    while (ok) {
        const qint64 read = in.read(block.data(), kCompressBlock);
        if (read == 0)
            break;
        ok = read > 0 && out.write(block.constData(), read) == read;
    }
    out.close();
    return ok && out.getZipError() == UNZ_OK;
}

bool addFolderEntry(QuaZip& zip, const QString& path, const QString& name)
{
    QuaZipFile out(&zip);
    if (!out.open(QIODevice::WriteOnly, QuaZipNewInfo(name, path)))
        return false;
    out.close();
    return out.getZipError() == UNZ_OK;
}

bool addTree(QuaZip& zip, const QDir& root, const QString& folder, ZipOperate::EntryFilter filter,
             const QString& skip)
{
    const QFileInfoList entries = QDir(folder).entryInfoList(
        QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name | QDir::DirsFirst);
    for (const QFileInfo& entry : entries) {
        const QString path = entry.absoluteFilePath();
        const QString name = root.relativeFilePath(path);
        if (entry.isDir()) {
            // A link to a folder may lead back up the tree.
            if (entry.isSymLink() || (filter && !filter(true, path)))
                continue;
            if (!addFolderEntry(zip, path, name + QLatin1Char('/')) ||
                !addTree(zip, root, path, filter, skip))
                return false;
        } else {
            if (path == skip || (filter && !filter(false, path)))
                continue;
            if (!addFile(zip, path, name, Z_DEFLATED, Z_DEFAULT_COMPRESSION))
                return false;
        }
    }
    return true;
}

// Closes a finished archive; any failure on the way leaves no archive behind.
bool finishArchive(QuaZip& zip, const QString& zipPath, bool ok)
{
    zip.close();
    if (!ok || zip.getZipError() != UNZ_OK) {
        QFile::remove(zipPath);
        return false;
    }
    return true;
}

} // namespace

// ---- RZQuaZip -----------------------------------------------------------------------------------

bool RZQuaZip::CompressDir(const QString& zip, const QString& dir)
{
    return JlCompress::compressDir(zip, dir, true);
}

bool RZQuaZip::CompressDirWithUTF8(const QString& zip, const QString& dir,
                                   bool (*callback)(bool, const QString&))
{
    return ZipOperate::compressDirectory(zip, dir, callback);
}

bool RZQuaZip::compressFiles(QString zip, QStringList files, int level)
{
    return ZipOperate::compressFileList(zip, files, level);
}

QStringList RZQuaZip::ExtractDir(const QString& zip, const QString& dir)
{
    return ZipOperate::extractDirectory(zip, dir);
}

QString RZQuaZip::ExtractFile(QString zip, QString name, QString target)
{
    return JlCompress::extractFile(zip, name, target);
}

QStringList RZQuaZip::GetFileList(const QString& zip)
{
    return JlCompress::getFileList(zip);
}

QString RZQuaZip::ReadFile(const QString& zip, const QString& name)
{
    QuaZip archive(zip);
    archive.setFileNameCodec("UTF-8");
    if (!archive.open(QuaZip::mdUnzip))
        return QString();
    QString text;
    if (archive.setCurrentFile(name)) {
        QuaZipFile entry(&archive);
        if (entry.open(QIODevice::ReadOnly)) {
            text = QString::fromUtf8(entry.readAll());
            entry.close();
        }
    }
    archive.close();
    return text;
}

// ---- ZipOperate ---------------------------------------------------------------------------------

bool ZipOperate::compressDirectory(const QString& zip, const QString& dir, EntryFilter callback)
{
    const QDir root(dir);
    if (dir.isEmpty() || !root.exists())
        return false;
    QuaZip archive(zip);
    if (!openForCreate(archive, zip))
        return false;
    // The archive may be written inside the folder it packs.
    const QString self = QFileInfo(zip).absoluteFilePath();
    const bool ok = addTree(archive, root, root.absolutePath(), callback, self);
    return finishArchive(archive, zip, ok);
}

bool ZipOperate::compressFileList(const QString& zip, const QStringList& files, int level)
{
    QuaZip archive(zip);
    if (!openForCreate(archive, zip))
        return false;
    bool ok = true;
    for (const QString& file : files) {
        const QFileInfo info(file);
        if (!info.exists() || !addFile(archive, file, info.fileName(), 0, level)) {
            ok = false;
            break;
        }
    }
    return finishArchive(archive, zip, ok);
}

QStringList ZipOperate::extractDirectory(const QString& zip, const QString& dir)
{
    QuaZip archive(zip);
    archive.setFileNameCodec("UTF-8");
    if (!archive.open(QuaZip::mdUnzip))
        return QStringList();
    if (!archive.goToFirstFile())
        return QStringList();

    s_nExtractedSize.store(0);
    const QDir folder(dir);
    // Targets are cleaned as whole paths, so the folder they must stay in is cleaned alike.
    const QString root = cleanTargetText(QDir::cleanPath(folder.absolutePath()));
    if (!QDir().mkpath(root)) {
        RZLOG_WARN("make path failed, file = %s", qUtf8Printable(root));
        return QStringList();
    }
    const QString canonicalRoot = QFileInfo(root).canonicalFilePath();

    QStringList extracted;
    const auto fail = [&extracted] {
        removeFiles(extracted);
        return QStringList();
    };
    do {
        const QString name = archive.getCurrentFileName();
        const QString target = cleanTargetText(folder.absoluteFilePath(name));
        if (canonicalRoot.isEmpty() || !entryStaysInside(archive, name, target, root, canonicalRoot)) {
            RZLOG_WARN("zip entry leads outside the target folder, refused, entry = %s",
                       qUtf8Printable(name));
            return fail();
        }
        if (!extractFile(archive, QString(), target))
            return fail();
        extracted.append(target);
    } while (archive.goToNextFile());

    archive.close();
    if (archive.getZipError() != UNZ_OK)
        return fail();
    return extracted;
}

void ZipOperate::setCancelled(bool cancelled)
{
    s_bCancelled.store(cancelled);
}

bool ZipOperate::isCancelled()
{
    return s_bCancelled.load();
}

void ZipOperate::setTotalSize(qint64 bytes)
{
    s_nTotalSize.store(bytes);
}

qint64 ZipOperate::totalSize()
{
    return s_nTotalSize.load();
}

void ZipOperate::setProgressFunction(ProgressFunction function, void* userData)
{
    s_pProgressUserData.store(userData);
    s_pProgress.store(function);
}

qint64 ZipOperate::extractedSize()
{
    return s_nExtractedSize.load();
}

qint64 ZipOperate::uncompressedSize(const QString& zip)
{
    QuaZip archive(zip);
    if (!archive.open(QuaZip::mdUnzip))
        return -1;
    qint64 total = 0;
    const QList<QuaZipFileInfo64> entries = archive.getFileInfoList64();
    for (const QuaZipFileInfo64& entry : entries)
        total += static_cast<qint64>(entry.uncompressedSize);
    archive.close();
    return archive.getZipError() == UNZ_OK ? total : -1;
}
