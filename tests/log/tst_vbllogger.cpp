// The file-logging service: the set-up record, the line pattern, levels, flushing, rotation under
// load, and directories it cannot use.

#include <VblLogger.h>

#include <RZCore/platform/RZPlatform.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

const QByteArray kLineEnd = "\n";

VblLoggingConfig makeConfig(const QString& directory, const QByteArray& name, const QByteArray& pattern,
                            int maxFiles = 3, quint32 maxFileSize = 0x500000)
{
    VblLoggingConfig config;
    vblDefaultLoggingConfig(&config);
    std::memset(config.pattern, 0, sizeof config.pattern);
    std::memcpy(config.pattern, pattern.constData(), static_cast<std::size_t>(pattern.size()));
    std::memset(config.loggerName, 0, sizeof config.loggerName);
    std::memcpy(config.loggerName, name.constData(), static_cast<std::size_t>(name.size()));
    const QByteArray dir = QFile::encodeName(directory);
    std::memcpy(config.directory, dir.constData(), static_cast<std::size_t>(dir.size()));
    config.maxFiles = maxFiles;
    config.maxFileSize = maxFileSize;
    return config;
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QByteArray> linesOf(const QByteArray& content)
{
    QList<QByteArray> lines = content.split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

} // namespace

class TestVblLogger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init()
    {
        m_pDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_pDir->isValid());
        enableAutoFlushLog(1);
    }
    void cleanup()
    {
        teardownLoggingService();
        enableAutoFlushLog(1);
        m_pDir.reset();
    }

    void defaultRecord()
    {
        VblLoggingConfig config;
        std::memset(&config, 0xa5, sizeof config);
        vblDefaultLoggingConfig(&config);
        QCOMPARE(QByteArray(config.pattern), QByteArray("[%s][%i][%d][%f][%l][%F]%m"));
        QCOMPARE(config.reserved0, -1);
        QCOMPARE(config.reserved1, -1);
        QCOMPARE(QByteArray(config.loggerName), QByteArray("vbl"));
        QCOMPARE(QByteArray(config.directory), QByteArray());
        QCOMPARE(config.maxFiles, 3);
        QCOMPARE(config.maxFileSize, 0x500000u);
        // Every byte behind a text's end is zero.
        const auto zeroTail = [](const char* field, std::size_t size) {
            for (std::size_t i = std::strlen(field); i < size; ++i)
                if (field[i] != 0)
                    return false;
            return true;
        };
        QVERIFY(zeroTail(config.pattern, sizeof config.pattern));
        QVERIFY(zeroTail(config.loggerName, sizeof config.loggerName));
        QVERIFY(zeroTail(config.directory, sizeof config.directory));
    }

    void markers_data()
    {
        QTest::addColumn<QByteArray>("pattern");
        QTest::addColumn<int>("level");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("line");
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("expected");

        const QByteArray none; // a null text
        const QByteArray levelNames[] = {"0", "DEBUG", "2", "TRACE", "INFO", "WARN", "ERROR", "CRITICAL", "OFF", "9"};
        for (int level = 0; level <= 9; ++level)
            QTest::addRow("level %d", level) << QByteArray("%s") << level << none << none << -1 << none
                                             << levelNames[level];
        QTest::newRow("file") << QByteArray("<%f>") << 4 << QByteArray("Foo.cpp") << none << 1 << none
                              << QByteArray("<Foo.cpp>");
        QTest::newRow("no file") << QByteArray("<%f>") << 4 << none << none << 1 << none << QByteArray("<>");
        QTest::newRow("line") << QByteArray("<%l>") << 4 << none << none << 42 << none << QByteArray("<42>");
        QTest::newRow("line 0") << QByteArray("<%l>") << 4 << none << none << 0 << none << QByteArray("<0>");
        QTest::newRow("unknown line") << QByteArray("<%l>") << 4 << none << none << -1 << none << QByteArray("<>");
        QTest::newRow("function") << QByteArray("<%F>") << 4 << none << QByteArray("Foo::bar") << 1 << none
                                  << QByteArray("<Foo::bar>");
        QTest::newRow("no function") << QByteArray("<%F>") << 4 << none << none << 1 << none << QByteArray("<>");
        QTest::newRow("message") << QByteArray("%m") << 4 << none << none << 1 << QByteArray("100% %s %n done")
                                 << QByteArray("100% %s %n done");
        QTest::newRow("no message") << QByteArray("<%m>") << 4 << none << none << 1 << none << QByteArray("<>");
        QTest::newRow("percent") << QByteArray("%%m %%") << 4 << none << none << 1 << QByteArray("x")
                                 << QByteArray("%m %");
        QTest::newRow("unknown marker") << QByteArray("%q%m%Z") << 4 << none << none << 1 << QByteArray("x")
                                        << QByteArray("%qx%Z");
        QTest::newRow("trailing percent") << QByteArray("%m%") << 4 << none << none << 1 << QByteArray("x")
                                          << QByteArray("x%");
        QTest::newRow("all but time") << QByteArray("[%s][%f][%l][%F]%m") << 6 << QByteArray("a.cpp")
                                      << QByteArray("A::b") << 7 << QByteArray("text")
                                      << QByteArray("[ERROR][a.cpp][7][A::b]text");
        QTest::newRow("without location") << QByteArray("[%s][%f][%l][%F]%m") << 5 << none << none << -1
                                          << QByteArray("text") << QByteArray("[WARN][][][]text");
        QTest::newRow("empty pattern is the default") << QByteArray() << 4 << none << none << -1 << QByteArray("m")
                                                      << QByteArray();
    }

    void markers()
    {
        QFETCH(QByteArray, pattern);
        QFETCH(int, level);
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, function);
        QFETCH(int, line);
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, expected);

        setupLoggingService(makeConfig(m_pDir->path(), "markers", pattern), 2);
        writeLog("markers", level, 0, file.isNull() ? nullptr : file.constData(),
                 function.isNull() ? nullptr : function.constData(), line,
                 message.isNull() ? nullptr : message.constData());
        const QByteArray content = readAll(m_pDir->filePath("markers.log"));
        if (pattern.isEmpty()) {
            QVERIFY2(QRegularExpression("^\\[INFO\\]\\[\\d+\\]\\[[-0-9 :.]+\\]\\[\\]\\[\\]\\[\\]m\n$")
                         .match(QString::fromUtf8(content))
                         .hasMatch(),
                     content.constData());
            return;
        }
        QCOMPARE(content, expected + kLineEnd);
    }

    void threadAndTime()
    {
        setupLoggingService(makeConfig(m_pDir->path(), "when", "%i|%d"), 2);
        const QDateTime before = QDateTime::currentDateTime();
        writeLog("when", 4, 0, nullptr, nullptr, -1, "x");
        const QDateTime after = QDateTime::currentDateTime();
        std::uint64_t workerId = 0;
        std::thread worker([&workerId] {
            workerId = RZPlatform::currentThreadId();
            writeLog("when", 4, 0, nullptr, nullptr, -1, "y");
        });
        worker.join();

        const QList<QByteArray> lines = linesOf(readAll(m_pDir->filePath("when.log")));
        QCOMPARE(lines.size(), 2);
        const QList<QByteArray> first = lines[0].split('|');
        QCOMPARE(first[0], QByteArray::number(quint64(RZPlatform::currentThreadId())));
        QCOMPARE(lines[1].split('|')[0], QByteArray::number(quint64(workerId)));
        QVERIFY(workerId != RZPlatform::currentThreadId());

        const QDateTime stamped = QDateTime::fromString(QString::fromLatin1(first[1]), "yyyy-MM-dd HH:mm:ss.zzz");
        QVERIFY2(stamped.isValid(), first[1].constData());
        QVERIFY(stamped >= before);
        QVERIFY(stamped <= after);
    }

    void levelFilter_data()
    {
        QTest::addColumn<int>("minimum");
        QTest::addColumn<QList<int>>("levels");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("0 lets all through") << 0 << QList<int>{1, 3, 4, 8} << QByteArray("1348");
        QTest::newRow("WARN and above") << 5 << QList<int>{1, 3, 4, 5, 6, 7} << QByteArray("567");
        QTest::newRow("the minimum itself passes") << 4 << QList<int>{3, 4} << QByteArray("4");
        QTest::newRow("above everything") << 9 << QList<int>{1, 8} << QByteArray();
    }

    void levelFilter()
    {
        QFETCH(int, minimum);
        QFETCH(QList<int>, levels);
        QFETCH(QByteArray, expected);

        setupLoggingService(makeConfig(m_pDir->path(), "levels", "%m"), 2);
        setupLoggingService(makeConfig(m_pDir->path(), "others", "%m"), 2);
        setLogLevel("levels", minimum);
        for (int level : levels) {
            writeLog("levels", level, 0, nullptr, nullptr, -1, QByteArray::number(level).constData());
            writeLog("others", level, 0, nullptr, nullptr, -1, QByteArray::number(level).constData());
        }
        teardownLoggingService();
        QCOMPARE(readAll(m_pDir->filePath("levels.log")).replace('\n', ""), expected);
        // The level belongs to one logger.
        QCOMPARE(linesOf(readAll(m_pDir->filePath("others.log"))).size(), levels.size());
    }

    void autoFlush()
    {
        const QString path = m_pDir->filePath("flush.log");
        setupLoggingService(makeConfig(m_pDir->path(), "flush", "%m"), 2);

        enableAutoFlushLog(1);
        writeLog("flush", 4, 0, nullptr, nullptr, -1, "first");
        QCOMPARE(readAll(path), QByteArray("first\n"));

        enableAutoFlushLog(0);
        for (int i = 0; i < 100; ++i)
            writeLog("flush", 4, 0, nullptr, nullptr, -1, "held");
        // Switching it on writes what was held back, before the next line.
        enableAutoFlushLog(1);
        QCOMPARE(linesOf(readAll(path)).size(), 101);
        writeLog("flush", 4, 0, nullptr, nullptr, -1, "last");
        QCOMPARE(linesOf(readAll(path)).last(), QByteArray("last"));

        enableAutoFlushLog(0);
        writeLog("flush", 4, 0, nullptr, nullptr, -1, "at teardown");
        teardownLoggingService();
        QCOMPARE(linesOf(readAll(path)).last(), QByteArray("at teardown"));
    }

    void rotation_data()
    {
        QTest::addColumn<int>("maxFiles");
        QTest::addColumn<int>("maxFileSize");
        QTest::addColumn<int>("lineCount");
        QTest::addColumn<QList<int>>("expectedFileLines"); // newest file first

        // Lines are 100 bytes: ten fill a 1,000-byte file exactly.
        QTest::newRow("three files") << 3 << 1000 << 45 << QList<int>{5, 10, 10};
        QTest::newRow("exactly full") << 3 << 1000 << 30 << QList<int>{10, 10, 10};
        QTest::newRow("one line over") << 3 << 1000 << 31 << QList<int>{1, 10, 10};
        QTest::newRow("not yet rotated") << 3 << 1000 << 10 << QList<int>{10};
        QTest::newRow("one byte short") << 3 << 999 << 10 << QList<int>{1, 9};
        QTest::newRow("two files") << 2 << 1000 << 45 << QList<int>{5, 10};
        QTest::newRow("one file") << 1 << 1000 << 45 << QList<int>{5};
        QTest::newRow("no count counts as one") << 0 << 1000 << 15 << QList<int>{5};
        QTest::newRow("five files") << 5 << 500 << 22 << QList<int>{2, 5, 5, 5, 5};
        QTest::newRow("no limit") << 3 << 0 << 100 << QList<int>{100};
    }

    void rotation()
    {
        QFETCH(int, maxFiles);
        QFETCH(int, maxFileSize);
        QFETCH(int, lineCount);
        QFETCH(QList<int>, expectedFileLines);

        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "rot", "%m", maxFiles, static_cast<quint32>(maxFileSize)), 2);
        for (int i = 0; i < lineCount; ++i)
            writeLog("rot", 4, 0, nullptr, nullptr, -1, QByteArray::number(i).rightJustified(99, '0').constData());
        teardownLoggingService();

        QStringList expectedNames{"rot.log"};
        for (int i = 1; i < expectedFileLines.size(); ++i)
            expectedNames << QStringLiteral("rot.%1.log").arg(i);
        QStringList names = QDir(dir.path()).entryList(QDir::Files, QDir::Name);
        expectedNames.sort();
        QCOMPARE(names, expectedNames);

        // Read oldest to newest: the newest lines, in order, none split.
        int next = lineCount;
        for (int i = 0; i < expectedFileLines.size(); ++i)
            next -= expectedFileLines[i];
        for (int i = expectedFileLines.size() - 1; i >= 0; --i) {
            const QString name = i == 0 ? QStringLiteral("rot.log") : QStringLiteral("rot.%1.log").arg(i);
            const QByteArray content = readAll(dir.filePath(name));
            if (maxFileSize > 0)
                QVERIFY(content.size() <= maxFileSize);
            const QList<QByteArray> lines = linesOf(content);
            QCOMPARE(lines.size(), expectedFileLines[i]);
            for (const QByteArray& line : lines)
                QCOMPARE(line, QByteArray::number(next++).rightJustified(99, '0'));
        }
        QCOMPARE(next, lineCount);
    }

    void existingFileCountsTowardsTheLimit()
    {
        QTemporaryDir dir;
        {
            QFile old(dir.filePath("keep.log"));
            QVERIFY(old.open(QIODevice::WriteOnly));
            old.write(QByteArray(950, 'o'));
        }
        setupLoggingService(makeConfig(dir.path(), "keep", "%m", 3, 1000), 2);
        writeLog("keep", 4, 0, nullptr, nullptr, -1, "a short line that fits");
        writeLog("keep", 4, 0, nullptr, nullptr, -1, QByteArray(99, 'n').constData());
        teardownLoggingService();
        QCOMPARE(readAll(dir.filePath("keep.1.log")), QByteArray(950, 'o') + "a short line that fits\n");
        QCOMPARE(readAll(dir.filePath("keep.log")), QByteArray(99, 'n') + "\n");
    }

    void oversizedLineIsCutToOneFile()
    {
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "big", "%m", 3, 100), 2);
        writeLog("big", 4, 0, nullptr, nullptr, -1, "small");
        writeLog("big", 4, 0, nullptr, nullptr, -1, QByteArray(500, 'b').constData());
        teardownLoggingService();
        QCOMPARE(readAll(dir.filePath("big.1.log")), QByteArray("small\n"));
        QCOMPARE(readAll(dir.filePath("big.log")), QByteArray(99, 'b') + "\n");
    }

    // 4 threads x 100,000 lines through the default 5 MiB x 3 rotation.
    void rotationUnderThreads()
    {
        constexpr int kThreads = 4;
        constexpr int kLines = 100000;
        constexpr quint32 kLimit = 0x500000;
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "load", VBL_DEFAULT_PATTERN), 2);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([t] {
                char message[128];
                for (int i = 0; i < kLines; ++i) {
                    std::snprintf(message, sizeof message, "thread %d line %06d of a line of typical length", t, i);
                    writeLog("load", 4, 0, "Worker.cpp", "Worker::run", 77, message);
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        teardownLoggingService();

        QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name),
                 (QStringList{"load.1.log", "load.2.log", "load.log"}));
        const QRegularExpression shape("^\\[INFO\\]\\[(\\d+)\\]\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]"
                                       "\\[Worker\\.cpp\\]\\[77\\]\\[Worker::run\\]"
                                       "thread (\\d) line (\\d{6}) of a line of typical length$");
        int last[kThreads] = {-1, -1, -1, -1};
        QByteArray threadIds[kThreads];
        qint64 total = 0;
        for (const char* name : {"load.2.log", "load.1.log", "load.log"}) {
            const QByteArray content = readAll(dir.filePath(name));
            QVERIFY2(content.size() <= qint64(kLimit), name);
            total += content.size();
            QVERIFY(content.endsWith('\n'));
            for (const QByteArray& line : linesOf(content)) {
                const QRegularExpressionMatch m = shape.match(QString::fromLatin1(line));
                QVERIFY2(m.hasMatch(), line.constData());
                const int t = m.captured(2).toInt();
                const int n = m.captured(3).toInt();
                // From a thread's first line on, every later line is there, in order.
                QVERIFY2(last[t] == -1 || n == last[t] + 1, line.constData());
                last[t] = n;
                const QByteArray id = m.captured(1).toLatin1();
                QVERIFY(threadIds[t].isEmpty() || threadIds[t] == id);
                threadIds[t] = id;
            }
        }
        for (int t = 0; t < kThreads; ++t)
            QCOMPARE(last[t], kLines - 1);
        // Three files' worth is kept: more than two full files.
        QVERIFY(total > 2 * qint64(kLimit) - 2 * 200);
    }

    void unusableDirectory_data()
    {
        QTest::addColumn<QString>("directory"); // relative to the test's folder

        QTest::newRow("below a file") << QStringLiteral("plain.txt/sub");
        QTest::newRow("is a file") << QStringLiteral("plain.txt");
        QTest::newRow("deep below a file") << QStringLiteral("plain.txt/a/b/c");
    }

    void unusableDirectory()
    {
        QFETCH(QString, directory);
        QTemporaryDir dir;
        {
            QFile plain(dir.filePath("plain.txt"));
            QVERIFY(plain.open(QIODevice::WriteOnly));
            plain.write("untouched");
        }
        setupLoggingService(makeConfig(dir.filePath(directory), "lost", "%m"), 2);
        setupLoggingService(makeConfig(dir.path(), "kept", "%m"), 2);
        for (int i = 0; i < 1000; ++i) {
            writeLog("lost", 6, 0, "f.cpp", "f", i, "nowhere to go");
            writeLog("kept", 6, 0, nullptr, nullptr, -1, "here");
        }
        teardownLoggingService();
        QCOMPARE(readAll(dir.filePath("plain.txt")), QByteArray("untouched"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name),
                 (QStringList{"kept.log", "plain.txt"}));
        QCOMPARE(linesOf(readAll(dir.filePath("kept.log"))).size(), 1000);
    }

    void directoryThatAppearsLaterIsUsed()
    {
        QTemporaryDir dir;
        const QString blocked = dir.filePath("later");
        {
            QFile plain(blocked);
            QVERIFY(plain.open(QIODevice::WriteOnly));
        }
        setupLoggingService(makeConfig(blocked, "later", "%m"), 2);
        writeLog("later", 4, 0, nullptr, nullptr, -1, "lost");
        QVERIFY(QFile::remove(blocked));
        const QString path = QDir(blocked).filePath("later.log");
        // The service tries again at most once a second.
        QTRY_VERIFY_WITH_TIMEOUT((writeLog("later", 4, 0, nullptr, nullptr, -1, "found"), QFile::exists(path)),
                                 5000);
        QVERIFY(linesOf(readAll(path)).contains("found"));
        QVERIFY(!linesOf(readAll(path)).contains("lost"));
    }

    void fileNames_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("fileName");

        QTest::newRow("plain") << QByteArray("editor") << QStringLiteral("editor.log");
        QTest::newRow("slash") << QByteArray("../up") << QStringLiteral(".._up.log");
        QTest::newRow("backslash") << QByteArray("a\\b") << QStringLiteral("a_b.log");
        QTest::newRow("reserved characters") << QByteArray("a:b*c?d\"e<f>g|h") << QStringLiteral("a_b_c_d_e_f_g_h.log");
        QTest::newRow("control character") << QByteArray("tab\there") << QStringLiteral("tab_here.log");
        QTest::newRow("empty") << QByteArray("") << QStringLiteral("vbl.log");
        QTest::newRow("whole field, no terminator") << QByteArray(VBL_NAME_CAPACITY, 'n')
                                                    << QString(VBL_NAME_CAPACITY, 'n') + ".log";
    }

    void fileNames()
    {
        QFETCH(QByteArray, name);
        QFETCH(QString, fileName);

        QTemporaryDir dir;
        const QString inner = dir.filePath("inner");
        VblLoggingConfig config = makeConfig(inner, QByteArray(), "%m");
        std::memcpy(config.loggerName, name.constData(), static_cast<std::size_t>(name.size()));
        setupLoggingService(config, 2);
        writeLog(name.constData(), 4, 0, nullptr, nullptr, -1, "named");
        teardownLoggingService();
        QCOMPARE(QDir(inner).entryList(QDir::Files | QDir::Hidden), QStringList{fileName});
        QCOMPARE(readAll(QDir(inner).filePath(fileName)), QByteArray("named\n"));
    }

    void patternFillingItsField()
    {
        // 128 bytes without a terminator, followed by non-zero bytes: the pattern ends with its field.
        QTemporaryDir dir;
        VblLoggingConfig config = makeConfig(dir.path(), "full", QByteArray());
        std::memset(config.pattern, 'p', sizeof config.pattern);
        std::memcpy(config.pattern, "%m", 2);
        config.reserved0 = -1;
        config.reserved1 = 0x41414141;
        setupLoggingService(config, 2);
        writeLog("full", 4, 0, nullptr, nullptr, -1, "m");
        teardownLoggingService();
        QCOMPARE(readAll(dir.filePath("full.log")), "m" + QByteArray(VBL_PATTERN_CAPACITY - 2, 'p') + "\n");
    }

    void teardownAndSetupAgain()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("again.log");
        setupLoggingService(makeConfig(dir.path(), "again", "%m"), 2);
        writeLog("again", 4, 0, nullptr, nullptr, -1, "one");
        teardownLoggingService();
        teardownLoggingService(); // twice is harmless
        writeLog("again", 4, 0, nullptr, nullptr, -1, "after teardown");
        QCOMPARE(readAll(path), QByteArray("one\n"));

        // A new set-up appends to the existing file.
        setupLoggingService(makeConfig(dir.path(), "again", "%m"), 2);
        writeLog("again", 4, 0, nullptr, nullptr, -1, "two");
        QCOMPARE(readAll(path), QByteArray("one\ntwo\n"));
    }

    void setupReplacesALoggerOfTheSameName()
    {
        QTemporaryDir first;
        QTemporaryDir second;
        setupLoggingService(makeConfig(first.path(), "same", "%m"), 2);
        setupLoggingService(makeConfig(m_pDir->path(), "other", "%m"), 2);
        writeLog("same", 4, 0, nullptr, nullptr, -1, "to first");
        setupLoggingService(makeConfig(second.path(), "same", "<%m>"), 2);
        writeLog("same", 4, 0, nullptr, nullptr, -1, "to second");
        writeLog("other", 4, 0, nullptr, nullptr, -1, "still here");
        QCOMPARE(readAll(first.filePath("same.log")), QByteArray("to first\n"));
        QCOMPARE(readAll(second.filePath("same.log")), QByteArray("<to second>\n"));
        QCOMPARE(readAll(m_pDir->filePath("other.log")), QByteArray("still here\n"));
    }

    void badArgumentsAreIgnored()
    {
        QTemporaryDir dir;
        setupLoggingService(makeConfig(dir.path(), "known", "%m"), 2);
        writeLog(nullptr, 4, 0, nullptr, nullptr, -1, "no name");
        writeLog("unknown", 4, 0, nullptr, nullptr, -1, "unknown name");
        setLogLevel(nullptr, 9);
        setLogLevel("unknown", 9);
        writeLog("known", 4, 0, nullptr, nullptr, -1, "known");
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"known.log"});
        QCOMPARE(readAll(dir.filePath("known.log")), QByteArray("known\n"));
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir; // one per test function
};

QTEST_GUILESS_MAIN(TestVblLogger)
#include "tst_vbllogger.moc"
