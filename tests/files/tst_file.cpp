#include "RZFileTestUtils.h"

#include <RZCore/files/RZDir.h>
#include <RZCore/files/RZFile.h>
#include <RZCore/util/RZUtility.h>
#include <RZTestLogSink.h>

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

using namespace RZFileTest;

class TestFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void freeNames_data();
    void freeNames();
    void nameArithmetic();

    void lazyExistsIsLateAndOptimistic();
    void lazyExistsKeepsThousandRecentPaths();

    void networkPaths();

    void createCopyRemove();
    void md5();
    void textFiles();

    void removeStaleLocks();

private:
    QString path(const QString& name) const { return m_oDir.filePath(name); }
    QTemporaryDir m_oDir;
};

void TestFile::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
}

// ---- names ----------------------------------------------------------------------------------------

void TestFile::freeNames_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("newBase"); // empty: a duplicate's name
    QTest::addColumn<QString>("expected");

    QTest::newRow("copy: first") << QStringList{"clip.mp4"} << "clip.mp4" << "" << "clip - Copy.mp4";
    QTest::newRow("copy: taken") << QStringList{"clip.mp4", "clip - Copy.mp4"} << "clip.mp4" << ""
        << "clip - Copy (1).mp4";
    QTest::newRow("copy: numbers replace") << QStringList{"clip - Copy.mp4", "clip - Copy (1).mp4"} << "clip.mp4"
        << "" << "clip - Copy (2).mp4";
    QTest::newRow("copy: gap is reused") << QStringList{"clip - Copy.mp4", "clip - Copy (2).mp4"} << "clip.mp4"
        << "" << "clip - Copy (1).mp4";
    QTest::newRow("copy: own bracket kept") << QStringList{"take (4) - Copy.mp4", "take (4) - Copy (1).mp4"}
        << "take (4).mp4" << "" << "take (4) - Copy (2).mp4";
    QTest::newRow("copy: middle part dropped") << QStringList{} << "a.b.mp4" << "" << "a - Copy.mp4";
    QTest::newRow("rename: taken") << QStringList{"clip.mp4", "holiday.mp4"} << "clip.mp4" << "holiday"
        << "holiday (1).mp4";
    QTest::newRow("rename: own name") << QStringList{"clip.mp4"} << "clip.mp4" << "clip" << "clip.mp4";
    QTest::newRow("rename: own name by numbering") << QStringList{"x.mp4", "x (1).mp4"} << "x (1).mp4" << "x"
        << "x (1).mp4";
    // clang-format on
}

void TestFile::freeNames()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, source);
    QFETCH(QString, newBase);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    for (const QString& name : existing)
        QVERIFY(writeFile(dir.filePath(name)));
    const QString from = dir.filePath(source);
    const QString result = newBase.isEmpty() ? RZFile::makeValidDuplicationFilePath(from)
                                             : RZFile::makeValidRenameFilePath(from, newBase);
    QCOMPARE(result, dir.filePath(expected));
}

void TestFile::nameArithmetic()
{
    QCOMPARE(RZFile::extractFilePath("/a/b/clip.mp4"), QString("/a/b"));
    QCOMPARE(RZFile::extractFilePath("/clip.mp4"), QString());
    // The new suffix is taken as given, dot included; base and suffix are cut at the first dot.
    QCOMPARE(RZFile::replaceSuffix("/a/x.y.mp4", ".mov"), QString("/a/x.mov"));
    QCOMPARE(RZFile::replaceSuffix("/a/clip.mp4", "mov"), QString("/a/clipmov"));
    QCOMPARE(RZFile::replaceSuffix("clip.mp4", ".mov"), QString("clip.mov"));
    QCOMPARE(RZFile::appendFileNameSuffix("/a/x.y.mp4", "_1"), QString("/a/x_1.mp4"));
    QCOMPARE(RZFile::makeFileName("/a/clip.mp4", "_1"), QString("clip_1.mp4"));
    const QString unique = RZFile::generateUniqueFileName(path("render-XXXXXX.mp4"));
    QVERIFY(unique.startsWith(path("render-")));
    QVERIFY(unique.endsWith(".mp4"));
    QVERIFY(!QFile::exists(unique));
    QVERIFY(RZFile::generateUniqueFileName(path("missing/render-XXXXXX.mp4")).isEmpty());
}

