#include <RZCore/locale/RZScreen.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QGuiApplication>
#include <QScreen>
#include <QString>
#include <QWidget>

#include <atomic>
#include <cstdint>

RZCORE_INSTANTIATE_SINGLETON(RZScreen)

namespace {

// One line per process when there is no display to ask: the start-up asks twice, a host may ask often.
RZPlatform::SystemDisplay systemDisplay()
{
    RZPlatform::SystemDisplay display = RZPlatform::systemDisplay();
    static std::atomic<bool> reported{false};
    if (!display.available && !reported.exchange(true))
        RZLOG_INFO("no display to ask (%s): system pixel ratio 1.0, screen size unknown", display.reason.c_str());
    return display;
}

} // namespace

RZScreen::RZScreen() = default;

RZScreen::~RZScreen() = default;

// area               class
// 250001 .. 479999   1   (one unsigned comparison: 250000 and less fall through to class 2)
// below 768000       2   (negative areas, from sizes whose product wraps, too)
// below 786432       3
// below 983040       4
// below 995328       5
// below 1296000      6
// below 1310720      7
// below 1440000      8
// below 1764000      9
// below 2073600      10
// below 2764800      11
// below 4096000      13
// below 5242880      14
// below 6998400      15
// equal to 6998400   16
// above 7387200      17
// anything else      0   (6998401 .. 7387200)
RZScreen::ScreenResolutionType RZScreen::GetScreenRangeTypeFrom(int width, int height)
{
    if (width <= 0 || height <= 0)
        return ScreenUnknown;
    // Multiplied without overflow, then cut to 32 bits the way the 32-bit product always wrapped.
    const std::uint32_t bits = static_cast<std::uint32_t>(static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height));
    const std::int32_t area = static_cast<std::int32_t>(bits);
    if (bits - 250001u <= 229998u)
        return ScreenBelow800x600;
    if (area < 768000)
        return ScreenBelow1280x600;
    if (area < 786432)
        return ScreenBelow1024x768;
    if (area < 983040)
        return ScreenBelow1280x768;
    if (area < 995328)
        return ScreenBelow1152x864;
    if (area < 1296000)
        return ScreenBelow1440x900;
    if (area < 1310720)
        return ScreenBelow1280x1024;
    if (area < 1440000)
        return ScreenBelow1600x900;
    if (area < 1764000)
        return ScreenBelow1680x1050;
    if (area < 2073600)
        return ScreenBelow1920x1080;
    if (area < 2764800)
        return ScreenBelow2560x1080;
    if (area < 4096000)
        return ScreenBelow2560x1600;
    if (area < 5242880)
        return ScreenBelow2560x2048;
    if (area < 6998400)
        return ScreenBelow3240x2160;
    if (area == 6998400)
        return Screen3240x2160;
    if (area > 7387200)
        return ScreenAbove3420x2160;
    return ScreenUnknown;
}

bool RZScreen::AdapterMinimumSize(QWidget* widget, ScreenResolutionType type)
{
    QScreen* screen = widget ? widget->screen() : QGuiApplication::primaryScreen();
    const QRect geometry = screen ? screen->geometry() : QRect(); // no screen: class 0, the smallest
    return GetScreenRangeTypeFrom(geometry.width(), geometry.height()) < type;
}

double RZScreen::devicePixelRatio()
{
    if (!qGuiApp)
        return 1.0; // nothing to read yet, and nothing cached
    static const double ratio = qGuiApp->devicePixelRatio();
    return ratio;
}

double RZScreen::devicePixelRatioForSystem()
{
    return systemDisplay().pixelRatio;
}

QSize RZScreen::getScreenResolutionForSystem()
{
    const RZPlatform::SystemDisplay display = systemDisplay();
    return display.available ? QSize(display.width, display.height) : QSize();
}

RZScreen::RZPixelRatioType RZScreen::getPixelRatioType()
{
    if (!qGuiApp)
        return calculatePixelRatioType();
    static const RZPixelRatioType type = calculatePixelRatioType();
    return type;
}

bool RZScreen::isPixelRatio25_75()
{
    const RZPixelRatioType type = getPixelRatioType();
    return type == PixelRatio25 || type == PixelRatio75;
}

RZScreen::RZPixelRatioType RZScreen::pixelRatioTypeFrom(double ratio)
{
    const QString text = QString::number(ratio, 'f', 2);
    const int dot = text.indexOf(QLatin1Char('.'));
    const QString fraction = dot < 0 ? QString() : text.mid(dot);
    static const char* const kFractions[] = {".00", ".25", ".50", ".75"};
    for (int i = 0; i < 4; ++i) {
        if (fraction == QLatin1String(kFractions[i]))
            return static_cast<RZPixelRatioType>(i);
    }
    return PixelRatioOther;
}

RZScreen::RZPixelRatioType RZScreen::calculatePixelRatioType()
{
    return pixelRatioTypeFrom(instance()->devicePixelRatio());
}

// Without a screen (no application yet) there is nothing to fit into: the value stands.
int RZScreen::getWidgetSuitableScreenWidth(int width)
{
    const QScreen* primary = QGuiApplication::primaryScreen();
    return primary ? qMin(width, primary->availableGeometry().width()) : width;
}

int RZScreen::getWidgetSuitableScreenHeight(int height)
{
    const QScreen* primary = QGuiApplication::primaryScreen();
    return primary ? qMin(height, primary->availableGeometry().height()) : height;
}

QSize RZScreen::getWidgetSuitableScreenSize(QSize size)
{
    return QSize(getWidgetSuitableScreenWidth(size.width()), getWidgetSuitableScreenHeight(size.height()));
}

QSize RZScreen::getWidgetSuitableScreenSize(int width, int height)
{
    return getWidgetSuitableScreenSize(QSize(width, height));
}

QScreen* RZScreen::screenAt(const QPoint& point, bool usePrimary)
{
    if (QScreen* screen = QGuiApplication::screenAt(point))
        return screen;
    if (!usePrimary)
        return nullptr;
    QScreen* primary = QGuiApplication::primaryScreen();
    RZLOG_WARN("point at (%d,%d) screen not found,use primary screen", point.x(), point.y());
    return primary;
}
