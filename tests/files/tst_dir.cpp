#include "RZFileTestUtils.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/files/RZDir.h>
#include <RZCore/files/RZFile.h>

#include <QCryptographicHash>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QtTest>

using namespace RZFileTest;

class TestDir : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void delimiters();
    void listing();
    void getAllFileDepth();
    void forceDir();

    void directoryMD5_data();
    void directoryMD5();
    void copyRoutines_data();
    void copyRoutines();
    void removeRecursively();
    void walksNeverFollowLinks();

    void diskFreeSpace();
    void effectPackFile();
};

void TestDir::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

// ---- names and listing ----------------------------------------------------------------------------

void TestDir::delimiters()
{
    const QString sep = QDir::separator();
    // A delimiter at position 0 does not count, either way.
    QCOMPARE(RZDir::slash("/"), QString("/" + sep));
    QCOMPARE(RZDir::slash("/a"), QString("/a" + sep));
    QCOMPARE(RZDir::slash("/a/"), QString("/a/"));
    QCOMPARE(RZDir::removePathDelimiter("/a//"), QString("/a/"));
    QCOMPARE(RZDir::removePathDelimiter("/"), QString("/"));
    QCOMPARE(RZDir::removeSlash(" a/b\\c "), QString("abc"));
    QVERIFY(RZDir::hasDrive("d:/video"));
    for (const char* path : {"C:video", "/C:/video", ""})
        QVERIFY2(!RZDir::hasDrive(path), path);
}

void TestDir::listing()
{
    QTemporaryDir dir;
    makeTree(dir.path(), {{"a/1.bin", "123"},
                          {"a/sub/2.BIN", "12345"},
                          {"a/sub/deeper/3.mov", "1234567"},
                          {"a/.cache/4.bin", "123456789"},
                          {"empty/x/y/", {}},
                          {"deep/only/here/f", "1"}});
    // Only sub-folders count: a folder of plain files reads as empty.
    QVERIFY(RZDir::checkDirIsEmpty(dir.filePath("a/sub/deeper")));
    QVERIFY(!RZDir::checkDirIsEmpty(dir.filePath("empty/x")));
    QVERIFY(RZDir::checkDirIsEmpty(dir.filePath("missing")));
    QVERIFY(RZDir::checkDirIsEmpty(QString()));
    QCOMPARE(RZDir::getFileNumber(dir.filePath("a")), 3);
    QCOMPARE(RZDir::getFolderSize(dir.filePath("a")), qint64(15));
    // Only this sum walks hidden folders too.
    QCOMPARE(RZDir::getDirFileTotalSize(dir.filePath("a")), qint64(24));
    QCOMPARE(RZDir::dirHasFiles(dir.filePath("empty")), 0);
    QVERIFY(RZDir::dirHasFiles(dir.filePath("deep")) > 0);
    // Suffixes as patterns or bare, in any case, and never in part.
    const QString a = dir.filePath("a");
    QCOMPARE(RZDir::GetFilesFromDir(a, {"*.bin"}), QStringList({a + "/1.bin", a + "/sub/2.BIN"}));
    QCOMPARE(RZDir::GetFilesFromDir(a, {"MOV"}), QStringList({a + "/sub/deeper/3.mov"}));
    QCOMPARE(RZDir::GetFilesFromDir(a, {"bi"}), QStringList());
    QCOMPARE(RZDir::GetFilesFromDir(a + "/1.bin", {"*.bin"}), QStringList({a + "/1.bin"}));
}

void TestDir::getAllFileDepth()
{
    QTemporaryDir dir;
    QString level = dir.path();
    for (int i = 0; i < 8; ++i) {
        QVERIFY(writeFile(level + QStringLiteral("/f%1").arg(i)));
        level += QStringLiteral("/d%1").arg(i + 1);
    }
    const auto names = [&dir](bool recursive, int depth) {
        QList<QFileInfo> files;
        RZDir::getAllFile(dir.path(), files, recursive, depth);
        QStringList names;
        for (const QFileInfo& file : files)
            names.append(file.fileName());
        return names;
    };
    // Sub-folders first, down to depth 5.
    QCOMPARE(names(true, 0), QStringList({"f5", "f4", "f3", "f2", "f1", "f0"}));
    QCOMPARE(names(true, 3), QStringList({"f2", "f1", "f0"}));
    QCOMPARE(names(false, 0), QStringList({"f0"}));
}

