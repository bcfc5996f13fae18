// The demo window on a real X server: rzcore-demo --window on a private Xvfb, screenshots taken by
// the X server's own tool (xwd -root), read here pixel by pixel.
//
// "Drawn" means: on the black root window there is a window-sized region that is not black; inside
// it at least 48 distinct colours (anti-aliased text in many widgets; a blank or unpainted window
// has one or two), at least 3 % of its pixels differ from its most common colour, and the demo's
// badge colour covers a block of at least 2000 pixels. Mirroring is the badge's place: at the left
// edge in English, at the same distance from the right edge in Arabic, and back again.
// RZ_DEMO_SCREENSHOT=<file.png> keeps the English screenshot of the window.
#include "RZXvfb.h"

#include <QHash>
#include <QImage>
#include <QProcess>
#include <QtEndian>
#include <QtTest>

namespace {

const QRgb kBadge = qRgb(0x12, 0x7a, 0xd6); // the demo's badge colour (examples/host/DemoWindow.cpp)

// The X server's screenshot format (XWDFile.h): a big-endian header of 25 numbers, the window name,
// the colour map, then the rows as the server keeps them.
QImage fromXwd(const QByteArray& data)
{
    if (data.size() < 100)
        return QImage();
    const auto field = [&data](int i) { return qFromBigEndian<quint32>(data.constData() + 4 * i); };
    const quint32 headerSize = field(0), width = field(4), height = field(5), byteOrder = field(7);
    const quint32 bytesPerPixel = field(11) / 8, bytesPerLine = field(12), redMask = field(14),
                  greenMask = field(15), blueMask = field(16), colours = field(19);
    // Depth 24 comes as 4 bytes a pixel, or packed in 3 once a client (Qt) has asked the server for a
    // 24-bit image format; rows may be longer than their pixels.
    if (field(1) != 7 || field(2) != 2 || field(3) != 24 || (bytesPerPixel != 3 && bytesPerPixel != 4)
        || bytesPerLine < bytesPerPixel * width || !redMask || !greenMask || !blueMask)
        return QImage(); // a ZPixmap of depth 24 is what Xvfb -screen WxHx24 gives
    const qint64 offset = qint64(headerSize) + qint64(colours) * 12;
    if (data.size() < offset + qint64(bytesPerLine) * height)
        return QImage();
    const auto channel = [](quint32 pixel, quint32 mask) {
        int shift = 0;
        while (!((mask >> shift) & 1u))
            ++shift;
        return int((pixel & mask) >> shift);
    };
    QImage image(int(width), int(height), QImage::Format_RGB32);
    for (quint32 y = 0; y < height; ++y) {
        const char* row = data.constData() + offset + qint64(y) * bytesPerLine;
        QRgb* out = reinterpret_cast<QRgb*>(image.scanLine(int(y)));
        for (quint32 x = 0; x < width; ++x) {
            const uchar* p = reinterpret_cast<const uchar*>(row) + bytesPerPixel * x;
            quint32 pixel = 0;
            for (quint32 b = 0; b < bytesPerPixel; ++b)
                pixel |= quint32(p[b]) << (8 * (byteOrder ? bytesPerPixel - 1 - b : b));
            out[x] = qRgb(channel(pixel, redMask), channel(pixel, greenMask), channel(pixel, blueMask));
        }
    }
    return image;
}

struct Look
{
    QRect window; // not black
    QRect badge;  // the badge colour
    int badgePixels = 0;
    int colours = 0;
    double inkShare = 0;

