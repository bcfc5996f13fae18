#include <RZCore/files/RZDir.h>

#include <RZCore/util/RZDomDocument.h>
#include <RZCore/files/RZFile.h>
#include <RZCore/util/RZStringUtils.h>
#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QSet>
#include <QStandardPaths>
#include <QTextStream>

#include <algorithm>
#include <mutex>

namespace {

QDir::Filters filter(int value)
{
    return QDir::Filters(value);
}

static_assert(RZDir::kFilterSubDirs == (QDir::Dirs | QDir::NoDot | QDir::NoDotDot));
static_assert(RZDir::kFilterClear == (QDir::Dirs | QDir::Files | QDir::Readable | QDir::Writable |
                                      QDir::Hidden | QDir::NoDot | QDir::NoDotDot));
static_assert(RZDir::kFilterRemoveTree ==
              (QDir::Files | QDir::NoSymLinks | QDir::Hidden | QDir::AllDirs | QDir::NoDot | QDir::NoDotDot));

// Walks never enter a folder reached through a link (a symbolic link, a shortcut, a junction): the link
// may lead back up the tree, which made every walk loop to the system's link-depth limit, or out of it.
bool isLink(const QFileInfo& entry)
{
    return entry.isSymLink() || entry.isJunction();
}

// The names of the sub-folders a walk enters, listed with the filter `value` (plus `extra`).
QStringList subFolders(const QDir& dir, int value, QDir::Filters extra = {},
                       QDir::SortFlags sort = QDir::NoSort)
{
    QStringList names;
    const QFileInfoList entries = dir.entryInfoList(filter(value) | extra, sort);
    for (const QFileInfo& entry : entries)
        if (!isLink(entry))
            names.append(entry.fileName());
    return names;
}

const QString kEffectPackRoot = QStringLiteral("EffectPackDir");
const QString kEffectPackDir = QStringLiteral("Dir");
const QString kEffectPackPath = QStringLiteral("Path");

RZDomDocument newEffectPackDocument(const QString& path)
{
    RZDomDocument document;
    document.appendChild(document.createProcessingInstruction(
        QStringLiteral("xml"), QStringLiteral("version=\"1.0\" encoding=\"UTF-8\"")));
    QDomElement root = document.createElement(kEffectPackRoot);
    document.appendChild(root);
    QDomElement dir = document.createElement(kEffectPackDir);
    dir.setAttribute(kEffectPackPath, QDir::fromNativeSeparators(path));
    root.appendChild(dir);
    return document;
}

// A copy of a folder onto itself would delete its files, and one into its own sub-folder would
// copy the copies until paths get too long.
bool copiesIntoItself(const QString& from, const QString& to)
{
    const QString source = QFileInfo(from).canonicalFilePath();
    if (source.isEmpty())
        return false;
    QString target = QFileInfo(to).absoluteFilePath();
    // The nearest existing folder of the target decides where it really is.
    QString existing = target;
    while (!QFileInfo::exists(existing) && QFileInfo(existing).path() != existing)
        existing = QFileInfo(existing).path();
    target = QFileInfo(existing).canonicalFilePath() + target.mid(existing.length());
    return target == source || target.startsWith(source + QLatin1Char('/'));
}

QString readText(const QString& path, bool utf8)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    QTextStream stream(&file);
    if (utf8)
        stream.setCodec("UTF-8");
    return stream.readAll();
}

} // namespace

// ---- delimiters ---------------------------------------------------------------------------------

bool RZDir::isPathDelimiter(const QString& path, int index)
{
    if (index <= 0 || index >= path.length())
        return false;
    const QChar c = path.at(index);
    return c == QDir::separator() || c == QLatin1Char('/');
}

QString RZDir::slash(const QString& path)
{
    if (path.isEmpty() || isPathDelimiter(path, path.length() - 1))
        return path;
    return path + QDir::separator();
}

QString RZDir::removePathDelimiter(const QString& path)
{
    if (isPathDelimiter(path, path.length() - 1))
        return path.left(path.length() - 1);
    return path;
}

