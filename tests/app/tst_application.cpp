#include <RZCore/app/RZAppInfo.h>
#include <RZCore/app/RZApplication.h>
#include <RZCore/util/RZDeploymentValues.h>

#include <QProcess>
#include <QWidget>
#include <QtTest>

#include <functional>

namespace {

class TestApplicationObject : public RZApplication
{
public:
    using RZApplication::RZApplication;
    using RZApplication::init;
    using RZApplication::unInit;
};

using ArgMap = QMap<QString, QString>;

} // namespace

class TestApplication : public QObject
{
    Q_OBJECT

public:
    explicit TestApplication(TestApplicationObject* app) : m_pApp(app) {}

private slots:
    void cleanup();
    void extractStartupArgs_data();
    void extractStartupArgs();
    void actionsRunInOrderEveryTime();
    void emptyActionStopsTheLoop();
    void topLevelWidgetGuard();
    void appInfoSeedsAndStores();

private:
    TestApplicationObject* m_pApp;
};

void TestApplication::cleanup()
{
    RZApplication::getAppStartActions().clear();
    RZApplication::getAppQuitActions().clear();
}

void TestApplication::extractStartupArgs_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<ArgMap>("expected");
    QTest::newRow("no arguments") << QStringList{} << ArgMap{};
    QTest::newRow("blank argument dropped") << QStringList{"   "} << ArgMap{};
    QTest::newRow("last bare path wins") << QStringList{"C:/a.mp4", "C:/b.mp4"} << ArgMap{{"-open:", "C:/b.mp4"}};
    QTest::newRow("launch url, no open")
        << QStringList{"cvapplaunch://x"} << ArgMap{{"cvapplaunch://", "cvapplaunch://x"}};
    QTest::newRow("case-sensitive key")
        << QStringList{"-OPEN:x"} << ArgMap{{"-open:", "-OPEN:x"}};
    QTest::newRow("prefix kept, trimmed")
        << QStringList{"  -open:D:/a.ncpxs  "} << ArgMap{{"-open:", "-open:D:/a.ncpxs"}};
    QTest::newRow("contained, not prefixed")
        << QStringList{"D:/dir-open:/x.mp4"} << ArgMap{{"-open:", "D:/dir-open:/x.mp4"}};
    QTest::newRow("one argument fills several keys")
        << QStringList{"-nccparam:-import:y"}
        << ArgMap{{"-nccparam:", "-nccparam:-import:y"}, {"-import:", "-nccparam:-import:y"}};
}

void TestApplication::extractStartupArgs()
{
    QFETCH(QStringList, arguments);
    QFETCH(ArgMap, expected);
    // A real child process, so that the arguments reach QCoreApplication::arguments() as a user's would.
    QProcess helper;
    helper.start(QStringLiteral(RZ_ARGS_HELPER), arguments);
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitCode(), 0);
    ArgMap found;
    const QStringList lines = QString::fromUtf8(helper.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const int tab = line.indexOf('\t');
        QVERIFY(tab > 0);
        found.insert(line.left(tab), line.mid(tab + 1));
    }
    QCOMPARE(found, expected);
}

void TestApplication::actionsRunInOrderEveryTime()
{
    QStringList trace;
    QApplication* seen = nullptr;
    RZApplication::getAppStartActions().append([&](QApplication* app) {
        seen = app;
        trace << "start1";
    });
    RZApplication::getAppStartActions().append([&](QApplication*) { trace << "start2"; });
    RZApplication::getAppQuitActions().append([&](QApplication*) { trace << "quit"; });
    m_pApp->init();
    m_pApp->unInit();
    m_pApp->init(); // the lists are kept: everything runs again
    QCOMPARE(trace, (QStringList{"start1", "start2", "quit", "start1", "start2"}));
    QCOMPARE(seen, static_cast<QApplication*>(m_pApp));
}

void TestApplication::emptyActionStopsTheLoop()
{
    QStringList trace;
    RZApplication::getAppStartActions().append([&](QApplication*) { trace << "before"; });
    RZApplication::getAppStartActions().append(RZApplication::Action());
    RZApplication::getAppStartActions().append([&](QApplication*) { trace << "after"; });
    QVERIFY_EXCEPTION_THROWN(m_pApp->init(), std::bad_function_call);
    QCOMPARE(trace, QStringList{"before"});
}

void TestApplication::topLevelWidgetGuard()
{
    QVERIFY(!RZApplication::topLevelWidget());
    auto* widget = new QWidget;
    RZApplication::setTopLevelWidget(widget);
    QCOMPARE(RZApplication::topLevelWidget(), widget);
    delete widget;
    QVERIFY(!RZApplication::topLevelWidget());
    RZApplication::setTopLevelWidget(nullptr);
    QVERIFY(!RZApplication::topLevelWidget());
}

void TestApplication::appInfoSeedsAndStores()
{
    IRZAppInfo* info = IRZAppInfo::getInstance();
    // One object for the library and its host.
    QCOMPARE(info, static_cast<IRZAppInfo*>(FAppInfo::instance()));
    QCOMPARE(info->value(67), QStringLiteral("UA-Cinvera-Win"));
    QCOMPARE(info->value(65), QStringLiteral("UA_Cinvera_Win"));
    const QString abTest = info->value(66);
    QVERIFY(abTest.startsWith(QLatin1String(RZDeployment::kABTestService)));
    QVERIFY(abTest.endsWith(QStringLiteral("/api/v2/abtest/online/results?project-key=")
                            + QLatin1String(RZDeployment::kABTestProjectKey)));
    QVERIFY(info->value(14).isNull());
    info->setValue(12, QStringLiteral("twelve"));
    info->setValue(0, QStringLiteral("zero"));
    info->setValue(12, QStringLiteral("twelve again"));
    QCOMPARE(info->valueOfKey12(), QStringLiteral("twelve again"));
    QCOMPARE(info->valueOfKey0(), QStringLiteral("zero"));
    QCoreApplication::setApplicationName(QStringLiteral("rz-test"));
    QCOMPARE(info->applicationName(), QStringLiteral("rz-test"));
}

int main(int argc, char** argv)
{
    TestApplicationObject app(argc, argv);
    TestApplication test(&app);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_application.moc"
