#include "RZFileTestUtils.h"

#include <RZCore/RZDir.h>
#include <RZCore/RZFile.h>
#include <RZCore/RZUtility.h>
#include <RZTestLogSink.h>

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <functional>

using namespace RZFileTest;

class TestFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void duplicationPath_data();
    void duplicationPath();
    void renamePath_data();
    void renamePath();
    void nameArithmetic_data();
    void nameArithmetic();
    void uniqueFileName();

    void lazyExistsAnswersLate();
    void lazyExistsFollowsDeletionOnlyAfterRefresh();
    void lazyExistsKeepsThousandRecentPaths();

    void networkPath_data();
    void networkPath();
    void canDropUrls();

    void removeAbsentFile();
    void copyFiles_data();
    void copyFiles();
    void copyOntoItself();
    void createNewFileKeepsContent();
    void md5_data();
    void md5();
    void textWriters_data();
    void textWriters();
    void textRoundTrip();

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

// ---- free names -----------------------------------------------------------------------------------

void TestFile::duplicationPath_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("expected");

    QTest::newRow("no copy yet") << QStringList{"clip.mp4"} << "clip.mp4" << "clip - Copy.mp4";
    QTest::newRow("copy taken") << QStringList{"clip.mp4", "clip - Copy.mp4"} << "clip.mp4" << "clip - Copy (1).mp4";
    QTest::newRow("numbers replace") << QStringList{"clip - Copy.mp4", "clip - Copy (1).mp4"} << "clip.mp4"
        << "clip - Copy (2).mp4";
    QTest::newRow("third number") << QStringList{"clip - Copy.mp4", "clip - Copy (1).mp4", "clip - Copy (2).mp4"}
        << "clip.mp4" << "clip - Copy (3).mp4";
    QTest::newRow("gap is reused") << QStringList{"clip - Copy.mp4", "clip - Copy (2).mp4"} << "clip.mp4"
        << "clip - Copy (1).mp4";
    QTest::newRow("own bracket kept") << QStringList{"take (4) - Copy.mp4", "take (4) - Copy (1).mp4"}
        << "take (4).mp4" << "take (4) - Copy (2).mp4";
    QTest::newRow("middle part dropped") << QStringList{} << "a.b.mp4" << "a - Copy.mp4";
    QTest::newRow("no suffix") << QStringList{} << "notes" << "notes - Copy.";
    // clang-format on
}

void TestFile::duplicationPath()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, source);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    for (const QString& name : existing)
        QVERIFY(writeFile(dir.filePath(name)));
    QCOMPARE(RZFile::makeValidDuplicationFilePath(dir.filePath(source)),
             QString(dir.path() + '/' + expected));
}

void TestFile::renamePath_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("newBase");
    QTest::addColumn<QString>("expected");

    QTest::newRow("free") << QStringList{"clip.mp4"} << "clip.mp4" << "holiday" << "holiday.mp4";
    QTest::newRow("taken") << QStringList{"clip.mp4", "holiday.mp4"} << "clip.mp4" << "holiday" << "holiday (1).mp4";
    QTest::newRow("taken twice") << QStringList{"clip.mp4", "holiday.mp4", "holiday (1).mp4"} << "clip.mp4"
        << "holiday" << "holiday (2).mp4";
    QTest::newRow("own name") << QStringList{"clip.mp4"} << "clip.mp4" << "clip" << "clip.mp4";
    QTest::newRow("own name by numbering") << QStringList{"x.mp4", "x (1).mp4"} << "x (1).mp4" << "x" << "x (1).mp4";
    QTest::newRow("case differs") << QStringList{"clip.mp4"} << "clip.mp4" << "Clip" << "Clip.mp4";
    // clang-format on
}

void TestFile::renamePath()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, source);
    QFETCH(QString, newBase);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    for (const QString& name : existing)
        QVERIFY(writeFile(dir.filePath(name)));
    QCOMPARE(RZFile::makeValidRenameFilePath(dir.filePath(source), newBase),
             QString(dir.path() + '/' + expected));
}

