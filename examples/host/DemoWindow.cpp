// The demo window (rzcore-demo --gui, or --window for the window alone): what the library knows
// about the display, a language chooser over the whole language table, the freeze monitors' live
// counters with a button that really freezes the main thread, and a tail of the log. On Unix it also
// takes commands on standard input, one a line: "language <simple name>" (ARG, ENG, ...), "freeze"
// and "quit".
#include "DemoHost.h"

#include <RZCore/events/RZCustomEvent.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/app/RZAppInfo.h>
#include <RZCore/locale/RZLocale.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogSinks.h>
#include <RZCore/monitor/RZAppStuckMonitoring.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <QApplication>
#include <QComboBox>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSocketNotifier>
#include <QStyleFactory>
#include <QTimer>
#include <QVBoxLayout>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <thread>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

// The badge's colour, exact, so that a screenshot finds the badge by it (tests/locale/tst_demowindow).
const QColor kBadgeColour(0x12, 0x7a, 0xd6);

// Carries log lines from any thread to the window's thread.
class LogBridge : public QObject
{
    Q_OBJECT

signals:
    void line(const QString& text);
};

class LogTailSink : public RZBaseLog::RZSink
{
public:
    explicit LogTailSink(LogBridge* bridge) : m_pBridge(bridge) {}
    // A short form for a narrow pane: time of day, level, message.
    void log(const RZBaseLog::log_data& data) override
    {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(data.time / 10000);
        emit m_pBridge->line(QStringLiteral("%1 %2 %3")
                                 .arg(time.toString(QStringLiteral("hh:mm:ss")),
                                      QLatin1String(RZBaseLog::levelName(data.level)),
                                      QString::fromUtf8(data.message.data(), int(data.message.size()))));
    }
    void flush() override {}

private:
    LogBridge* m_pBridge;
};

} // namespace

class DemoWindow : public QWidget
{
    Q_OBJECT

public:
    DemoWindow();
    void command(const QString& text);
    LogBridge* logBridge() { return &m_oBridge; }

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* addRow(QFormLayout* form, QLabel** name);
    void retranslate();
    void showLanguage();
    void showFreeze(bool frozen, const QString& name);
    void showMonitorCounters();
    void freezeMainThread();

    QLabel* m_pTitle;
    QGroupBox* m_pDisplayBox;
    QGroupBox* m_pLanguageBox;
    QGroupBox* m_pMonitorBox;
    QGroupBox* m_pLogBox;
    QLabel* m_aDisplayNames[6] = {};
    QLabel* m_aDisplayValues[6] = {};
    QLabel* m_pChooserName = nullptr;
    QComboBox* m_pChooser;
    QLabel* m_aLanguageNames[4] = {};
    QLabel* m_aLanguageValues[4] = {};
    QLabel* m_pFreezeName = nullptr;
    QLabel* m_pFreezeState;
    QLabel* m_pReportName = nullptr;
    QLabel* m_pReport;
    QPushButton* m_pFreezeButton;
    QFormLayout* m_pMonitorForm;
    QLabel* m_aCounterNames[5] = {};
    QLabel* m_aCounterValues[5] = {};
    QPlainTextEdit* m_pLog;
    LogBridge m_oBridge;
    bool m_bFrozen = false;
    QString m_strFrozenName;
    QString m_strLastReport;
    bool m_bShown = false;
};

