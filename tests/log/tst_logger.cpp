#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogFormat_p.h>
#include <RZCore/log/RZLogSinks.h>

#include "RZTestLogSink.h"

#include <QRegularExpression>
#include <QtTest>

#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cwchar>
#include <sstream>
#include <system_error>
#include <thread>

#include <time.h>

using namespace RZBaseLog;

Q_DECLARE_METATYPE(RZBaseLog::LogLevel)

namespace {

log_data makeRecord(LogLevel level, std::int64_t ticks, const char* file, int line, const char* function,
                    std::string_view message, std::string_view tag = {})
{
    log_data data;
    data.logger_name = "test";
    data.level = level;
    data.location = source_loc(file, line, function);
    data.message = message;
    data.time = ticks;
    data.thread_id = 4412;
    data.tag = tag;
    return data;
}

void setZone(const char* zone)
{
    qputenv("TZ", zone);
    ::tzset();
}

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
    ++sideEffects;
    return 1;
}

} // namespace

class TestLogger : public QObject
{
    Q_OBJECT

private slots:
    void defaultLoggerIsAppOnStandardOutput();
    void renderedLine_data();
    void renderedLine();
    void fileBaseName_data();
    void fileBaseName();
    void maskAndFlush_data();
    void maskAndFlush();
    void setLevelWidens_data();
    void setLevelWidens();
    void createLoggerTakesRegistryValues();
    void registerNullDefault();
    void registerReplacesByName();
    void takeLoggerRaises();
    void messageFormatting();
    void formatMatchesTheCRuntime();
    void streamLineHasNoLocation();
    void macroCapturesLocation();
    void macroSkipsValuesWithoutDefault();
    void qualifiedFunctionName_data();
    void qualifiedFunctionName();
    void manyThreadsNeverTearLines();
    void cleanupTestCase();
};

void TestLogger::defaultLoggerIsAppOnStandardOutput()
{
    RZBaseLogger* logger = defaultLogger();
    QVERIFY(logger);
    QCOMPARE(QString::fromStdString(logger->name()), QStringLiteral("app"));
    QCOMPARE(get("app").get(), logger);
    QCOMPARE(logger->log_level(), 0x3eu);
    QCOMPARE(logger->flush_level(), LogLevel::debug);
    const auto sinks = logger->sinks();
    QCOMPARE(sinks.size(), std::size_t(1));
    QVERIFY(dynamic_cast<OstreamSink*>(sinks.front().get()));
}

void TestLogger::renderedLine_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<int>("level");
    QTest::addColumn<qint64>("ticks");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("line");
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QByteArray>("tag");
    QTest::addColumn<QByteArray>("expected");

    const qint64 t1 = 16146510723450000; // 2021-03-02 02:11:12.345 UTC
    const qint64 t2 = 16146974450079999; // 2021-03-02 15:04:05.007(9999) UTC
    QTest::newRow("long layout, backslash path")
        << QByteArray("CST-8") << 4 << t1 << QByteArray("D:\\src\\Example.cpp") << 42
        << QByteArray("Example::method") << QByteArray()
        << QByteArray("[INFO][4412][2021-03-02 10:11:12.345T+0800][] text - [Example.cpp(42)][Example::method]\r\n");
    QTest::newRow("short layout without location")
        << QByteArray("CST-8") << 8 << t1 << QByteArray("D:\\src\\Example.cpp") << 0 << QByteArray("f")
        << QByteArray() << QByteArray("[WARN][4412][2021-03-02 10:11:12.345T+0800][] text\r\n");
    QTest::newRow("milliseconds keep leading zeros, negative zone")
        << QByteArray("EST5") << 32 << t2 << QByteArray("a.cpp") << 7 << QByteArray("g") << QByteArray()
        << QByteArray("[CRITICAL][4412][2021-03-02 10:04:05.007T-0500][] text - [a.cpp(7)][g]\r\n");
    QTest::newRow("forward slashes are not separators")
        << QByteArray("UTC0") << 1 << t1 << QByteArray("/work/src/a.cpp") << 3 << QByteArray("h")
        << QByteArray()
        << QByteArray("[DEBUG][4412][2021-03-02 02:11:12.345T+0000][] text - [/work/src/a.cpp(3)][h]\r\n");
    QTest::newRow("tag in its own bracket")
        << QByteArray("UTC0") << 16 << t1 << QByteArray() << 0 << QByteArray() << QByteArray("net")
        << QByteArray("[ERROR][4412][2021-03-02 02:11:12.345T+0000][net] text\r\n");
    QTest::newRow("null file and function print as the C runtime does")
        << QByteArray("UTC0") << 2 << t1 << QByteArray() << 9 << QByteArray() << QByteArray()
        << QByteArray("[TRACE][4412][2021-03-02 02:11:12.345T+0000][] text - [(null)(9)][(null)]\r\n");
}