void TestFile::nameArithmetic_data()
{
    // clang-format off
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("extra");
    QTest::addColumn<QString>("expected");

    QTest::newRow("extract: folder") << "extractFilePath" << "/a/b/clip.mp4" << "" << "/a/b";
    QTest::newRow("extract: bare name") << "extractFilePath" << "clip.mp4" << "" << "";
    QTest::newRow("extract: at root") << "extractFilePath" << "/clip.mp4" << "" << "";
    QTest::newRow("Extract: at root") << "ExtractFilePath" << "/clip.mp4" << "" << "";
    QTest::newRow("Extract: folder") << "ExtractFilePath" << "/a/clip.mp4" << "" << "/a";
    QTest::newRow("suffix: dot given") << "replaceSuffix" << "/a/clip.mp4" << ".mov" << "/a/clip.mov";
    QTest::newRow("suffix: no dot") << "replaceSuffix" << "/a/clip.mp4" << "mov" << "/a/clipmov";
    QTest::newRow("suffix: several dots") << "replaceSuffix" << "/a/x.y.mp4" << ".mov" << "/a/x.mov";
    QTest::newRow("suffix: bare name") << "replaceSuffix" << "clip.mp4" << ".mov" << "clip.mov";
    QTest::newRow("Repalce") << "RepalceSuffixName" << "/a/clip.mp4" << ".wav" << "/a/clip.wav";
    QTest::newRow("append") << "appendFileNameSuffix" << "/a/x.y.mp4" << "_1" << "/a/x_1.mp4";
    QTest::newRow("Append") << "AppendFileNameSuffix" << "/a/clip.mp4" << "_1" << "/a/clip_1.mp4";
    QTest::newRow("make") << "makeFileName" << "/a/clip.mp4" << "_1" << "clip_1.mp4";
    // clang-format on
}

void TestFile::nameArithmetic()
{
    QFETCH(QString, operation);
    QFETCH(QString, input);
    QFETCH(QString, extra);
    QFETCH(QString, expected);
    const QMap<QString, std::function<QString()>> operations = {
        {"extractFilePath", [&] { return RZFile::extractFilePath(input); }},
        {"ExtractFilePath", [&] { return PathOperation::ExtractFilePath(input); }},
        {"replaceSuffix", [&] { return RZFile::replaceSuffix(input, extra); }},
        {"RepalceSuffixName", [&] { return FileOperation::RepalceSuffixName(input, extra); }},
        {"appendFileNameSuffix", [&] { return RZFile::appendFileNameSuffix(input, extra); }},
        {"AppendFileNameSuffix", [&] { return FileOperation::AppendFileNameSuffix(input, extra); }},
        {"makeFileName", [&] { return RZFile::makeFileName(input, extra); }},
    };
    QCOMPARE(operations.value(operation)(), expected);
}

void TestFile::uniqueFileName()
{
    const QString name = RZFile::generateUniqueFileName(path("render-XXXXXX.mp4"));
    QVERIFY(name.startsWith(path("render-")));
    QVERIFY(name.endsWith(".mp4"));
    QVERIFY(!QFile::exists(name));
    QVERIFY(RZFile::generateUniqueFileName(path("missing/render-XXXXXX.mp4")).isEmpty());
}

// ---- lazyExists -----------------------------------------------------------------------------------

void TestFile::lazyExistsAnswersLate()
{
    const QString missing = path("never-there.mp4");
    // Unknown paths are optimistic, and no call returns what its own check finds.
    QVERIFY(RZFile::lazyExists(missing));
    QVERIFY(RZFile::lazyExists(missing));
    QTRY_VERIFY_WITH_TIMEOUT(!RZFile::lazyExists(missing), 10000);
}

void TestFile::lazyExistsFollowsDeletionOnlyAfterRefresh()
{
    const QString file = path("comes-and-goes.mp4");
    QVERIFY(writeFile(file, "x"));
    QVERIFY(RZFile::lazyExists(file));
    QVERIFY(QFile::remove(file));
    QVERIFY(RZFile::lazyExists(file));
    QTRY_VERIFY_WITH_TIMEOUT(!RZFile::lazyExists(file), 10000);
    QVERIFY(writeFile(file, "x"));
    QVERIFY(!RZFile::lazyExists(file));
    QTRY_VERIFY_WITH_TIMEOUT(RZFile::lazyExists(file), 10000);
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
    askOthers(2);
    QVERIFY(!RZFile::lazyExists(watched)); // ...so the oldest other path went instead
    askOthers(999);
    QVERIFY(!RZFile::lazyExists(watched)); // 1,000 entries fit
    askOthers(1000);
    QVERIFY(RZFile::lazyExists(watched)); // evicted: a fresh, optimistic entry
}

