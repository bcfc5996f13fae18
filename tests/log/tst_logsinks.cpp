// The colour console sink on a real pseudo-terminal and on redirected output, the file sink through
// a logger, and the sinks createLogger picks.

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogSinks.h>
#include <RZCore/platform/RZPlatform.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

using namespace RZBaseLog;

namespace {

// 2021-03-02 10:11:12.345 UTC in 100 ns ticks.
constexpr std::int64_t kTicks = 16146798723450000LL;

log_data record(LogLevel level, const source_loc& location, std::string_view message = "text")
{
    log_data data;
    data.logger_name = "sinks";
    data.level = level;
    data.location = location;
    data.message = message;
    data.time = kTicks;
    data.thread_id = 4412;
    return data;
}

QByteArray rendered(const log_data& data, LevelSpan* span = nullptr)
{
    std::string line;
    const LevelSpan s = renderLine(data, line);
    if (span)
        *span = s;
    return QByteArray(line.data(), static_cast<int>(line.size()));
}

// Reads what is there within a short time; a test waits for bytes that must come, never for silence.
QByteArray readAvailable(int fd, int expected, int timeoutMs = 5000)
{
    QByteArray out;
    QElapsedTimer timer;
    timer.start();
    while (out.size() < expected && timer.elapsed() < timeoutMs) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 50) <= 0)
            continue;
        char buffer[4096];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        out.append(buffer, static_cast<int>(n));
    }
    return out;
}

bool pipeIsEmpty(int readFd)
{
    pollfd p{readFd, POLLIN, 0};
    return ::poll(&p, 1, 0) == 0;
}

// Points a standard descriptor elsewhere for the lifetime of the object.
class Redirect
{
public:
    Redirect(int target, int replacement) : m_target(target), m_saved(::dup(target))
    {
        std::fflush(stdout);
        ::dup2(replacement, target);
    }
    ~Redirect()
    {
        std::fflush(stdout);
        ::dup2(m_saved, m_target);
        ::close(m_saved);
    }

private:
    int m_target;
    int m_saved;
};

struct Pipe
{
    Pipe()
    {
        if (::pipe(fds) != 0)
            fds[0] = fds[1] = -1;
    }
    ~Pipe()
    {
        ::close(fds[0]);
        ::close(fds[1]);
    }
    int fds[2];
};

} // namespace

