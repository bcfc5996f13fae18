#include <RZCore/files/RZFile.h>

#include <RZCore/util/RZHappensBefore_p.h>

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/files/RZDir.h>
#include <RZCore/util/RZUtility.h>
#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QTemporaryFile>
#include <QTextStream>
#include <QThreadPool>

#include <list>
#include <memory>
#include <mutex>

namespace {

// ---- the cache behind lazyExists ----------------------------------------------------------------

struct LazyExistsEntry
{
    bool m_bExists = true;
    bool m_bChecking = false;
    QElapsedTimer m_oAge;
};

// Paths by recency, with at most kCapacity entries. Entries are shared with the checks that run on
// the pool, so an eviction during a check cannot pull an entry out from under it.
class LazyExistsCache
{
public:
    static constexpr int kCapacity = 1000;
    static constexpr qint64 kRefreshAfterMs = 999;

    LazyExistsCache() { m_oPool.setMaxThreadCount(4); }
    ~LazyExistsCache() { m_oPool.waitForDone(); }

    bool exists(const QString& path)
    {
        std::lock_guard<std::mutex> locker(m_oMutex);
        const std::shared_ptr<LazyExistsEntry> entry = touch(path);
        if (!entry->m_bChecking && entry->m_oAge.elapsed() > kRefreshAfterMs) {
            entry->m_bChecking = true;
            std::function<void()> check = [this, path, entry] {
                RZHappensBefore::received(&s_oPoolToken); // before the captures are read
                const bool exists = QFile::exists(path);
                std::lock_guard<std::mutex> jobLocker(m_oMutex);
                entry->m_bExists = exists;
                entry->m_bChecking = false;
                entry->m_oAge.restart();
            };
            // Marked after the task exists: its captures are part of what is handed over.
            RZHappensBefore::handedOver(&s_oPoolToken);
            m_oPool.start(std::move(check));
        }
        return entry->m_bExists;
    }

private:
    static inline const char s_oPoolToken = 0;

    struct Slot
    {
        std::list<QString>::iterator m_itOrder;
        std::shared_ptr<LazyExistsEntry> m_pEntry;
    };

    // The entry of a path, moved to the front; a new one (exists, not checking, age started) for an
    // unknown path, with the least recently used entries evicted beyond the capacity.
    std::shared_ptr<LazyExistsEntry> touch(const QString& path)
    {
        auto it = m_oSlots.find(path);
        if (it != m_oSlots.end()) {
            m_oOrder.splice(m_oOrder.begin(), m_oOrder, it->m_itOrder);
            return it->m_pEntry;
        }
        auto entry = std::make_shared<LazyExistsEntry>();
        entry->m_oAge.start();
        m_oOrder.push_front(path);
        m_oSlots.insert(path, Slot{m_oOrder.begin(), entry});
        while (m_oSlots.size() > kCapacity) {
            m_oSlots.remove(m_oOrder.back());
            m_oOrder.pop_back();
        }
        return entry;
    }

    std::mutex m_oMutex; // a futex-based QMutex would hide the pairing from ThreadSanitizer
    std::list<QString> m_oOrder; // most recent first
    QHash<QString, Slot> m_oSlots;
    QThreadPool m_oPool; // last: destroyed first, after its jobs are done
};

LazyExistsCache& lazyExistsCache()
{
    static LazyExistsCache s_oCache;
    return s_oCache;
}

// ---- free names ---------------------------------------------------------------------------------

QString candidatePath(const QString& folder, const QString& name, const QString& suffix)
{
    return folder + QLatin1Char('/') + name + QLatin1Char('.') + suffix;
}

// The next number of a free-name search: " (n)" replaces the number the search added before.
void numberName(QString& name, int n)
{
    if (n != 1)
        name = name.mid(0, name.lastIndexOf(QLatin1Char('(')) - 1);
    name += QStringLiteral(" (%1)").arg(n);
}

QString appInfoFolderFile(const QString& fileName)
{
    const QString folder = IRZAppInfo::getInstance()->value(16);
    return QDir::fromNativeSeparators(RZDir::slash(folder) + fileName);
}

bool removeIfPresent(const QString& path)
{
    if (!QFile::exists(path))
        return true;
    return QFile::remove(path);
}

QString readAllText(const QString& path, QIODevice::OpenMode mode, bool utf8)
{
    QFile file(path);
    if (!file.open(mode))
        return QString();
    QTextStream stream(&file);
    if (utf8)
        stream.setCodec("UTF-8");
    return stream.readAll();
}

bool writeAllText(const QString& path, QIODevice::OpenMode mode, const QString& text, bool utf8)
{
    QFile file(path);
    if (!file.open(mode))
        return false;
    QTextStream stream(&file);
    if (utf8)
        stream.setCodec("UTF-8");
    stream << text;
    return true;
}

} // namespace