// ---- network paths --------------------------------------------------------------------------------

void TestFile::networkPath_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("network");

    QTest::newRow("drive letter") << "C:/video/clip.mp4" << false;
    QTest::newRow("local file") << m_oDir.filePath("local.mp4") << false;
    QTest::newRow("relative") << "clip.mp4" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("unc") << "\\\\server\\share\\clip.mp4" << true;
    QTest::newRow("unc, forward") << "//server/share/clip.mp4" << true;
    // clang-format on
}

void TestFile::networkPath()
{
    QFETCH(QString, path);
    QFETCH(bool, network);
    writeFile(m_oDir.filePath("local.mp4"));
    QCOMPARE(RZFile::isNetWorkDrivePath(path), network);
}

void TestFile::canDropUrls()
{
    const QUrl local = QUrl::fromLocalFile(path("local.mp4"));
    const QUrl share(QStringLiteral("file://server/share/clip.mp4"));
    QVERIFY(RZFile::canDropUrls({}));
    QVERIFY(RZFile::canDropUrls({local, local}));
    QVERIFY(!RZFile::canDropUrls({local, share}));
}

// ---- copying, removing, hashing -------------------------------------------------------------------

void TestFile::removeAbsentFile()
{
    QVERIFY(RZFile::removeFile(path("absent")));
    QVERIFY(FileOperation::RemoveFile(path("absent")));
    QVERIFY(FileOperation::DeleteFileW(path("absent")));
    QVERIFY(writeFile(path("present")));
    QVERIFY(FileOperation::DeleteFileW(path("present")));
    QVERIFY(!QFile::exists(path("present")));
}

void TestFile::copyFiles_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("sources");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("copied");

    QTest::newRow("empty list") << QStringList{} << true << QStringList{};
    QTest::newRow("overwrites") << QStringList{"a.txt", "b.txt"} << true << QStringList{"a.txt", "b.txt"};
    QTest::newRow("stops at failure") << QStringList{"a.txt", "missing.txt", "b.txt"} << false
        << QStringList{"a.txt"};
    // clang-format on
}

void TestFile::copyFiles()
{
    QFETCH(QStringList, sources);
    QFETCH(bool, result);
    QFETCH(QStringList, copied);
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath("src/a.txt"), "new a"));
    QVERIFY(writeFile(dir.filePath("src/b.txt"), "new b"));
    QVERIFY(writeFile(dir.filePath("dst/a.txt"), "old a"));
    QVERIFY(writeFile(dir.filePath("dst/b.txt"), "old b"));
    QStringList paths;
    for (const QString& name : sources)
        paths.append(dir.filePath("src/" + name));
    QCOMPARE(FileOperation::CopyFiles(paths, dir.filePath("dst")), result);
    for (const QString& name : QStringList{"a.txt", "b.txt"}) {
        const QByteArray expected =
            QByteArray(copied.contains(name) ? "new " : "old ") + name.left(1).toUtf8();
        QCOMPARE(readFile(dir.filePath("dst/" + name)), expected);
    }
}

void TestFile::copyOntoItself()
{
    QVERIFY(writeFile(path("same.txt"), "keep"));
    QVERIFY(FileOperation::CopyFileW(path("same.txt"), m_oDir.path()));
    QCOMPARE(readFile(path("same.txt")), QByteArray("keep"));
}

void TestFile::createNewFileKeepsContent()
{
    FileOperation::CreateNewFile(path("new.txt"));
    QCOMPARE(readFile(path("new.txt")), QByteArray());
    QVERIFY(writeFile(path("kept.txt"), "content"));
    FileOperation::CreateNewFile(path("kept.txt"));
    QCOMPARE(readFile(path("kept.txt")), QByteArray("content"));
}

void TestFile::md5_data()
{
    // clang-format off
    QTest::addColumn<int>("size");
    // Around the 10,240-byte block of the reader.
    for (int size : {0, 1, 10239, 10240, 10241, 20480, 65537})
    QTest::addRow("%d bytes", size) << size;
    // clang-format on
}

