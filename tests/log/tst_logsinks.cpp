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

#include <cstdio>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

using namespace RZBaseLog;

namespace {

log_data record(LogLevel level, const source_loc& location, std::string_view message = "text 100%")
{
    log_data data;
    data.logger_name = "sinks";
    data.level = level;
    data.location = location;
    data.message = message;
    data.time = 16146798723450000LL; // 2021-03-02 10:11:12.345 UTC
    data.thread_id = 4412;
    return data;
}

QByteArray rendered(const log_data& data, LevelSpan* span = nullptr)
{
    std::string line;
    const LevelSpan s = renderLine(data, line);
    if (span)
        *span = s;
    return QByteArray::fromStdString(line);
}

// Waits for bytes that must come, never for silence.
QByteArray readBytes(int fd, int expected)
{
    QByteArray out;
    QElapsedTimer timer;
    timer.start();
    for (pollfd p{fd, POLLIN, 0}; out.size() < expected && timer.elapsed() < 5000;) {
        char buffer[4096];
        const ssize_t n = ::poll(&p, 1, 50) > 0 ? ::read(fd, buffer, sizeof buffer) : 0;
        out.append(buffer, int(std::max<ssize_t>(n, 0)));
    }
    return out;
}

struct Pipe
{
    Pipe() { QVERIFY(::pipe(fds) == 0); }
    ~Pipe() { ::close(fds[0]), ::close(fds[1]); }
    bool empty() const
    {
        pollfd p{fds[0], POLLIN, 0};
        return ::poll(&p, 1, 0) == 0;
    }
    int fds[2] = {-1, -1};
};

// Points a standard descriptor elsewhere for the lifetime of the object.
struct Redirect
{
    Redirect(int target, int replacement) : target(target), saved((std::fflush(stdout), ::dup(target)))
    {
        ::dup2(replacement, target);
    }
    ~Redirect() { ::dup2(saved, target), ::close(saved); }
    int target;
    int saved;
};

struct FileLine
{
    LogLevel level;
    const char* file;
    int line;
    const char* function;
    QByteArray tail; // what follows "[level][thread][date]"
    QByteArray message = "msg";
};

} // namespace

Q_DECLARE_METATYPE(FileLine)

