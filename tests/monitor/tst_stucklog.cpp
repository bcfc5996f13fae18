// The stuck statistics file and its worker thread, and RZLogRunTime.

#include "MonitorTestSupport.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/monitor/RZStuckLog.h>

#include <RZTestLogSink.h>

#include <QDate>
#include <QTemporaryDir>

namespace {

const char kHeader[] = "recordTime, eventType, nonexclusive, exclusive, subNonexclusive, suspendTime, parentClassNames \n";

RZStuckInfo info(const QString& time, const QString& parents = QStringLiteral("MainWindow<"))
{
    RZStuckInfo record;
    record.recordTime = time;
    record.eventType = QStringLiteral("MouseButtonPress");
    record.nonexclusive = 1500;
    record.exclusive = 1200;
    record.subNonexclusive = 300;
    record.suspendTime = 0;
    record.parentClassNames = parents;
    return record;
}

QString row(const QString& time, const QString& parents = QStringLiteral("MainWindow<"))
{
    return time + QStringLiteral(",MouseButtonPress,1500,1200,300,0,") + parents + QLatin1Char('\n');
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
    void headerOnceAcrossTwoRuns();
    void dropped_data();
    void dropped();
    void logRunTime_data();
    void logRunTime();

private:
    QString todaysFile() const;
    QString contents() const;

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

QString tst_StuckLog::contents() const
{
    QFile file(todaysFile());
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
}

void tst_StuckLog::headerOnceAcrossTwoRuns()
{
    {
        RZStuckLog log;
        log.setFileType(RZStuckFileExcel);
        QCOMPARE(log.worker()->filePath(), todaysFile());
        log.record(info(QStringLiteral("10:00:01")));
        // A comma in a field is not quoted: it shifts the columns.
        log.record(info(QStringLiteral("10:00:02"), QStringLiteral("Panel<Main,Window<")));
        settle(log);
    }
    RZStuckLog again; // the same day, a new run
    again.setFileType(RZStuckFileExcel);
    again.record(info(QStringLiteral("11:00:00")));
    settle(again);
    QCOMPARE(contents(), QString::fromLatin1(kHeader) + row(QStringLiteral("10:00:01"))
                             + row(QStringLiteral("10:00:02"), QStringLiteral("Panel<Main,Window<"))
                             + row(QStringLiteral("11:00:00")));
}

void tst_StuckLog::dropped_data()
{
    QTest::addColumn<QString>("situation");
    QTest::addColumn<QString>("expected");
    QTest::newRow("before setFileType") << "early" << QString::fromLatin1(kHeader) + row(QStringLiteral("kept"));
    QTest::newRow("while disabled, never written later") << "disabled" << QString::fromLatin1(kHeader) + row(QStringLiteral("kept"));
    QTest::newRow("kind 0: no file") << "kind 0" << QString();
}

void tst_StuckLog::dropped()
{
    QFETCH(QString, situation);
    QFETCH(QString, expected);

    RZStuckLog log;
    if (situation == QLatin1String("early")) {
        log.record(info(QStringLiteral("dropped")));
        settle(log);
        log.setFileType(RZStuckFileExcel);
    } else if (situation == QLatin1String("disabled")) {
        log.setFileType(RZStuckFileExcel);
        log.setEnabled(false);
        log.record(info(QStringLiteral("dropped")));
        settle(log);
        log.setEnabled(true);
    } else {
        log.setFileType(0);
        QVERIFY(log.worker()->filePath().isEmpty());
    }
    log.record(info(QStringLiteral("kept")));
    settle(log);
    QCOMPARE(contents(), expected);
    QCOMPARE(QFile::exists(todaysFile()), !expected.isEmpty());
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
