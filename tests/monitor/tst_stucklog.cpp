// The stuck statistics file and its worker thread, and RZLogRunTime.

#include "MonitorTestSupport.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/monitor/RZStuckLog.h>

#include <RZTestLogSink.h>

#include <QDate>
#include <QTemporaryDir>

#include <memory>

namespace {

const QString kHeader = QStringLiteral(
    "recordTime, eventType, nonexclusive, exclusive, subNonexclusive, suspendTime, parentClassNames \n");

RZStuckInfo info(const QString& time)
{
    RZStuckInfo record;
    record.recordTime = time;
    record.eventType = QStringLiteral("MouseButtonPress");
    record.nonexclusive = 1500;
    record.exclusive = 1200;
    record.subNonexclusive = 300;
    record.parentClassNames = QStringLiteral("MainWindow<");
    return record;
}

QString row(const QString& time)
{
    return time + QStringLiteral(",MouseButtonPress,1500,1200,300,0,MainWindow<\n");
}

// Returns once the worker has handled everything posted before.
void settle(RZStuckLog& log)
{
    QMetaObject::invokeMethod(log.worker(), [] {}, Qt::BlockingQueuedConnection);
}

} // namespace

class tst_StuckLog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void records_data();
    void records();
    void logRunTime_data();
    void logRunTime();

private:
    QString todaysFile() const;

    QTemporaryDir m_oDir;
};

void tst_StuckLog::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
    IRZAppInfo::getInstance()->setValue(13, m_oDir.path() + QStringLiteral("/stuck"));
}

void tst_StuckLog::init()
{
    QFile::remove(todaysFile());
}

QString tst_StuckLog::todaysFile() const
{
    return m_oDir.path() + QStringLiteral("/stuck/eventStuckLog_")
           + QDate::currentDate().toString(QStringLiteral("yyyy_MM_dd")) + QStringLiteral(".csv");
}

void tst_StuckLog::records_data()
{
    // Steps: fN setFileType(N), wX record X, off / on setEnabled, next a new run of the process.
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("expected"); // the file, or no file for an empty text
    QTest::newRow("header once across two runs of a day, a comma is not quoted")
        << "f1 w10:00 w10:01,5 next f1 w11:00" << QString(kHeader + row("10:00") + row("10:01,5") + row("11:00"));
    QTest::newRow("dropped before setFileType") << "wdropped f1 wkept" << QString(kHeader + row("kept"));
    QTest::newRow("dropped while disabled, never written later") << "f1 off wdropped on wkept" << QString(kHeader + row("kept"));
    QTest::newRow("kind 0: no file") << "f0 wkept" << QString();
}

void tst_StuckLog::records()
{
    QFETCH(QString, steps);
    QFETCH(QString, expected);

    auto log = std::make_unique<RZStuckLog>();
    for (const QString& step : steps.split(QLatin1Char(' '))) {
        if (step == QLatin1String("next"))
            log = std::make_unique<RZStuckLog>();
        else if (step == QLatin1String("off") || step == QLatin1String("on"))
            log->setEnabled(step == QLatin1String("on"));
        else if (step.startsWith(QLatin1Char('f')))
            log->setFileType(step.mid(1).toInt());
        else
            log->record(info(step.mid(1)));
        // Each step is handled before the next: "while disabled" means what the worker saw.
        settle(*log);
    }
    QCOMPARE(log->worker()->filePath(), expected.isEmpty() ? QString() : todaysFile());
    QFile file(todaysFile());
    QCOMPARE(file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString(), expected);
#ifdef Q_OS_UNIX
    // Statistics name the user's objects and folders: the file is the user's alone.
    if (file.exists())
        QCOMPARE(int(file.permissions() & 0x0077), 0);
#endif
}

void tst_StuckLog::logRunTime_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("shown");
    QTest::newRow("Windows path: its last part") << "D:\\build\\src\\Importer.cpp" << "Importer.cpp";
    QTest::newRow("no backslash: whole") << "src/Importer.cpp" << "src/Importer.cpp";
}

void tst_StuckLog::logRunTime()
{
    QFETCH(QString, source);
    QFETCH(QString, shown);

    DrivenClock clock;
    RZScopedTestLogger capture;
    {
        RZLogRunTime scope(source, QStringLiteral("Importer::run"));
        DrivenClock::advanceMs(250);
    }
    QCOMPARE(capture.sink->messages(),
             (std::vector<std::string>{QStringLiteral("start run %1 Importer::run").arg(shown).toStdString(),
                                       QStringLiteral("end run %1 Importer::run, time = 250").arg(shown).toStdString()}));
    QCOMPARE(capture.sink->records().front().level, RZBaseLog::LogLevel::info);
}

QTEST_GUILESS_MAIN(tst_StuckLog)

#include "tst_stucklog.moc"
