#include "RZFileTestUtils.h"

#include <RZCore/files/ZipOperate.h>
#include <RZTestLogSink.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace RZFileTest;

namespace {

// Writes an archive with Python's zipfile from a JSON description: entries with "name", "data"
// (base64), "deflate", "link" (a symbolic link whose data is its target).
const char* const kMakeZip = R"PY(
import base64, json, sys, zipfile
layout = json.load(sys.stdin)
with zipfile.ZipFile(layout["zip"], "w") as z:
    for e in layout["entries"]:
        info = zipfile.ZipInfo(e["name"])
        info.create_system = 3
        info.compress_type = zipfile.ZIP_DEFLATED if e["deflate"] else zipfile.ZIP_STORED
        if e["link"]:
            info.external_attr = 0o120777 << 16
        z.writestr(info, base64.b64decode(e["data"]))
)PY";

struct Entry
{
    QString name;
    QByteArray data;
    bool deflate = false;
    bool link = false;
};

// The system's interpreter first: version-manager shims cost a second per start.
QString python()
{
    const QString system = QStandardPaths::findExecutable("python3", {"/usr/bin", "/usr/local/bin"});
    return system.isEmpty() ? QStringLiteral("python3") : system;
}

bool makeZipWithPython(const QString& zip, const QList<Entry>& entries)
{
    QJsonArray list;
    for (const Entry& e : entries) {
        const QString data = QString::fromLatin1(e.data.toBase64());
        list.append(QJsonObject{{"name", e.name}, {"data", data}, {"deflate", e.deflate}, {"link", e.link}});
    }
    const QJsonObject layout{{"zip", zip}, {"entries", list}};
    return run(python(), {"-c", kMakeZip}, QString(), QJsonDocument(layout).toJson()) == 0;
}

// Names with several scripts, an empty file and an empty folder: what the peers must agree on.
// clang-format off
const Tree kSample{{"readme.txt", "hello\n"}, {"Grüße/", {}}, {"Grüße/日本語 ファイル.txt", QByteArray(20000, 'x') + "end"},
                   {"empty.dat", {}}, {"nothing here/", {}}, {"a/", {}}, {"a/b/", {}}, {"a/b/c/", {}},
                   {"a/b/c/deep.bin", QByteArray("\x00\x01\x02\xff", 4).repeated(3000)}};
// clang-format on

// Records the reports in the list it is given; a null list cancels at the first report.
void recordProgress(qint64 done, void* seen)
{
    if (seen)
        static_cast<QList<qint64>*>(seen)->append(done);
    else
        ZipOperate::setCancelled(true);
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

    void peersAgree_data();
    void peersAgree();
    void compressFilterSelfAndFailures();
    void compressFileList();
    void oddEntriesInside();
    void brokenArchives_data();
    void brokenArchives();
    void refusesLeavingTarget_data();
    void refusesLeavingTarget();
    void refusesLinksOnDisk();
    void progressAndCancel();

private:
    QString path(const QString& name) const { return m_pDir->filePath(name); }
    QScopedPointer<QTemporaryDir> m_pDir;
};

void TestZip::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    if (QStandardPaths::findExecutable("zip").isEmpty() || QStandardPaths::findExecutable("unzip").isEmpty())
        QSKIP("zip and unzip are needed (scripts/setup installs them)");
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

void TestZip::peersAgree_data()
{
    // clang-format off
    QTest::addColumn<QString>("maker");
    QTest::addColumn<QString>("unpacker");
    QTest::newRow("zip -r, unpacked by us") << "zip" << "us";
    QTest::newRow("zipfile, unpacked by us") << "python" << "us";
    QTest::newRow("ours, unpacked by unzip") << "us" << "unzip";
    // zipfile reads names without the UTF-8 flag as CP 437.
    QTest::newRow("ours, unpacked by zipfile") << "us" << "python";
    QTest::newRow("ours, unpacked by us") << "us" << "us";
    // clang-format on
}