// ---- lazyExists -----------------------------------------------------------------------------------

void TestFile::lazyExistsIsLateAndOptimistic()
{
    const QString file = path("comes-and-goes.mp4");
    // An unknown path answers true, and no call returns what its own check finds.
    QVERIFY(RZFile::lazyExists(file));
    QVERIFY(RZFile::lazyExists(file));
    QTRY_VERIFY_WITH_TIMEOUT(!RZFile::lazyExists(file), 10000);
    QVERIFY(writeFile(file, "x"));
    QVERIFY(!RZFile::lazyExists(file));
    QTRY_VERIFY_WITH_TIMEOUT(RZFile::lazyExists(file), 10000);
    QVERIFY(QFile::remove(file));
    QVERIFY(RZFile::lazyExists(file));
    QTRY_VERIFY_WITH_TIMEOUT(!RZFile::lazyExists(file), 10000);
}

void TestFile::lazyExistsKeepsThousandRecentPaths()
{
    const QString watched = path("watched-missing.mp4");
    int next = 0;
    const auto askOthers = [&next, this](int count) {
        for (int i = 0; i < count; ++i)
            RZFile::lazyExists(path(QStringLiteral("other-%1").arg(next++)));
    };
    RZFile::lazyExists(watched);
    QTRY_VERIFY_WITH_TIMEOUT(!RZFile::lazyExists(watched), 10000);
    askOthers(998);
    QVERIFY(!RZFile::lazyExists(watched)); // a hit moves it to the front...
    askOthers(999);
    QVERIFY(!RZFile::lazyExists(watched)); // ...so 1,000 entries fit after it
    askOthers(1000);
    QVERIFY(RZFile::lazyExists(watched)); // evicted: a fresh, optimistic entry
}

// ---- network paths --------------------------------------------------------------------------------

void TestFile::networkPaths()
{
    const QString local = path("local.mp4");
    QVERIFY(writeFile(local));
    for (const QString& other : {local, QString(), QString("C:/video/clip.mp4")})
        QVERIFY2(!RZFile::isNetWorkDrivePath(other), qPrintable(other));
    QVERIFY(RZFile::isNetWorkDrivePath("\\\\server\\share\\clip.mp4"));
    QVERIFY(RZFile::isNetWorkDrivePath("//server/share/clip.mp4"));
    QVERIFY(RZFile::canDropUrls({}));
    QVERIFY(RZFile::canDropUrls({QUrl::fromLocalFile(local), QUrl::fromLocalFile(local)}));
    QVERIFY(!RZFile::canDropUrls({QUrl::fromLocalFile(local), QUrl("file://server/share/clip.mp4")}));
}

// ---- creating, copying, hashing -------------------------------------------------------------------

void TestFile::createCopyRemove()
{
    QTemporaryDir dir;
    makeTree(dir.path(), {{"src/a", "new a"}, {"src/b", "new b"}, {"dst/a", "old a"}, {"dst/b", "old b"}});
    const QString a = dir.filePath("src/a");
    const QString b = dir.filePath("src/b");
    QVERIFY(FileOperation::CopyFiles({}, dir.filePath("dst")));
    // Stops at the first failure; what was copied before stays.
    QVERIFY(!FileOperation::CopyFiles({a, dir.filePath("src/missing"), b}, dir.filePath("dst")));
    QCOMPARE(snapshot(dir.filePath("dst")), (Tree{{"a", "new a"}, {"b", "old b"}}));
    QVERIFY(FileOperation::CopyFiles({a, b}, dir.filePath("dst")));
    QCOMPARE(snapshot(dir.filePath("dst")), (Tree{{"a", "new a"}, {"b", "new b"}}));
    // Replacing the target first must not delete a file copied onto itself.
    QVERIFY(FileOperation::CopyFileW(a, dir.filePath("src")));
    QCOMPARE(readFile(a), QByteArray("new a"));
    // Creating never empties a file; removing an absent one succeeds.
    FileOperation::CreateNewFile(a);
    QCOMPARE(readFile(a), QByteArray("new a"));
    FileOperation::CreateNewFile(dir.filePath("new"));
    QCOMPARE(readFile(dir.filePath("new")), QByteArray());
    QVERIFY(FileOperation::DeleteFileW(a));
    QVERIFY(!QFile::exists(a));
    QVERIFY(RZFile::removeFile(a));
}

