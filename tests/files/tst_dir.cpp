#include "RZFileTestUtils.h"

#include <RZCore/RZAppInfo.h>
#include <RZCore/RZDir.h>
#include <RZCore/RZFile.h>

#include <QCryptographicHash>
#include <QDomDocument>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QtTest>

using namespace RZFileTest;

using Tree = QMap<QString, QByteArray>; // relative path -> bytes; a trailing "/" makes a folder

class TestDir : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void delimiters_data();
    void delimiters();
    void checkDirIsEmpty_data();
    void checkDirIsEmpty();
    void countsAndSizes();
    void getAllFileDepth_data();
    void getAllFileDepth();
    void filesBySuffix_data();
    void filesBySuffix();
    void forceDir();

    void directoryMD5_data();
    void directoryMD5();
    void directoryMD5WithoutFiles();
    void copyRoutines_data();
    void copyRoutines();
    void removeRecursively_data();
    void removeRecursively();
    void removeFolderContent();
    void removalNeverFollowsLinks();

    void diskFreeSpace();
    void effectPackFile();
    void folderDialogWithoutWidgets();

private:
    static void make(const QString& root, const Tree& tree);
    QTemporaryDir m_oDir;
};

void TestDir::make(const QString& root, const Tree& tree)
{
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        const QString path = root + '/' + it.key();
        if (it.key().endsWith('/'))
            QDir().mkpath(path);
        else
            writeFile(path, it.value());
    }
}

void TestDir::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
}

// ---- delimiters and names -------------------------------------------------------------------------

void TestDir::delimiters_data()
{
    // clang-format off
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("expected");
    const QString sep = QDir::separator();

    QTest::newRow("slash: empty") << "slash" << "" << "";
    QTest::newRow("slash: root only") << "slash" << "/" << QString("/" + sep);
    QTest::newRow("slash: adds") << "slash" << "/a" << QString("/a" + sep);
    QTest::newRow("slash: has /") << "slash" << "/a/" << "/a/";
    QTest::newRow("slash: has native") << "slash" << QString("/a" + sep) << QString("/a" + sep);
    QTest::newRow("remove: one") << "removePathDelimiter" << "/a//" << "/a/";
    QTest::newRow("remove: root kept") << "removePathDelimiter" << "/" << "/";
    QTest::newRow("remove: none") << "removePathDelimiter" << "/a" << "/a";
    QTest::newRow("removeSlash") << "removeSlash" << " a/b\\c " << "abc";
    QTest::newRow("pos: last") << "pathDelimiterPos" << "a/b/c" << "3";
    QTest::newRow("pos: none") << "pathDelimiterPos" << "abc" << "-1";
    QTest::newRow("drive") << "hasDrive" << "C:/video" << "1";
    QTest::newRow("drive, lower case") << "hasDrive" << "d:/video" << "1";
    QTest::newRow("drive, digit") << "hasDrive" << "1:/video" << "0";
    QTest::newRow("drive, relative") << "hasDrive" << "C:video" << "0";
    QTest::newRow("drive, not first") << "hasDrive" << "/C:/video" << "0";
    QTest::newRow("drive, empty") << "hasDrive" << "" << "0";
    // clang-format on
}

void TestDir::delimiters()
{
    QFETCH(QString, operation);
    QFETCH(QString, input);
    QFETCH(QString, expected);
    QString result;
    if (operation == "slash")
        result = RZDir::slash(input);
    else if (operation == "removePathDelimiter")
        result = RZDir::removePathDelimiter(input);
    else if (operation == "removeSlash")
        result = RZDir::removeSlash(input);
    else if (operation == "pathDelimiterPos")
        result = QString::number(RZDir::pathDelimiterPos(input));
    else
        result = QString::number(RZDir::hasDrive(input));
    QCOMPARE(result, expected);
}

// ---- listing ----------------------------------------------------------------------------------------