void TestFile::md5()
{
    QFETCH(int, size);
    QByteArray data(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<char>((i * 7919) >> 3);
    const QString file = path(QStringLiteral("md5-%1").arg(size));
    QVERIFY(writeFile(file, data));
    const QString expected =
        QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
    QCOMPARE(FileOperation::CalcFileMD5(file), expected);
    QCOMPARE(RZDir::calculateFileMD5(file), expected);
    QVERIFY(FileOperation::CalcFileMD5(path("no-such-file")).isEmpty());
    QVERIFY(RZDir::calculateFileMD5(path("no-such-file")).isEmpty());
}

// ---- text files -----------------------------------------------------------------------------------

void TestFile::textWriters_data()
{
    // clang-format off
    QTest::addColumn<QString>("writer");
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("result");

    // A folder exists but cannot be opened as a file; a file in a missing folder cannot be made.
    QTest::newRow("WriteTextFile, folder") << "FileOperation::WriteTextFile" << "folder" << true;
    QTest::newRow("WriteTextFile, missing folder") << "FileOperation::WriteTextFile" << "none/x.txt" << false;
    QTest::newRow("WriteTextFile, file") << "FileOperation::WriteTextFile" << "f.txt" << true;
    QTest::newRow("writeTextFile, folder") << "RZFile::writeTextFile" << "folder" << false;
    QTest::newRow("writeTextFile, file") << "RZFile::writeTextFile" << "f.txt" << true;
    QTest::newRow("RZDir, folder") << "RZDir::writeTextFile" << "folder" << true;
    QTest::newRow("RZDir, missing folder") << "RZDir::writeTextFile" << "none/x.txt" << true;
    // clang-format on
}

void TestFile::textWriters()
{
    QFETCH(QString, writer);
    QFETCH(QString, target);
    QFETCH(bool, result);
    QTemporaryDir dir;
    QVERIFY(QDir(dir.path()).mkdir("folder"));
    const QString file = dir.filePath(target);
    bool written = false;
    if (writer == "FileOperation::WriteTextFile")
        written = FileOperation::WriteTextFile(file, "text", true);
    else if (writer == "RZFile::writeTextFile")
        written = RZFile::writeTextFile(file, "text");
    else
        written = RZDir::writeTextFile(file, "text", true);
    QCOMPARE(written, result);
}

void TestFile::textRoundTrip()
{
    const QString text = QStringLiteral("Grüße, 日本語\nsecond line\n");
    const QString file = path("text.txt");
    QVERIFY(RZFile::writeTextFile(file, QStringLiteral("a much longer first version of the text")));
    QVERIFY(RZFile::writeTextFile(file, text));
    QCOMPARE(readFile(file), text.toUtf8());
    QCOMPARE(RZFile::readTextFile(file), text);
    QCOMPARE(FileOperation::ReadFile(file, true), text);
    QCOMPARE(FileOperation::ReadTextFile(file, true), text);
    QCOMPARE(RZDir::readTextFile(file, true), text);
    FileOperation::WriteFile(path("short.txt"), QStringLiteral("ü"), true);
    QCOMPARE(readFile(path("short.txt")), QByteArray("\xc3\xbc"));
    QVERIFY(RZFile::readTextFile(path("absent.txt")).isEmpty());
    QVERIFY(FileOperation::ReadFile(path("absent.txt"), true).isEmpty());
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
    QStringList remaining = QDir(dir.path()).entryList(QDir::Files);
    remaining.sort();
    QCOMPARE(remaining, QStringList({"FConfig.ini", "FConfig.lock", "Other.ini.lock", "fconfig.ini.lock"}));
    const std::vector<std::string> lines = logger.sink->messages();
    QCOMPARE(lines.size(), size_t(4));
    QCOMPARE(lines.front(), std::string("Begin check LockIni"));
    const std::string removed = "QFile::remove: " + dir.filePath("Cinvera.rmlock").toStdString() + ",true";
    QVERIFY(std::find(lines.begin(), lines.end(), removed) != lines.end());

    logger.sink->clear();
    RZUtility::removeExceptLockIni(dir.filePath("missing/FConfig.ini"), {"FConfig"});
    RZUtility::removeExceptLockIni(dir.filePath("FConfig.ini"), {});
    QCOMPARE(logger.sink->messages(), (std::vector<std::string>{"Begin check LockIni", "return check",
                                                                "Begin check LockIni", "return check"}));
}

QTEST_GUILESS_MAIN(TestFile)
#include "tst_file.moc"