QString RZDir::removeSlash(const QString& text)
{
    QString result = text;
    result.remove(QLatin1Char('\\'));
    result.remove(QLatin1Char('/'));
    return result.trimmed();
}

int RZDir::pathDelimiterPos(const QString& path)
{
    return std::max(RZStringUtils::rPos(QString(QDir::separator()), path),
                    RZStringUtils::rPos(QStringLiteral("/"), path));
}

// ---- making folders -----------------------------------------------------------------------------

QString RZDir::GetFileDir(const QString& path)
{
    QString dir = QFileInfo(path).dir().absolutePath();
    if (!dir.endsWith(QLatin1Char('/')))
        dir += QLatin1Char('/');
    return dir;
}

bool RZDir::mkPath(const QString& path)
{
    if (path.isEmpty())
        return false;
    if (QDir(path).exists())
        return true;
    return QDir().mkpath(path);
}

bool RZDir::makeSureDirExist(const QString& path)
{
    return QDir(path).exists() || QDir().mkpath(path);
}

QString RZDir::checkDir(const QString& path, bool withDelimiter)
{
    if (!mkPath(path))
        return QString();
    return withDelimiter ? slash(path) : path;
}

// ---- listing and sizes --------------------------------------------------------------------------

bool RZDir::checkDirIsEmpty(const QString& path)
{
    if (path.isEmpty())
        return true;
    const QDir dir(path);
    if (!dir.exists())
        return true;
    // Only sub-folders count: callers rely on a folder of plain files reading as empty.
    return dir.entryList(filter(kFilterSubDirs)).isEmpty();
}

int RZDir::dirHasFiles(const QString& path)
{
    const QDir dir(path);
    int count = dir.entryList(filter(kFilterFiles)).size();
    const QStringList subDirs = subFolders(dir, kFilterSubDirs);
    for (const QString& name : subDirs) {
        if (count >= 1)
            break;
        count += getFileNumber(dir.filePath(name));
    }
    return count;
}

int RZDir::getFileNumber(const QString& path)
{
    const QDir dir(path);
    int count = dir.entryList(filter(kFilterOnlyFiles), QDir::Unsorted).size();
    const QStringList subDirs = subFolders(dir, kFilterSubDirs, {}, QDir::Unsorted);
    for (const QString& name : subDirs)
        count += getFileNumber(dir.filePath(name));
    return count;
}

namespace {

// Bytes of the files of a folder and of the sub-folders that `subDirFilter` lists, recursively.
qint64 folderBytes(const QString& path, int subDirFilter, QDir::Filters subDirExtra)
{
    const QDir dir(path);
    qint64 size = 0;
    const QFileInfoList files = dir.entryInfoList(filter(RZDir::kFilterOnlyFiles), QDir::Unsorted);
    for (const QFileInfo& file : files)
        size += file.size();
    const QStringList subDirs = subFolders(dir, subDirFilter, subDirExtra, QDir::Unsorted);
    for (const QString& name : subDirs)
        size += folderBytes(dir.filePath(name), subDirFilter, subDirExtra);
    return size;
}

} // namespace

qint64 RZDir::getFolderSize(QString path)
{
    return folderBytes(path, kFilterSubDirs, {});
}

qint64 RZDir::getDirFileTotalSize(const QString& path)
{
    // AllDirs passes by name filters; hidden folders (".cache") need Hidden as well.
    return folderBytes(path, kFilterAllSubDirs, QDir::Hidden);
}

void RZDir::getAllFile(QString dir, QList<QFileInfo>& out, bool recursive, int depth)
{
    const QDir folder(dir);
    if (recursive && depth < 5) {
        const QStringList subDirs = subFolders(folder, kFilterSubDirs);
        for (const QString& name : subDirs)
            getAllFile(folder.filePath(name), out, recursive, depth + 1);
    }
    out.append(folder.entryInfoList(filter(kFilterOnlyFiles)));
}

QStringList RZDir::getFileList(const QString& dir, const QStringList& nameFilters, bool fullPath)
{
    QStringList names = QDir(dir).entryList(nameFilters, QDir::NoFilter, QDir::Unsorted);
    if (fullPath) {
        const QString prefix = slash(dir);
        for (QString& name : names)
            name.prepend(prefix);
    }
    return names;
}

