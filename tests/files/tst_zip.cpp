#include "RZFileTestUtils.h"

#include <RZCore/ZipOperate.h>
#include <RZTestLogSink.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

using namespace RZFileTest;

using Tree = QMap<QString, QByteArray>; // as snapshot() gives it

namespace {

// Writes an archive with Python's zipfile from a JSON description: entries with "name", "data",
// "deflate", "link" (a symbolic link whose data is its target); "corrupt" flips a byte in the middle
// of the last entry's data.
const char* const kMakeZip = R"PY(
import json, struct, sys, zipfile
layout = json.load(sys.stdin)
with zipfile.ZipFile(layout["zip"], "w") as z:
    for e in layout["entries"]:
        info = zipfile.ZipInfo(e["name"])
        info.create_system = 3
        info.compress_type = zipfile.ZIP_DEFLATED if e.get("deflate") else zipfile.ZIP_STORED
        if e.get("link"):
            info.external_attr = 0o120777 << 16
        elif e["name"].endswith("/"):
            info.external_attr = (0o40755 << 16) | 0x10
        else:
            info.external_attr = 0o644 << 16
        z.writestr(info, e.get("data", "").encode("utf-8"))
if layout.get("corrupt"):
    last = zipfile.ZipFile(layout["zip"]).infolist()[-1]
    with open(layout["zip"], "r+b") as f:
        f.seek(last.header_offset + 26)
        n, m = struct.unpack("<HH", f.read(4))
        at = last.header_offset + 30 + n + m + last.compress_size // 2
        f.seek(at)
        b = f.read(1)
        f.seek(at)
        f.write(bytes([b[0] ^ 0xFF]))
)PY";

// The system's interpreter first: version-manager shims cost a second per start.
QString python()
{
    const QString system = QStandardPaths::findExecutable("python3", {"/usr/bin", "/usr/local/bin"});
    return system.isEmpty() ? QStringLiteral("python3") : system;
}

struct Entry
{
    QString name;
    QString data;
    bool deflate = false;
    bool link = false;
};

bool makeZipWithPython(const QString& zip, const QList<Entry>& entries, bool corrupt = false)
{
    QJsonArray list;
    for (const Entry& e : entries)
        list.append(
            QJsonObject{{"name", e.name}, {"data", e.data}, {"deflate", e.deflate}, {"link", e.link}});
    const QJsonObject layout{{"zip", zip}, {"entries", list}, {"corrupt", corrupt}};
    return run(python(), {"-c", kMakeZip}, QString(), QJsonDocument(layout).toJson()) == 0;
}

// Names with several scripts, an empty file and an empty folder: what the peers must agree on.
const Tree kSample{{"readme.txt", "hello\n"},
                   {"Grüße/日本語 ファイル.txt", QByteArray(20000, 'x') + "end"},
                   {"Grüße/", {}},
                   {"empty.dat", {}},
                   {"nothing here/", {}},
                   {"a/b/c/deep.bin", QByteArray("\x00\x01\x02\xff", 4).repeated(3000)},
                   {"a/", {}},
                   {"a/b/", {}},
                   {"a/b/c/", {}}};

void makeTree(const QString& root, const Tree& tree)
{
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        if (it.key().endsWith('/'))
            QDir().mkpath(root + '/' + it.key());
        else
            writeFile(root + '/' + it.key(), it.value());
    }
}

struct Progress
{
    QList<qint64> seen;
    bool cancelAtFirst = false;
};

void recordProgress(qint64 done, void* user)
{
    auto* progress = static_cast<Progress*>(user);
    progress->seen.append(done);
    if (progress->cancelAtFirst)
        ZipOperate::setCancelled(true);
}

bool skipTmpFiles(bool isFolder, const QString& path)
{
    return isFolder ? !path.endsWith("/skipped") : !path.endsWith(".tmp");
}

} // namespace

Q_DECLARE_METATYPE(Entry)

class TestZip : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void unpacksInfoZipArchive();
    void unpacksPythonArchive();
    void ourArchivePassesUnzip();
    void compressCallbackAndSelf();
    void compressFailuresLeaveNoArchive();
    void compressFileList();
    void cleansTargetNames();
    void brokenArchives_data();
    void brokenArchives();
    void refusesLeavingTarget_data();
    void refusesLeavingTarget();
    void refusesLinksOnDisk();
    void linkInsideIsWrittenAsFile();
    void progressAndCancel();
    void readFile();

private:
    QString path(const QString& name) const { return m_pDir->filePath(name); }
    QScopedPointer<QTemporaryDir> m_pDir;
};