void TestFile::md5()
{
    // Sizes around the 10,240-byte block of the reader.
    for (const int size : {0, 10239, 10240, 10241, 65537}) {
        QByteArray data(size, Qt::Uninitialized);
        for (int i = 0; i < size; ++i)
            data[i] = static_cast<char>((i * 7919) >> 3);
        const QString file = path(QStringLiteral("md5-%1").arg(size));
        QVERIFY(writeFile(file, data));
        const QString expected = QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
        QCOMPARE(FileOperation::CalcFileMD5(file), expected);
        QCOMPARE(RZDir::calculateFileMD5(file), expected);
    }
    QVERIFY(FileOperation::CalcFileMD5(path("no-such-file")).isEmpty());
    QVERIFY(RZDir::calculateFileMD5(path("no-such-file")).isEmpty());
}

// ---- text files -----------------------------------------------------------------------------------

void TestFile::textFiles()
{
    const QString text = QStringLiteral("Grüße, 日本語\nsecond line\n");
    const QString file = path("text.txt");
    QVERIFY(RZFile::writeTextFile(file, QStringLiteral("a much longer first version of the text")));
    QVERIFY(RZFile::writeTextFile(file, text));
    QCOMPARE(readFile(file), text.toUtf8());
    QCOMPARE(RZFile::readTextFile(file), text);
    QCOMPARE(FileOperation::ReadFile(file, true), text);
    QCOMPARE(RZDir::readTextFile(file, true), text);
    FileOperation::WriteFile(path("short.txt"), QStringLiteral("ü"), true);
    QCOMPARE(readFile(path("short.txt")), QByteArray("\xc3\xbc"));
    QVERIFY(RZFile::readTextFile(path("absent.txt")).isEmpty());
    // The writers' results differ: whether the file could be opened, whether it exists afterwards,
    // always true. A folder exists but cannot be opened; a file in a missing folder cannot be made.
    QVERIFY(QDir().mkpath(path("folder")));
    QVERIFY(!RZFile::writeTextFile(path("folder"), text));
    QVERIFY(FileOperation::WriteTextFile(path("folder"), text, true));
    QVERIFY(!FileOperation::WriteTextFile(path("none/x.txt"), text, true));
    QVERIFY(RZDir::writeTextFile(path("none/x.txt"), text, true));
}

// ---- stale lock files -----------------------------------------------------------------------------

void TestFile::removeStaleLocks()
{
    QTemporaryDir dir;
    const QStringList files = {"FConfig.ini",    "FConfig.ini.lock", "Cinvera.rmlock", "FConfig.old.ini.lock",
                               "Other.ini.lock", "fconfig.ini.lock", "FConfig.lock"};
    for (const QString& name : files)
        QVERIFY(writeFile(dir.filePath(name)));
    RZScopedTestLogger logger;
    RZUtility::removeExceptLockIni(dir.filePath("FConfig.ini"), {"FConfig", "Cinvera"});
    // Base names compare case-sensitively, up to the first dot.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name),
             QStringList({"FConfig.ini", "FConfig.lock", "Other.ini.lock", "fconfig.ini.lock"}));
    QCOMPARE(logger.sink->messages().size(), size_t(4)); // the start, and one line per lock file
    logger.sink->clear();
    RZUtility::removeExceptLockIni(dir.filePath("FConfig.ini"), {});
    QCOMPARE(logger.sink->messages(), (std::vector<std::string>{"Begin check LockIni", "return check"}));
}

QTEST_GUILESS_MAIN(TestFile)
#include "tst_file.moc"
