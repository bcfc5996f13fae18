// The watchdog's main-thread half on a clock the test drives: the node stack and its limits per
// depth, time breaks inside a real modal dialog, the names, the exit summary, and the library's own
// start and quit actions.

#include "MonitorTestSupport.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/monitor/RZAppStuckMonitoring.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <RZTestLogSink.h>

#include <QCryptographicHash>
#include <QDialog>
#include <QPointer>
#include <QTemporaryDir>
#include <QTimer>

#include <memory>

namespace {

void begin(QObject* object, QEvent::Type type = QEvent::User)
{
    QEvent event(type);
    RZCustomEventDispatcher::send<NotifyBeginNotifyEvent>(object, &event);
}

void end(QObject* object)
{
    QEvent event(QEvent::User);
    RZCustomEventDispatcher::send<NotifyEndNotifyEvent>(object, &event);
}

class MainWindow : public QObject
{
    Q_OBJECT
};

class TimelineView : public QObject
{
    Q_OBJECT
};

class AVeryLongClassNameThatFillsTheLevelNameQuickly : public QObject
{
    Q_OBJECT
};

QString shortNameOf(const QString& levelName, const QString& objectName)
{
    return QString::fromLatin1(QCryptographicHash::hash((levelName + objectName).toLocal8Bit(), QCryptographicHash::Md5)
                                   .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace

class tst_StuckMonitoringManager : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void limitPerDepth_data();
    void limitPerDepth();
    void timeBreaksInModalDialog();
    void levelName_data();
    void levelName();
    void stackNameRequest();
    void exitSummary();
    void startAndQuitActions();

private:
    MonitoredApplication* app() { return static_cast<MonitoredApplication*>(qApp); }
    QStringList debugLines() const;

    QTemporaryDir m_oDir;
    std::unique_ptr<DrivenClock> m_pClock;
    std::unique_ptr<RZScopedTestLogger> m_pLog;
    std::unique_ptr<RZAppStuckMonitoringManager> m_pManager;
    EventLog m_oReports;
    EventLog m_oSummaries;
};

void tst_StuckMonitoringManager::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
    IRZAppInfo::getInstance()->setValue(13, m_oDir.path());
    IRZAppInfo::getInstance()->setValue(14, m_oDir.path());
    m_pClock = std::make_unique<DrivenClock>();
    m_pLog = std::make_unique<RZScopedTestLogger>();
    m_pLog->logger->set_level(0x3f);

    m_pManager = std::make_unique<RZAppStuckMonitoringManager>();
    QCOMPARE(RZAppStuckMonitoringManager::instance(), m_pManager.get());
    QCOMPARE(m_pManager->dumpDirectory(), m_oDir.path() + QStringLiteral("/FreezeDump"));
    m_oReports.record<NotifySendPerformanceMoreData>(
        [](int ms, const QString& level, const QString& name, int type, const QString& shortName, int) {
            return QStringLiteral("%1|%2|%3|%4|%5").arg(ms).arg(level, name).arg(type).arg(shortName);
        });
    m_oSummaries.record<NotifySendPerformanceMoreDataNew>([](const StuckMoreData& d) {
        return QStringLiteral("%1 %2 %3 %4").arg(d.stuckCount).arg(d.stuckDuration).arg(d.runDuration).arg(d.suspendCount);
    });

    // No time has run: a summary would claim more than one stall per two milliseconds.
    RZCustomEventDispatcher::send<NotifyApplicationBeforeExitEvent>();
    QVERIFY(m_oSummaries.lines.isEmpty());
    // Nothing is judged before the launch has finished.
    QObject early;
    begin(&early);
    DrivenClock::advanceMs(5000);
    end(&early);
    QVERIFY(m_oReports.lines.isEmpty());

    RZCustomEventDispatcher::send<NotifyLaunchFinished>();
    QTRY_VERIFY(m_pManager->isRunning());
}

void tst_StuckMonitoringManager::cleanupTestCase()
{
    m_pManager.reset();
    QVERIFY(!RZAppStuckMonitoringManager::instance());
    m_pLog.reset();
    m_pClock.reset();
}

void tst_StuckMonitoringManager::init()
{
    m_oReports.take();
    m_pLog->sink->clear();
}

QStringList tst_StuckMonitoringManager::debugLines() const
{
    QStringList lines;
    for (const RZTestLogSink::Record& record : m_pLog->sink->records())
        if (record.level == RZBaseLog::LogLevel::debug)
            lines << QString::fromStdString(record.message);
    return lines;
}

void tst_StuckMonitoringManager::limitPerDepth_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<qint64>("duration");
    QTest::addColumn<bool>("reported");
    // 0.6 to the power of the depth, times 1000 ms; at least 200 ms.
    QTest::newRow("depth 0, 999") << 0 << 999LL << false;
    QTest::newRow("depth 0, 1000") << 0 << 1000LL << true;
    QTest::newRow("depth 1, 599") << 1 << 599LL << false;
    QTest::newRow("depth 1, 600") << 1 << 600LL << true;
    QTest::newRow("depth 2, 359") << 2 << 359LL << false;
    QTest::newRow("depth 2, 360") << 2 << 360LL << true;
    QTest::newRow("depth 4, 199") << 4 << 199LL << false;
    QTest::newRow("depth 4, 200, not 129") << 4 << 200LL << true;
    QTest::newRow("depth 7, 200") << 7 << 200LL << true;
}

