// Performance scopes on a counter the test drives (100 ns ticks).

#include "MonitorTestSupport.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/monitor/KPerformanceScoper.h>

#include <QTemporaryDir>

#include <memory>

class tst_PerformanceScoper : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void regionEvents_data();
    void regionEvents();
    void detailsFile();
    void globalRegion_data();
    void globalRegion();
    void endedTwice();

private:
    QString details() const;

    QTemporaryDir m_oDir;
    std::unique_ptr<DrivenClock> m_pClock;
    EventLog m_oLog;
};

void tst_PerformanceScoper::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
    IRZAppInfo::getInstance()->setValue(13, m_oDir.path());
    m_oLog.record<NotifyPerfomanceTrackEvent>([](const QString& region, const QString& name, int ticks, int count) {
        return QStringLiteral("%1 %2 %3 %4").arg(region, name).arg(ticks).arg(count);
    });
}

void tst_PerformanceScoper::init()
{
    m_pClock = std::make_unique<DrivenClock>();
    m_oLog.take();
    QFile::remove(KRegionPerformanceScoper::detailsFilePath());
}

void tst_PerformanceScoper::cleanup()
{
    m_pClock.reset();
    QCOMPARE(KPerformanceScoper::regionDepth(), 0);
    QVERIFY(KPerformanceScoper::records().empty());
}

QString tst_PerformanceScoper::details() const
{
    QFile file(KRegionPerformanceScoper::detailsFilePath());
#ifdef Q_OS_UNIX
    if (file.exists() && (file.permissions() & 0x0077) != 0)
        return QStringLiteral("readable by others");
#endif
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
}

void tst_PerformanceScoper::regionEvents_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QStringList>("events");
    QTest::newRow("below 2000 ticks: one event, details dropped")
        << "short" << QStringList{"Region-R Region-R 1999 1"};
    QTest::newRow("2000 ticks: every name in key order")
        << "long" << QStringList{"Region-R Decode 500 2", "Region-R Region-R 2000 1"};
    QTest::newRow("nested regions: out once, at the outermost end")
        << "nested" << QStringList{"Region-R Region-Inner 300 1", "Region-R Region-R 2000 1"};
    QTest::newRow("same name twice at once: the second measures nothing")
        << "same name" << QStringList{"Region-R Decode 1500 1", "Region-R Region-R 2000 1"};
    QTest::newRow("beginRecord ends the run in progress")
        << "switch" << QStringList{"Region-R Decode 700 1", "Region-R Paint 800 1", "Region-R Region-R 2000 1"};
    QTest::newRow("empty name, and a scoper from before the region: nothing")
        << "nothing" << QStringList{"Region-R Region-R 2000 1"};
}

void tst_PerformanceScoper::regionEvents()
{
    QFETCH(QString, scenario);
    QFETCH(QStringList, events);

    auto outside = std::make_unique<KPerformanceScoper>(QStringLiteral("Outside"));
    {
        KRegionPerformanceScoper region(QStringLiteral("R"), KRegionPerformanceScoper::SendEvents);
        if (scenario == QLatin1String("short")) {
            KPerformanceScoper decode(QStringLiteral("Decode"));
            DrivenClock::advanceTicks(1999);
        } else if (scenario == QLatin1String("long")) {
            for (int i = 0; i < 2; ++i) {
                KPerformanceScoper decode(QStringLiteral("Decode"));
                DrivenClock::advanceTicks(250);
            }
            DrivenClock::advanceTicks(1500);
        } else if (scenario == QLatin1String("nested")) {
            {
                KRegionPerformanceScoper inner(QStringLiteral("Inner"), KRegionPerformanceScoper::SendEvents);
                DrivenClock::advanceTicks(300);
            }
            QVERIFY(m_oLog.lines.isEmpty());
            QCOMPARE(KPerformanceScoper::records().size(), 2u);
            DrivenClock::advanceTicks(1700);
        } else if (scenario == QLatin1String("same name")) {
            KPerformanceScoper first(QStringLiteral("Decode"));
            {
                KPerformanceScoper recursive(QStringLiteral("Decode"));
                DrivenClock::advanceTicks(1000);
            }
            DrivenClock::advanceTicks(500);
            first.endRecord();
            DrivenClock::advanceTicks(500);
        } else if (scenario == QLatin1String("switch")) {
            KPerformanceScoper scope(QStringLiteral("Decode"));
            DrivenClock::advanceTicks(700);
            scope.beginRecord(QStringLiteral("Paint"));
            DrivenClock::advanceTicks(800);
            scope.endRecord();
            DrivenClock::advanceTicks(500);
        } else {
            KPerformanceScoper empty{QString()};
            outside.reset(); // made outside: ends without a record
            DrivenClock::advanceTicks(2000);
        }
    }
    QCOMPARE(m_oLog.take(), events);
}

