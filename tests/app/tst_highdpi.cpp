// The high-DPI start-up against a real X server: each case starts its own Xvfb with the screen size
// and "Xft.dpi" it needs and runs a fresh host process (rz_highdpi_helper) on it, because the
// decision is taken before the one application object of a process is built.
#include "RZXvfb.h"

#include <QProcess>
#include <QtTest>

namespace {

struct HelperRun
{
    QMap<QString, QString> values; // "key: value" lines
    QString output;
};

HelperRun runHelper(const QProcessEnvironment& env, int awareness)
{
    QProcess helper;
    helper.setProcessEnvironment(env);
    helper.start(QStringLiteral(RZ_HIGHDPI_HELPER), {QString::number(awareness)});
    HelperRun run;
    if (!helper.waitForFinished(60000) || helper.exitStatus() != QProcess::NormalExit || helper.exitCode() != 0) {
        run.output = QStringLiteral("helper failed: ") + QString::fromLocal8Bit(helper.readAllStandardError());
        return run;
    }
    run.output = QString::fromUtf8(helper.readAllStandardOutput());
    const QStringList lines = run.output.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const int colon = line.indexOf(QLatin1String(": "));
        if (colon > 0 && !line.startsWith(QLatin1Char('[')))
            run.values.insert(line.left(colon), line.mid(colon + 2));
    }
    return run;
}

constexpr int kRound = int(Qt::HighDpiScaleFactorRoundingPolicy::Round);
constexpr int kPassThrough = int(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);

} // namespace

class TestHighDpi : public QObject
{
    Q_OBJECT

private slots:
    void startUp_data();
    void startUp();
    void withoutDisplay_data();
    void withoutDisplay();
};

void TestHighDpi::startUp_data()
{
    QTest::addColumn<QSize>("screen");
    QTest::addColumn<QString>("dpi");         // "Xft.dpi", empty: not set; with a colon: resource lines
    QTest::addColumn<double>("systemRatio");
    QTest::addColumn<int>("policy");
    QTest::addColumn<double>("appRatio");     // what Qt made of it; 0: not checked
    QTest::addColumn<int>("ratioType");

    const QSize uhd(3840, 2160);
    QTest::newRow("4K 144 dpi: 1.5 rounds") << uhd << "144" << 1.5 << kRound << 2.0 << 0;
    QTest::newRow("4K 120 dpi: 1.25 passes") << uhd << "120" << 1.25 << kPassThrough << 1.25 << 1;
    QTest::newRow("4K 96 dpi") << uhd << "96" << 1.0 << kPassThrough << 1.0 << 0;
    QTest::newRow("4K 192 dpi: whole 2.0") << uhd << "192" << 2.0 << kPassThrough << 2.0 << 0;
    // Qt falls back to the screen's physical size here: its ratio is its own business.
    QTest::newRow("4K no Xft.dpi") << uhd << "" << 1.0 << kPassThrough << 0.0 << -1;
    QTest::newRow("4K 139.2 dpi: 1.45 rounds") << uhd << "139.2" << 1.45 << kRound << 0.0 << -1;
    QTest::newRow("4K 124.8 dpi: 1.3 passes") << uhd << "124.8" << 1.3 << kPassThrough << 0.0 << -1;
    // Matched as X clients match resources; Qt itself reads only a literal "Xft.dpi".
    QTest::newRow("4K *dpi 144") << uhd << "Xft.antialias:\t1\n*dpi:\t144\n" << 1.5 << kRound << 0.0 << -1;
    QTest::newRow("1440p 144 dpi: only 4K rounds") << QSize(2560, 1440) << "144" << 1.5 << kPassThrough << 1.5 << 2;
    QTest::newRow("4K portrait 144 dpi") << QSize(2160, 3840) << "144" << 1.5 << kPassThrough << 1.5 << 2;
}

