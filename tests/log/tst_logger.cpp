#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogFormat_p.h>
#include <RZCore/log/RZLogSinks.h>

#include "RZTestLogSink.h"

#include <QRegularExpression>
#include <QtTest>

#include <climits>
#include <cstdarg>
#include <cwchar>
#include <sstream>
#include <system_error>
#include <thread>

#include <time.h>

using namespace RZBaseLog;

Q_DECLARE_METATYPE(RZBaseLog::LogLevel)

namespace {

QByteArray viaLibrary(const char* format, ...)
{
    detail::MessageBuffer buffer;
    va_list args;
    va_start(args, format);
    const bool ok = detail::formatMessage(buffer, format, args);
    va_end(args);
    const std::string_view text = buffer.view();
    return ok ? QByteArray(text.data(), int(text.size())) : QByteArray("<error>");
}

template <typename... Args>
QByteArray viaC(const char* format, Args... args)
{
    const int length = std::snprintf(nullptr, 0, format, args...);
    if (length < 0)
        return "<error>";
    QByteArray out(length + 1, '\0');
    std::snprintf(out.data(), std::size_t(out.size()), format, args...);
    out.chop(1);
    return out;
}

int sideEffects = 0;
int countedValue()
{
    return ++sideEffects;
}

} // namespace

class TestLogger : public QObject
{
    Q_OBJECT

private slots:
    void defaultLoggerIsAppOnStandardOutput();
    void renderedLine_data();
    void renderedLine();
    void maskAndFlush_data();
    void maskAndFlush();
    void levelsReachRegisteredAndLaterLoggers();
    void registryDefaultAndNames();
    void takeLoggerRaises();
    void formatMatchesTheCRuntime();
    void macroAndStreamLines();
    void qualifiedFunctionName_data();
    void qualifiedFunctionName();
    void manyThreadsNeverTearLines();
};

void TestLogger::defaultLoggerIsAppOnStandardOutput()
{
    RZBaseLogger* logger = defaultLogger();
    QVERIFY(logger);
    QCOMPARE(logger->name(), std::string("app"));
    QCOMPARE(logger->log_level(), 0x3eu);
    QCOMPARE(logger->flush_level(), LogLevel::debug);
    QVERIFY(dynamic_cast<OstreamSink*>(logger->sinks().at(0).get()));
}

void TestLogger::renderedLine_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<int>("level");
    QTest::addColumn<qint64>("ticks");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("line");
    QTest::addColumn<QByteArray>("tag");
    QTest::addColumn<QByteArray>("expected");

    const qint64 t1 = 16146510723450000; // 2021-03-02 02:11:12.345 UTC
    const qint64 t2 = 16146974450079999; // 2021-03-02 15:04:05.007(9999) UTC
    QTest::newRow("long layout, backslash path")
        << QByteArray("CST-8") << 4 << t1 << QByteArray("D:\\src\\Example.cpp") << 42 << QByteArray()
        << QByteArray("[INFO][4412][2021-03-02 10:11:12.345T+0800][] text - [Example.cpp(42)][Example::method]\r\n");
    QTest::newRow("short layout without location")
        << QByteArray("CST-8") << 8 << t1 << QByteArray("D:\\src\\Example.cpp") << 0 << QByteArray()
        << QByteArray("[WARN][4412][2021-03-02 10:11:12.345T+0800][] text\r\n");
    QTest::newRow("leading zeros, negative zone")
        << QByteArray("EST5") << 32 << t2 << QByteArray("a.cpp") << 7 << QByteArray()
        << QByteArray("[CRITICAL][4412][2021-03-02 10:04:05.007T-0500][] text - [a.cpp(7)][Example::method]\r\n");
    QTest::newRow("forward slashes are not separators")
        << QByteArray("UTC0") << 1 << t1 << QByteArray("/work/src/a.cpp") << 3 << QByteArray()
        << QByteArray("[DEBUG][4412][2021-03-02 02:11:12.345T+0000][] text - [/work/src/a.cpp(3)][Example::method]\r\n");
    QTest::newRow("only the first 255 bytes of the path count")
        << QByteArray("UTC0") << 16 << t1 << QByteArray(250, 'a') + "\\bcdefgh\\tail.cpp" << 5 << QByteArray("net")
        << QByteArray("[ERROR][4412][2021-03-02 02:11:12.345T+0000][net] text - [bcde(5)][Example::method]\r\n");
    QTest::newRow("null file prints as the C runtime does")
        << QByteArray("UTC0") << 2 << t1 << QByteArray() << 9 << QByteArray()
        << QByteArray("[TRACE][4412][2021-03-02 02:11:12.345T+0000][] text - [(null)(9)][Example::method]\r\n");
}

