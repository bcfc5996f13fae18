#include <RZCore/util/RZUtility.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

bool RZUtility::isOnlineFile(const QString& path)
{
    if (path.isEmpty())
        return false;
    return RZPlatform::isOnlineFile(QDir::toNativeSeparators(path).toStdString());
}

void RZUtility::findTargetFile(const QString& path)
{
    if (path.isEmpty())
        return;
    RZPlatform::revealInFileManager(QDir::toNativeSeparators(path).toStdString());
}

void RZUtility::removeExceptLockIni(const QString& path, const QStringList& baseNames)
{
    RZLOG_INFO("Begin check LockIni");
    const QDir dir = QFileInfo(path).absoluteDir();
    if (path.isEmpty() || !dir.exists() || baseNames.isEmpty()) {
        RZLOG_INFO("return check");
        return;
    }
    const QFileInfoList locks =
        dir.entryInfoList({QStringLiteral("*.ini.lock"), QStringLiteral("*.rmlock")}, QDir::Files);
    for (const QFileInfo& lock : locks) {
        if (!baseNames.contains(lock.baseName()))
            continue;
        const QString lockPath = lock.absoluteFilePath();
        const bool removed = QFile::remove(lockPath);
        RZLOG_INFO("QFile::remove: %s,%s", qUtf8Printable(lockPath), removed ? "true" : "false");
    }
}
