// Single instance: objects in this process, and real processes (rz_single_helper) that hold a name,
// are killed with SIGKILL and are followed by the next start. Every key carries a per-run prefix, and
// the lock folder is the test's own, so parallel runs never meet.
#include "RZTestLogSink.h"

#include <RZCore/app/RZSingleApplication.h>
#include <RZCore/platform/RZPlatform.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QUuid>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

class TestSingleApplication : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void inOneProcess();
    void copiesHoldTheName();
    void printErrorCode();
    void lockFolder_data();
    void lockFolder();
    void processes_data();
    void processes();

private:
    QString key(const QString& name) const { return m_strPrefix + name; }
    QProcessEnvironment childEnvironment() const;

    QTemporaryDir m_oDir;
    QString m_strRuntime;
    QString m_strPrefix;
};

void TestSingleApplication::initTestCase()
{
    QVERIFY(m_oDir.isValid());
    m_strPrefix = QStringLiteral("tst-") + QUuid::createUuid().toString(QUuid::Id128).left(12) + QLatin1Char('-');
}

void TestSingleApplication::init()
{
    m_strRuntime = m_oDir.path() + QStringLiteral("/runtime-") + QString::fromLatin1(QTest::currentTestFunction());
    QVERIFY(QDir().mkpath(m_strRuntime));
    QFile::setPermissions(m_strRuntime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_strRuntime));
}

QProcessEnvironment TestSingleApplication::childEnvironment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_strRuntime);
    return env;
}

void TestSingleApplication::inOneProcess()
{
    {
        RZSingleApplication empty{QString()};
        QVERIFY(!empty.isRunning());
        QVERIFY(!empty.handle());
        QVERIFY2(QDir(m_strRuntime).isEmpty(), "an empty key touches no file");
    }
    auto first = std::make_unique<RZSingleApplication>(key("one"));
    QVERIFY(!first->isRunning());
    QVERIFY(first->handle());
    {
        // A second object of this very process meets the held name as any other process would.
        RZSingleApplication second(key("one"));
        QVERIFY(second.isRunning());
        QVERIFY(!second.handle());
        QCOMPARE(second.createCode(), qint64(EWOULDBLOCK));
        RZSingleApplication other(key("two"));
        QVERIFY(!other.isRunning());
    }
    first.reset();
    RZSingleApplication after(key("one"));
    QVERIFY(!after.isRunning());
    QVERIFY(after.handle());
}

void TestSingleApplication::copiesHoldTheName()
{
    auto original = std::make_unique<RZSingleApplication>(key("copied"));
    QVERIFY(original->handle());
    RZSingleApplication copy(*original);
    QVERIFY(copy.handle());
    QVERIFY(copy.handle() != original->handle());
    RZSingleApplication assigned(key("other"));
    assigned = copy;
    QCOMPARE(assigned.key(), key("copied"));
    QVERIFY(!RZSingleApplication(key("other")).isRunning()); // assignment gave the old name up

    original.reset();
    QVERIFY2(RZSingleApplication(key("copied")).isRunning(), "the copies still hold the name");
    copy = RZSingleApplication(QString());
    assigned = RZSingleApplication(QString());
    QVERIFY(!RZSingleApplication(key("copied")).isRunning());
}

void TestSingleApplication::printErrorCode()
{
    RZScopedTestLogger log;
    RZSingleApplication first(key("codes"));
    RZSingleApplication second(key("codes"));
    second.printErrorCode();
    const auto records = log.sink->records();
    QCOMPARE(records.size(), size_t(1));
    QCOMPARE(records[0].level, RZBaseLog::LogLevel::warn);
    QCOMPARE(records[0].function, std::string("RZSingleApplication::printErrorCode"));
    QCOMPARE(QString::fromStdString(records[0].message), QStringLiteral("openCode:0, createCode:%1").arg(EWOULDBLOCK, 0, 16));
}

// Where the lock file lives, and what happens when that place cannot be trusted.
void TestSingleApplication::lockFolder_data()
{
    QTest::addColumn<bool>("runtimeDir");
    QTest::addColumn<int>("plantedMode"); // the temp folder's "rzcore-<uid>", made beforehand; 0: none
    QTest::addColumn<int>("error");       // 0: the name is taken
    QTest::newRow("XDG_RUNTIME_DIR") << true << 0 << 0;
    QTest::newRow("temp folder made") << false << 0 << 0;
    QTest::newRow("temp folder of ours") << false << 0700 << 0;
    QTest::newRow("temp folder others may write") << false << 0777 << EACCES;
}