void TestLogger::renderedLine()
{
    QFETCH(QByteArray, zone);
    QFETCH(int, level);
    QFETCH(qint64, ticks);
    QFETCH(QByteArray, file);
    QFETCH(int, line);
    QFETCH(QByteArray, function);
    QFETCH(QByteArray, tag);
    QFETCH(QByteArray, expected);

    const QByteArray oldZone = qgetenv("TZ");
    setZone(zone.constData());
    const log_data data = makeRecord(static_cast<LogLevel>(level), ticks, file.isNull() ? nullptr : file.constData(),
                                     line, function.isNull() ? nullptr : function.constData(), "text",
                                     std::string_view(tag.constData(), std::size_t(tag.size())));
    std::string out = "prefix";
    const LevelSpan span = renderLine(data, out);
    // The same second again goes through the per-thread cache and must render identically.
    std::string again;
    renderLine(data, again);
    setZone(oldZone.constData());

    QCOMPARE(QByteArray::fromStdString(out), "prefix" + expected);
    QCOMPARE(QByteArray::fromStdString(again), expected);
    QCOMPARE(span.begin, std::size_t(1));
    QCOMPARE(QByteArray::fromStdString(again.substr(span.begin, span.end - span.begin)),
             QByteArray(levelName(static_cast<LogLevel>(level))));
}

void TestLogger::fileBaseName_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("backslashes") << QByteArray("C:\\a\\b\\c.cpp") << QByteArray("c.cpp");
    QTest::newRow("trailing backslash") << QByteArray("C:\\a\\") << QByteArray("");
    QTest::newRow("mixed") << QByteArray("C:\\a/b\\d/e.cpp") << QByteArray("d/e.cpp");
    QTest::newRow("no separator") << QByteArray("e.cpp") << QByteArray("e.cpp");
    // Only the first 255 bytes count: a backslash beyond them is never seen.
    QTest::newRow("long path")
        << QByteArray(250, 'a') + "\\bcdefgh\\tail.cpp" << QByteArray("bcde");
}

void TestLogger::fileBaseName()
{
    QFETCH(QByteArray, file);
    QFETCH(QByteArray, expected);
    const std::string_view name = RZBaseLog::fileBaseName(file.constData());
    QCOMPARE(QByteArray(name.data(), int(name.size())), expected);
    QVERIFY(RZBaseLog::fileBaseName(nullptr).data() == nullptr);
}