void TestDir::forceDir()
{
    QTemporaryDir dir;
    QVERIFY(!PathOperation::ForceDir(QString()));
    QVERIFY(PathOperation::ForceDir(dir.filePath("a/b/c/")));
    QVERIFY(QFileInfo(dir.filePath("a/b/c")).isDir());
    QVERIFY(writeFile(dir.filePath("file")));
    QVERIFY(PathOperation::CheckDir(dir.filePath("file/sub")).isEmpty());
    QCOMPARE(RZDir::checkDir(dir.filePath("p/q"), true), RZDir::slash(dir.filePath("p/q")));
}

// ---- MD5 of folders ---------------------------------------------------------------------------------

void TestDir::directoryMD5_data()
{
    // clang-format off
    QTest::addColumn<Tree>("first");
    QTest::addColumn<Tree>("second");
    QTest::addColumn<bool>("same");
    const Tree base{{"a.txt", "alpha"}, {"b.txt", "beta"}};

    QTest::newRow("same files") << base << base << true;
    QTest::newRow("renamed file") << Tree{{"zz.bin", "alpha"}, {"b.txt", "beta"}} << base << true;
    QTest::newRow("sub-folders ignored") << Tree{{"a.txt", "alpha"}, {"b.txt", "beta"}, {"s/c", "x"}} << base << true;
    QTest::newRow("extra empty file") << Tree{{"a.txt", "alpha"}, {"b.txt", "beta"}, {"e", ""}} << base << false;
    QTest::newRow("changed byte") << Tree{{"a.txt", "alphA"}, {"b.txt", "beta"}} << base << false;
    QTest::newRow("only sub-folders") << Tree{{"s/c", "x"}, {"t/", {}}} << Tree{} << true;
    // clang-format on
}

void TestDir::directoryMD5()
{
    QFETCH(Tree, first);
    QFETCH(Tree, second);
    QFETCH(bool, same);
    QTemporaryDir dir;
    makeTree(dir.filePath("one"), first);
    makeTree(dir.filePath("two"), second);
    QCOMPARE(RZDir::hasSameMD5(dir.filePath("one"), dir.filePath("two")), same);
    // The digest is the MD5 of the files' sorted MD5 texts, as other tools may compute it.
    QStringList digests;
    for (const QByteArray& data : second)
        digests.append(QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex()));
    digests.sort();
    const QByteArray expected =
        QCryptographicHash::hash(digests.join("").toUtf8(), QCryptographicHash::Md5).toHex();
    QCOMPARE(RZDir::calculateDirectoryMD5(dir.filePath("two")).toLatin1(), expected);
    QVERIFY(RZDir::calculateDirectoryMD5(dir.filePath("missing")).isEmpty());
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
    makeTree(dir.filePath("src"),
             {{"a.txt", "new a"}, {"m.txt", "new m"}, {"sub/b.txt", "new b"}, {"z.txt", "new z"}});
    makeTree(dir.filePath("dst"), {{conflict, "old " + QFileInfo(conflict).fileName().left(1).toUtf8()}});
    const QString to = dir.filePath(target);
    const bool copied = routine == "all" ? RZDir::copyAllDirFiles(dir.filePath("src"), to)
                                         : RZDir::copyDirectoryFiles(dir.filePath("src"), to, overwrite);
    QCOMPARE(copied, result);
    QCOMPARE(snapshot(to), expected);
}

// ---- removal ----------------------------------------------------------------------------------------

void TestDir::removeRecursively()
{
    QTemporaryDir dir;
    // With filters a folder goes only if its name matches and it is emptied by them.
    // clang-format off
    const Tree tree{{"a.txt", {}}, {".hidden.txt", {}}, {"b.log", {}}, {"sub/c.txt", {}}, {"sub/d.log", {}},
                    {"gone.txt/e.txt", {}}, {"gone.txt/deeper.txt/", {}}, {"keep.txt/f.log", {}}};
    // clang-format on
    for (const char* name : {"whole", "kept", "filtered"})
        makeTree(dir.filePath(name), tree);
    QVERIFY(RZDir::removeRecursively(dir.filePath("whole")));
    QVERIFY(!QFileInfo::exists(dir.filePath("whole")));
    QVERIFY(RZDir::removeRecursively(dir.filePath("kept"), false));
    QVERIFY(QFileInfo(dir.filePath("kept")).isDir());
    QCOMPARE(snapshot(dir.filePath("kept")), Tree{});
    QVERIFY(!RZDir::removeRecursively(dir.filePath("filtered"), false, {"*.txt"}));
    // clang-format off
    const Tree left{{"b.log", {}}, {"sub/", {}}, {"sub/c.txt", {}}, {"sub/d.log", {}}, {"keep.txt/", {}},
                    {"keep.txt/f.log", {}}};
    // clang-format on
    QCOMPARE(snapshot(dir.filePath("filtered")), left);
}