void TestHighDpi::startUp()
{
    QFETCH(QSize, screen);
    QFETCH(QString, dpi);
    QFETCH(double, systemRatio);
    QFETCH(int, policy);
    QFETCH(double, appRatio);
    QFETCH(int, ratioType);
    if (!RZXvfb::available())
        QSKIP("Xvfb and xrdb are not installed (scripts/setup installs them)");
    RZXvfb server;
    const bool lines = dpi.contains(QLatin1Char(':'));
    QVERIFY2(server.start(screen, lines ? QString() : dpi), qPrintable(server.error()));
    if (lines)
        QVERIFY2(server.mergeResources(dpi), qPrintable(server.error()));

    const HelperRun run = runHelper(server.environment(), 1);
    QVERIFY2(!run.values.isEmpty(), qPrintable(run.output));
    // Asked before any application object existed.
    QCOMPARE(run.values.value("application before"), QStringLiteral("0"));
    QCOMPARE(run.values.value("system ratio").toDouble(), systemRatio);
    QCOMPARE(run.values.value("system size"), QStringLiteral("%1x%2").arg(screen.width()).arg(screen.height()));
    QCOMPARE(run.values.value("policy decided").toInt(), policy);
    QCOMPARE(run.values.value("QT_ENABLE_HIGHDPI_SCALING"), QStringLiteral("1"));
    // The application built afterwards works with what was decided.
    QCOMPARE(run.values.value("policy reported").toInt(), policy);
    if (appRatio > 0) {
        QCOMPARE(run.values.value("app ratio").toDouble(), appRatio);
        QCOMPARE(run.values.value("pixel ratio type").toInt(), ratioType);
        QCOMPARE(run.values.value("ratio 25/75"), QString::number(ratioType == 1 || ratioType == 3));
        // logScreenInfo: the screen in device-independent pixels.
        QVERIFY2(run.output.contains(QStringLiteral("app devicePixelRatio: %1").arg(appRatio, 0, 'f', 6)),
                 qPrintable(run.output));
        const QString geometry = QStringLiteral("geometry: (0, 0), (%1 * %2)")
                                     .arg(qRound(screen.width() / appRatio))
                                     .arg(qRound(screen.height() / appRatio));
        QVERIFY2(run.output.contains(geometry), qPrintable(run.output));
    }
    QVERIFY2(run.output.contains(QLatin1String("Screen Info:")), qPrintable(run.output));
    QVERIFY2(run.output.contains(QLatin1String("screen name: ")), qPrintable(run.output));
    // Not Windows: the awareness calls return before resolving anything, and log nothing.
    QVERIFY2(!run.output.contains(QLatin1String("GetProcessDpiAwareness")), qPrintable(run.output));
    QVERIFY(!run.output.contains(QLatin1String("no display to ask")));
}

void TestHighDpi::withoutDisplay_data()
{
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("reason");
    QTest::newRow("DISPLAY unset") << QString() << "DISPLAY is not set";
    // Display 0x7fff of this machine: a name whose server does not answer.
    QTest::newRow("server gone") << ":32767" << "cannot open X display \":32767\"";
}

void TestHighDpi::withoutDisplay()
{
    QFETCH(QString, display);
    QFETCH(QString, reason);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    if (display.isEmpty())
        env.remove(QStringLiteral("DISPLAY"));
    else
        env.insert(QStringLiteral("DISPLAY"), display);
    const HelperRun run = runHelper(env, 7);
    QVERIFY2(!run.values.isEmpty(), qPrintable(run.output));
    QCOMPARE(run.values.value("system ratio").toDouble(), 1.0);
    QCOMPARE(run.values.value("system size"), QStringLiteral("none"));
    QCOMPARE(run.values.value("policy reported").toInt(), kPassThrough);
    QCOMPARE(run.values.value("QT_ENABLE_HIGHDPI_SCALING"), QStringLiteral("1"));
    // Asked four times before the application existed, told once.
    QCOMPARE(run.output.count(QLatin1String("no display to ask")), 1);
    QVERIFY2(run.output.contains(QStringLiteral("no display to ask (%1)").arg(reason)), qPrintable(run.output));
}

QTEST_GUILESS_MAIN(TestHighDpi)
#include "tst_highdpi.moc"
