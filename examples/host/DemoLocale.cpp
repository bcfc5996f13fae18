#include "DemoHost.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/app/RZSingleApplication.h>
#include <RZCore/locale/RZLocale.h>
#include <RZCore/locale/RZScreen.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QScreen>
#include <QUuid>

namespace {

// What the high-DPI start-up saw and decided, before the application object existed.
struct StartUp
{
    QSize systemSize;
    double systemRatio = 1.0;
    Qt::HighDpiScaleFactorRoundingPolicy policy = Qt::HighDpiScaleFactorRoundingPolicy::Unset;
};

StartUp& startUp()
{
    static StartUp s_oStartUp;
    return s_oStartUp;
}

QString sizeText(const QSize& size)
{
    return size.isValid() ? QStringLiteral("%1x%2").arg(size.width()).arg(size.height()) : QStringLiteral("unknown");
}

} // namespace

void demoHighDpiStartUp()
{
    RZScreen* screen = RZScreen::instance();
    startUp().systemSize = screen->getScreenResolutionForSystem();
    startUp().systemRatio = screen->devicePixelRatioForSystem();
    RZApplication::initHighDPI(1);
    startUp().policy = QGuiApplication::highDpiScaleFactorRoundingPolicy();
}

QString demoPolicyName(Qt::HighDpiScaleFactorRoundingPolicy policy)
{
    switch (policy) {
    case Qt::HighDpiScaleFactorRoundingPolicy::Round:
        return QStringLiteral("Round");
    case Qt::HighDpiScaleFactorRoundingPolicy::PassThrough:
        return QStringLiteral("PassThrough");
    default:
        return QString::number(int(policy));
    }
}

QStringList demoDisplayFacts()
{
    RZScreen* screen = RZScreen::instance();
    const QScreen* primary = QGuiApplication::primaryScreen();
    const QSize qtSize = primary ? primary->size() : QSize();
    const QSize physical = primary ? qtSize * primary->devicePixelRatio() : QSize();
    const int screenClass = RZScreen::GetScreenRangeTypeFrom(physical.width(), physical.height());
    return {
        QStringLiteral("system screen (asked before the application existed): %1").arg(sizeText(startUp().systemSize)),
        QStringLiteral("system pixel ratio: %1").arg(startUp().systemRatio),
        QStringLiteral("rounding policy chosen by initHighDPI: %1").arg(demoPolicyName(startUp().policy)),
        QStringLiteral("Qt: screen \"%1\", %2 device-independent pixels, %3 physical")
            .arg(primary ? primary->name() : QString(), sizeText(qtSize), sizeText(physical)),
        QStringLiteral("Qt pixel ratio: %1 (fraction type %2)")
            .arg(screen->devicePixelRatio())
            .arg(int(RZScreen::getPixelRatioType())),
        QStringLiteral("screen class: %1").arg(screenClass),
    };
}

void demoPrepareLocale(DemoContext& context)
{
    static bool s_bPrepared = false;
    if (s_bPrepared)
        return;
    s_bPrepared = true;
    IRZAppInfo* info = IRZAppInfo::getInstance();
    if (info->value(14).isEmpty())
        info->setValue(14, context.runDir.path()); // the configuration section sets it in a full run
    // The product ships its Indian font beside itself; the demo borrows the system's copy.
    const QString fonts = context.runDir.path() + QStringLiteral("/fonts");
    QDir().mkpath(fonts);
    QFile::copy(QStringLiteral("/usr/share/fonts/truetype/lohit-telugu/Lohit-Telugu.ttf"),
                fonts + QStringLiteral("/Lohit Telugu Regular.ttf"));
    info->setValue(26, fonts);
    RZLocale::instance()->init(true);
}

void demoLocale(DemoContext& context)
{
    demoSection("display and locale");
    for (const QString& fact : demoDisplayFacts())
        demoSay(fact);
    demoSay(QStringLiteral("getWidgetSuitableScreenSize(3000x500): %1")
                .arg(sizeText(RZScreen::getWidgetSuitableScreenSize(3000, 500))));

    const QString key = QStringLiteral("rzcore-demo-") + QUuid::createUuid().toString(QUuid::Id128).left(8);
    {
        RZSingleApplication first(key);
        RZSingleApplication second(key);
        demoSay(QStringLiteral("single instance \"%1\": first isRunning %2, second isRunning %3")
                    .arg(key)
                    .arg(first.isRunning() ? "yes" : "no", second.isRunning() ? "yes" : "no"));
    }
    demoSay(QStringLiteral("after the first is gone: isRunning %1").arg(RZSingleApplication(key).isRunning() ? "yes" : "no"));

    demoPrepareLocale(context);
    RZLocale* locale = RZLocale::instance();
    locale->setLanguageType(); // the remembered language: none yet, so English
    demoSay(QStringLiteral("remembered language: %1").arg(locale->languageSimpleName()));
    for (const RZLocale::RZLanguageType type : {RZLocale::Arabic, RZLocale::Japanese, RZLocale::Telugu, RZLocale::English}) {
        locale->setLanguageType(type);
        demoSay(QStringLiteral("%1: %2, H5 %3, font \"%4\", %5, Qt says \"%6\"")
                    .arg(locale->languageSimpleName(), locale->clientLanguageCode2(false), locale->languageH5code(),
                         locale->fontFamily(),
                         QGuiApplication::layoutDirection() == Qt::RightToLeft ? QStringLiteral("right-to-left")
                                                                               : QStringLiteral("left-to-right"),
                         QCoreApplication::translate("QPlatformTheme", "Cancel")));
    }
}