void TestDir::walksNeverFollowLinks()
{
    QTemporaryDir dir;
    makeTree(dir.filePath("outside"), {{"precious.txt", "keep"}});
    // A link back to the top and one to a folder elsewhere: sizes, counts, listings and copies see
    // the 5 bytes stored below the folder itself, once.
    const QString t = dir.filePath("t");
    makeTree(t, {{"1.bin", "123"}, {"sub/2.bin", "12"}});
    QVERIFY(QFile::link(t, t + "/sub/up"));
    QVERIFY(QFile::link(dir.filePath("outside"), t + "/out"));
    QCOMPARE(RZDir::getFolderSize(t), qint64(5));
    QCOMPARE(RZDir::getDirFileTotalSize(t), qint64(5));
    QCOMPARE(RZDir::getFileNumber(t), 2);
    QList<QFileInfo> files;
    RZDir::getAllFile(t, files);
    QCOMPARE(files.size(), 2);
    QCOMPARE(RZDir::GetFilesFromDir(t, {}), QStringList({t + "/1.bin", t + "/sub/2.bin"}));
    const Tree copied{{"1.bin", "123"}, {"sub/", {}}, {"sub/2.bin", "12"}};
    QVERIFY(RZDir::copyDirectoryFiles(t, dir.filePath("copy1"), false));
    QCOMPARE(snapshot(dir.filePath("copy1")), copied);
    QVERIFY(RZDir::copyAllDirFiles(t, dir.filePath("copy2")));
    QCOMPARE(snapshot(dir.filePath("copy2")), copied);

    // Removal takes the link, never what it points to.
    makeTree(dir.filePath("a"), {{".hidden", "x"}, {"s1/s2/deep.bin", "x"}, {"empty/e/", {}}});
    makeTree(dir.filePath("b"), {});
    for (const QString& top : {dir.filePath("a"), dir.filePath("b")})
        QVERIFY(QFile::link(dir.filePath("outside"), top + "/link"));
    QVERIFY(RZDir::removeFolderContent(dir.filePath("a")));
    QCOMPARE(snapshot(dir.filePath("a")), Tree{});
    QVERIFY(QFileInfo(dir.filePath("a")).isDir());
    QVERIFY(!RZDir::removeFolderContent(dir.filePath("missing")));
    // Links are not listed for removal, so the folder holding one stays.
    QVERIFY(!RZDir::removeRecursively(dir.filePath("b"), true, {}));
    QVERIFY(!RZDir::removeRecursively(t, false));
    QVERIFY(!hasFiles(t + "/sub"));
    QCOMPARE(snapshot(dir.filePath("outside")), (Tree{{"precious.txt", "keep"}}));
}

// ---- drives, effect packs ---------------------------------------------------------------------------

void TestDir::diskFreeSpace()
{
    QTemporaryDir dir;
    QCOMPARE(RZDir::getDiskFreeSpace(dir.filePath("no/such/folder")), quint64(0x7FFFFFFF));
    const quint64 free = RZDir::getDiskFreeSpace(dir.path());
    // Others write to the same disk meanwhile: compare loosely.
    const qint64 expected = QStorageInfo(dir.path()).bytesFree() >> 20;
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
    RZDir::saveEffectPackPath("/packs/one");
    RZDir::saveEffectPackPath("/packs/two");
    RZDir::saveEffectPackPath("/packs/one");
    QCOMPARE(RZDir::getEffectPackPath(), QStringList({"/packs/one", "/packs/two"}));
    QVERIFY(readFile(file).contains("<EffectPackDir>"));
    QVERIFY(readFile(file).contains("<Dir Path=\"/packs/one\"/>"));
    // A damaged file is started afresh.
    QVERIFY(writeFile(file, "<EffectPackDir><Dir Path="));
    QVERIFY(RZDir::getEffectPackPath().isEmpty());
    RZDir::saveEffectPackPath("/packs/three");
    QCOMPARE(RZDir::getEffectPackPath(), QStringList({"/packs/three"}));
    IRZAppInfo::getInstance()->setValue(16, QString());
}

QTEST_GUILESS_MAIN(TestDir)
#include "tst_dir.moc"
