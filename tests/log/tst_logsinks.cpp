// The colour console sink on a real pseudo-terminal and on redirected output, the file sink through
// a logger, and the sinks createLogger picks.

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogSinks.h>
#include <RZCore/platform/RZPlatform.h>

#include <QFile>
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
    data.level = level;
    data.location = location;
    data.message = message;
    data.time = 16146798723450000LL; // 2021-03-02 10:11:12.345 UTC
    data.thread_id = 4412;
    return data;
}

QByteArray rendered(const log_data& data)
{
    std::string line;
    renderLine(data, line);
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
        QTest::addColumn<QByteArray>("colour"); // empty: no escape sequence at all

        const std::pair<LogLevel, const char*> rows[] = {
            {LogLevel::debug, "\x1b[36m"}, {LogLevel::trace, "\x1b[37m"},
            {LogLevel::info, "\x1b[32m"},  {LogLevel::warn, "\x1b[93m"},
            {LogLevel::error, "\x1b[91m"}, {LogLevel::critical, "\x1b[97;41m"},
            {LogLevel::off, ""},           {static_cast<LogLevel>(3), ""}, // not a level: empty name
        };
        for (const auto& [level, colour] : rows)
            QTest::addRow("%s(%d)", levelName(level), int(level)) << int(level) << QByteArray(colour);
    }

    void colouredOnTerminal()
    {
        QFETCH(int, level);
        QFETCH(QByteArray, colour);

        int master = -1;
        int slave = -1;
        QVERIFY(::openpty(&master, &slave, nullptr, nullptr, nullptr) == 0);
        termios mode;
        ::tcgetattr(slave, &mode);
        ::cfmakeraw(&mode); // the terminal passes "\r\n" on as it is
        ::tcsetattr(slave, TCSANOW, &mode);

        const log_data data = record(LogLevel(level), source_loc("C:\\src\\Clip.cpp", 42, "Clip::load"));
        std::string line;
        const LevelSpan span = renderLine(data, line);
        QByteArray expected = QByteArray::fromStdString(line);
        if (!colour.isEmpty())
            expected.insert(int(span.end), "\x1b[0m").insert(int(span.begin), colour);
        WinColorSink(RZPlatform::consoleHandleFromDescriptor(slave)).log(data);
        const QByteArray seen = readBytes(master, expected.size());
        ::close(slave);
        ::close(master);
        QCOMPARE(seen, expected);
    }

    // Standard input and output point at a plain file meanwhile: a redirected handle gets exactly the
    // rendered bytes, and an unusable handle that slipped through to descriptor 0 or 1 would show.
    void redirectedOrUnusable_data()
    {
        QTest::addColumn<quintptr>("handle");
        QTest::addColumn<bool>("writes");
        QTest::newRow("standard output") << quintptr(RZPlatform::consoleHandleFromDescriptor(1)) << true;
        QTest::newRow("descriptor 0") << quintptr(RZPlatform::consoleHandleFromDescriptor(0)) << true;
        QTest::newRow("null") << quintptr(0) << false;
        QTest::newRow("invalid handle value") << ~quintptr(0) << false;
    }

    void redirectedOrUnusable()
    {
        QFETCH(quintptr, handle);
        QFETCH(bool, writes);
        QTemporaryDir dir;
        QFile file(dir.filePath("out.txt"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        const log_data lines[] = {record(LogLevel::critical, source_loc("src/a/b.cpp", 7, "f")),
                                  record(LogLevel::debug, source_loc(), "two")};
        {
            Redirect in(0, file.handle());
            Redirect out(1, file.handle());
            WinColorSink sink(reinterpret_cast<void*>(handle));
            for (const log_data& line : lines)
                sink.log(line);
            sink.flush();
        }
        const QByteArray expected = rendered(lines[0]) + rendered(lines[1]);
        QVERIFY(expected.endsWith("\r\n") && !expected.contains('\x1b'));
        QVERIFY(file.seek(0)); // every descriptor shares the file's offset
        QCOMPARE(file.readAll(), writes ? expected : QByteArray());
    }

    void createLoggerSinks_data()
    {
        QTest::addColumn<unsigned>("flags");
        QTest::addColumn<bool>("file");
        QTest::addColumn<bool>("console");
        QTest::newRow("none") << 0u << false << false;
        QTest::newRow("file") << 1u << true << false;
        QTest::newRow("console") << 2u << false << true;
        QTest::newRow("both") << 3u << true << true;
        QTest::newRow("other bits ignored") << 0xfcu << false << false;
    }

    void createLoggerSinks()
    {
        QFETCH(unsigned, flags);
        QFETCH(bool, file);
        QFETCH(bool, console);
        QTemporaryDir dir;
        QFile out(dir.filePath("stdout.txt"));
        QVERIFY(out.open(QIODevice::ReadWrite));
        std::size_t sinkCount = 0;
        {
            Redirect redirect(1, out.handle()); // the console sink writes to standard output
            const std::shared_ptr<RZBaseLogger> logger =
                createLogger("made", flags, dir.path().toStdString());
            sinkCount = logger->sinks().size();
            logger->log(source_loc("C:\\Main.cpp", 9, "main"), LogLevel::warn, "%s", "out");
        }
        QCOMPARE(sinkCount, std::size_t(file) + std::size_t(console));
        QFile made(dir.filePath("made.log"));
        QCOMPARE(made.open(QIODevice::ReadOnly) && made.readAll().endsWith("[Main.cpp][9][main]out\n"), file);
        QVERIFY(out.seek(0)); // the sink wrote through a descriptor that shares the offset
        const QByteArray seen = out.readAll();
        QCOMPARE(seen.startsWith("[WARN][") && seen.endsWith("] out - [Main.cpp(9)][main]\r\n"), console);
    }

    void fileSinkLines_data()
    {
        QTest::addColumn<FileLine>("c");
        static const QByteArray longPath(300, 'p');
        QTest::newRow("no location") << FileLine{LogLevel::info, "x.cpp", 0, "f", "[][][]msg"};
        QTest::newRow("backslashes cut")
            << FileLine{LogLevel::critical, "C:\\src\\Foo.cpp", 42, "Foo::bar", "[Foo.cpp][42][Foo::bar]msg"};
        QTest::newRow("no file name") << FileLine{LogLevel::debug, nullptr, 5, nullptr, "[][5][]msg"};
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
        // In the file at once, while the logger lives: "[level][thread][date]" and the rest.
        QFile file(dir.filePath(QString(127, 'L') + ".log"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray content = file.readAll();
        const QByteArray head = QByteArray("[") + levelName(c.level) + "][" +
                                QByteArray::number(qulonglong(RZPlatform::currentThreadId())) + "][";
        QVERIFY2(content.startsWith(head), content.constData());
        QCOMPARE(content.mid(head.size() + 23), QByteArray("]" + c.tail + "\n")); // the date is 23 bytes
    }
};

QTEST_GUILESS_MAIN(TestLogSinks)
#include "tst_logsinks.moc"