void TestLogger::renderedLine()
{
    QFETCH(QByteArray, zone);
    QFETCH(int, level);
    QFETCH(qint64, ticks);
    QFETCH(QByteArray, file);
    QFETCH(int, line);
    QFETCH(QByteArray, tag);
    QFETCH(QByteArray, expected);

    const QByteArray oldZone = qgetenv("TZ");
    qputenv("TZ", zone);
    ::tzset();
    log_data data;
    data.level = static_cast<LogLevel>(level);
    data.location = source_loc(file.isNull() ? nullptr : file.constData(), line, "Example::method");
    data.message = "text";
    data.time = ticks;
    data.thread_id = 4412;
    data.tag = std::string_view(tag.constData(), std::size_t(tag.size()));
    std::string out = "prefix";
    const LevelSpan span = renderLine(data, out);
    std::string again; // the same second again comes from the per-thread cache
    renderLine(data, again);
    qputenv("TZ", oldZone);
    ::tzset();

    QCOMPARE(QByteArray::fromStdString(out), "prefix" + expected);
    QCOMPARE(QByteArray::fromStdString(again), expected);
    QCOMPARE(QByteArray::fromStdString(again.substr(span.begin, span.end - span.begin)),
             QByteArray(levelName(data.level)));
    QCOMPARE(span.begin, std::size_t(1));
}

void TestLogger::maskAndFlush_data()
{
    QTest::addColumn<uint>("mask");
    QTest::addColumn<LogLevel>("flushLevel");
    QTest::addColumn<LogLevel>("lineLevel");
    QTest::addColumn<bool>("logged");
    QTest::addColumn<bool>("flushed");

    QTest::newRow("default mask drops DEBUG") << 0x3eu << LogLevel::debug << LogLevel::debug << false << false;
    QTest::newRow("default flush level flushes TRACE")
        << 0x3eu << LogLevel::debug << LogLevel::trace << true << true;
    QTest::newRow("warn mask drops INFO") << 0x38u << LogLevel::debug << LogLevel::info << false << false;
    QTest::newRow("OFF bit drops everything") << 0x7fu << LogLevel::debug << LogLevel::critical << false << false;
    QTest::newRow("an OFF line never passes") << 0x40u << LogLevel::debug << LogLevel::off << false << false;
    QTest::newRow("flush on error: WARN unflushed") << 0x3fu << LogLevel::error << LogLevel::warn << true << false;
    QTest::newRow("flush on error: CRITICAL flushed")
        << 0x3fu << LogLevel::error << LogLevel::critical << true << true;
    QTest::newRow("DEBUG under flush level TRACE") << 0x3fu << LogLevel::trace << LogLevel::debug << true << false;
    QTest::newRow("flush level OFF never flushes") << 0x3fu << LogLevel::off << LogLevel::critical << true << false;
}

void TestLogger::maskAndFlush()
{
    QFETCH(uint, mask);
    QFETCH(LogLevel, flushLevel);
    QFETCH(LogLevel, lineLevel);
    QFETCH(bool, logged);
    QFETCH(bool, flushed);

    auto sink = std::make_shared<RZTestLogSink>();
    RZBaseLogger logger("mask", sink);
    logger.set_level(mask);
    logger.flush_on(flushLevel);
    logger.log(source_loc(), lineLevel, "line");
    QCOMPARE(sink->records().size(), std::size_t(logged ? 1 : 0));
    QCOMPARE(sink->flushes(), flushed ? 1 : 0);
}