void tst_StuckMonitoringManager::limitPerDepth()
{
    QFETCH(int, depth);
    QFETCH(qint64, duration);
    QFETCH(bool, reported);

    std::vector<std::unique_ptr<QObject>> outer;
    for (int i = 0; i < depth; ++i) {
        outer.push_back(std::make_unique<QObject>());
        begin(outer.back().get());
    }
    QObject inner;
    inner.setObjectName(QStringLiteral("inner"));
    begin(&inner);
    QCOMPARE(m_pManager->openDeliveryCount(), depth + 1);
    DrivenClock::advanceMs(duration);
    end(&inner);

    const QString level = QStringLiteral("inner<QObject<");
    const QString shortName = shortNameOf(level, QStringLiteral("inner")) + QStringLiteral("1000_f");
    const QStringList stuck = debugLines().filter(QStringLiteral("STUCK--"));
    QCOMPARE(stuck, reported ? QStringList{QStringLiteral("STUCK--%1 TIME-- %2 ShortName--%3").arg(level).arg(duration).arg(shortName)}
                             : QStringList());
    // Only the outermost delivery is counted: an inner one has unbroken deliveries around it.
    QCOMPARE(m_oReports.take(), reported && depth == 0
                                    ? QStringList{QStringLiteral("%1|%2|inner|1000|%3").arg(duration).arg(level, shortName)}
                                    : QStringList());
    while (!outer.empty()) {
        end(outer.back().get());
        outer.pop_back();
    }
    QCOMPARE(m_pManager->openDeliveryCount(), 0);
}

void tst_StuckMonitoringManager::timeBreaksInModalDialog()
{
    // A handler opens a modal dialog. 150 ms (real) into it, 1500 ms pass on the driven clock inside a
    // delivery of the dialog's loop; at 450 ms the dialog closes; the handler then takes 1200 ms.
    const int before = m_pManager->stuckCount();
    QObject handler;
    handler.setObjectName(QStringLiteral("handler"));
    QTimer advancer;
    advancer.setObjectName(QStringLiteral("advancer"));
    advancer.setSingleShot(true);
    connect(&advancer, &QTimer::timeout, [] { DrivenClock::advanceMs(1500); });
    bool handled = false;
    QTimer::singleShot(0, &handler, [&] {
        QDialog dialog;
        advancer.start(150);
        QTimer::singleShot(450, &dialog, &QDialog::accept);
        dialog.exec();
        DrivenClock::advanceMs(1200);
        handled = true;
    });
    QTRY_VERIFY(handled);

    const QString handlerLevel = QStringLiteral("handler<QObject<");
    const QString handlerName = shortNameOf(handlerLevel, QStringLiteral("handler"));
    const QString advancerLevel = QStringLiteral("advancer<QTimer<");
    const QString advancerName = shortNameOf(advancerLevel, QStringLiteral("advancer"));
    // The timer's delivery inside the loop is unbroken, and the handler around it was cut by a tick:
    // counted. The next tick reports the handler, counted as the outermost node, and cuts it again.
    // At its end the handler is broken: reported, not counted.
    QCOMPARE(m_oReports.take(),
             (QStringList{QStringLiteral("1500|%1|advancer|1|%2").arg(advancerLevel, advancerName + "1_f"),
                          QStringLiteral("1500|%1|handler|43|%2").arg(handlerLevel, handlerName + "43_b")}));
    const QStringList stuck = debugLines().filter(QStringLiteral("STUCK--"));
    QCOMPARE(stuck.size(), 3);
    QCOMPARE(stuck.last(), QStringLiteral("STUCK--%1 TIME-- 1200 ShortName--%2").arg(handlerLevel, handlerName + "43_b"));
    QCOMPARE(m_pManager->stuckCount(), before + 2);
}