void TestZip::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    if (!haveTool("python3") || !haveTool("zip") || !haveTool("unzip"))
        QSKIP("python3, zip and unzip are needed (scripts/setup installs them)");
}

void TestZip::init()
{
    m_pDir.reset(new QTemporaryDir);
    QVERIFY(m_pDir->isValid());
}

void TestZip::cleanup()
{
    ZipOperate::setCancelled(false);
    ZipOperate::setProgressFunction(nullptr, nullptr);
    ZipOperate::setTotalSize(0);
}

// ---- real peers -----------------------------------------------------------------------------------

void TestZip::unpacksInfoZipArchive()
{
    makeTree(path("src"), kSample);
    QCOMPARE(run("zip", {"-qr", path("info.zip"), "."}, path("src")), 0);
    const QStringList targets = RZQuaZip::ExtractDir(path("info.zip"), path("out"));
    QCOMPARE(targets.size(), kSample.size());
    QVERIFY(targets.contains(path("out/Grüße/日本語 ファイル.txt")));
    QCOMPARE(snapshot(path("out")), kSample);
}

void TestZip::unpacksPythonArchive()
{
    QList<Entry> entries;
    for (auto it = kSample.cbegin(); it != kSample.cend(); ++it)
        entries.append({it.key(), QString::fromUtf8(it.value()), it.key().size() % 2 == 0, false});
    // Python is handed text: the binary file arrives with its invalid bytes replaced.
    Tree expected = kSample;
    expected["a/b/c/deep.bin"] = QString::fromUtf8(kSample["a/b/c/deep.bin"]).toUtf8();
    QVERIFY(makeZipWithPython(path("py.zip"), entries));
    QCOMPARE(RZQuaZip::ExtractDir(path("py.zip"), path("out")).size(), kSample.size());
    QCOMPARE(snapshot(path("out")), expected);
}

void TestZip::ourArchivePassesUnzip()
{
    makeTree(path("src"), kSample);
    QVERIFY(RZQuaZip::CompressDirWithUTF8(path("made/ours.zip"), path("src"), nullptr));
    QByteArray output;
    QCOMPARE(run("unzip", {"-t", path("made/ours.zip")}, QString(), {}, &output), 0);
    QCOMPARE(run("unzip", {"-q", path("made/ours.zip"), "-d", path("by-unzip")}), 0);
    QCOMPARE(snapshot(path("by-unzip")), kSample);
    QStringList names = RZQuaZip::GetFileList(path("made/ours.zip"));
    names.sort();
    QCOMPARE(names, QStringList(kSample.keys()));
    // And back through our own extraction.
    QCOMPARE(RZQuaZip::ExtractDir(path("made/ours.zip"), path("by-us")).size(), kSample.size());
    QCOMPARE(snapshot(path("by-us")), kSample);
}

void TestZip::compressCallbackAndSelf()
{
    makeTree(path("src"),
             {{"keep.txt", "k"}, {"drop.tmp", "d"}, {"skipped/inner.txt", "i"}, {"sub/also.tmp", "a"}});
    // The archive is written into the folder it packs and must not contain itself.
    QVERIFY(RZQuaZip::CompressDirWithUTF8(path("src/self.zip"), path("src"), skipTmpFiles));
    QStringList names = RZQuaZip::GetFileList(path("src/self.zip"));
    names.sort();
    QCOMPARE(names, QStringList({"keep.txt", "sub/"}));
}

void TestZip::compressFailuresLeaveNoArchive()
{
    QVERIFY(!RZQuaZip::CompressDirWithUTF8(path("none.zip"), path("missing"), nullptr));
    QVERIFY(!QFile::exists(path("none.zip")));
    QVERIFY(writeFile(path("blocker")));
    QVERIFY(!RZQuaZip::CompressDirWithUTF8(path("blocker/x.zip"), m_pDir->path(), nullptr));
    QVERIFY(!RZQuaZip::compressFiles(path("list.zip"), {path("blocker"), path("missing.txt")}, 6));
    QVERIFY(!QFile::exists(path("list.zip")));
}

void TestZip::compressFileList()
{
    makeTree(path("src"), {{"one/a.txt", "aaaa"}, {"two/b.txt", "bbbb"}});
    QVERIFY(RZQuaZip::compressFiles(path("list.zip"), {path("src/one/a.txt"), path("src/two/b.txt")}, 9));
    QByteArray listing;
    QCOMPARE(run("unzip", {"-v", path("list.zip")}, QString(), {}, &listing), 0);
    // Stored under their own names, without folders.
    QVERIFY2(listing.contains("Stored") && !listing.contains("Defl"), listing.constData());
    QCOMPARE(RZQuaZip::ExtractDir(path("list.zip"), path("out")).size(), 2);
    QCOMPARE(snapshot(path("out")), (Tree{{"a.txt", "aaaa"}, {"b.txt", "bbbb"}}));
}