void TestLogger::levelsReachRegisteredAndLaterLoggers()
{
    RZScopedTestLogger scoped("widen");
    setLevel(LogLevel::warn);
    flushOn(LogLevel::error);
    const auto later = createLogger("later", 0, "");
    const unsigned registeredMask = scoped.logger->log_level();
    setLevel(LogLevel::off);
    const unsigned offMask = scoped.logger->log_level();
    setLevel(LogLevel::trace);
    flushOn(LogLevel::debug);

    QCOMPARE(registeredMask, 0x38u);
    QCOMPARE(offMask, 0u);
    QCOMPARE(later->log_level(), 0x38u); // created, not registered: it took the values then
    QCOMPARE(later->flush_level(), LogLevel::error);
    QVERIFY(later->sinks().empty());
    QVERIFY(!get("later"));
    QCOMPARE(levelMaskFrom(LogLevel::debug), 0x3fu);
    QCOMPARE(levelMaskFrom(LogLevel::info), 0x3cu);
}

void TestLogger::registryDefaultAndNames()
{
    RZScopedTestLogger scoped("first");
    QVERIFY(!get("app")); // the old default's entry goes with it
    auto sameName = std::make_shared<RZBaseLogger>("first");
    registerLogger(sameName, false);
    QCOMPARE(get("first"), sameName);
    QCOMPARE(defaultLogger(), scoped.logger.get());

    sideEffects = 0;
    RZLOG_INFO("%d", countedValue());
    registerLogger(nullptr, true);
    QVERIFY(!defaultLogger());
    QVERIFY(!get("first"));
    RZLOG_INFO("%d", countedValue()); // no default: silent, values not evaluated
    QCOMPARE(sideEffects, 1);
    QCOMPARE(scoped.sink->messages(), std::vector<std::string>{"1"});
}

void TestLogger::takeLoggerRaises()
{
    RZScopedTestLogger scoped("taken");
    bool raised = false;
    try {
        takeLogger("taken");
    } catch (const std::system_error& error) {
        raised = error.code() == std::errc::device_or_resource_busy;
    }
    QVERIFY(raised);
    QCOMPARE(get("taken"), scoped.logger); // the registry is neither left locked nor changed
    QCOMPARE(defaultLogger(), scoped.logger.get());
}

void TestLogger::formatMatchesTheCRuntime()
{
#define RZ_SAME(...) QCOMPARE(viaLibrary(__VA_ARGS__), viaC(__VA_ARGS__))
    // The conversions formatted by the library itself, at their limits.
    RZ_SAME("%d|%i|%u %x %X %o", INT_MIN, INT_MAX, UINT_MAX, 0xbeefu, 0xbeefu, 8u);
    RZ_SAME("%hhd %hd %hhu %hu", 300, 70000, 300, 70000);
    RZ_SAME("%ld %lu %lld %llu", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX);
    RZ_SAME("%zu %zd %jd %td", std::size_t(-1), std::ptrdiff_t(-5), std::intmax_t(-7), std::ptrdiff_t(-9));
    const char* volatile nullText = nullptr; // hidden from the compiler's format checks
    RZ_SAME("[%s][%s][%c] 100%%", "text", static_cast<const char*>(nullText), 'z');
    // Everything else goes to the C runtime, mixed with the fast ones.
    RZ_SAME("%5d|%-4s|%08x|%+d|%.2f|%e|%*d|%.*s", 42, "ab", 255u, 3, 3.14159, 1e10, 6, 7, 2, "abcdef");
    RZ_SAME("%ls %p", L"wide", static_cast<void*>(this));
    // Long lines leave the stack buffer on both paths.
    const std::string big(2000, 'y');
    RZ_SAME("%s|%d", big.c_str(), 5);
    RZ_SAME("%10s|%s", "x", big.c_str());
    // A conversion the C runtime refuses gives an empty message, not a crash.
    RZ_SAME("%lc", static_cast<wint_t>(0xD800));
#undef RZ_SAME
}

