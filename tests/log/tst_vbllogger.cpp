// The file-logging service: the set-up record, the line pattern, rotation (also under load),
// flushing, and directories it cannot use.

#include <VblLogger.h>

#include <RZCore/platform/RZPlatform.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

namespace {

// Fills a text field whole: the text, then zeros; a text as long as the field has no NUL.
template <std::size_t N> void setField(char (&field)[N], const QByteArray& text)
{
    std::memcpy(field, text.leftJustified(int(N), '\0', true).constData(), N);
}

VblLoggingConfig makeConfig(const QString& directory, const QByteArray& name, const QByteArray& pattern,
                            int maxFiles = 3, quint32 maxFileSize = 0x500000)
{
    VblLoggingConfig config;
    vblDefaultLoggingConfig(&config);
    setField(config.pattern, pattern);
    setField(config.loggerName, name);
    setField(config.directory, QFile::encodeName(directory));
    config.maxFiles = maxFiles;
    config.maxFileSize = maxFileSize;
    return config;
}

void write(const char* name, const char* message, int level = 4)
{
    writeLog(name, level, 0, nullptr, nullptr, -1, message);
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Log lines hold account names, paths and tokens: every log file is the user's alone.
bool ownerOnly(const QString& path)
{
#ifdef Q_OS_WIN
    Q_UNUSED(path)
    return true; // the profile's ACLs decide
#else
    return QFile::permissions(path) ==
           (QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);
#endif
}

QList<QByteArray> linesOf(const QString& path)
{
    QList<QByteArray> lines = readAll(path).split('\n');
    lines.removeLast(); // behind the last line end
    return lines;
}

struct Marker
{
    const char* pattern;
    int level;
    const char* file;
    int line;
    const char* function;
    const char* message;
    const char* expected; // TID stands for the thread id, DATE for the date
};

struct Rotation
{
    int maxFiles;
    int maxFileSize;
    int lineCount;
    QList<int> fileLines; // newest file first
};

} // namespace

Q_DECLARE_METATYPE(Marker)
Q_DECLARE_METATYPE(Rotation)

class TestVblLogger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { enableAutoFlushLog(1); }
    void cleanup() { teardownLoggingService(); }

