#pragma once
// What the library knows about the display: the class of a screen by its pixel area, the device
// pixel ratio as Qt sees it and as the operating system sees it, and how large a widget may be.
//
// The two "ForSystem" queries ask the operating system directly and work before any
// QGuiApplication exists (RZApplication::initHighDPI needs them then); every other query needs the
// running application. The Qt ratio and its type are read once and cached for the life of the
// process, so a change of display during a run is not seen.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QPoint>
#include <QSize>

class QScreen;
class QWidget;

class RZCORE_EXPORT RZScreen : public RZSingleton<RZScreen>
{
public:
    // A class of screen by its pixel area; higher is larger, but for 0 (unknown). Each class ends
    // below the area of the resolution in its name. 12 is never produced.
    enum ScreenResolutionType : int {
        ScreenUnknown = 0,
        ScreenBelow800x600 = 1, // from 250001 pixels: a smaller area counts as class 2
        ScreenBelow1280x600 = 2,
        ScreenBelow1024x768 = 3,
        ScreenBelow1280x768 = 4,
        ScreenBelow1152x864 = 5,
        ScreenBelow1440x900 = 6,
        ScreenBelow1280x1024 = 7,
        ScreenBelow1600x900 = 8,
        ScreenBelow1680x1050 = 9,
        ScreenBelow1920x1080 = 10,
        ScreenBelow2560x1080 = 11,
        ScreenBelow2560x1600 = 13,
        ScreenBelow2560x2048 = 14,
        ScreenBelow3240x2160 = 15,
        Screen3240x2160 = 16,
        ScreenAbove3420x2160 = 17, // areas between 3240x2160 and 3420x2160 are class 0
    };

    // The fraction of a device pixel ratio, to two places.
    enum RZPixelRatioType : int {
        PixelRatio00 = 0,
        PixelRatio25 = 1,
        PixelRatio50 = 2,
        PixelRatio75 = 3,
        PixelRatioOther = 4,
    };

    RZScreen();
    ~RZScreen() override;

    // The class of a width x height screen; the area is taken as a 32-bit signed integer, as it
    // always was, so that a huge size wraps (see the table in RZScreen.cpp).
    static ScreenResolutionType GetScreenRangeTypeFrom(int width, int height);
    // True when the screen the widget is on (the whole screen, the primary one for a null widget)
    // is of a class below `type`.
    static bool AdapterMinimumSize(QWidget* widget, ScreenResolutionType type);

    // The running application's ratio, read on the first call made while one exists, then cached.
    double devicePixelRatio();
    // The operating system's ratio, asked afresh at every call; 1.0 without a display.
    double devicePixelRatioForSystem();
    // The operating system's screen size in pixels, asked afresh; empty without a display.
    QSize getScreenResolutionForSystem();

    // The type of the application's ratio, computed once (while an application exists) and cached.
    static RZPixelRatioType getPixelRatioType();
    // True for the types .25 and .75.
    static bool isPixelRatio25_75();
    // The type of any ratio: its text to two places ("1.50") decides.
    static RZPixelRatioType pixelRatioTypeFrom(double ratio);

    // The value, at most the primary screen's available width / height; each side on its own, so a
    // size does not keep its aspect ratio.
    static int getWidgetSuitableScreenWidth(int width);
    static int getWidgetSuitableScreenHeight(int height);
    static QSize getWidgetSuitableScreenSize(QSize size);
    static QSize getWidgetSuitableScreenSize(int width, int height);

    // The screen under the point; without one, null, or with `usePrimary` the primary screen and a
    // WARN line.
    static QScreen* screenAt(const QPoint& point, bool usePrimary);

private:
    static RZPixelRatioType calculatePixelRatioType();
};

RZCORE_EXTERN_SINGLETON(RZScreen)