void TestZip::peersAgree()
{
    QFETCH(QString, maker);
    QFETCH(QString, unpacker);
    makeTree(path("src"), kSample);
    const QString zip = path("a.zip");
    if (maker == "zip") {
        QCOMPARE(run("zip", {"-qr", zip, "."}, path("src")), 0);
    } else if (maker == "python") {
        QList<Entry> entries;
        for (auto it = kSample.cbegin(); it != kSample.cend(); ++it)
            entries.append({it.key(), it.value(), it.key().size() % 2 == 0, false});
        QVERIFY(makeZipWithPython(zip, entries));
    } else {
        QVERIFY(RZQuaZip::CompressDirWithUTF8(zip, path("src"), nullptr));
        QCOMPARE(run("unzip", {"-tq", zip}), 0);
    }
    if (unpacker == "unzip") {
        QCOMPARE(run("unzip", {"-q", zip, "-d", path("out")}), 0);
    } else if (unpacker == "python") {
        const char* const extract =
            "import sys, zipfile; zipfile.ZipFile(sys.argv[1]).extractall(sys.argv[2])";
        QCOMPARE(run(python(), {"-c", extract, zip, path("out")}), 0);
    } else {
        const QStringList targets = RZQuaZip::ExtractDir(zip, path("out"));
        QCOMPARE(targets.size(), kSample.size());
        QVERIFY(targets.contains(path("out/Grüße/日本語 ファイル.txt")));
    }
    QCOMPARE(snapshot(path("out")), kSample);
}

void TestZip::compressFilterSelfAndFailures()
{
    makeTree(path("src"),
             {{"keep.txt", "k"}, {"drop.tmp", "d"}, {"skipped/inner.txt", "i"}, {"sub/also.tmp", "a"}});
    // The archive is written into the folder it packs and must not contain itself.
    QVERIFY(RZQuaZip::CompressDirWithUTF8(
        path("src/self.zip"), path("src"), [](bool folder, const QString& path) {
            return folder ? !path.endsWith("/skipped") : !path.endsWith(".tmp");
        }));
    QStringList names = RZQuaZip::GetFileList(path("src/self.zip"));
    names.sort();
    QCOMPARE(names, QStringList({"keep.txt", "sub/"}));
    // Failures leave no archive.
    QVERIFY(!RZQuaZip::CompressDirWithUTF8(path("none.zip"), path("missing"), nullptr));
    QVERIFY(!QFile::exists(path("none.zip")));
    QVERIFY(!RZQuaZip::CompressDirWithUTF8(path("src/keep.txt/x.zip"), path("src"), nullptr));
    QVERIFY(!RZQuaZip::compressFiles(path("list.zip"), {path("src/keep.txt"), path("missing.txt")}, 6));
    QVERIFY(!QFile::exists(path("list.zip")));
}

void TestZip::compressFileList()
{
    makeTree(path("src"), {{"one/a.txt", "aaaa"}, {"two/Grüße.txt", "ok \xff\xfe end"}});
    QVERIFY(RZQuaZip::compressFiles(path("list.zip"), {path("src/one/a.txt"), path("src/two/Grüße.txt")}, 9));
    QByteArray listing;
    QCOMPARE(run("unzip", {"-v", path("list.zip")}, QString(), {}, &listing), 0);
    // Stored under their own names, without folders.
    QVERIFY2(listing.contains("Stored") && !listing.contains("Defl"), listing.constData());
    QCOMPARE(RZQuaZip::ExtractDir(path("list.zip"), path("out")).size(), 2);
    QCOMPARE(snapshot(path("out")), (Tree{{"a.txt", "aaaa"}, {"Grüße.txt", "ok \xff\xfe end"}}));
    // Read as UTF-8 text: bytes that are not UTF-8 become replacement characters.
    QCOMPARE(RZQuaZip::ReadFile(path("list.zip"), "Grüße.txt"), QString("ok \uFFFD\uFFFD end"));
    QVERIFY(RZQuaZip::ReadFile(path("list.zip"), "missing.txt").isEmpty());
}

void TestZip::oddEntriesInside()
{
    // Characters Windows refuses become "_"; a link that stays inside is written as a file holding
    // its target.
    // clang-format off
    QVERIFY(makeZipWithPython(path("odd.zip"), {{"what?.txt", "q"}, {"a*b|c<d>e\"f.txt", "s"},
                                                {"d/real.txt", "data"}, {"alias", "d/real.txt", false, true}}));
    const QStringList targets = RZQuaZip::ExtractDir(path("odd.zip"), path("out"));
    QVERIFY(targets.contains(path("out/what_.txt")));
    QCOMPARE(snapshot(path("out")), (Tree{{"what_.txt", "q"}, {"a_b_c_d_e_f.txt", "s"}, {"d/", {}},
                                          {"d/real.txt", "data"}, {"alias", "d/real.txt"}}));
    // clang-format on
}