class TestLogSinks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void colouredOnTerminal_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<bool>("withLocation");
        QTest::addColumn<QByteArray>("colour");

        const struct
        {
            LogLevel level;
            const char* colour;
        } rows[] = {
            {LogLevel::debug, "\x1b[36m"},    // cyan
            {LogLevel::trace, "\x1b[37m"},    // white
            {LogLevel::info, "\x1b[32m"},     // green
            {LogLevel::warn, "\x1b[93m"},     // bright yellow
            {LogLevel::error, "\x1b[91m"},    // bright red
            {LogLevel::critical, "\x1b[97;41m"}, // bright white on red
        };
        for (const auto& row : rows)
            for (bool location : {false, true})
                QTest::addRow("%s%s", levelName(row.level), location ? " with location" : "")
                    << static_cast<int>(row.level) << location << QByteArray(row.colour);
    }

    void colouredOnTerminal()
    {
        QFETCH(int, level);
        QFETCH(bool, withLocation);
        QFETCH(QByteArray, colour);

        int master = -1;
        int slave = -1;
        QVERIFY(::openpty(&master, &slave, nullptr, nullptr, nullptr) == 0);
        // Raw mode: the terminal passes "\r\n" on as it is.
        termios mode;
        ::tcgetattr(slave, &mode);
        ::cfmakeraw(&mode);
        ::tcsetattr(slave, TCSANOW, &mode);

        const source_loc location = withLocation ? source_loc("C:\\src\\Clip.cpp", 42, "Clip::load") : source_loc();
        const log_data data = record(static_cast<LogLevel>(level), location);
        LevelSpan span;
        const QByteArray line = rendered(data, &span);
        const QByteArray expected = line.left(int(span.begin)) + colour + line.mid(int(span.begin), int(span.end - span.begin))
                                    + "\x1b[0m" + line.mid(int(span.end));
        {
            WinColorSink sink(RZPlatform::consoleHandleFromDescriptor(slave));
            sink.log(data);
            sink.flush();
        }
        const QByteArray seen = readAvailable(master, expected.size());
        ::close(slave);
        ::close(master);
        QCOMPARE(seen, expected);
        QVERIFY(seen.startsWith("[" + colour + levelName(static_cast<LogLevel>(level)) + "\x1b[0m]"));
    }

    void terminalLevelWithoutColour()
    {
        // OFF has no colour, and a value that is no level has an empty name: plain bytes either way.
        int master = -1;
        int slave = -1;
        QVERIFY(::openpty(&master, &slave, nullptr, nullptr, nullptr) == 0);
        termios mode;
        ::tcgetattr(slave, &mode);
        ::cfmakeraw(&mode);
        ::tcsetattr(slave, TCSANOW, &mode);
        const log_data off = record(LogLevel::off, {});
        const log_data none = record(static_cast<LogLevel>(3), {});
        WinColorSink sink(RZPlatform::consoleHandleFromDescriptor(slave));
        sink.log(off);
        sink.log(none);
        const QByteArray expected = rendered(off) + rendered(none);
        const QByteArray seen = readAvailable(master, expected.size());
        ::close(slave);
        ::close(master);
        QCOMPARE(seen, expected);
    }

    void redirectedIsPlain_data()
    {
        QTest::addColumn<bool>("toPipe");
        QTest::addColumn<int>("level");
        QTest::addColumn<bool>("withLocation");

        for (bool pipe : {false, true})
            for (LogLevel level : {LogLevel::debug, LogLevel::info, LogLevel::critical})
                for (bool location : {false, true})
                    QTest::addRow("%s %s%s", pipe ? "pipe" : "file", levelName(level), location ? " with location" : "")
                        << pipe << static_cast<int>(level) << location;
    }

    void redirectedIsPlain()
    {
        QFETCH(bool, toPipe);
        QFETCH(int, level);
        QFETCH(bool, withLocation);

        const source_loc location = withLocation ? source_loc("src/a/b.cpp", 7, "f") : source_loc();
        const log_data first = record(static_cast<LogLevel>(level), location, "first");
        const log_data second = record(static_cast<LogLevel>(level), location, "second 100%");
        const QByteArray expected = rendered(first) + rendered(second);
        QVERIFY(expected.endsWith("\r\n"));

        QByteArray seen;
        if (toPipe) {
            Pipe pipe;
            WinColorSink sink(RZPlatform::consoleHandleFromDescriptor(pipe.fds[1]));
            sink.log(first);
            sink.log(second);
            seen = readAvailable(pipe.fds[0], expected.size());
        } else {
            QTemporaryDir dir;
            QFile file(dir.filePath("out.txt"));
            QVERIFY(file.open(QIODevice::ReadWrite));
            WinColorSink sink(RZPlatform::consoleHandleFromDescriptor(file.handle()));
            sink.log(first);
            sink.log(second);
            file.seek(0);
            seen = file.readAll();
        }
        QCOMPARE(seen, expected);
        QVERIFY(!seen.contains('\x1b'));
    }

    void unusableHandleWritesNothing_data()
    {
        QTest::addColumn<quintptr>("handle");
        QTest::newRow("null") << quintptr(0);
        QTest::newRow("invalid handle value") << ~quintptr(0);
        QTest::newRow("negative descriptor") << quintptr(RZPlatform::consoleHandleFromDescriptor(-1));
    }

    void unusableHandleWritesNothing()
    {
        QFETCH(quintptr, handle);
        // Standard input and output are pipes here: a handle that slipped through to descriptor 0
        // or 1 would show up in them.
        Pipe in;
        Pipe out;
        {
            Redirect redirectIn(0, in.fds[1]);
            Redirect redirectOut(1, out.fds[1]);
            WinColorSink sink(reinterpret_cast<void*>(handle));
            sink.log(record(LogLevel::error, source_loc("a.cpp", 1, "f")));
            sink.flush();
        }
        QVERIFY(pipeIsEmpty(in.fds[0]));
        QVERIFY(pipeIsEmpty(out.fds[0]));
    }

    void descriptorZeroIsAHandle()
    {
        Pipe in;
        QVERIFY(RZPlatform::consoleHandleFromDescriptor(0) != nullptr);
        const log_data data = record(LogLevel::info, {});
        {
            Redirect redirect(0, in.fds[1]);
            WinColorSink(RZPlatform::consoleHandleFromDescriptor(0)).log(data);
        }
        QCOMPARE(readAvailable(in.fds[0], rendered(data).size()), rendered(data));
    }

    void createLoggerSinks_data()
    {
        QTest::addColumn<unsigned>("flags");
        QTest::addColumn<QStringList>("sinks");

        QTest::newRow("none") << 0u << QStringList();
        QTest::newRow("file") << 1u << QStringList{"file"};
        QTest::newRow("console") << 2u << QStringList{"console"};
        QTest::newRow("both, file first") << 3u << QStringList{"file", "console"};
        QTest::newRow("other bits ignored") << 0xfcu << QStringList();
    }

    void createLoggerSinks()
    {
        QFETCH(unsigned, flags);
        QFETCH(QStringList, sinks);

        QTemporaryDir dir;
        const std::shared_ptr<RZBaseLogger> logger = createLogger("made", flags, dir.path().toStdString());
        QStringList kinds;
        for (const auto& sink : logger->sinks())
            kinds << (dynamic_cast<VBLSink*>(sink.get())        ? "file"
                      : dynamic_cast<WinColorSink*>(sink.get()) ? "console"
                                                                : "other");
        QCOMPARE(kinds, sinks);
        QCOMPARE(QFile::exists(dir.filePath("made.log")), sinks.contains("file"));
        QVERIFY(!get("made"));
    }

    void consoleSinkIsStandardOutput()
    {
        QTemporaryDir dir;
        QFile file(dir.filePath("stdout.txt"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        {
            Redirect redirect(1, file.handle());
            const std::shared_ptr<RZBaseLogger> logger = createLogger("console", 2, std::string());
            logger->log(source_loc("C:\\work\\Main.cpp", 9, "main"), LogLevel::warn, "to %s", "stdout");
        }
        file.seek(0);
        const QByteArray seen = file.readAll();
        QVERIFY2(QRegularExpression("^\\[WARN\\]\\[\\d+\\]\\[[^]]+\\]\\[\\] to stdout - \\[Main\\.cpp\\(9\\)\\]\\[main\\]\r\n$")
                     .match(QString::fromUtf8(seen))
                     .hasMatch(),
                 seen.constData());
    }

    void fileSinkLines_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("line");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<QByteArray>("tail"); // what follows "[level][thread][date]"

        const QByteArray none;
        QTest::newRow("no location") << 4 << QByteArray("x.cpp") << 0 << QByteArray("f") << QByteArray("[][][]msg");
        QTest::newRow("backslashes cut") << 4 << QByteArray("C:\\src\\ui\\Foo.cpp") << 42 << QByteArray("Foo::bar")
                                         << QByteArray("[Foo.cpp][42][Foo::bar]msg");
        QTest::newRow("forward slashes kept") << 8 << QByteArray("src/a/b.cpp") << 7 << QByteArray("f")
                                              << QByteArray("[src/a/b.cpp][7][f]msg");
        QTest::newRow("trailing backslash") << 16 << QByteArray("dir\\") << 3 << QByteArray("g")
                                            << QByteArray("[][3][g]msg");
        QTest::newRow("no file name") << 32 << none << 5 << QByteArray("h") << QByteArray("[][5][h]msg");
        QTest::newRow("no function") << 1 << QByteArray("a.cpp") << 5 << none << QByteArray("[a.cpp][5][]msg");
        QTest::newRow("long path cut at 255 bytes") << 2 << QByteArray(300, 'p') << 1 << QByteArray("f")
                                                    << "[" + QByteArray(255, 'p') + "][1][f]msg";
    }

    void fileSinkLines()
    {
        QFETCH(int, level);
        QFETCH(QByteArray, file);
        QFETCH(int, line);
        QFETCH(QByteArray, function);
        QFETCH(QByteArray, tail);

        QTemporaryDir dir;
        const std::shared_ptr<RZBaseLogger> logger = createLogger("filed", 1, dir.path().toStdString());
        logger->set_level(0x3f);
        logger->log(source_loc(file.isNull() ? nullptr : file.constData(), line,
                               function.isNull() ? nullptr : function.constData()),
                    static_cast<LogLevel>(level), "msg");
        // Every line reaches the file at once, while the logger lives.
        const QByteArray content = [&] {
            QFile f(dir.filePath("filed.log"));
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        }();
        const QByteArray head = QByteArray("[") + levelName(static_cast<LogLevel>(level)) + "]["
                                + QByteArray::number(quint64(RZPlatform::currentThreadId())) + "][";
        QVERIFY2(content.startsWith(head), content.constData());
        QVERIFY2(QRegularExpression("^\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]$")
                     .match(QString::fromLatin1(content.mid(head.size() - 1, 25)))
                     .hasMatch(),
                 content.constData());
        QCOMPARE(content.mid(head.size() + 24), tail + "\n");
    }

    void fileSinkLongLoggerName()
    {
        // Names longer than the service's record reach the same file at set-up and for every line.
        QTemporaryDir dir;
        const std::string name(200, 'L');
        const std::shared_ptr<RZBaseLogger> logger = createLogger(name, 1, dir.path().toStdString());
        logger->log(source_loc(), LogLevel::info, "long");
        const QStringList files = QDir(dir.path()).entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        QFile f(dir.filePath(files.first()));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.readAll().endsWith("[][][]long\n"));
    }

    void fileSinkRespectsTheLoggerMask()
    {
        QTemporaryDir dir;
        const std::shared_ptr<RZBaseLogger> logger = createLogger("masked", 1, dir.path().toStdString());
        logger->set_level(levelMaskFrom(LogLevel::warn));
        logger->log(source_loc(), LogLevel::info, "dropped");
        logger->log(source_loc(), LogLevel::debug, "dropped");
        logger->log(source_loc(), LogLevel::warn, "kept");
        QFile f(dir.filePath("masked.log"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = f.readAll().split('\n');
        QCOMPARE(lines.size(), 2);
        QVERIFY(lines[0].startsWith("[WARN]") && lines[0].endsWith("kept"));
    }
};

QTEST_GUILESS_MAIN(TestLogSinks)
#include "tst_logsinks.moc"