void TestDir::checkDirIsEmpty_data()
{
    // clang-format off
    QTest::addColumn<Tree>("tree");
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("empty");

    QTest::newRow("nothing") << Tree{{"d/", {}}} << "d" << true;
    QTest::newRow("one file") << Tree{{"d/f.txt", "x"}} << "d" << true;
    QTest::newRow("one empty sub-folder") << Tree{{"d/sub/", {}}} << "d" << false;
    QTest::newRow("missing") << Tree{} << "missing" << true;
    QTest::newRow("empty path") << Tree{} << "" << true;
    // clang-format on
}

void TestDir::checkDirIsEmpty()
{
    QFETCH(Tree, tree);
    QFETCH(QString, path);
    QFETCH(bool, empty);
    QTemporaryDir dir;
    make(dir.path(), tree);
    QCOMPARE(RZDir::checkDirIsEmpty(path.isEmpty() ? path : dir.filePath(path)), empty);
}

void TestDir::countsAndSizes()
{
    QTemporaryDir dir;
    make(dir.path(), {{"a/1.bin", "123"},
                      {"a/sub/2.bin", "12345"},
                      {"a/sub/deeper/3.bin", "1234567"},
                      {"empty/x/y/", {}},
                      {"deep/only/here/f", "1"}});
    QCOMPARE(RZDir::getFileNumber(dir.filePath("a")), 3);
    QCOMPARE(RZDir::getFolderSize(dir.filePath("a")), qint64(15));
    QCOMPARE(RZDir::getDirFileTotalSize(dir.filePath("a")), qint64(15));
    QCOMPARE(RZDir::dirHasFiles(dir.filePath("empty")), 0);
    QVERIFY(RZDir::dirHasFiles(dir.filePath("deep")) > 0);
}

void TestDir::getAllFileDepth_data()
{
    // clang-format off
    QTest::addColumn<bool>("recursive");
    QTest::addColumn<int>("depth");
    QTest::addColumn<QStringList>("expected"); // in the order listed

    QTest::newRow("whole walk") << true << 0 << QStringList{"f5", "f4", "f3", "f2", "f1", "f0"};
    QTest::newRow("not recursive") << false << 0 << QStringList{"f0"};
    QTest::newRow("starting at 3") << true << 3 << QStringList{"f2", "f1", "f0"};
    QTest::newRow("starting at 5") << true << 5 << QStringList{"f0"};
    // clang-format on
}

void TestDir::getAllFileDepth()
{
    QFETCH(bool, recursive);
    QFETCH(int, depth);
    QFETCH(QStringList, expected);
    QTemporaryDir dir;
    QString level = dir.path();
    for (int i = 0; i < 8; ++i) {
        QVERIFY(writeFile(level + QStringLiteral("/f%1").arg(i)));
        level += QStringLiteral("/d%1").arg(i + 1);
    }
    QList<QFileInfo> files;
    RZDir::getAllFile(dir.path(), files, recursive, depth);
    QStringList names;
    for (const QFileInfo& file : files)
        names.append(file.fileName());
    QCOMPARE(names, expected);
}

void TestDir::filesBySuffix_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("pattern, any case") << "" << QStringList{"*.MP4"} << QStringList{"a.mp4", "sub/b.MP4"};
    QTest::newRow("bare suffix") << "" << QStringList{"mov"} << QStringList{"sub/c.mov"};
    QTest::newRow("no filters") << "" << QStringList{} << QStringList{"a.mp4", "n.txt", "sub/b.MP4", "sub/c.mov"};
    QTest::newRow("partial suffix") << "" << QStringList{"mp"} << QStringList{};
    QTest::newRow("single file") << "a.mp4" << QStringList{"*.mp4"} << QStringList{"a.mp4"};
    QTest::newRow("single file, refused") << "a.mp4" << QStringList{"*.mov"} << QStringList{};
    // clang-format on
}

void TestDir::filesBySuffix()
{
    QFETCH(QString, path);
    QFETCH(QStringList, filters);
    QFETCH(QStringList, expected);
    QTemporaryDir dir;
    make(dir.path(), {{"a.mp4", {}}, {"n.txt", {}}, {"sub/b.MP4", {}}, {"sub/c.mov", {}}});
    QStringList found = RZDir::GetFilesFromDir(dir.filePath(path), filters);
    for (QString& file : found)
        file = QDir(dir.path()).relativeFilePath(file);
    found.sort();
    QCOMPARE(found, expected);
}