DemoWindow::DemoWindow()
{
    setObjectName(QStringLiteral("DemoWindow"));
    auto* badge = new QLabel(QStringLiteral("RZCore"));
    badge->setObjectName(QStringLiteral("badge"));
    badge->setAutoFillBackground(true);
    QPalette palette = badge->palette();
    palette.setColor(QPalette::Window, kBadgeColour);
    palette.setColor(QPalette::WindowText, Qt::white);
    badge->setPalette(palette);
    badge->setAlignment(Qt::AlignCenter);
    badge->setFixedSize(120, 40);
    QFont badgeFont = badge->font();
    badgeFont.setBold(true);
    badge->setFont(badgeFont);
    m_pTitle = new QLabel;
    QFont titleFont = m_pTitle->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    m_pTitle->setFont(titleFont);
    auto* header = new QHBoxLayout;
    header->addWidget(badge);
    header->addSpacing(12);
    header->addWidget(m_pTitle);
    header->addStretch(1);

    m_pDisplayBox = new QGroupBox;
    auto* displayForm = new QFormLayout(m_pDisplayBox);
    const QStringList facts = demoDisplayFacts();
    for (int i = 0; i < 6; ++i) {
        m_aDisplayValues[i] = addRow(displayForm, &m_aDisplayNames[i]);
        m_aDisplayValues[i]->setText(facts.value(i).section(QStringLiteral(": "), 1));
    }

    m_pLanguageBox = new QGroupBox;
    auto* languageForm = new QFormLayout(m_pLanguageBox);
    m_pChooser = new QComboBox;
    RZLocale* locale = RZLocale::instance();
    for (const RZLocale::RZLanguageType type : RZLocale::languageTypes()) {
        const RZLocale::LanguageRecord record = RZLocale::languageRecord(type);
        const QLocale native(record.languageCode + QLatin1Char('_') + record.countryCode.toUpper());
        m_pChooser->addItem(QStringLiteral("%1  %2").arg(record.simpleName, native.nativeLanguageName()), int(type));
        // Each language's name in the font that suits it.
        m_pChooser->setItemData(m_pChooser->count() - 1, QFont(locale->languageFamilyName(type)), Qt::FontRole);
    }
    m_pChooserName = new QLabel;
    languageForm->addRow(m_pChooserName, m_pChooser);
    for (int i = 0; i < 4; ++i)
        m_aLanguageValues[i] = addRow(languageForm, &m_aLanguageNames[i]);
    connect(m_pChooser, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this](int index) {
        RZLocale::instance()->setLanguageType(RZLocale::RZLanguageType(m_pChooser->itemData(index).toInt()));
    });
    // Queued: the locale changes the layout direction after it has told of the new language.
    connect(locale, &RZLocale::sigLanguageTypeChanged, this, &DemoWindow::showLanguage, Qt::QueuedConnection);
    connect(locale, &RZLocale::sigFontFamilyChanged, this, &DemoWindow::showLanguage, Qt::QueuedConnection);

    m_pMonitorBox = new QGroupBox;
    m_pMonitorForm = new QFormLayout(m_pMonitorBox);
    m_pFreezeState = addRow(m_pMonitorForm, &m_pFreezeName);
    m_pReport = addRow(m_pMonitorForm, &m_pReportName);
    for (int i = 0; i < 5; ++i)
        m_aCounterValues[i] = addRow(m_pMonitorForm, &m_aCounterNames[i]);
    m_pFreezeButton = new QPushButton;
    m_pMonitorForm->addRow(m_pFreezeButton);
    connect(m_pFreezeButton, &QPushButton::clicked, this, &DemoWindow::freezeMainThread);
    // The counters are read where the monitors keep them; a timer refreshes the rows.
    auto* counterTimer = new QTimer(this);
    connect(counterTimer, &QTimer::timeout, this, &DemoWindow::showMonitorCounters);
    counterTimer->start(500);
    // The watchdog sends from its own thread: each report is handed to the window's thread.
    RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(this, [this](bool frozen, const QString& name) {
        QMetaObject::invokeMethod(this, [this, frozen, name] { showFreeze(frozen, name); }, Qt::QueuedConnection);
    });
    RZCustomEventDispatcher::listen<NotifySendPerformanceFreezeData>(this, [this](const QString& name, int seconds) {
        QMetaObject::invokeMethod(this, [this, name, seconds] {
            m_strLastReport = QStringLiteral("%1: %2 s").arg(name).arg(seconds);
            retranslate();
        }, Qt::QueuedConnection);
    });

    m_pLogBox = new QGroupBox;
    m_pLog = new QPlainTextEdit;
    m_pLog->setReadOnly(true);
    m_pLog->setMaximumBlockCount(200);
    m_pLog->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    auto* logLayout = new QVBoxLayout(m_pLogBox);
    logLayout->addWidget(m_pLog);
    connect(&m_oBridge, &LogBridge::line, m_pLog, &QPlainTextEdit::appendPlainText, Qt::QueuedConnection);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);

    auto* grid = new QGridLayout;
    grid->addWidget(m_pDisplayBox, 0, 0);
    grid->addWidget(m_pLanguageBox, 0, 1);
    grid->addWidget(m_pMonitorBox, 1, 0);
    grid->addWidget(m_pLogBox, 1, 1);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addLayout(grid, 1);
    layout->addWidget(buttons);
    resize(980, 600);

    m_pChooser->setCurrentIndex(m_pChooser->findData(int(locale->languageType())));
    retranslate();
    showLanguage();
}