void TestZip::cleansTargetNames()
{
    QVERIFY(makeZipWithPython(path("odd.zip"),
                              {{"what?.txt", "q"}, {"a*b|c<d>e\"f.txt", "s"}, {"time 10:30.txt", "c"}}));
    const QStringList targets = RZQuaZip::ExtractDir(path("odd.zip"), path("out"));
    QVERIFY(targets.contains(path("out/what_.txt")));
    QCOMPARE(snapshot(path("out")),
             (Tree{{"what_.txt", "q"}, {"a_b_c_d_e_f.txt", "s"}, {"time 10:30.txt", "c"}}));
}

// ---- failures -------------------------------------------------------------------------------------

void TestZip::brokenArchives_data()
{
    // clang-format off
    QTest::addColumn<QString>("kind");
    QTest::newRow("damaged last entry, stored") << "stored";
    QTest::newRow("damaged last entry, deflated") << "deflated";
    QTest::newRow("truncated") << "truncated";
    QTest::newRow("not an archive") << "text";
    QTest::newRow("no entries") << "empty";
    QTest::newRow("missing") << "missing";
    // clang-format on
}

void TestZip::brokenArchives()
{
    QFETCH(QString, kind);
    const QString zip = path("broken.zip");
    const QString big = QString("0123456789abcdef").repeated(4096);
    const QList<Entry> entries{{"first.txt", "first"},
                               {"dir/", ""},
                               {"dir/second.txt", big, true},
                               {"last.bin", big, kind == "deflated"}};
    if (kind == "stored" || kind == "deflated") {
        QVERIFY(makeZipWithPython(zip, entries, true));
    } else if (kind == "truncated") {
        QVERIFY(makeZipWithPython(zip, entries));
        QFile file(zip);
        QVERIFY(file.resize(file.size() / 2));
    } else if (kind == "text") {
        QVERIFY(writeFile(zip, "this is no archive\n"));
    } else if (kind == "empty") {
        QVERIFY(makeZipWithPython(zip, {}));
    }
    RZScopedTestLogger logger;
    QVERIFY(RZQuaZip::ExtractDir(zip, path("out")).isEmpty());
    QCOMPARE(filesBelow(path("out")), QStringList());
}

void TestZip::refusesLeavingTarget_data()
{
    // clang-format off
    QTest::addColumn<Entry>("evil");
    QTest::newRow("parent") << Entry{"../evil.txt", "x"};
    QTest::newRow("parent, nested") << Entry{"dir/../../evil.txt", "x"};
    QTest::newRow("parent, backslash") << Entry{"..\\evil.txt", "x"};
    QTest::newRow("absolute") << Entry{"@temp@/abs-evil.txt", "x"};
    QTest::newRow("drive") << Entry{"C:/evil.txt", "x"};
    QTest::newRow("link up") << Entry{"up", "../../", false, true};
    QTest::newRow("link absolute") << Entry{"passwd", "/etc/passwd", false, true};
    QTest::newRow("link nested up") << Entry{"dir/l", "../../evil", false, true};
    // clang-format on
}

void TestZip::refusesLeavingTarget()
{
    QFETCH(Entry, evil);
    evil.name.replace("@temp@", m_pDir->path());
    QVERIFY(makeZipWithPython(path("evil.zip"),
                              {{"ok.txt", "fine"}, {"dir/", ""}, {"dir/ok2.txt", "fine"}, evil}));
    const Tree before = snapshot(m_pDir->path());
    RZScopedTestLogger logger;
    QVERIFY(RZQuaZip::ExtractDir(path("evil.zip"), path("work/out")).isEmpty());
    // Nothing written anywhere: the folders made inside the target are all that may appear.
    Tree after = snapshot(m_pDir->path());
    after.remove("work/");
    after.remove("work/out/");
    after.remove("work/out/dir/");
    QCOMPARE(after, before);
    int warnings = 0;
    for (const RZTestLogSink::Record& record : logger.sink->records()) {
        if (record.level == RZBaseLog::LogLevel::warn &&
            QString::fromStdString(record.message).contains(evil.name))
            ++warnings;
    }
    QCOMPARE(warnings, 1);
}