void tst_StuckMonitoringManager::levelName_data()
{
    QTest::addColumn<int>("chain");
    QTest::addColumn<QString>("expected");
    QTest::newRow("named object") << 0 << "leaf<QObject<";
    QTest::newRow("own classes always, Qt's only the first") << 1 << "unknown<QTimer<TimelineView<MainWindow<";
    QTest::newRow("stops before 254 bytes") << 2 << QString();
}

void tst_StuckMonitoringManager::levelName()
{
    QFETCH(int, chain);
    QFETCH(QString, expected);

    std::vector<std::unique_ptr<QObject>> objects;
    auto add = [&objects](QObject* object) {
        if (!objects.empty())
            object->setParent(objects.back().get());
        objects.emplace_back(object);
        return object;
    };
    QObject* leaf = nullptr;
    if (chain == 0) {
        leaf = add(new QObject);
        leaf->setObjectName(QStringLiteral("leaf"));
    } else if (chain == 1) {
        add(new MainWindow)->setObjectName(QStringLiteral("main"));
        add(new QObject);
        add(new TimelineView);
        leaf = add(new QTimer);
    } else {
        for (int i = 0; i < 10; ++i)
            leaf = add(new AVeryLongClassNameThatFillsTheLevelNameQuickly);
        const QString one = QStringLiteral("AVeryLongClassNameThatFillsTheLevelNameQuickly<");
        expected = QStringLiteral("unknown<") + one.repeated((254 - 8) / one.size());
    }
    begin(leaf);
    QCOMPARE(RZAppStuckMonitoringManager::lastStackName(), expected);
    end(leaf);
    // Children go before their parents.
    while (!objects.empty()) {
        objects.back().reset();
        objects.pop_back();
    }
}

void tst_StuckMonitoringManager::stackNameRequest()
{
    QString name;
    RZCustomEventDispatcher::send<RequstObjectStack>(name);
    QCOMPARE(name, QStringLiteral("NO STACK"));

    QObject target;
    target.setObjectName(QStringLiteral("target"));
    begin(&target);
    RZCustomEventDispatcher::send<RequstObjectStack>(name);
    end(&target);
    QCOMPARE(name, shortNameOf(QStringLiteral("target<QObject<"), QStringLiteral("target")));
    QCOMPARE(name.size(), 22);
}

void tst_StuckMonitoringManager::exitSummary()
{
    m_oSummaries.take();
    RZCustomEventDispatcher::send<NotifyApplicationBeforeExitEvent>();
    const QStringList summary = m_oSummaries.take();
    QCOMPARE(summary.size(), 1);
    QVERIFY(summary.first().startsWith(QStringLiteral("%1 %2 ").arg(m_pManager->stuckCount()).arg(m_pManager->stuckDuration())));
    QVERIFY(m_pManager->stuckCount() > 0);
}

void tst_StuckMonitoringManager::startAndQuitActions()
{
    auto managers = [this] { return app()->findChildren<RZAppStuckMonitoringManager*>(); };
    QVERIFY(managers().isEmpty());
    app()->init();
    app()->init(); // the process keeps one of each
    QCOMPARE(managers().size(), 1);
    QCOMPARE(app()->findChildren<RZUnmonitoredEventHelper*>().size(), 1);
    const QPointer<RZAppStuckMonitoringManager> made = managers().first();
    QVERIFY(made != m_pManager.get());
    app()->unInit();
    QVERIFY(made.isNull());
    app()->unInit(); // deletes nothing twice
    QVERIFY(managers().isEmpty());
}

RZ_MONITOR_TEST_MAIN(tst_StuckMonitoringManager)

#include "tst_stuckmonitoringmanager.moc"