void TestDir::forceDir()
{
    QTemporaryDir dir;
    QVERIFY(!PathOperation::ForceDir(QString()));
    QVERIFY(PathOperation::ForceDir(dir.filePath("a/b/c/")));
    QVERIFY(QFileInfo(dir.filePath("a/b/c")).isDir());
    QCOMPARE(PathOperation::CheckDir(dir.filePath("x/y")), dir.filePath("x/y"));
    QVERIFY(writeFile(dir.filePath("file")));
    QVERIFY(!PathOperation::ForceDir(dir.filePath("file/sub")));
    QVERIFY(PathOperation::CheckDir(dir.filePath("file/sub")).isEmpty());
    QCOMPARE(RZDir::checkDir(dir.filePath("p/q"), true), RZDir::slash(dir.filePath("p/q")));
    QVERIFY(RZDir::checkDir(QString(), true).isEmpty());
}

// ---- MD5 of folders ---------------------------------------------------------------------------------

void TestDir::directoryMD5_data()
{
    // clang-format off
    QTest::addColumn<Tree>("first");
    QTest::addColumn<Tree>("second");
    QTest::addColumn<bool>("same");
    const Tree base{{"a.txt", "alpha"}, {"b.txt", "beta"}};

    QTest::newRow("identical") << base << base << true;
    QTest::newRow("other order") << Tree{{"b.txt", "beta"}, {"a.txt", "alpha"}} << base << true;
    QTest::newRow("renamed file") << Tree{{"zz.bin", "alpha"}, {"b.txt", "beta"}} << base << true;
    QTest::newRow("sub-folders ignored") << Tree{{"a.txt", "alpha"}, {"b.txt", "beta"}, {"s/c", "x"}} << base << true;
    QTest::newRow("extra empty file") << Tree{{"a.txt", "alpha"}, {"b.txt", "beta"}, {"e", ""}} << base << false;
    QTest::newRow("changed byte") << Tree{{"a.txt", "alphA"}, {"b.txt", "beta"}} << base << false;
    // clang-format on
}

void TestDir::directoryMD5()
{
    QFETCH(Tree, first);
    QFETCH(Tree, second);
    QFETCH(bool, same);
    QTemporaryDir dir;
    make(dir.filePath("one"), first);
    make(dir.filePath("two"), second);
    QCOMPARE(RZDir::hasSameMD5(dir.filePath("one"), dir.filePath("two")), same);
    // The digest is the MD5 of the files' sorted MD5 texts, as other tools may compute it.
    QStringList digests;
    for (auto it = second.cbegin(); it != second.cend(); ++it)
        digests.append(
            QString::fromLatin1(QCryptographicHash::hash(it.value(), QCryptographicHash::Md5).toHex()));
    digests.sort();
    const QByteArray expected =
        QCryptographicHash::hash(digests.join("").toUtf8(), QCryptographicHash::Md5).toHex();
    QCOMPARE(RZDir::calculateDirectoryMD5(dir.filePath("two")).toLatin1(), expected);
}

void TestDir::directoryMD5WithoutFiles()
{
    QTemporaryDir dir;
    make(dir.path(), {{"only/sub/f.txt", "x"}, {"only/empty/", {}}});
    const QString emptyInput =
        QString::fromLatin1(QCryptographicHash::hash({}, QCryptographicHash::Md5).toHex());
    QCOMPARE(RZDir::calculateDirectoryMD5(dir.filePath("only")), emptyInput);
    QCOMPARE(RZDir::calculateDirectoryMD5(dir.filePath("missing")), QString());
    QVERIFY(RZDir::hasSameMD5(dir.filePath("missing"), dir.filePath("also-missing")));
}

// ---- copying ----------------------------------------------------------------------------------------