// ---- failures -------------------------------------------------------------------------------------

void TestZip::brokenArchives_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("damaged last entry, stored") << "stored";
    QTest::newRow("damaged last entry, deflated") << "deflated";
    QTest::newRow("truncated") << "truncated";
    QTest::newRow("not an archive") << "text";
}

void TestZip::brokenArchives()
{
    QFETCH(QString, kind);
    const QString zip = path("broken.zip");
    const QByteArray big = QByteArray("0123456789abcdef").repeated(4096);
    const QList<Entry> entries{{"first.txt", "first"},
                               {"dir/", ""},
                               {"dir/second.txt", big, true},
                               {"last.bin", big, kind == "deflated"}};
    if (kind == "text")
        QVERIFY(writeFile(zip, "this is no archive\n"));
    else
        QVERIFY(makeZipWithPython(zip, entries));
    QByteArray bytes = readFile(zip);
    if (kind == "truncated") {
        bytes.truncate(bytes.size() / 2);
    } else if (kind == "stored" || kind == "deflated") {
        // A byte of the last entry's data: its local header has 30 bytes, its name "last.bin" 8.
        const int at = bytes.lastIndexOf("PK\x03\x04") + 30 + 8 + 20;
        bytes[at] = static_cast<char>(~bytes[at]);
    }
    QVERIFY(writeFile(zip, bytes));
    RZScopedTestLogger logger;
    QVERIFY(RZQuaZip::ExtractDir(zip, path("out")).isEmpty());
    QVERIFY(!hasFiles(path("out")));
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
    for (const char* folder : {"work/", "work/out/", "work/out/dir/"})
        after.remove(folder);
    QCOMPARE(after, before);
    const std::vector<RZTestLogSink::Record> records = logger.sink->records();
    QCOMPARE(records.size(), size_t(1));
    QCOMPARE(records.front().level, RZBaseLog::LogLevel::warn);
    QVERIFY(QString::fromStdString(records.front().message).contains(evil.name));
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

// ---- progress and cancel --------------------------------------------------------------------------

void TestZip::progressAndCancel()
{
    makeTree(path("src"),
             {{"a.bin", QByteArray(10000, 'a')}, {"b/c.bin", QByteArray(30000, 'c')}, {"e", {}}});
    QVERIFY(RZQuaZip::CompressDirWithUTF8(path("p.zip"), path("src"), nullptr));
    const qint64 total = ZipOperate::uncompressedSize(path("p.zip"));
    QCOMPARE(total, qint64(40000));

    QList<qint64> seen;
    ZipOperate::setProgressFunction(recordProgress, &seen);
    QCOMPARE(RZQuaZip::ExtractDir(path("p.zip"), path("untold")).size(), 4);
    QVERIFY(seen.isEmpty()); // no total, no reports
    ZipOperate::setTotalSize(total);
    QCOMPARE(RZQuaZip::ExtractDir(path("p.zip"), path("told")).size(), 4);
    QVERIFY(seen.size() >= 40000 / 4096);
    QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
    QCOMPARE(seen.last(), total);
    QCOMPARE(ZipOperate::extractedSize(), total);

    ZipOperate::setProgressFunction(recordProgress, nullptr);
    RZScopedTestLogger logger;
    QVERIFY(RZQuaZip::ExtractDir(path("p.zip"), path("cancelled")).isEmpty());
    QVERIFY(ZipOperate::extractedSize() < total);
    QVERIFY(!hasFiles(path("cancelled")));
    // The flag stays set until the host clears it.
    ZipOperate::setProgressFunction(nullptr, nullptr);
    QVERIFY(RZQuaZip::ExtractDir(path("p.zip"), path("still")).isEmpty());
    ZipOperate::setCancelled(false);
    QCOMPARE(RZQuaZip::ExtractDir(path("p.zip"), path("again")).size(), 4);
}

QTEST_GUILESS_MAIN(TestZip)
#include "tst_zip.moc"