void TestZip::refusesLinksOnDisk()
{
    // Links already in the target folder must not carry an extraction outside it.
    makeTree(path("outside"), {{"victim.txt", "keep"}});
    QVERIFY(QDir().mkpath(path("out")));
    QVERIFY(QFile::link(path("outside"), path("out/linked-dir")));
    QVERIFY(QFile::link(path("outside/victim.txt"), path("out/victim.txt")));
    QVERIFY(QFile::link(path("outside/new.txt"), path("out/dangling.txt")));
    for (const char* name : {"linked-dir/new.txt", "victim.txt", "dangling.txt"}) {
        QVERIFY(makeZipWithPython(path("l.zip"), {{name, "overwritten"}}));
        QVERIFY2(RZQuaZip::ExtractDir(path("l.zip"), path("out")).isEmpty(), name);
        QCOMPARE(snapshot(path("outside")), (Tree{{"victim.txt", "keep"}}));
    }
}

void TestZip::linkInsideIsWrittenAsFile()
{
    QVERIFY(makeZipWithPython(
        path("link.zip"), {{"dir/", ""}, {"dir/real.txt", "data"}, {"alias", "dir/real.txt", false, true}}));
    QCOMPARE(RZQuaZip::ExtractDir(path("link.zip"), path("out")).size(), 3);
    QCOMPARE(snapshot(path("out")),
             (Tree{{"dir/", {}}, {"dir/real.txt", "data"}, {"alias", "dir/real.txt"}}));
}

// ---- progress and cancel --------------------------------------------------------------------------

void TestZip::progressAndCancel()
{
    makeTree(path("src"),
             {{"a.bin", QByteArray(10000, 'a')}, {"b/c.bin", QByteArray(30000, 'c')}, {"e", {}}});
    QVERIFY(RZQuaZip::CompressDirWithUTF8(path("p.zip"), path("src"), nullptr));
    const qint64 total = ZipOperate::uncompressedSize(path("p.zip"));
    QCOMPARE(total, qint64(40000));

    Progress progress;
    ZipOperate::setProgressFunction(recordProgress, &progress);
    QCOMPARE(RZQuaZip::ExtractDir(path("p.zip"), path("untold")).size(), 4);
    QVERIFY(progress.seen.isEmpty()); // no total, no reports

    ZipOperate::setTotalSize(total);
    QCOMPARE(RZQuaZip::ExtractDir(path("p.zip"), path("told")).size(), 4);
    QVERIFY(progress.seen.size() >= 40000 / 4096);
    QVERIFY(std::is_sorted(progress.seen.cbegin(), progress.seen.cend()));
    QCOMPARE(progress.seen.last(), total);
    QCOMPARE(ZipOperate::extractedSize(), total);

    progress.seen.clear();
    progress.cancelAtFirst = true;
    RZScopedTestLogger logger;
    QVERIFY(RZQuaZip::ExtractDir(path("p.zip"), path("cancelled")).isEmpty());
    QCOMPARE(progress.seen.size(), 1);
    QCOMPARE(filesBelow(path("cancelled")), QStringList());
    // The flag stays set until the host clears it.
    QVERIFY(ZipOperate::isCancelled());
    QVERIFY(RZQuaZip::ExtractDir(path("p.zip"), path("still")).isEmpty());
    ZipOperate::setCancelled(false);
    progress.cancelAtFirst = false;
    QCOMPARE(RZQuaZip::ExtractDir(path("p.zip"), path("again")).size(), 4);
}

void TestZip::readFile()
{
    QVERIFY(makeZipWithPython(path("r.zip"), {{"notes/Grüße.txt", "Grüße\n", true}}));
    QCOMPARE(RZQuaZip::ReadFile(path("r.zip"), "notes/Grüße.txt"), QString("Grüße\n"));
    QVERIFY(RZQuaZip::ReadFile(path("r.zip"), "missing.txt").isEmpty());
    QVERIFY(RZQuaZip::ReadFile(path("nothing.zip"), "notes/Grüße.txt").isEmpty());
    // Bytes that are not UTF-8 become replacement characters.
    QVERIFY(writeFile(path("bytes/raw.txt"), "ok \xff\xfe end"));
    QVERIFY(RZQuaZip::compressFiles(path("bytes.zip"), {path("bytes/raw.txt")}, 0));
    QCOMPARE(RZQuaZip::ReadFile(path("bytes.zip"), "raw.txt"), QString("ok \uFFFD\uFFFD end"));
}

QTEST_GUILESS_MAIN(TestZip)
#include "tst_zip.moc"