QStringList RZDir::GetFilesFromDir(const QString& path, const QStringList& suffixes)
{
    const QFileInfo info(path);
    if (info.isFile() && CheckFilters(suffixes, info.suffix()))
        return {info.absoluteFilePath()};
    QStringList result;
    const QFileInfoList entries = QDir(path).entryInfoList(filter(kFilterDirsFiles));
    for (const QFileInfo& entry : entries) {
        if (entry.isDir()) {
            if (!isLink(entry))
                result += GetFilesFromDir(entry.filePath(), suffixes);
        } else if (CheckFilters(suffixes, entry.suffix()))
            result.append(entry.absoluteFilePath());
    }
    return result;
}

bool RZDir::CheckFilters(const QStringList& filters, const QString& suffix)
{
    if (filters.isEmpty())
        return true;
    return filters.contains(QStringLiteral("*.") + suffix, Qt::CaseInsensitive) ||
           filters.contains(suffix, Qt::CaseInsensitive);
}

bool RZDir::IsPathReadable(const QString& path)
{
    return QFileInfo(path).isReadable();
}

bool RZDir::IsPathWriteable(const QString& path)
{
    return QFileInfo(path).isWritable();
}

bool RZDir::IsPathWriteAndReadable(const QString& path)
{
    const QFileInfo info(path);
    return info.isReadable() && info.isWritable();
}

// ---- drives -------------------------------------------------------------------------------------

bool RZDir::hasDrive(const QString& path)
{
    const QString native = QDir::toNativeSeparators(path);
    if (native.indexOf(QStringLiteral(":") + QDir::separator()) != 1)
        return false;
    const QChar letter = native.at(0).toUpper();
    return letter >= QLatin1Char('A') && letter <= QLatin1Char('Z');
}

QString RZDir::getOsDrivePath()
{
    static std::mutex s_oMutex;
    static QString s_strDrive;
    std::lock_guard<std::mutex> locker(s_oMutex);
    if (s_strDrive.isEmpty())
        s_strDrive = QString::fromStdString(RZPlatform::systemDrivePath());
    return s_strDrive;
}

quint64 RZDir::getDiskFreeSpace(const QString& path)
{
    std::uint64_t bytes = 0;
    if (!RZPlatform::diskFreeBytes(QDir::toNativeSeparators(path).toStdString(), &bytes))
        return 0x7FFFFFFF;
    return bytes >> 20;
}

// ---- hashing ------------------------------------------------------------------------------------

QString RZDir::calculateFileMD5(const QString& path)
{
    // Large unbuffered reads: the same digest as addData(QIODevice*) without its 1 KiB copies.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QString();
    QCryptographicHash hash(QCryptographicHash::Md5);
    constexpr qint64 kBlock = 256 * 1024;
    QByteArray block(static_cast<int>(kBlock), Qt::Uninitialized);
    qint64 read = 0;
    while ((read = file.read(block.data(), kBlock)) > 0)
        hash.addData(block.constData(), static_cast<int>(read));
    if (read < 0)
        return QString();
    return QString::fromLatin1(hash.result().toHex());
}

QString RZDir::calculateDirectoryMD5(const QString& path)
{
    const QDir dir(path);
    if (path.isEmpty() || !dir.exists())
        return QString();
    const QStringList names = dir.entryList(filter(kFilterOnlyFiles), QDir::Unsorted);
    QStringList digests;
    digests.reserve(names.size());
    for (const QString& name : names) {
        const QString digest = calculateFileMD5(dir.filePath(name));
        if (!digest.isEmpty())
            digests.append(digest);
    }
    // Sorted, so that neither listing order nor file names play a part.
    digests.sort();
    return QString::fromLatin1(
        QCryptographicHash::hash(digests.join(QString()).toUtf8(), QCryptographicHash::Md5).toHex());
}

bool RZDir::hasSameMD5(const QString& first, const QString& second)
{
    return calculateDirectoryMD5(first) == calculateDirectoryMD5(second);
}

// ---- copying and removal ------------------------------------------------------------------------