void TestLogger::maskAndFlush_data()
{
    QTest::addColumn<uint>("mask");
    QTest::addColumn<LogLevel>("flushLevel");
    QTest::addColumn<LogLevel>("lineLevel");
    QTest::addColumn<bool>("logged");
    QTest::addColumn<bool>("flushed");

    QTest::newRow("default mask drops DEBUG") << 0x3eu << LogLevel::debug << LogLevel::debug << false << false;
    QTest::newRow("default mask, TRACE flushed at level 1")
        << 0x3eu << LogLevel::debug << LogLevel::trace << true << true;
    QTest::newRow("warn mask drops INFO") << 0x38u << LogLevel::debug << LogLevel::info << false << false;
    QTest::newRow("OFF bit drops everything") << 0x7fu << LogLevel::debug << LogLevel::critical << false << false;
    QTest::newRow("zero mask drops everything") << 0u << LogLevel::debug << LogLevel::error << false << false;
    QTest::newRow("an OFF line under the OFF bit")
        << 0x40u << LogLevel::debug << LogLevel::off << false << false;
    QTest::newRow("flush on error: WARN unflushed") << 0x3fu << LogLevel::error << LogLevel::warn << true << false;
    QTest::newRow("flush on error: ERROR flushed") << 0x3fu << LogLevel::error << LogLevel::error << true << true;
    QTest::newRow("flush on error: CRITICAL flushed")
        << 0x3fu << LogLevel::error << LogLevel::critical << true << true;
    QTest::newRow("DEBUG with flush level TRACE") << 0x3fu << LogLevel::trace << LogLevel::debug << true << false;
    QTest::newRow("TRACE with flush level DEBUG") << 0x3fu << LogLevel::debug << LogLevel::trace << true << true;
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

void TestLogger::setLevelWidens_data()
{
    QTest::addColumn<LogLevel>("level");
    QTest::addColumn<uint>("mask");
    QTest::newRow("debug") << LogLevel::debug << 0x3fu;
    QTest::newRow("trace") << LogLevel::trace << 0x3eu;
    QTest::newRow("info") << LogLevel::info << 0x3cu;
    QTest::newRow("warn") << LogLevel::warn << 0x38u;
    QTest::newRow("critical") << LogLevel::critical << 0x20u;
    QTest::newRow("off") << LogLevel::off << 0u;
}

void TestLogger::setLevelWidens()
{
    QFETCH(LogLevel, level);
    QFETCH(uint, mask);
    RZScopedTestLogger scoped("widen");
    auto other = std::make_shared<RZBaseLogger>("other");
    registerLogger(other, false);
    setLevel(level);
    const unsigned defaultMask = scoped.logger->log_level();
    const unsigned otherMask = other->log_level();
    // Later loggers get the registry's mask through initLogger.
    auto later = std::make_shared<RZBaseLogger>("later");
    initLogger(later);
    setLevel(LogLevel::trace);
    QCOMPARE(defaultMask, mask);
    QCOMPARE(otherMask, mask);
    QCOMPARE(later->log_level(), mask);
    QCOMPARE(levelMaskFrom(level), mask);
}

void TestLogger::createLoggerTakesRegistryValues()
{
    setLevel(LogLevel::warn);
    flushOn(LogLevel::error);
    const auto logger = createLogger("created", 0, "");
    setLevel(LogLevel::trace);
    flushOn(LogLevel::debug);
    QVERIFY(logger);
    QCOMPARE(logger->log_level(), 0x38u);
    QCOMPARE(logger->flush_level(), LogLevel::error);
    QVERIFY(logger->sinks().empty());
    QVERIFY(!get("created")); // built, not registered
}

void TestLogger::registerNullDefault()
{
    RZScopedTestLogger scoped("before-null");
    QCOMPARE(get("before-null"), scoped.logger);
    registerLogger(nullptr, true);
    QVERIFY(!defaultLogger());
    QVERIFY(!get("before-null"));
    RZLOG_ERROR("no default logger: %d", 1); // must be silent and safe
    QVERIFY(scoped.sink->records().empty());
}

void TestLogger::registerReplacesByName()
{
    RZScopedTestLogger scoped("first");
    QVERIFY(!get("app")); // displaced by the new default
    auto sameName = std::make_shared<RZBaseLogger>("first");
    registerLogger(sameName, false);
    QCOMPARE(get("first"), sameName);
    QCOMPARE(defaultLogger(), scoped.logger.get()); // the default itself is untouched
    clearAll();
    QVERIFY(!defaultLogger());
    QVERIFY(!get("first"));
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
    // The registry is not left locked or changed.
    QCOMPARE(get("taken"), scoped.logger);
    QCOMPARE(defaultLogger(), scoped.logger.get());
}

void TestLogger::messageFormatting()
{
    RZScopedTestLogger scoped;
    RZLOG_INFO("100% safe without values");
    RZLOG_INFO("%d + %d = %s", 2, 2, "four");
    const std::string big(3000, 'x');
    RZLOG_INFO("[%s]", big.c_str());
    RZLOG_INFO("%s", "");
    const auto messages = scoped.sink->messages();
    QCOMPARE(messages.size(), std::size_t(4));
    QCOMPARE(messages[0], std::string("100% safe without values"));
    QCOMPARE(messages[1], std::string("2 + 2 = four"));
    QCOMPARE(messages[2], "[" + big + "]");
    QCOMPARE(messages[3], std::string());
}

void TestLogger::formatMatchesTheCRuntime()
{
#define RZ_SAME(...) QCOMPARE(viaLibrary(__VA_ARGS__), viaC(__VA_ARGS__))
    // The fast conversions, at their limits.
    RZ_SAME("%d|%i|%d", INT_MIN, INT_MAX, 0);
    RZ_SAME("%u %x %X %o", UINT_MAX, 0xbeefu, 0xbeefu, 8u);
    RZ_SAME("%hhd %hd %hhu %hu", 300, 70000, 300, 70000);
    RZ_SAME("%ld %lu %lld %llu", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX);
    RZ_SAME("%zu %zd %jd %td %llx", std::size_t(-1), std::ptrdiff_t(-5), std::intmax_t(-7), std::ptrdiff_t(-9),
            0x1234567890abcdefULL);
    const char* volatile nullText = nullptr; // hidden from the compiler's format checks
    RZ_SAME("[%s][%s][%c]", "text", static_cast<const char*>(nullText), 'z');
    RZ_SAME("100%% of %s", "it");
    // Everything else goes to the C runtime, mixed with fast ones.
    RZ_SAME("%5d|%-4s|%08x|%+d|% d", 42, "ab", 255u, 3, 4);
    RZ_SAME("%.2f %e %g %s", 3.14159, 1e10, 0.5, "after float");
    RZ_SAME("%*d|%.*s", 6, 7, 2, "abcdef");
    RZ_SAME("%p %d", static_cast<void*>(this), 1);
    RZ_SAME("%ls", L"wide");
    // Long lines leave the stack buffer on both paths.
    const std::string big(2000, 'y');
    RZ_SAME("%s|%d", big.c_str(), 5);
    RZ_SAME("%10s|%s", "x", big.c_str());
#undef RZ_SAME
    // A conversion the C runtime refuses gives an empty message, not a crash.
    QCOMPARE(viaLibrary("%lc", static_cast<wint_t>(0xD800)), viaC("%lc", static_cast<wint_t>(0xD800)));
}

void TestLogger::streamLineHasNoLocation()
{
    RZScopedTestLogger scoped;
    LogStream(*scoped.logger, source_loc(__FILE__, __LINE__, "f")).error() << "stream " << 7;
    LogStream(*scoped.logger, source_loc(__FILE__, __LINE__, "f")).debug() << "below the mask";
    const auto records = scoped.sink->records();
    QCOMPARE(records.size(), std::size_t(1));
    QCOMPARE(records[0].level, LogLevel::error);
    QCOMPARE(records[0].message, std::string("stream 7"));
    QVERIFY(records[0].line.find(" - [") == std::string::npos);
}

void TestLogger::macroCapturesLocation()
{
    RZScopedTestLogger scoped;
    const int line = __LINE__ + 1;
    RZLOG_WARN("located");
    const auto records = scoped.sink->records();
    QCOMPARE(records.size(), std::size_t(1));
    QCOMPARE(records[0].function, std::string("TestLogger::macroCapturesLocation"));
    const std::string suffix = " - [" __FILE__ "(" + std::to_string(line) + ")][TestLogger::macroCapturesLocation]\r\n";
    QVERIFY2(records[0].line.size() > suffix.size()
                 && records[0].line.compare(records[0].line.size() - suffix.size(), suffix.size(), suffix) == 0,
             records[0].line.c_str());
}

void TestLogger::macroSkipsValuesWithoutDefault()
{
    RZScopedTestLogger scoped;
    sideEffects = 0;
    RZLOG_INFO("%d", countedValue());
    registerLogger(nullptr, true);
    RZLOG_INFO("%d", countedValue());
    QCOMPARE(sideEffects, 1);
}

void TestLogger::qualifiedFunctionName_data()
{
    QTest::addColumn<QByteArray>("pretty");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("member") << QByteArray("void Foo::bar(int)") << QByteArray("Foo::bar");
    QTest::newRow("static member") << QByteArray("static void ns::Foo::bar()") << QByteArray("ns::Foo::bar");
    QTest::newRow("constructor") << QByteArray("Foo::Foo()") << QByteArray("Foo::Foo");
    QTest::newRow("template return type")
        << QByteArray("std::pair<int, int> Foo::get() [with T = int]") << QByteArray("Foo::get");
    QTest::newRow("anonymous namespace")
        << QByteArray("int {anonymous}::f()") << QByteArray("{anonymous}::f");
    QTest::newRow("anonymous namespace, clang")
        << QByteArray("int (anonymous namespace)::f()") << QByteArray("(anonymous namespace)::f");
    QTest::newRow("call operator") << QByteArray("void Foo::operator()(int) const") << QByteArray("Foo::operator()");
    QTest::newRow("less operator") << QByteArray("bool operator<(const A&, const A&)") << QByteArray("operator<");
    QTest::newRow("lambda") << QByteArray("Foo::bar()::<lambda()>") << QByteArray("Foo::bar");
    QTest::newRow("free function") << QByteArray("int main(int, char**)") << QByteArray("main");
}

void TestLogger::qualifiedFunctionName()
{
    QFETCH(QByteArray, pretty);
    QFETCH(QByteArray, expected);
    // The extraction is a constexpr template over a char array; copy the row into one of fixed size.
    char text[128] = {};
    qstrncpy(text, pretty.constData(), sizeof text);
    const auto name = detail::qualifiedFunctionName(text);
    QCOMPARE(QByteArray(name.text), expected);
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
        const int t = m.captured(1).toInt();
        QCOMPARE(m.captured(2).toInt(), next[t]++); // in order per thread, none lost
    }
}

void TestLogger::cleanupTestCase()
{
    clearAll();
}

QTEST_GUILESS_MAIN(TestLogger)
#include "tst_logger.moc"