void TestDir::copyRoutines_data()
{
    // clang-format off
    QTest::addColumn<QString>("routine");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("conflict"); // a file already in "dst"
    QTest::addColumn<bool>("result");
    QTest::addColumn<Tree>("expected"); // the target afterwards

    const Tree full{
        {"a.txt", "new a"}, {"m.txt", "new m"}, {"sub/", {}}, {"sub/b.txt", "new b"}, {"z.txt", "new z"}};
    const Tree stopped{{"a.txt", "new a"}, {"m.txt", "old m"}};
    const Tree stoppedInSub{{"a.txt", "new a"}, {"m.txt", "new m"}, {"sub/", {}}, {"sub/b.txt", "old b"}};

    QTest::newRow("all: replaces") << "all" << false << "dst" << "m.txt" << true << full;
    QTest::newRow("directory: overwrite") << "directory" << true << "dst" << "m.txt" << true << full;
    QTest::newRow("directory: conflict fails") << "directory" << false << "dst" << "m.txt" << false << stopped;
    QTest::newRow("directory: conflict in sub-folder") << "directory" << false << "dst" << "sub/b.txt" << false
        << stoppedInSub;
    QTest::newRow("directory: fresh target") << "directory" << false << "fresh" << "m.txt" << true << full;
    QTest::newRow("directory: makes all levels") << "directory" << false << "x/y/z" << "m.txt" << true << full;
    QTest::newRow("all: makes one level only") << "all" << false << "x/y/z" << "m.txt" << false << Tree{};
    // Onto itself a copy would delete the files; into its own sub-folder it would never end.
    QTest::newRow("all: onto itself") << "all" << false << "src" << "m.txt" << false << full;
    QTest::newRow("directory: into own sub-folder") << "directory" << true << "src/sub/copy" << "m.txt" << false
        << Tree{};
    // clang-format on
}

void TestDir::copyRoutines()
{
    QFETCH(QString, routine);
    QFETCH(bool, overwrite);
    QFETCH(QString, target);
    QFETCH(QString, conflict);
    QFETCH(bool, result);
    QFETCH(Tree, expected);
    QTemporaryDir dir;
    make(dir.filePath("src"),
         {{"a.txt", "new a"}, {"m.txt", "new m"}, {"sub/b.txt", "new b"}, {"z.txt", "new z"}});
    make(dir.filePath("dst"), {{conflict, "old " + QFileInfo(conflict).fileName().left(1).toUtf8()}});
    const QString to = dir.filePath(target);
    const bool copied = routine == "all" ? RZDir::copyAllDirFiles(dir.filePath("src"), to)
                                         : RZDir::copyDirectoryFiles(dir.filePath("src"), to, overwrite);
    QCOMPARE(copied, result);
    QCOMPARE(snapshot(to), expected);
}

// ---- removal ----------------------------------------------------------------------------------------

void TestDir::removeRecursively_data()
{
    // clang-format off
    QTest::addColumn<bool>("removeSelf");
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("topRemains");
    QTest::addColumn<Tree>("remaining");

    QTest::newRow("whole") << true << QStringList{} << true << false << Tree{};
    QTest::newRow("keep top") << false << QStringList{} << true << true << Tree{};
    QTest::newRow("filtered") << false << QStringList{"*.txt"} << false << true
        << Tree{{"b.log", {}},     {"sub/", {}},      {"sub/c.txt", {}}, {"sub/d.log", {}}, {"keep.txt/", {}}, {"keep.txt/f.log", {}}};
    // clang-format on
}

void TestDir::removeRecursively()
{
    QFETCH(bool, removeSelf);
    QFETCH(QStringList, filters);
    QFETCH(bool, result);
    QFETCH(bool, topRemains);
    QFETCH(Tree, remaining);
    QTemporaryDir dir;
    const QString top = dir.filePath("top");
    // A matching folder is removed with its matching files; one that keeps other files fails.
    make(top, {{"a.txt", {}},
               {".hidden.txt", {}},
               {"b.log", {}},
               {"sub/c.txt", {}},
               {"sub/d.log", {}},
               {"gone.txt/e.txt", {}},
               {"gone.txt/deeper.txt/", {}},
               {"keep.txt/f.log", {}}});
    QCOMPARE(RZDir::removeRecursively(top, removeSelf, filters), result);
    QCOMPARE(QFileInfo::exists(top), topRemains);
    QCOMPARE(snapshot(top), remaining);
}