class TestLogSinks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void colouredOnTerminal_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<bool>("withLocation");
        QTest::addColumn<QByteArray>("colour"); // empty: no escape sequence at all

        const std::pair<LogLevel, const char*> rows[] = {
            {LogLevel::debug, "\x1b[36m"}, {LogLevel::trace, "\x1b[37m"},
            {LogLevel::info, "\x1b[32m"},  {LogLevel::warn, "\x1b[93m"},
            {LogLevel::error, "\x1b[91m"}, {LogLevel::critical, "\x1b[97;41m"},
            {LogLevel::off, ""},           {static_cast<LogLevel>(3), ""}, // not a level: empty name
        };
        for (const auto& [level, colour] : rows)
            for (bool location : {false, true})
                QTest::addRow("%s(%d)%s", levelName(level), int(level), location ? " with location" : "")
                    << int(level) << location << QByteArray(colour);
    }

    void colouredOnTerminal()
    {
        QFETCH(int, level);
        QFETCH(bool, withLocation);
        QFETCH(QByteArray, colour);

        int master = -1;
        int slave = -1;
        QVERIFY(::openpty(&master, &slave, nullptr, nullptr, nullptr) == 0);
        termios mode;
        ::tcgetattr(slave, &mode);
        ::cfmakeraw(&mode); // the terminal passes "\r\n" on as it is
        ::tcsetattr(slave, TCSANOW, &mode);

        const log_data data = record(
            LogLevel(level), withLocation ? source_loc("C:\\src\\Clip.cpp", 42, "Clip::load") : source_loc());
        LevelSpan span;
        QByteArray expected = rendered(data, &span);
        if (!colour.isEmpty())
            expected.insert(int(span.end), "\x1b[0m").insert(int(span.begin), colour);
        WinColorSink(RZPlatform::consoleHandleFromDescriptor(slave)).log(data);
        const QByteArray seen = readBytes(master, expected.size());
        ::close(slave);
        ::close(master);
        QCOMPARE(seen, expected);
    }

    void redirectedIsPlain_data()
    {
        QTest::addColumn<bool>("toPipe");
        QTest::addColumn<bool>("withLocation");
        for (bool pipe : {false, true})
            for (bool location : {false, true})
                QTest::addRow("%s%s", pipe ? "pipe" : "file", location ? " with location" : "")
                    << pipe << location;
    }

    void redirectedIsPlain()
    {
        QFETCH(bool, toPipe);
        QFETCH(bool, withLocation);
        const source_loc location = withLocation ? source_loc("src/a/b.cpp", 7, "f") : source_loc();
        const log_data lines[] = {record(LogLevel::critical, location),
                                  record(LogLevel::debug, location, "two")};
        const QByteArray expected = rendered(lines[0]) + rendered(lines[1]);
        QVERIFY(expected.endsWith("\r\n") && !expected.contains('\x1b'));

        QTemporaryDir dir;
        QFile file(dir.filePath("out.txt"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        Pipe pipe;
        WinColorSink sink(RZPlatform::consoleHandleFromDescriptor(toPipe ? pipe.fds[1] : file.handle()));
        for (const log_data& line : lines)
            sink.log(line);
        QCOMPARE(toPipe ? readBytes(pipe.fds[0], expected.size()) : (file.seek(0), file.readAll()), expected);
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
        // Standard input and output are pipes meanwhile: a handle that slipped through to
        // descriptor 0 or 1 would show up there. Descriptor 0 itself is a real handle.
        Pipe in;
        Pipe out;
        const log_data data = record(LogLevel::error, source_loc("a.cpp", 1, "f"));
        bool silent = false;
        {
            Redirect redirectIn(0, in.fds[1]);
            Redirect redirectOut(1, out.fds[1]);
            WinColorSink sink(reinterpret_cast<void*>(handle));
            sink.log(data);
            sink.flush();
            silent = in.empty() && out.empty();
            WinColorSink(RZPlatform::consoleHandleFromDescriptor(0)).log(data);
        }
        QVERIFY(silent);
        QCOMPARE(readBytes(in.fds[0], rendered(data).size()), rendered(data));
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
        QFile out(dir.filePath("stdout.txt"));
        QVERIFY(out.open(QIODevice::ReadWrite));
        QStringList kinds;
        {
            Redirect redirect(1, out.handle()); // the console sink writes to standard output
            const std::shared_ptr<RZBaseLogger> logger =
                createLogger("made", flags, dir.path().toStdString());
            for (const auto& sink : logger->sinks())
                kinds << (dynamic_cast<VBLSink*>(sink.get())        ? "file"
                          : dynamic_cast<WinColorSink*>(sink.get()) ? "console"
                                                                    : "?");
            logger->log(source_loc("C:\\Main.cpp", 9, "main"), LogLevel::warn, "%s", "out");
        }
        QCOMPARE(kinds, sinks);
        QFile made(dir.filePath("made.log"));
        QCOMPARE(made.open(QIODevice::ReadOnly) && made.readAll().endsWith("[Main.cpp][9][main]out\n"),
                 sinks.contains("file"));
        QVERIFY(out.seek(0)); // the sink wrote through a descriptor that shares the offset
        const QString seen = QString::fromUtf8(out.readAll());
        QCOMPARE(seen.contains(QRegularExpression(
                     "^\\[WARN\\]\\[\\d+\\]\\[[^]]+\\]\\[\\] out - \\[Main\\.cpp\\(9\\)\\]\\[main\\]\r\n$")),
                 sinks.contains("console"));
    }

    void fileSinkLines_data()
    {
        QTest::addColumn<FileLine>("c");
        static const QByteArray longPath(300, 'p');
        QTest::newRow("no location") << FileLine{LogLevel::info, "x.cpp", 0, "f", "[][][]msg"};
        QTest::newRow("backslashes cut")
            << FileLine{LogLevel::critical, "C:\\src\\Foo.cpp", 42, "Foo::bar", "[Foo.cpp][42][Foo::bar]msg"};
        QTest::newRow("forward slashes kept")
            << FileLine{LogLevel::debug, "src/a/b.cpp", 7, nullptr, "[src/a/b.cpp][7][]msg"};
        QTest::newRow("no file name") << FileLine{LogLevel::trace, nullptr, 5, "h", "[][5][h]msg"};
        QTest::newRow("cut at 255 bytes") << FileLine{LogLevel::warn, longPath.constData(), 1, "f",
                                                      "[" + QByteArray(255, 'p') + "][1][f]msg"};
        const QByteArray longMessage(5000, 'm');
        QTest::newRow("long message")
            << FileLine{LogLevel::info, nullptr, 0, nullptr, "[][][]" + longMessage, longMessage};
    }

    void fileSinkLines()
    {
        QFETCH(FileLine, c);
        QTemporaryDir dir;
        const std::string name(200, 'L'); // longer than the service's record holds
        const std::shared_ptr<RZBaseLogger> logger = createLogger(name, 1, dir.path().toStdString());
        logger->set_level(0x3f);
        logger->log(source_loc(c.file, c.line, c.function), c.level, "%s", c.message.constData());
        // In the file at once, while the logger lives.
        const QStringList files = QDir(dir.path()).entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        QFile file(dir.filePath(files[0]));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString content = QString::fromUtf8(file.readAll());
        const QString head =
            QStringLiteral("[%1][%2]").arg(levelName(c.level)).arg(RZPlatform::currentThreadId());
        const QString date = "\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]";
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(
                                        QRegularExpression::escape(head) + date +
                                        QRegularExpression::escape(QString::fromUtf8(c.tail + "\n"))))
                     .match(content)
                     .hasMatch(),
                 qPrintable(content));
    }
};

QTEST_GUILESS_MAIN(TestLogSinks)
#include "tst_logsinks.moc"