bool RZDir::copyAllDirFiles(const QString& from, const QString& to)
{
    if (copiesIntoItself(from, to))
        return false;
    const QDir target(to);
    if (!target.exists() && !QDir().mkdir(target.absolutePath()))
        return false;
    const QFileInfoList entries = QDir(from).entryInfoList(filter(kFilterDirsFiles));
    for (const QFileInfo& entry : entries) {
        const QString destination = target.filePath(entry.fileName());
        if (entry.isDir()) {
            if (!isLink(entry))
                copyAllDirFiles(entry.filePath(), destination);
        } else {
            if (QFileInfo::exists(destination))
                QFile::remove(destination);
            QFile::copy(entry.filePath(), destination);
        }
    }
    return true;
}

bool RZDir::copyDirectoryFiles(const QString& from, const QString& to, bool overwrite)
{
    if (copiesIntoItself(from, to))
        return false;
    const QDir target(to);
    if (!target.exists() && !QDir().mkpath(target.absolutePath()))
        return false;
    const QFileInfoList entries = QDir(from).entryInfoList(filter(kFilterDirsFiles));
    for (const QFileInfo& entry : entries) {
        const QString destination = target.filePath(entry.fileName());
        if (entry.isDir()) {
            if (!isLink(entry) && !copyDirectoryFiles(entry.filePath(), destination, overwrite))
                return false;
        } else {
            if (overwrite && QFileInfo::exists(destination))
                QFile::remove(destination);
            if (!QFile::copy(entry.filePath(), destination))
                return false;
        }
    }
    return true;
}

bool RZDir::removeFolderContent(const QString& path)
{
    const QDir dir(path);
    if (path.isEmpty() || !dir.exists())
        return false;
    QFileInfoList work = dir.entryInfoList(filter(kFilterClear), QDir::Name);
    QSet<QString> inWork;
    for (const QFileInfo& entry : qAsConst(work))
        inWork.insert(entry.absoluteFilePath());
    while (!work.isEmpty()) {
        for (int i = work.size() - 1; i >= 0; --i) {
            const QFileInfo entry = work.at(i);
            const QString entryPath = entry.absoluteFilePath();
            // A link is removed as a link: following it would empty a folder outside this one.
            if (entry.isDir() && !isLink(entry)) {
                const QFileInfoList children =
                    QDir(entryPath).entryInfoList(filter(kFilterClear), QDir::Name);
                if (children.isEmpty()) {
                    // rmdir(".") on the folder itself is refused by POSIX; the parent removes it.
                    entry.dir().rmdir(entry.fileName());
                    work.removeAt(i);
                    inWork.remove(entryPath);
                } else {
                    for (const QFileInfo& child : children) {
                        const QString childPath = child.absoluteFilePath();
                        if (!inWork.contains(childPath)) {
                            work.append(child);
                            inWork.insert(childPath);
                        }
                    }
                }
            } else {
                QFile::remove(entryPath);
                work.removeAt(i);
                inWork.remove(entryPath);
            }
        }
    }
    return true;
}

bool RZDir::removeRecursively(const QString& path, bool removeSelf, const QStringList& filters)
{
    const QDir dir(path);
    QFileInfoList entries;
    if (filters.isEmpty()) {
        entries = dir.entryInfoList(filter(kFilterRemoveTree));
    } else {
        // With name filters a sub-folder must match them too: Dirs instead of AllDirs.
        const QDir::Filters withNames = (filter(kFilterRemoveTree) & ~QDir::AllDirs) | QDir::Dirs;
        entries = dir.entryInfoList(filters, withNames);
    }
    bool result = true;
    for (const QFileInfo& entry : qAsConst(entries)) {
        if (entry.isDir()) {
            // A junction passes the filter's NoSymLinks; like a link it stays, and so does its folder.
            if (isLink(entry) || !removeRecursively(entry.absoluteFilePath(), true, filters))
                result = false;
        } else if (!QFile::remove(entry.absoluteFilePath())) {
            result = false;
        }
    }
    if (removeSelf && !QDir().rmdir(path))
        result = false;
    return result;
}

// ---- text files ---------------------------------------------------------------------------------