void tst_PerformanceScoper::detailsFile()
{
    QCOMPARE(KRegionPerformanceScoper::detailsFilePath(), m_oDir.path() + QStringLiteral("/permormance_details.txt"));
    for (int run = 0; run < 2; ++run) {
        KRegionPerformanceScoper region(QStringLiteral("Export"), KRegionPerformanceScoper::WriteFile);
        for (int i = 0; i < 3; ++i) {
            KPerformanceScoper encode(QStringLiteral("Encode"));
            DrivenClock::advanceTicks(10 + i);
        }
        // Opened and forgotten: no run, its average is 0.
        KPerformanceScoper forgotten(QStringLiteral("Mux"));
        forgotten.forceEnd();
        DrivenClock::advanceTicks(67);
    }
    const QString block = QStringLiteral("---------------------------------------------------\n"
                                         "Encode:3-33-11\nMux:0-0-0\nRegion-Export:1-100-100\n");
    QCOMPARE(details(), block + block); // appended
    QVERIFY(m_oLog.lines.isEmpty());
}

void tst_PerformanceScoper::globalRegion_data()
{
    QTest::addColumn<QList<bool>>("opens");
    QTest::addColumn<QString>("written");
    // Closing by forceEnd adds no ticks: only a run ended by a second open reaches the file.
    QTest::newRow("open, close") << QList<bool>{true, false} << QString();
    QTest::newRow("open, open, close, close")
        << QList<bool>{true, true, false, false}
        << "---------------------------------------------------\nRegion-QSpy_Perfomance:1-50-50\n";
}

void tst_PerformanceScoper::globalRegion()
{
    QFETCH(QList<bool>, opens);
    QFETCH(QString, written);

    KPerformanceScoper::regionDepth(); // first use: the listener comes once the event loop has run
    QCoreApplication::processEvents();
    for (bool open : opens) {
        RZCustomEventDispatcher::send<NotifyOpenPerfomanceEvent>(open);
        DrivenClock::advanceTicks(50);
    }
    QCOMPARE(details(), written);
}

void tst_PerformanceScoper::endedTwice()
{
    {
        KRegionPerformanceScoper region(QStringLiteral("R"), KRegionPerformanceScoper::SendEvents);
        DrivenClock::advanceTicks(10);
        region.endRecord();
        QCOMPARE(m_oLog.take(), QStringList{"Region-R Region-R 10 1"});
    }
    // The destructor ended it again: the depth is below zero, and scopers measure.
    QCOMPARE(KPerformanceScoper::regionDepth(), -1);
    {
        KPerformanceScoper measured(QStringLiteral("Loose"));
        DrivenClock::advanceTicks(5);
    }
    QCOMPARE(KPerformanceScoper::records().at(QStringLiteral("Loose")).ticks, 5);
    // Two opens by one object and one end bring the depth back; the output goes with it.
    {
        KRegionPerformanceScoper repair(QStringLiteral("A"), KRegionPerformanceScoper::SendEvents);
        repair.beginRecord(QStringLiteral("B"));
    }
    QCOMPARE(KPerformanceScoper::regionDepth(), 0);
    QCOMPARE(m_oLog.take().size(), 1);
}

RZ_MONITOR_TEST_MAIN(tst_PerformanceScoper)

#include "tst_performancescoper.moc"