    // The record as code in another language sees it: offsets, sizes and the default values.
    void defaultRecordLayout()
    {
        VblLoggingConfig config;
        std::memset(&config, 0xa5, sizeof config);
        vblDefaultLoggingConfig(&config);
        const auto word = [](qint32 value) { return QByteArray(reinterpret_cast<const char*>(&value), 4); };
        QByteArray expected(1296, '\0');
        expected.replace(0, 26, "[%s][%i][%d][%f][%l][%F]%m");
        expected.replace(128, 8, word(-1) + word(-1));
        expected.replace(136, 3, "vbl");
        expected.replace(1288, 8, word(3) + word(0x500000));
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(&config), sizeof config), expected);
    }

    void markers_data()
    {
        QTest::addColumn<Marker>("c");
        const char* names[] = {"0", "DEBUG", "2", "TRACE", "INFO", "WARN", "ERROR", "CRITICAL", "OFF", "9"};
        for (int level = 0; level <= 9; ++level)
            QTest::addRow("level %d", level)
                << Marker{"%s", level, nullptr, -1, nullptr, nullptr, names[level]};
        QTest::newRow("every marker, own layout") << Marker{
            "%s %i %d %f %l %F %m", 6, "a.cpp", 0, "A::b", "text", "ERROR TID DATE a.cpp 0 A::b text"};
        QTest::newRow("default layout, level without a name")
            << Marker{VBL_DEFAULT_PATTERN, 2, nullptr, 0, nullptr, "m", "[2][TID][DATE][][0][]m"};
        QTest::newRow("no location") << Marker{"<%f|%l|%F>", 4, nullptr, -1, nullptr, nullptr, "<||>"};
        QTest::newRow("message") << Marker{"%m", 4, nullptr, -1, nullptr, "100% %s %n", "100% %s %n"};
        QTest::newRow("percent, unknown, trailing")
            << Marker{"%%m %q%", 4, nullptr, -1, nullptr, "x", "%m %q%"};
        QTest::newRow("empty is the default")
            << Marker{"", 5, nullptr, -1, nullptr, "m", "[WARN][TID][DATE][][][]m"};
    }

    void markers()
    {
        QFETCH(Marker, c);
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "markers", c.pattern), 2);
        writeLog("markers", c.level, 0, c.file, c.function, c.line, c.message);
        const QList<QByteArray> lines = linesOf(dir.filePath("markers.log"));
        QCOMPARE(lines.size(), 1);
        const QString expected = QRegularExpression::escape(c.expected)
                                     .replace("TID", QString::number(RZPlatform::currentThreadId()))
                                     .replace("DATE", "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}");
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(expected)).match(lines[0]).hasMatch(),
                 lines[0].constData());
    }

    void rotation_data()
    {
        QTest::addColumn<Rotation>("c");
        // Lines are 100 bytes: ten fill a 1,000-byte file exactly.
        QTest::newRow("three files") << Rotation{3, 1000, 45, {5, 10, 10}};
        QTest::newRow("exactly full") << Rotation{3, 1000, 30, {10, 10, 10}};
        QTest::newRow("one file") << Rotation{1, 1000, 45, {5}};
        QTest::newRow("no count counts as one") << Rotation{0, 1000, 15, {5}};
        QTest::newRow("five files") << Rotation{5, 500, 22, {2, 5, 5, 5, 5}};
        QTest::newRow("no limit") << Rotation{3, 0, 100, {100}};
    }

    void rotation()
    {
        QFETCH(Rotation, c);
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "rot", "%m", c.maxFiles, quint32(c.maxFileSize)), 2);
        for (int i = 0; i < c.lineCount; ++i)
            write("rot", QByteArray::number(i).rightJustified(99, '0').constData());
        teardownLoggingService();

        QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), c.fileLines.size());
        // Oldest to newest: the newest lines, in order, none split, no file over the limit.
        int next = c.lineCount - std::accumulate(c.fileLines.begin(), c.fileLines.end(), 0);
        for (int i = c.fileLines.size() - 1; i >= 0; --i) {
            const QString path =
                dir.filePath(i == 0 ? QStringLiteral("rot.log") : QStringLiteral("rot.%1.log").arg(i));
            QVERIFY(c.maxFileSize == 0 || readAll(path).size() <= c.maxFileSize);
            QVERIFY(ownerOnly(path));
            const QList<QByteArray> lines = linesOf(path);
            QCOMPARE(lines.size(), c.fileLines[i]);
            for (const QByteArray& line : lines)
                QCOMPARE(line, QByteArray::number(next++).rightJustified(99, '0'));
        }
    }

    // 4 threads x 100,000 lines through the default 5 MiB x 3 rotation.
    void rotationUnderThreads()
    {
        constexpr int kThreads = 4;
        constexpr int kLines = 100000;
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "load", VBL_DEFAULT_PATTERN), 2);
        std::vector<std::thread> threads;
        std::uint64_t tids[kThreads] = {};
        // Each thread's closing line (number kLines) is written only once every thread has written all
        // its other lines, so all closing lines survive rotation whichever thread the scheduler favoured.
        std::mutex gate;
        std::condition_variable allDone;
        int finished = 0;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                tids[t] = RZPlatform::currentThreadId();
                char message[64];
                for (int i = 0; i <= kLines; ++i) {
                    if (i == kLines) {
                        std::unique_lock<std::mutex> lock(gate);
                        ++finished;
                        allDone.notify_all();
                        allDone.wait(lock, [&] { return finished == kThreads; });
                    }
                    std::snprintf(message, sizeof message, "thread %d line %06d of typical length", t, i);
                    writeLog("load", 4, 0, "Worker.cpp", "Worker::run", 77, message);
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        teardownLoggingService();

        QCOMPARE(QDir(dir.path()).entryList(QDir::Files),
                 (QStringList{"load.1.log", "load.2.log", "load.log"}));
        const QRegularExpression shape("^\\[INFO\\]\\[(\\d+)\\]\\[[-0-9 :.]{23}\\]\\[Worker\\.cpp\\]\\[77\\]"
                                       "\\[Worker::run\\]thread (\\d) line (\\d{6}) of typical length$");
        int last[kThreads] = {-1, -1, -1, -1};
        for (const char* name : {"load.2.log", "load.1.log", "load.log"}) {
            QVERIFY(readAll(dir.filePath(name)).size() <= 0x500000);
            for (const QByteArray& line : linesOf(dir.filePath(name))) {
                const QRegularExpressionMatch m = shape.match(QString::fromLatin1(line));
                QVERIFY2(m.hasMatch(), line.constData());
                const int t = m.captured(2).toInt();
                // From a thread's first line on, every later one is there, in order, with its id.
                QVERIFY2(last[t] == -1 || m.captured(3).toInt() == last[t] + 1, line.constData());
                QVERIFY2(m.captured(1).toULongLong() == tids[t], line.constData());
                last[t] = m.captured(3).toInt();
            }
        }
        // No thread's lines end early: the last one kept of each is its closing line.
        QCOMPARE(QVector<int>(last, last + kThreads), QVector<int>(kThreads, kLines));
    }

    void unusableDirectory_data()
    {
        QTest::addColumn<QString>("directory"); // relative to the test's folder, which holds the file "plain"
        QTest::newRow("is a file") << QStringLiteral("plain");
        QTest::newRow("below a file") << QStringLiteral("plain/a/b");
    }

    void unusableDirectory()
    {
        QFETCH(QString, directory);
        QTemporaryDir dir;
        QFile plain(dir.filePath("plain"));
        QVERIFY(plain.open(QIODevice::WriteOnly) && plain.write("untouched") == 9);
        plain.close();
        setupLoggingService(makeConfig(dir.filePath(directory), "lost", "%m"), 2);
        for (int i = 0; i < 1000; ++i)
            writeLog("lost", 6, 0, "f.cpp", "f", i, "nowhere to go");
        QCOMPARE(readAll(dir.filePath("plain")), QByteArray("untouched"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"plain"});

        // Once the way is free, the logger opens its file again (at most once a second).
        QVERIFY(QFile::remove(dir.filePath("plain")));
        const QString path = QDir(dir.filePath(directory)).filePath("lost.log");
        QTRY_VERIFY_WITH_TIMEOUT((write("lost", "found"), QFile::exists(path)), 5000);
        QCOMPARE(linesOf(path).first(), QByteArray("found"));
    }

    void fileNames_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("fileName");
        QTest::newRow("separators and reserved characters")
            << QByteArray("../a\\b:c*?\"<>|\t") << QStringLiteral(".._a_b_c_______.log");
        QTest::newRow("empty") << QByteArray("") << QStringLiteral("vbl.log");
        QTest::newRow("whole field") << QByteArray(128, 'n') << QString(128, 'n') + ".log";
    }

    void fileNames()
    {
        QFETCH(QByteArray, name);
        QFETCH(QString, fileName);
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.filePath("inner"), name, "%m"), 2);
        write(name.constData(), "named");
        QCOMPARE(QDir(dir.filePath("inner")).entryList(QDir::Files | QDir::Hidden), QStringList{fileName});
        QCOMPARE(linesOf(QDir(dir.filePath("inner")).filePath(fileName)), QList<QByteArray>{"named"});
    }

    void flushTeardownAndSetupAgain()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("again.log");
        setupLoggingService(makeConfig(dir.path(), "again", "%m"), 2);
        write("again", "at once"); // auto-flush: in the file before writeLog returns
        QCOMPARE(readAll(path), QByteArray("at once\n"));
        enableAutoFlushLog(0);
        write("again", "held");
        enableAutoFlushLog(1); // writes what was held
        QCOMPARE(linesOf(path).size(), 2);
        enableAutoFlushLog(0);
        write("again", "at teardown");
        teardownLoggingService();
        write("again", "after teardown");
        QCOMPARE(readAll(path), QByteArray("at once\nheld\nat teardown\n"));

        // Set up again: appends, counts the 25 bytes already there, cuts a line longer than a file. A file
        // that others could read is the user's alone once the service opens it.
        QVERIFY(QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ReadGroup |
                                                QFileDevice::ReadOther));
        enableAutoFlushLog(1);
        setupLoggingService(makeConfig(dir.path(), "again", "<%m>", 3, 40), 2);
        setLogLevel("again", 5);
        setLogLevel(nullptr, 9);
        write("again", "below the minimum", 4);
        write("again", "fits", 5);      // 32 bytes
        write("again", "next line", 5); // would make 44
        write("again", QByteArray(100, 'b').constData(), 5);
        QCOMPARE(readAll(dir.filePath("again.2.log")), QByteArray("at once\nheld\nat teardown\n<fits>\n"));
        QCOMPARE(readAll(dir.filePath("again.1.log")), QByteArray("<next line>\n"));
        QCOMPARE(readAll(path), QByteArray("<" + QByteArray(38, 'b') + "\n"));
        for (const char* name : {"again.2.log", "again.1.log", "again.log"})
            QVERIFY2(ownerOnly(dir.filePath(name)), name);
    }
};

QTEST_GUILESS_MAIN(TestVblLogger)
#include "tst_vbllogger.moc"
