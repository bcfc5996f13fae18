// Screen classes, pixel-ratio types and widget sizes on the offscreen platform (one 800x600 screen).
// The system queries run against real X servers in tests/app/tst_highdpi.
#include "RZTestLogSink.h"

#include <RZCore/locale/RZScreen.h>

#include <QScreen>
#include <QWidget>
#include <QtTest>

using Type = RZScreen::ScreenResolutionType;
Q_DECLARE_METATYPE(RZScreen::ScreenResolutionType)

class TestScreen : public QObject
{
    Q_OBJECT

private slots:
    void screenRangeType_data();
    void screenRangeType();
    void pixelRatioType_data();
    void pixelRatioType();
    void applicationRatio();
    void adapterMinimumSize_data();
    void adapterMinimumSize();
    void widgetSuitableSize_data();
    void widgetSuitableSize();
    void screenAt_data();
    void screenAt();
};

void TestScreen::screenRangeType_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("type");
    // Area as width x 1: every boundary of the table, from both sides.
    const struct
    {
        int area;
        int type;
    } kAreas[] = {
        {250000, 2},  {250001, 1},  {479999, 1},  {480000, 2},  {767999, 2},  {768000, 3},  {786431, 3},
        {786432, 4},  {983039, 4},  {983040, 5},  {995327, 5},  {995328, 6},  {1295999, 6}, {1296000, 7},
        {1310719, 7}, {1310720, 8}, {1439999, 8}, {1440000, 9}, {1763999, 9}, {1764000, 10}, {2073599, 10},
        {2073600, 11}, {2764799, 11}, {2764800, 13}, {4095999, 13}, {4096000, 14}, {5242879, 14}, {5242880, 15},
        {6998399, 15}, {6998400, 16}, {6998401, 0}, {7387200, 0}, {7387201, 17},
    };
    for (const auto& row : kAreas)
        QTest::addRow("area %d", row.area) << row.area << 1 << row.type;
    QTest::newRow("100x100 is not class 1") << 100 << 100 << 2;
    QTest::newRow("1x1") << 1 << 1 << 2;
    QTest::newRow("0x1080") << 0 << 1080 << 0;
    QTest::newRow("1920x0") << 1920 << 0 << 0;
    QTest::newRow("negative") << -1920 << -1080 << 0;
    QTest::newRow("1920x1080") << 1920 << 1080 << 11;
    QTest::newRow("2700x2650 in the gap") << 2700 << 2650 << 0;
    QTest::newRow("3840x2160") << 3840 << 2160 << 17;
    // The area is a 32-bit signed integer: large sizes wrap.
    QTest::newRow("46341x46341 wraps negative") << 46341 << 46341 << 2;
    QTest::newRow("65536x32768 wraps to INT_MIN") << 65536 << 32768 << 2;
    QTest::newRow("65536x65536 wraps to 0") << 65536 << 65536 << 2;
    QTest::newRow("65536x65540 wraps into class 1") << 65536 << 65540 << 1;
    QTest::newRow("65536x65579 wraps into class 13") << 65536 << 65579 << 13;
    QTest::newRow("40000x50000 fits in 32 bits") << 40000 << 50000 << 17;
}

void TestScreen::screenRangeType()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, type);
    QCOMPARE(int(RZScreen::GetScreenRangeTypeFrom(width, height)), type);
}

void TestScreen::pixelRatioType_data()
{
    QTest::addColumn<double>("ratio");
    QTest::addColumn<int>("type");
    QTest::newRow("1.0") << 1.0 << 0;
    QTest::newRow("2.0") << 2.0 << 0;
    QTest::newRow("1.25") << 1.25 << 1;
    QTest::newRow("1.5") << 1.5 << 2;
    QTest::newRow("0.5") << 0.5 << 2;
    QTest::newRow("1.75") << 1.75 << 3;
    QTest::newRow("1.33") << 1.33 << 4;
    QTest::newRow("1.249 reads as 1.25") << 1.249 << 1;
    QTest::newRow("1.2449 reads as 1.24") << 1.2449 << 4;
    QTest::newRow("1.996 reads as 2.00") << 1.996 << 0;
}