void TestLogger::macroAndStreamLines()
{
    RZScopedTestLogger scoped;
    const int line = __LINE__ + 1;
    RZLOG_WARN("100% safe without values");
    LogStream(*scoped.logger, source_loc(__FILE__, __LINE__, "f")).error() << "stream " << 7;
    LogStream(*scoped.logger, source_loc(__FILE__, __LINE__, "f")).debug() << "below the mask";

    const auto records = scoped.sink->records();
    QCOMPARE(records.size(), std::size_t(2));
    QCOMPARE(records[0].message, std::string("100% safe without values"));
    QCOMPARE(records[0].function, std::string("TestLogger::macroAndStreamLines"));
    const std::string suffix = " - [" __FILE__ "(" + std::to_string(line) + ")][TestLogger::macroAndStreamLines]\r\n";
    QVERIFY2(records[0].line.size() > suffix.size()
                 && records[0].line.compare(records[0].line.size() - suffix.size(), suffix.size(), suffix) == 0,
             records[0].line.c_str());
    // Stream lines carry no location: always the short layout.
    QCOMPARE(records[1].level, LogLevel::error);
    QCOMPARE(records[1].message, std::string("stream 7"));
    QVERIFY(records[1].line.find(" - [") == std::string::npos);
}

void TestLogger::qualifiedFunctionName_data()
{
    QTest::addColumn<QByteArray>("pretty");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("static member") << QByteArray("static void ns::Foo::bar(int)") << QByteArray("ns::Foo::bar");
    QTest::newRow("constructor") << QByteArray("Foo::Foo()") << QByteArray("Foo::Foo");
    QTest::newRow("template return type")
        << QByteArray("std::pair<int, int> Foo::get() [with T = int]") << QByteArray("Foo::get");
    QTest::newRow("anonymous namespace, clang")
        << QByteArray("int (anonymous namespace)::f()") << QByteArray("(anonymous namespace)::f");
    QTest::newRow("call operator") << QByteArray("void Foo::operator()(int) const") << QByteArray("Foo::operator()");
    QTest::newRow("less operator") << QByteArray("bool operator<(const A&, const A&)") << QByteArray("operator<");
    QTest::newRow("lambda") << QByteArray("Foo::bar()::<lambda()>") << QByteArray("Foo::bar");
}

void TestLogger::qualifiedFunctionName()
{
    QFETCH(QByteArray, pretty);
    QFETCH(QByteArray, expected);
    char text[128] = {}; // the extraction works on a char array of fixed size
    qstrncpy(text, pretty.constData(), sizeof text);
    QCOMPARE(QByteArray(detail::qualifiedFunctionName(text).text), expected);
}

void TestLogger::manyThreadsNeverTearLines()
{
    constexpr int kThreads = 8;
    constexpr int kLines = 10000;
    std::ostringstream stream;
    auto logger = std::make_shared<RZBaseLogger>("threads", std::make_shared<OstreamSink>(stream, false));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&logger, t] {
            for (int i = 0; i < kLines; ++i)
                logger->log(source_loc("C:\\x\\w.cpp", 5, "worker"), LogLevel::info, "thread %d line %d end", t, i);
        });
    }
    for (auto& thread : threads)
        thread.join();

    const QString all = QString::fromStdString(stream.str());
    QVERIFY(all.endsWith(QLatin1String("\r\n")));
    const QStringList lines = all.left(all.size() - 2).split(QStringLiteral("\r\n"));
    QCOMPARE(lines.size(), kThreads * kLines);
    static const QRegularExpression shape(QStringLiteral(
        R"(^\[INFO\]\[-?\d+\]\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}T[+-]\d{4}\]\[\] thread (\d) line (\d+) end - \[w\.cpp\(5\)\]\[worker\]$)"));
    std::vector<int> next(kThreads, 0);
    for (const QString& line : lines) {
        const QRegularExpressionMatch m = shape.match(line);
        QVERIFY2(m.hasMatch(), qPrintable(line));
        QCOMPARE(m.captured(2).toInt(), next[m.captured(1).toInt()]++); // in order per thread, none lost
    }
}

QTEST_GUILESS_MAIN(TestLogger)
#include "tst_logger.moc"