void TestSingleApplication::lockFolder()
{
    QFETCH(bool, runtimeDir);
    QFETCH(int, plantedMode);
    QFETCH(int, error);
    const QString temp = m_oDir.path() + QStringLiteral("/tmp-") + QString::fromLatin1(QTest::currentDataTag());
    QVERIFY(QDir().mkpath(temp));
    const QString folder = temp + QStringLiteral("/rzcore-%1").arg(::geteuid());
    if (plantedMode) {
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), mode_t(plantedMode)) == 0);
    }
    const QByteArray oldTemp = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(temp));
    if (!runtimeDir)
        qunsetenv("XDG_RUNTIME_DIR");

    const QString name = key("a/b c");
    const QString location = QString::fromStdString(RZPlatform::instanceLockLocation(name.toStdString()));
    RZSingleApplication single(name);
    qputenv("TMPDIR", oldTemp);

    QCOMPARE(single.isRunning(), error != 0);
    QCOMPARE(single.createCode(), qint64(error));
    if (error)
        return;
    QCOMPARE(QFileInfo(location).absolutePath(), runtimeDir ? m_strRuntime : folder);
    QVERIFY2(QFileInfo(location).fileName().startsWith(QStringLiteral("rzsingle-") + m_strPrefix + QStringLiteral("a_b_c-")),
             qPrintable(location));
    QVERIFY(QFileInfo::exists(location));
    QCOMPARE(QFileInfo(location).permissions() & (QFile::ReadOther | QFile::WriteOther | QFile::ReadGroup | QFile::WriteGroup),
             QFile::Permissions());
    if (!runtimeDir)
        QCOMPARE(QFileInfo(folder).permissions() & (QFile::WriteOther | QFile::WriteGroup), QFile::Permissions());
}

void TestSingleApplication::processes_data()
{
    QTest::addColumn<QString>("held");
    QTest::addColumn<QString>("probe");
    QTest::addColumn<bool>("probeRunning");
    QTest::newRow("second instance") << "app" << "app" << true;
    QTest::newRow("two keys apart") << "app" << "tool" << false;
    QTest::newRow("slash and odd characters") << "Global\\a/b:c*?\"<>|" << "Global\\a/b:c*?\"<>|" << true;
    QTest::newRow("made-safe twins stay apart") << "a/b" << "a_b" << false;
    QTest::newRow("non-Latin") << QString::fromUtf8("Ключ-键") << QString::fromUtf8("Ключ-键") << true;
    QTest::newRow("longer than a file name") << QString(300, QLatin1Char('k')) << QString(300, QLatin1Char('k')) << true;
    QTest::newRow("long twins differ at the end")
        << QString(300, QLatin1Char('k')) + QLatin1Char('1') << QString(300, QLatin1Char('k')) + QLatin1Char('2') << false;
}

void TestSingleApplication::processes()
{
    QFETCH(QString, held);
    QFETCH(QString, probe);
    QFETCH(bool, probeRunning);
    const auto runProbe = [this](const QString& name) {
        QProcess helper;
        helper.setProcessEnvironment(childEnvironment());
        helper.start(QStringLiteral(RZ_SINGLE_HELPER), {key(name)});
        if (!helper.waitForFinished(30000) || helper.exitCode() != 0)
            return QByteArray("helper failed");
        return helper.readAllStandardOutput().trimmed();
    };

    QProcess first;
    first.setProcessEnvironment(childEnvironment());
    first.start(QStringLiteral(RZ_SINGLE_HELPER), {key(held), QStringLiteral("hold")});
    QVERIFY(first.waitForStarted(30000));
    while (!first.canReadLine())
        QVERIFY2(first.waitForReadyRead(30000), "the first instance never answered");
    QVERIFY(first.readLine().startsWith("running=0 handle=1 open=0 create=0"));

    const QByteArray probed = runProbe(probe);
    QVERIFY2(probed.startsWith(probeRunning ? "running=1 handle=0" : "running=0 handle=1"), probed.constData());
    if (probeRunning)
        QVERIFY2(probed.endsWith(QByteArray("create=") + QByteArray::number(EWOULDBLOCK)), probed.constData());

    // A crashed first instance leaves nothing behind that blocks the next start.
    first.kill();
    QVERIFY(first.waitForFinished(30000));
    QCOMPARE(first.exitStatus(), QProcess::CrashExit);
    const QByteArray next = runProbe(held);
    QVERIFY2(next.startsWith("running=0 handle=1"), next.constData());
}

QTEST_GUILESS_MAIN(TestSingleApplication)
#include "tst_singleapplication.moc"