// ---- RZFile -------------------------------------------------------------------------------------

QString RZFile::baseName(const QString& path)
{
    return QFileInfo(path).baseName();
}

QString RZFile::completeBaseName(const QString& path)
{
    return QFileInfo(path).completeBaseName();
}

QString RZFile::fileName(const QString& path)
{
    return QFileInfo(path).fileName();
}

QString RZFile::suffix(const QString& path)
{
    return QFileInfo(path).suffix();
}

bool RZFile::exists(const QString& path)
{
    return QFile::exists(path);
}

bool RZFile::exists(const QStringList& paths)
{
    for (const QString& path : paths) {
        if (!QFile::exists(path))
            return false;
    }
    return true;
}

bool RZFile::lazyExists(const QString& path)
{
    return lazyExistsCache().exists(path);
}

bool RZFile::removeFile(const QString& path)
{
    return removeIfPresent(path);
}

QString RZFile::extractFilePath(const QString& path)
{
    const int pos = RZDir::pathDelimiterPos(path);
    if (pos <= 0)
        return QString();
    return path.left(pos);
}

QString RZFile::appendFileNameSuffix(const QString& path, const QString& extra)
{
    const QFileInfo info(path);
    return RZDir::slash(info.path()) + info.baseName() + extra + QLatin1Char('.') + info.suffix();
}

QString RZFile::makeFileName(const QString& path, const QString& extra)
{
    const QFileInfo info(path);
    return info.baseName() + extra + QLatin1Char('.') + info.suffix();
}

QString RZFile::replaceSuffix(const QString& path, const QString& newSuffix)
{
    // A bare file name has no folder part (QString::left would take the whole name).
    const int pos = RZDir::pathDelimiterPos(path);
    const QString folder = pos < 0 ? QString() : path.left(pos);
    return RZDir::slash(folder) + QFileInfo(path).baseName() + newSuffix;
}

QString RZFile::makeValidDuplicationFilePath(const QString& path)
{
    const QFileInfo info(path);
    const QString folder = info.path();
    const QString suffix = info.suffix();
    QString name = info.baseName() + QStringLiteral(" - %1").arg(tr("Copy"));
    int n = 1;
    QString candidate = candidatePath(folder, name, suffix);
    while (QFile::exists(candidate)) {
        numberName(name, n);
        ++n;
        candidate = candidatePath(folder, name, suffix);
    }
    return candidate;
}

QString RZFile::makeValidRenameFilePath(const QString& path, const QString& newBaseName)
{
    const QFileInfo info(path);
    const QString folder = info.path();
    const QString suffix = info.suffix();
    const QString oldBase = info.baseName();
    QString name = newBaseName;
    int n = 1;
    QString candidate = candidatePath(folder, name, suffix);
    while (QFile::exists(candidate) && name != oldBase) {
        numberName(name, n);
        ++n;
        candidate = candidatePath(folder, name, suffix);
    }
    return candidate;
}

QString RZFile::generateUniqueFileName(const QString& templatePath)
{
    QTemporaryFile file(templatePath);
    if (!file.open())
        return QString();
    const QString name = file.fileName();
    file.close();
    return name;
}