void TestScreen::pixelRatioType()
{
    QFETCH(double, ratio);
    QFETCH(int, type);
    QCOMPARE(int(RZScreen::pixelRatioTypeFrom(ratio)), type);
    QCOMPARE(RZScreen::pixelRatioTypeFrom(ratio) == RZScreen::PixelRatio25
                 || RZScreen::pixelRatioTypeFrom(ratio) == RZScreen::PixelRatio75,
             type == 1 || type == 3);
}

// The running application's ratio (1.0 offscreen), cached with its type.
void TestScreen::applicationRatio()
{
    QCOMPARE(RZScreen::instance()->devicePixelRatio(), qApp->devicePixelRatio());
    QCOMPARE(RZScreen::getPixelRatioType(), RZScreen::pixelRatioTypeFrom(qApp->devicePixelRatio()));
    QCOMPARE(RZScreen::isPixelRatio25_75(), false);
}

void TestScreen::adapterMinimumSize_data()
{
    QTest::addColumn<bool>("withWidget");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("below");
    // The offscreen screen is 800x600: an area of 480000, class 2.
    QTest::newRow("class 3 wanted") << true << 3 << true;
    QTest::newRow("class 2 wanted") << true << 2 << false;
    QTest::newRow("class 1 wanted") << true << 1 << false;
    QTest::newRow("no widget: primary screen") << false << 3 << true;
    QTest::newRow("4K wanted") << false << 17 << true;
}

void TestScreen::adapterMinimumSize()
{
    QFETCH(bool, withWidget);
    QFETCH(int, type);
    QFETCH(bool, below);
    QCOMPARE(QGuiApplication::primaryScreen()->geometry().size(), QSize(800, 600));
    QWidget widget;
    QCOMPARE(RZScreen::AdapterMinimumSize(withWidget ? &widget : nullptr, Type(type)), below);
}

void TestScreen::widgetSuitableSize_data()
{
    QTest::addColumn<QSize>("wanted");
    QTest::addColumn<QSize>("suitable");
    QTest::newRow("fits") << QSize(640, 480) << QSize(640, 480);
    QTest::newRow("wider but lower keeps its height") << QSize(1920, 500) << QSize(800, 500);
    QTest::newRow("taller keeps its width") << QSize(300, 5000) << QSize(300, 600);
    QTest::newRow("both sides cut, aspect lost") << QSize(1600, 900) << QSize(800, 600);
    QTest::newRow("negative stays") << QSize(-5, -5) << QSize(-5, -5);
}

void TestScreen::widgetSuitableSize()
{
    QFETCH(QSize, wanted);
    QFETCH(QSize, suitable);
    QCOMPARE(QGuiApplication::primaryScreen()->availableGeometry().size(), QSize(800, 600));
    QCOMPARE(RZScreen::getWidgetSuitableScreenSize(wanted), suitable);
    QCOMPARE(RZScreen::getWidgetSuitableScreenSize(wanted.width(), wanted.height()), suitable);
    QCOMPARE(RZScreen::getWidgetSuitableScreenWidth(wanted.width()), suitable.width());
    QCOMPARE(RZScreen::getWidgetSuitableScreenHeight(wanted.height()), suitable.height());
}

void TestScreen::screenAt_data()
{
    QTest::addColumn<QPoint>("point");
    QTest::addColumn<bool>("usePrimary");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("line");
    QTest::newRow("on the screen") << QPoint(10, 10) << true << true << QString();
    QTest::newRow("last pixel") << QPoint(799, 599) << false << true << QString();
    QTest::newRow("off, no fallback") << QPoint(800, 600) << false << false << QString();
    QTest::newRow("off, primary instead")
        << QPoint(5000, -3) << true << true << "point at (5000,-3) screen not found,use primary screen";
}

void TestScreen::screenAt()
{
    QFETCH(QPoint, point);
    QFETCH(bool, usePrimary);
    QFETCH(bool, found);
    QFETCH(QString, line);
    RZScopedTestLogger log;
    QScreen* screen = RZScreen::screenAt(point, usePrimary);
    QCOMPARE(screen, found ? QGuiApplication::primaryScreen() : nullptr);
    const auto records = log.sink->records();
    QCOMPARE(records.size(), size_t(line.isEmpty() ? 0 : 1));
    if (!line.isEmpty()) {
        QCOMPARE(records[0].level, RZBaseLog::LogLevel::warn);
        QCOMPARE(QString::fromStdString(records[0].message), line);
    }
}

QTEST_MAIN(TestScreen)
#include "tst_screen.moc"