QString RZDir::readTextFile(const QString& path, bool utf8)
{
    return readText(path, utf8);
}

bool RZDir::writeTextFile(const QString& path, QString text, bool utf8)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        QTextStream stream(&file);
        if (utf8)
            stream.setCodec("UTF-8");
        stream << text;
    }
    return true;
}

// ---- effect-pack folders ------------------------------------------------------------------------

QStringList RZDir::getEffectPackPath()
{
    RZDomDocument document;
    if (!document.loadFromFile(RZFile::getEffectPackPathConfigFile()))
        return QStringList();
    QStringList paths;
    const QDomNodeList dirs = document.elementsByTagName(kEffectPackDir);
    for (int i = 0; i < dirs.size(); ++i) {
        const QString path = QDir::fromNativeSeparators(dirs.at(i).toElement().attribute(kEffectPackPath));
        if (!paths.contains(path))
            paths.append(path);
    }
    return paths;
}

void RZDir::saveEffectPackPath(const QString& path)
{
    if (path.isEmpty())
        return;
    const QString file = RZFile::getEffectPackPathConfigFile();
    if (!QFileInfo::exists(file)) {
        newEffectPackDocument(path).saveToFile(file);
        return;
    }
    {
        QFile probe(file);
        if (!probe.open(QIODevice::ReadOnly))
            return;
    }
    // A file that does not parse, or holds some other document, is started afresh.
    RZDomDocument document;
    if (!document.loadFromFile(file) || document.documentElement().tagName() != kEffectPackRoot) {
        QFile::remove(file);
        newEffectPackDocument(path).saveToFile(file);
        return;
    }
    QDomElement root = document.documentElement();
    const QString wanted = QDir::fromNativeSeparators(path);
    const QDomNodeList dirs = root.elementsByTagName(kEffectPackDir);
    for (int i = 0; i < dirs.size(); ++i) {
        if (dirs.at(i).toElement().attribute(kEffectPackPath) == wanted)
            return;
    }
    QDomElement dir = document.createElement(kEffectPackDir);
    dir.setAttribute(kEffectPackPath, wanted);
    root.appendChild(dir);
    document.saveToFile(file);
}

// ---- PathOperation ------------------------------------------------------------------------------

QString PathOperation::Slash(const QString& path)
{
    return RZDir::slash(path);
}

QString PathOperation::ExcludeTrailingPathDelimiter(const QString& path)
{
    return RZDir::removePathDelimiter(path);
}

QString PathOperation::ExtractFilePath(const QString& path)
{
    const int pos = RZDir::pathDelimiterPos(path);
    if (pos < 0)
        return QString();
    return path.left(pos);
}

bool PathOperation::ForceDir(const QString& path)
{
    if (path.isEmpty())
        return false;
    const QString dir = ExcludeTrailingPathDelimiter(path);
    if (QDir(dir).exists())
        return true;
    const QString parent = ExtractFilePath(dir);
    // The root is its own parent: the climb ends there.
    if (StringOperation::SameText(parent, dir))
        return true;
    return ForceDir(parent) && QDir().mkdir(dir);
}

QString PathOperation::CheckDir(const QString& path)
{
    return ForceDir(path) ? path : QString();
}

QString PathOperation::MakeWorkPath(const QString& name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

QString PathOperation::GetDocumentPath()
{
    return QStandardPaths::standardLocations(QStandardPaths::DocumentsLocation).value(0);
}

QString PathOperation::GetTempDir()
{
    return QStandardPaths::standardLocations(QStandardPaths::TempLocation).value(0);
}

QStringList PathOperation::GetFileList(const QString& dir, const QStringList& nameFilters, bool fullPath)
{
    return RZDir::getFileList(dir, nameFilters, fullPath);
}

QString PathOperation::GetUserSelectDir(QString title, quint64 owner)
{
    std::string chosen;
    if (!RZPlatform::browseForFolder(title.toStdString(), owner, &chosen))
        return QString();
    return QString::fromStdString(chosen);
}

bool PathOperation::RemoveDirectoryrecursive(const QString& path, bool removeSelf, const QStringList& filters)
{
    return RZDir::removeRecursively(path, removeSelf, filters);
}