QLabel* DemoWindow::addRow(QFormLayout* form, QLabel** name)
{
    *name = new QLabel;
    auto* value = new QLabel;
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(*name, value);
    return value;
}

void DemoWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QWidget::changeEvent(event);
}

void DemoWindow::paintEvent(QPaintEvent* event)
{
    QWidget::paintEvent(event);
    if (!m_bShown) {
        m_bShown = true;
        QTimer::singleShot(0, this, [] {
            std::printf("window shown\n");
            std::fflush(stdout);
        });
    }
}

void DemoWindow::retranslate()
{
    setWindowTitle(QStringLiteral("rzcore-demo"));
    m_pTitle->setText(tr("What the library knows"));
    m_pDisplayBox->setTitle(tr("Display"));
    m_pLanguageBox->setTitle(tr("Language"));
    m_pMonitorBox->setTitle(tr("Event monitor"));
    m_pLogBox->setTitle(tr("Log"));
    const QString displayNames[6] = {tr("System screen"), tr("System pixel ratio"), tr("Rounding policy"),
                                     tr("Qt screen"),     tr("Qt pixel ratio"),     tr("Screen class")};
    for (int i = 0; i < 6; ++i)
        m_aDisplayNames[i]->setText(displayNames[i]);
    m_pChooserName->setText(tr("Choose"));
    const QString languageNames[4] = {tr("Language code"), tr("Web code"), tr("Font family"), tr("Layout")};
    for (int i = 0; i < 4; ++i)
        m_aLanguageNames[i]->setText(languageNames[i]);
    m_pFreezeName->setText(tr("Freeze state"));
    m_pReportName->setText(tr("Last report"));
    m_pFreezeButton->setText(tr("Freeze the main thread for 6 s"));
    const QString counterNames[5] = {tr("Watching"), tr("Stuck deliveries"), tr("Frozen now"), tr("Freezes"),
                                     tr("Suspends")};
    for (int i = 0; i < 5; ++i)
        m_aCounterNames[i]->setText(counterNames[i]);
    showMonitorCounters();
    showFreeze(m_bFrozen, m_strFrozenName);
    m_pReport->setText(m_strLastReport.isEmpty() ? tr("none") : m_strLastReport);
}

void DemoWindow::showLanguage()
{
    RZLocale* locale = RZLocale::instance();
    m_aLanguageValues[0]->setText(locale->clientLanguageCode2(false));
    m_aLanguageValues[1]->setText(locale->languageH5code());
    m_aLanguageValues[2]->setText(locale->fontFamily() + QStringLiteral(" (") + QApplication::font().family() + QLatin1Char(')'));
    m_aLanguageValues[3]->setText(layoutDirection() == Qt::RightToLeft ? tr("right to left") : tr("left to right"));
    const int index = m_pChooser->findData(int(locale->languageType()));
    if (index >= 0 && index != m_pChooser->currentIndex())
        m_pChooser->setCurrentIndex(index);
}

void DemoWindow::showFreeze(bool frozen, const QString& name)
{
    m_bFrozen = frozen;
    m_strFrozenName = name;
    m_pFreezeState->setText(frozen ? tr("frozen: %1").arg(name) : tr("running"));
    m_pFreezeState->setStyleSheet(frozen ? QStringLiteral("color: #b00020; font-weight: bold")
                                         : QStringLiteral("color: #1b7f3b; font-weight: bold"));
}