    bool drawn() const
    {
        return window.width() >= 400 && window.height() >= 300 && colours >= 48 && inkShare >= 0.03
               && badgePixels >= 2000;
    }
    // Distance of the badge from the window's left / right edge.
    int fromLeft() const { return badge.left() - window.left(); }
    int fromRight() const { return window.right() - badge.right(); }
};

Look lookAt(const QImage& image)
{
    Look look;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qRgb(0, 0, 0) != (row[x] | 0xff000000u))
                look.window |= QRect(x, y, 1, 1);
            if ((row[x] | 0xff000000u) == kBadge) {
                look.badge |= QRect(x, y, 1, 1);
                ++look.badgePixels;
            }
        }
    }
    QHash<QRgb, int> counts;
    for (int y = look.window.top(); y <= look.window.bottom(); ++y)
        for (int x = look.window.left(); x <= look.window.right(); ++x)
            ++counts[image.pixel(x, y)];
    int most = 0;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        most = qMax(most, it.value());
    const int area = look.window.width() * look.window.height();
    look.colours = counts.size();
    look.inkShare = area ? double(area - most) / area : 0;
    return look;
}

QString describe(const Look& look)
{
    return QStringLiteral("window %1,%2 %3x%4, %5 colours, %6 % ink, badge %7 px at %8 from the left, %9 from the right")
        .arg(look.window.x()).arg(look.window.y()).arg(look.window.width()).arg(look.window.height())
        .arg(look.colours).arg(look.inkShare * 100, 0, 'f', 1).arg(look.badgePixels).arg(look.fromLeft())
        .arg(look.fromRight());
}

} // namespace

class TestDemoWindow : public QObject
{
    Q_OBJECT

private slots:
    void drawnAndMirrored();

private:
    Look take();

    RZXvfb m_oServer;
    QImage m_oLast;
};

Look TestDemoWindow::take()
{
    QProcess xwd;
    xwd.setProcessEnvironment(m_oServer.environment());
    xwd.start(QStringLiteral("xwd"), {QStringLiteral("-root"), QStringLiteral("-silent")});
    if (!xwd.waitForFinished(20000) || xwd.exitCode() != 0)
        return Look();
    m_oLast = fromXwd(xwd.readAllStandardOutput());
    return lookAt(m_oLast);
}

void TestDemoWindow::drawnAndMirrored()
{
    if (!RZXvfb::available() || QStandardPaths::findExecutable(QStringLiteral("xwd")).isEmpty())
        QSKIP("Xvfb, xrdb and xwd are not installed (scripts/setup installs them)");
    QVERIFY2(m_oServer.start(QSize(1280, 800), QStringLiteral("96")), qPrintable(m_oServer.error()));
    QVERIFY(take().window.isEmpty()); // the root window alone is black

    QProcess demo;
    demo.setProcessEnvironment(m_oServer.environment());
    demo.start(QStringLiteral(RZ_DEMO), {QStringLiteral("--window")});
    QVERIFY(demo.waitForStarted(30000));
    QByteArray output;
    while (!output.contains("window shown")) {
        QVERIFY2(demo.waitForReadyRead(60000), output.constData());
        output += demo.readAllStandardOutput();
    }

    Look english;
    QTRY_VERIFY2_WITH_TIMEOUT((english = take()).drawn() && english.fromLeft() < english.fromRight(),
                              qPrintable(describe(english)), 30000);
    if (!qEnvironmentVariableIsEmpty("RZ_DEMO_SCREENSHOT"))
        m_oLast.copy(english.window).save(qEnvironmentVariable("RZ_DEMO_SCREENSHOT"));

    demo.write("language ARG\n");
    Look arabic;
    QTRY_VERIFY2_WITH_TIMEOUT((arabic = take()).drawn() && qAbs(arabic.fromRight() - english.fromLeft()) <= 2
                                  && arabic.window == english.window,
                              qPrintable(describe(arabic) + QStringLiteral(" / English: ") + describe(english)), 30000);
    QCOMPARE(arabic.badge.size(), english.badge.size());

    demo.write("language DEU\n");
    Look german;
    QTRY_VERIFY2_WITH_TIMEOUT((german = take()).drawn() && german.fromLeft() == english.fromLeft(),
                              qPrintable(describe(german)), 30000);

    demo.write("quit\n");
    QVERIFY(demo.waitForFinished(30000));
    QCOMPARE(demo.exitStatus(), QProcess::NormalExit);
    QCOMPARE(demo.exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestDemoWindow)
#include "tst_demowindow.moc"
