#include <RZCore/platform/RZPlatform.h>

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <QWidget>

#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include <cstring>

namespace RZPlatform {

namespace {

// The Windows attribute bits of a cloud placeholder, as the CIFS client reports them.
constexpr std::uint32_t kAttributeOffline = 0x1000;
constexpr std::uint32_t kAttributeRecallOnOpen = 0x40000;
constexpr std::uint32_t kAttributeRecallOnDataAccess = 0x400000;

// statfs f_type values of network file systems (linux/magic.h).
constexpr unsigned long kNetworkFileSystems[] = {
    0x6969,     // NFS
    0x517B,     // SMB
    0xFF534D42, // CIFS
    0xFE534D42, // SMB2
    0x5346414F, // AFS
    0x6B414653, // kAFS
    0x73757245, // Coda
    0x00C36400, // Ceph
    0x01021997, // 9P
    0x564C,     // NCP
};

QString fromUtf8(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

} // namespace

bool diskFreeBytes(const std::string& utf8Path, std::uint64_t* bytes)
{
    struct statvfs info;
    if (utf8Path.empty() || ::statvfs(utf8Path.c_str(), &info) != 0)
        return false;
    if (bytes)
        *bytes = static_cast<std::uint64_t>(info.f_bfree) * static_cast<std::uint64_t>(info.f_frsize);
    return true;
}

std::string systemDrivePath()
{
    return "/";
}

bool isNetworkPath(const std::string& utf8Path)
{
    if (utf8Path.size() >= 2 && (utf8Path[0] == '/' || utf8Path[0] == '\\') &&
        (utf8Path[1] == '/' || utf8Path[1] == '\\'))
        return true;
    if (utf8Path.empty() || utf8Path[0] != '/')
        return false;
    // A path that does not exist yet lies on the file system of its nearest existing folder.
    std::string path = utf8Path;
    struct statfs info;
    while (::statfs(path.c_str(), &info) != 0) {
        const std::size_t slash = path.find_last_of('/');
        if (slash == std::string::npos || path == "/")
            return false;
        path.resize(slash == 0 ? 1 : slash);
    }
    const auto type = static_cast<unsigned long>(info.f_type);
    for (unsigned long network : kNetworkFileSystems) {
        if (type == network)
            return true;
    }
    return false;
}

bool isOnlineFile(const std::string& utf8Path)
{
    // Linux file systems keep no such attribute; an SMB share mounted through the CIFS client
    // (a synced cloud folder on a Windows machine) passes the server's attribute word through.
    std::uint32_t attributes = 0;
    const ssize_t size = ::getxattr(utf8Path.c_str(), "system.cifs_attrib", &attributes, sizeof attributes);
    if (size != static_cast<ssize_t>(sizeof attributes))
        return false;
    return (attributes & (kAttributeOffline | kAttributeRecallOnOpen | kAttributeRecallOnDataAccess)) != 0;
}

bool openInFileManager(const std::string& utf8Path)
{
    if (utf8Path.empty())
        return false;
    return QProcess::startDetached(QStringLiteral("xdg-open"), {fromUtf8(utf8Path)});
}

bool revealInFileManager(const std::string& utf8Path)
{
    // There is no portable way to ask a Linux file manager for a selection: open the folder.
    if (utf8Path.empty())
        return false;
    const QFileInfo info(fromUtf8(utf8Path));
    const QString folder = info.isDir() ? info.absoluteFilePath() : info.absolutePath();
    return QProcess::startDetached(QStringLiteral("xdg-open"), {folder});
}

bool browseForFolder(const std::string& utf8Title, std::uint64_t ownerWindow, std::string* utf8Chosen)
{
    // A dialog needs a widget application and its thread.
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (!app || QThread::currentThread() != app->thread())
        return false;
    QWidget* owner = ownerWindow ? QWidget::find(static_cast<WId>(ownerWindow)) : nullptr;
    const QString chosen = QFileDialog::getExistingDirectory(owner, fromUtf8(utf8Title));
    if (chosen.isEmpty())
        return false;
    if (utf8Chosen)
        *utf8Chosen = chosen.toStdString();
    return true;
}

} // namespace RZPlatform