void TestDir::removeFolderContent()
{
    QTemporaryDir dir;
    const QString top = dir.filePath("top");
    make(top,
         {{"a.txt", "x"}, {".hidden", "x"}, {"s1/s2/s3/deep.bin", "x"}, {"s1/f", "x"}, {"empty/e/", {}}});
    QVERIFY(RZDir::removeFolderContent(top));
    QVERIFY(QFileInfo(top).isDir());
    QCOMPARE(snapshot(top), Tree{});
    QVERIFY(!RZDir::removeFolderContent(dir.filePath("missing")));
}

void TestDir::removalNeverFollowsLinks()
{
    QTemporaryDir dir;
    make(dir.filePath("outside"), {{"precious.txt", "keep"}});
    for (const QString& top : {dir.filePath("a"), dir.filePath("b")}) {
        QVERIFY(QDir().mkpath(top));
        QVERIFY(QFile::link(dir.filePath("outside"), top + "/link"));
    }
    QVERIFY(RZDir::removeFolderContent(dir.filePath("a")));
    QCOMPARE(snapshot(dir.filePath("a")), Tree{});
    // Links are not listed for removal, so the folder holding one stays.
    QVERIFY(!RZDir::removeRecursively(dir.filePath("b"), true, {}));
    QCOMPARE(snapshot(dir.filePath("outside")), (Tree{{"precious.txt", "keep"}}));
}

// ---- drives, effect packs, dialog -------------------------------------------------------------------

void TestDir::diskFreeSpace()
{
    QCOMPARE(RZDir::getDiskFreeSpace(m_oDir.filePath("no/such/folder")), quint64(2147483647));
    const quint64 free = RZDir::getDiskFreeSpace(m_oDir.path());
    QVERIFY(free != 2147483647);
    // Others write to the same disk meanwhile: compare loosely.
    const qint64 expected = QStorageInfo(m_oDir.path()).bytesFree() >> 20;
    QVERIFY2(qAbs(qint64(free) - expected) < 256,
             qPrintable(QStringLiteral("%1 vs %2").arg(free).arg(expected)));
}

void TestDir::effectPackFile()
{
    QTemporaryDir dir;
    IRZAppInfo::getInstance()->setValue(16, dir.path());
    const QString file = RZFile::getEffectPackPathConfigFile();
    QCOMPARE(file, dir.filePath("CinveraEffectPack.xml"));
    QVERIFY(RZDir::getEffectPackPath().isEmpty());
    RZDir::saveEffectPackPath(QString());
    QVERIFY(!QFile::exists(file));

    RZDir::saveEffectPackPath("/packs/one");
    RZDir::saveEffectPackPath("/packs/two");
    RZDir::saveEffectPackPath("/packs/one");
    QCOMPARE(RZDir::getEffectPackPath(), QStringList({"/packs/one", "/packs/two"}));
    QDomDocument written;
    QVERIFY(written.setContent(readFile(file)));
    QCOMPARE(written.firstChild().nodeName(), QString("xml"));
    QCOMPARE(written.documentElement().tagName(), QString("EffectPackDir"));
    QCOMPARE(written.documentElement().elementsByTagName("Dir").size(), 2);

    // Duplicates written by someone else are read once; a damaged file starts afresh.
    QVERIFY(writeFile(
        file, "<EffectPackDir><Dir Path=\"/p\"/><Dir Path=\"/p\"/><Dir Path=\"/q\"/></EffectPackDir>"));
    QCOMPARE(RZDir::getEffectPackPath(), QStringList({"/p", "/q"}));
    QVERIFY(writeFile(file, "<EffectPackDir><Dir Path="));
    QVERIFY(RZDir::getEffectPackPath().isEmpty());
    RZDir::saveEffectPackPath("/packs/three");
    QCOMPARE(RZDir::getEffectPackPath(), QStringList({"/packs/three"}));
    IRZAppInfo::getInstance()->setValue(16, QString());
}

void TestDir::folderDialogWithoutWidgets()
{
    // No widget application in this process: nothing can be shown, nothing is chosen.
    QVERIFY(PathOperation::GetUserSelectDir("Choose", 0).isEmpty());
}

QTEST_GUILESS_MAIN(TestDir)
#include "tst_dir.moc"
