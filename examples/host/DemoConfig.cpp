#include "DemoHost.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>

#include <QDateTime>
#include <QFile>

#include <cstdio>
#include <cstdlib>

namespace {

// The store's folder for this run. A function-local static made before the store, so that it is
// removed only after the store's final sync at process exit.
QTemporaryDir& storeDir()
{
    static QTemporaryDir s_oDir;
    return s_oDir;
}

// Registered before the store exists, so it runs after the store's destructor: the file as the
// final sync left it.
void printStoreFile()
{
    QFile file(storeDir().path() + QStringLiteral("/FConfig.ini"));
    if (!file.open(QIODevice::ReadOnly))
        return;
    std::printf("\n== configuration: FConfig.ini after the store's final sync ==\n");
    std::printf("%s", file.readAll().constData());
    std::fflush(stdout);
}

} // namespace

void demoConfig(DemoContext& /*context*/)
{
    demoSection("configuration");
    // The folders must be known before the store's first use, which builds it.
    IRZAppInfo::getInstance()->setValue(14, storeDir().path());
    IRZAppInfo::getInstance()->setValue(16, storeDir().path() + QStringLiteral("/documents"));
    std::atexit(&printStoreFile);
    demoNetworkPrepareStore(storeDir().path());

    RZConfig& config = RZConfig::Instance();
    demoSay(QStringLiteral("store folder: %1 (a copy of the embedded default on first start)")
                .arg(RZConfig::GetCinveraDirectory()));
    demoSay(QStringLiteral("freeze threshold: %1 ms, survey address: %2")
                .arg(config.getAppStuckThreshold())
                .arg(config.GetNPSApiUrl()));
    demoSay(QStringLiteral("first start of this machine: %1, previous run crashed: %2")
                .arg(config.IsFirstStart() ? "yes" : "no", config.IsAppCrashed() ? "yes" : "no"));

    config.SetLogLevel(4);
    config.setShortcutSwitch(QStringLiteral("Ctrl+E"), true);
    config.setColorSelectRecent({QStringLiteral("#e03c31"), QStringLiteral("#2d6cdf")});
    config.setLossLessTipsStatus(false);
    config.SetAppValue(QStringLiteral("Demo"), QStringLiteral("StartedAt"),
                       QDateTime::currentDateTime().toString(Qt::ISODate));
    demoSay(QStringLiteral("written, and read back at once from memory: log level %1, Ctrl+E %2, colours %3")
                .arg(config.GetLogLevel())
                .arg(config.getShortcutSwitch(QStringLiteral("Ctrl+E")) ? "on" : "off")
                .arg(config.getColorSelectRecent().join(QStringLiteral(", "))));
    demoSay(QStringLiteral("lossless tips: written under \"Lossless\", read from \"lossless\": still %1")
                .arg(config.getLossLessTipsStatus() ? "true" : "false"));

    config.SetCaddyMsgValue(QStringLiteral("Caddy"), QStringLiteral("Seen"), 3);
    demoSay(
        QStringLiteral("caddy message: GetCaddyMsgGroup sees %1 value(s) now, GetCaddyMsgValue %2 until the "
                       "next start")
            .arg(config.GetCaddyMsgGroup(QStringLiteral("Caddy")).size())
            .arg(config.GetCaddyMsgValue(QStringLiteral("Caddy"), QStringLiteral("Seen")).isValid()
                     ? "sees it"
                     : "does not"));
    demoSay(QStringLiteral(
        "the file is written by the store's thread; it is printed at exit, after the final sync"));
}