QString RZFile::makeWorkPath(const QString& name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

QString RZFile::getAppSettingsFile()
{
    return appInfoFolderFile(QStringLiteral("CinveraSettings.xml"));
}

QString RZFile::getEffectPackPathConfigFile()
{
    return appInfoFolderFile(QStringLiteral("CinveraEffectPack.xml"));
}

bool RZFile::isNetWorkDrivePath(const QString& path)
{
    if (RZPlatform::isNetworkPath(path.toStdString()))
        return true;
    return RZUtility::isOnlineFile(path);
}

bool RZFile::canDropUrls(const QList<QUrl>& urls)
{
    for (const QUrl& url : urls) {
        if (isNetWorkDrivePath(url.toLocalFile()))
            return false;
    }
    return true;
}

QString RZFile::readTextFile(const QString& path)
{
    return readAllText(path, QIODevice::ReadOnly | QIODevice::Text, true);
}

bool RZFile::writeTextFile(const QString& path, const QString& text)
{
    return writeAllText(path, QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text, text, true);
}

void RZFile::openFolder(const QString& path)
{
    const QString separator = QDir::separator();
    const QString native = QDir::toNativeSeparators(path);
    // Collapse doubled separators, keeping the root ("/x", "\\server") that splitting would drop.
    QString normalised = native.split(separator, Qt::SkipEmptyParts).join(separator);
    if (native.startsWith(separator + separator))
        normalised.prepend(separator + separator);
    else if (native.startsWith(separator))
        normalised.prepend(separator);
    normalised.replace(QStringLiteral("://"), QStringLiteral(":/"));
    normalised.replace(QStringLiteral(":\\\\"), QStringLiteral(":/"));
    if (normalised.isEmpty())
        return;
    RZPlatform::openInFileManager(normalised.toStdString());
}

void RZFile::findTargetFile(const QString& path)
{
    RZUtility::findTargetFile(path);
}

// ---- FileOperation ------------------------------------------------------------------------------

QString FileOperation::GetFileBaseName(const QString& path)
{
    return QFileInfo(path).baseName();
}

QString FileOperation::GetFileName(const QString& path)
{
    return QFileInfo(path).fileName();
}

QString FileOperation::GetFileSuffixName(const QString& path)
{
    return QFileInfo(path).suffix();
}

QString FileOperation::GetFileDir(const QString& path)
{
    return RZDir::GetFileDir(path);
}

QString FileOperation::AppendFileNameSuffix(const QString& path, const QString& extra)
{
    const QFileInfo info(path);
    return PathOperation::Slash(info.path()) + info.baseName() + extra + QLatin1Char('.') + info.suffix();
}

QString FileOperation::MakeFileName(const QString& path, const QString& extra)
{
    return RZFile::makeFileName(path, extra);
}

QString FileOperation::RepalceSuffixName(const QString& path, const QString& newSuffix)
{
    return RZFile::replaceSuffix(path, newSuffix);
}

bool FileOperation::IsFileExist(const QString& path)
{
    return QFileInfo::exists(path);
}

bool FileOperation::IsFileExist(const QStringList& paths)
{
    for (const QString& path : paths) {
        if (!QFileInfo::exists(path))
            return false;
    }
    return true;
}

bool FileOperation::RemoveFile(const QString& path)
{
    return removeIfPresent(path);
}

bool FileOperation::DeleteFileW(const QString& path)
{
    return removeIfPresent(path);
}

void FileOperation::CreateNewFile(const QString& path)
{
    if (QFile::exists(path))
        return;
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.close();
}

bool FileOperation::CopyOneFile(const QString& source, const QString& target)
{
    // Removing the target first would delete a file copied onto itself.
    const QString canonicalSource = QFileInfo(source).canonicalFilePath();
    if (!canonicalSource.isEmpty() && canonicalSource == QFileInfo(target).canonicalFilePath())
        return true;
    if (QFile::exists(target))
        QFile::remove(target);
    return QFile::copy(source, target);
}

bool FileOperation::CopyFileW(const QString& source, const QString& folder)
{
    return CopyOneFile(source, PathOperation::Slash(folder) + QFileInfo(source).fileName());
}

bool FileOperation::CopyFiles(const QStringList& sources, const QString& folder)
{
    for (const QString& source : sources) {
        if (!CopyFileW(source, folder))
            return false;
    }
    return true;
}

QString FileOperation::CalcFileMD5(const QString& path)
{
    constexpr qint64 kBlock = 10240;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QCryptographicHash hash(QCryptographicHash::Md5);
    QByteArray block(static_cast<int>(kBlock), Qt::Uninitialized);
    // Up to the size the file had when it was opened; a short read ends the digest quietly.
    qint64 remaining = file.size();
    while (remaining > 0) {
        const qint64 read = file.read(block.data(), qMin(kBlock, remaining));
        if (read <= 0)
            break;
        hash.addData(block.constData(), static_cast<int>(read));
        remaining -= read;
    }
    return QString::fromLatin1(hash.result().toHex());
}

QString FileOperation::ReadFile(const QString& path, bool utf8)
{
    return readAllText(path, QIODevice::ReadOnly, utf8);
}

QString FileOperation::ReadTextFile(const QString& path, bool utf8)
{
    return readAllText(path, QIODevice::ReadOnly | QIODevice::Text, utf8);
}

void FileOperation::WriteFile(const QString& path, QString text, bool utf8)
{
    writeAllText(path, QIODevice::WriteOnly, text, utf8);
}

bool FileOperation::WriteTextFile(const QString& path, const QString& text, bool utf8)
{
    writeAllText(path, QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text, text, utf8);
    return QFile::exists(path);
}
