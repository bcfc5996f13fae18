// The high-DPI start-up of RZApplication: decided before the application object exists, from what
// the operating system says about the screen (RZScreen's system queries), and logged afterwards.
#include <RZCore/app/RZApplication.h>

#include <RZCore/locale/RZScreen.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QGuiApplication>
#include <QOperatingSystemVersion>
#include <QScreen>

#include <cmath>

namespace {

// Shcore's DPI functions exist from Windows 8.1 on; elsewhere the awareness calls return silently.
bool hasShcoreDpiFunctions()
{
    const QOperatingSystemVersion current = QOperatingSystemVersion::current();
    return current.type() == QOperatingSystemVersion::Windows8_1.type()
           && current >= QOperatingSystemVersion::Windows8_1;
}

} // namespace

Qt::HighDpiScaleFactorRoundingPolicy RZApplication::calculateHighDpiScaleFactorRoundingPolicy()
{
    RZScreen* screen = RZScreen::instance();
    const QSize size = screen->getScreenResolutionForSystem();
    const double ratio = screen->devicePixelRatioForSystem();
    const double fraction = ratio - std::floor(ratio);
    if (size == QSize(3840, 2160) && fraction > 0.4 && fraction < 1.0)
        return Qt::HighDpiScaleFactorRoundingPolicy::Round;
    return Qt::HighDpiScaleFactorRoundingPolicy::PassThrough;
}

void RZApplication::initHighDPI(int awareness)
{
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "1");
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(calculateHighDpiScaleFactorRoundingPolicy());
    setProcessDpiAwareness(awareness);
}

void RZApplication::setProcessDpiAwareness(int value)
{
    if (!hasShcoreDpiFunctions())
        return;
    const unsigned awareness = static_cast<unsigned>(value) > 2 ? 1u : static_cast<unsigned>(value);
    RZPlatform::setProcessDpiAwareness(awareness); // its result is of no use to the start-up
}

void RZApplication::getProcessDpiAwareness()
{
    if (!hasShcoreDpiFunctions())
        return;
    int awareness = 0;
    std::uint64_t lastError = 0;
    switch (RZPlatform::getProcessDpiAwareness(&awareness, &lastError)) {
    case RZPlatform::DpiAwarenessCall::Unresolved:
        RZLOG_INFO("GetProcessDpiAwareness return nullptr function");
        break;
    case RZPlatform::DpiAwarenessCall::Failed:
        RZLOG_ERROR("GetProcessDpiAwareness failed, last error: %d", static_cast<int>(lastError));
        break;
    case RZPlatform::DpiAwarenessCall::Succeeded:
        RZLOG_INFO("GetProcessDpiAwareness: %d", awareness);
        break;
    }
}

void RZApplication::logScreenInfo()
{
    RZLOG_INFO("Screen Info:");
    RZLOG_INFO("app devicePixelRatio: %f", devicePixelRatio());
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        const QRect geometry = screen->geometry();
        RZLOG_INFO("screen name: %s, devicePixelRatio: %f", screen->name().toLatin1().constData(),
                   screen->devicePixelRatio());
        RZLOG_INFO("geometry: (%d, %d), (%d * %d)", geometry.left(), geometry.top(), geometry.width(),
                   geometry.height());
    }
    getProcessDpiAwareness();
}