void DemoWindow::showMonitorCounters()
{
    RZAppStuckMonitoring* monitor = RZAppStuckMonitoring::instance();
    const RZAppStuckMonitoringManager* manager = RZAppStuckMonitoringManager::instance();
    const double perHour = monitor->getPerHourStuckCount(); // not finite before any monitored time
    m_aCounterValues[0]->setText(monitor->isMonitoring() ? tr("yes, stuck from %1 ms").arg(monitor->stuckThreshold())
                                                         : tr("no"));
    m_aCounterValues[1]->setText(tr("%1 (%2 ms), %3 per hour")
                                     .arg(monitor->getTotalStuckCount())
                                     .arg(monitor->getTotalStuckDuration())
                                     .arg(std::isfinite(perHour) ? QString::number(perHour, 'f', 1) : QStringLiteral("-")));
    if (!manager) {
        for (int i = 2; i < 5; ++i)
            m_aCounterValues[i]->setText(tr("no watchdog"));
        return;
    }
    m_aCounterValues[2]->setText(tr("%1 s").arg(manager->freezeSeconds()));
    const QStringList names = manager->freezeNames();
    m_aCounterValues[3]->setText(names.isEmpty() ? tr("none") : QStringLiteral("%1: %2").arg(names.size()).arg(names.join(QStringLiteral(", "))));
    m_aCounterValues[4]->setText(tr("%1 (%2 ms)").arg(manager->suspendCount()).arg(manager->suspendDuration()));
}

// A real freeze: the handler of the button blocks the main thread. The watchdog counts its seconds,
// announces it at the fifth and writes dumps; the window shows the reports once it is back.
Q_NEVER_INLINE void DemoWindow::freezeMainThread()
{
    RZLOG_WARN("the main thread freezes for 6 s");
    std::this_thread::sleep_for(std::chrono::milliseconds(6300));
}

void DemoWindow::command(const QString& text)
{
    const QString verb = text.section(QLatin1Char(' '), 0, 0);
    const QString argument = text.section(QLatin1Char(' '), 1).trimmed();
    if (verb == QLatin1String("language")) {
        for (const RZLocale::RZLanguageType type : RZLocale::languageTypes()) {
            if (RZLocale::languageRecord(type).simpleName == argument)
                m_pChooser->setCurrentIndex(m_pChooser->findData(int(type)));
        }
    } else if (verb == QLatin1String("freeze")) {
        freezeMainThread();
    } else if (verb == QLatin1String("quit")) {
        close();
    }
    RZLOG_INFO("window command \"%s\"", qUtf8Printable(text));
}

int demoWindow(DemoContext& context)
{
    demoSection("window");
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    demoPrepareLocale(context);
    RZLocale::instance()->setLanguageType(); // the remembered language

    // The freeze monitors watch the window's main thread: dumps go to the run's folder.
    if (IRZAppInfo::getInstance()->value(13).isEmpty())
        IRZAppInfo::getInstance()->setValue(13, context.runDir.path() + QStringLiteral("/monitor"));
    if (!RZAppStuckMonitoring::instance()->isMonitoring())
        RZAppStuckMonitoring::instance()->openMonitoring(1000);
    RZCustomEventDispatcher::send<NotifyLaunchFinished>(); // starts the watchdog once

    DemoWindow window;
    // Lines go to standard output as before, and to the window's tail.
    auto tailLogger = std::make_shared<RZBaseLog::RZBaseLogger>(
        "rzcore-demo-window", std::initializer_list<std::shared_ptr<RZBaseLog::RZSink>>{
                                  std::make_shared<RZBaseLog::OstreamSink>(std::cout, true),
                                  std::make_shared<LogTailSink>(window.logBridge())});
    std::shared_ptr<RZBaseLog::RZBaseLogger> previous;
    if (RZBaseLog::RZBaseLogger* current = RZBaseLog::defaultLogger())
        previous = RZBaseLog::get(current->name());
    RZBaseLog::registerLogger(tailLogger, true);

#ifdef Q_OS_UNIX
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray pending;
    QObject::connect(&input, &QSocketNotifier::activated, &window, [&input, &pending, &window] {
        char buffer[256];
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            input.setEnabled(false); // end of input: the window stays until closed
            return;
        }
        pending.append(buffer, int(n));
        int end;
        while ((end = pending.indexOf('\n')) >= 0) {
            window.command(QString::fromUtf8(pending.left(end)).trimmed());
            pending.remove(0, end + 1);
        }
    });
#endif

    window.show();
    RZLOG_INFO("demo window shown; choose a language, or close it to end the demo");
    context.app->logScreenInfo();
    const int rc = QApplication::exec();
    RZBaseLog::registerLogger(previous, true);
    return rc;
}

#include "DemoWindow.moc"
