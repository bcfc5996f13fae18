// The settings store's part of the local HTML package: "Config.json", the switches it carries, and
// the download that replaces the package on disk.

#include <RZCore/config/RZConfig.h>

#include "RZLocalHtml_p.h"

#include <RZCore/files/ZipOperate.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/net/RZNetwork.h>
#include <RZCore/util/RZHappensBefore_p.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThreadPool>

#include <condition_variable>
#include <functional>
#include <mutex>

namespace {

// A package download gives up after this long without data.
constexpr int kDownloadIdleLimitMs = 30000;

const char s_oExtractToken = 0;

// Unpacking tasks in flight: the store waits for them before it goes, since each reports to it.
std::mutex g_oTasksMutex;
std::condition_variable g_oTasksDone;
int g_nTasks = 0;

QString inDirectory(const QString& directory, const char* name)
{
    return QStringLiteral("%1%2%3").arg(directory, QDir::separator(), QLatin1String(name));
}

// Puts the unpacked folder `staged` in place of `target`, keeping `target` as it was when that fails.
bool swapIn(const QString& staged, const QString& target)
{
    QDir dir;
    const QString old =
        target + QStringLiteral(".old-") + QString::number(QRandomGenerator::global()->generate());
    const bool hadOld = QFileInfo::exists(target);
    if (hadOld && !dir.rename(target, old))
        return false;
    if (!dir.rename(staged, target)) {
        if (hadOld)
            dir.rename(old, target);
        return false;
    }
    if (hadOld)
        QDir(old).removeRecursively();
    return true;
}

} // namespace

void RZConfig::LoadLocalHtmlConfig()
{
    const QString path = inDirectory(GetCinveraDirectory(), "Config.json");
    RZLocalHtml::LoadOutcome outcome = RZLocalHtml::LoadOutcome::Missing;
    const RZLocalHtml::Description description = RZLocalHtml::load(path, &outcome);
    m_oBaseConfig = description.baseConfig;
    m_oLocalHtmlConfig = description.localHtmlConfig;
    if (outcome != RZLocalHtml::LoadOutcome::Loaded && outcome != RZLocalHtml::LoadOutcome::Missing)
        RZLOG_WARN("%s is %s; the local HTML package is not described", qUtf8Printable(path),
                   RZLocalHtml::outcomeText(outcome));
}

QString RZConfig::GetLocalHtmlDownloadUrl() const
{
    return RZLocalHtml::downloadUrl(m_oLocalHtmlConfig);
}

QString RZConfig::GetLocalHtmlVersion() const
{
    return RZLocalHtml::localHtmlVersion(m_oLocalHtmlConfig);
}

QString RZConfig::GetBaseConfigVersion() const
{
    return RZLocalHtml::baseConfigVersion(m_oBaseConfig);
}

QString RZConfig::GetLocalHtmlFileVersion() const
{
    QFile file(QStringLiteral("%1/%2/%3")
                   .arg(GetCinveraDirectory(), QStringLiteral("LocalHtml"), QStringLiteral("version")));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

bool RZConfig::IsEnableCheckoutPopup(const QString& key) const
{
    if (m_oBaseConfig.isEmpty())
        return false;
    const QJsonObject entry = RZLocalHtml::pageEntry(m_oBaseConfig, key);
    return !entry.isEmpty() && RZLocalHtml::checkoutPopup(entry);
}

bool RZConfig::IsEnableLocalLogin(const QString& key) const
{
    if (m_oBaseConfig.isEmpty() || GetLocalHtmlFileVersion().isEmpty())
        return false;
    const QJsonObject entry = RZLocalHtml::pageEntry(m_oBaseConfig, key);
    if (entry.isEmpty())
        return false;
    if (GetAppValue(QStringLiteral("LOCALLOGIN_DISABLE"), QStringLiteral("LOCALLOGIN_DISABLE"), false)
            .toBool())
        return false; // the local override
    return RZLocalHtml::localLogin(entry);
}

bool RZConfig::DownloadLocalHtml(const QString& url)
{
    const QString target = inDirectory(GetCinveraDirectory(), "LocalHtmlZip");
    QFile::remove(target);
    RZNetwork* network = new RZNetwork();
    // Direct: the unpacking is queued to the pool from the download's own thread.
    connect(network, &RZNetwork::HttpGetRequestFinished, this, &RZConfig::slotExtractLocalHtml,
            Qt::DirectConnection);
    connect(network, &RZNetwork::HttpGetRequestFinished, network, &QObject::deleteLater);
    connect(network, &RZNetwork::DownLoadProgress, this, &RZConfig::sigLocalHtmlDownloadProgress);
    network->HttpGetRequest(QUrl(url), target, RZDataIO::FileData, true, kDownloadIdleLimitMs);
    return !url.isEmpty();
}

// The flag is not tested: a failed download leaves no archive, and unpacking it fails.
void RZConfig::slotExtractLocalHtml(bool /*ok*/, const QString& path)
{
    const QString directory = GetCinveraDirectory();
    std::function<void()> task = [this, path, directory] {
        RZHappensBefore::received(&s_oExtractToken); // before the captures are read
        extractLocalHtml(path, directory);
    };
    {
        std::lock_guard<std::mutex> lock(g_oTasksMutex);
        ++g_nTasks;
    }
    RZHappensBefore::handedOver(&s_oExtractToken);
    QThreadPool::globalInstance()->start(std::move(task));
}

void RZConfig::waitForLocalHtmlTasks()
{
    std::unique_lock<std::mutex> lock(g_oTasksMutex);
    g_oTasksDone.wait(lock, [] { return g_nTasks == 0; });
}

// Pool thread. The archive is unpacked beside "LocalHtml" and swapped in only once all of it came
// out: a damaged or partial archive leaves the old package, and its version, as they were.
void RZConfig::extractLocalHtml(const QString& archive, const QString& directory)
{
    static QMutex s_oUnpackMutex; // two downloads never swap at once
    const QString target = inDirectory(directory, "LocalHtml");
    bool ok = false;
    {
        QMutexLocker lock(&s_oUnpackMutex);
        QTemporaryDir staging(target + QStringLiteral(".unpacking-XXXXXX"));
        if (staging.isValid() && !RZQuaZip::ExtractDir(archive, staging.path()).isEmpty()) {
            ok = swapIn(staging.path(), target);
            staging.setAutoRemove(!ok);
        }
    }
    QFile::remove(archive);
    if (ok)
        RZLOG_INFO("local HTML package unpacked into %s", qUtf8Printable(target));
    else
        RZLOG_WARN("local HTML package %s could not be unpacked; %s stays as it was", qUtf8Printable(archive),
                   qUtf8Printable(target));
    QMetaObject::invokeMethod(this, "sigLocalHtmlExtracted", Qt::QueuedConnection, Q_ARG(bool, ok));
    std::lock_guard<std::mutex> lock(g_oTasksMutex);
    if (--g_nTasks == 0)
        g_oTasksDone.notify_all();
}
