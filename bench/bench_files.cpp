// Zip and folder-hash speed beside the tools a user would otherwise run, on one generated tree of
// about 1,000 files and 100 MB (half text-like, half incompressible):
//   RZQuaZip::ExtractDir          vs  unzip -q      (the same archive, made by zip -6)
//   RZQuaZip::CompressDirWithUTF8 vs  zip -qr -6    (deflate level 6 on both sides)
//   RZDir::calculateDirectoryMD5  vs  md5sum        (the same 1,000 files in one folder)
// Each measurement is one run of wall time; the pairs alternate, round after round, and the ratios of
// the summed times are printed at the end (above 1 means RZCore is faster).

#include <RZCore/files/RZDir.h>
#include <RZCore/files/ZipOperate.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <random>

namespace {

constexpr int kFileCount = 1000;
constexpr int kRounds = 3;

struct Workspace
{
    QTemporaryDir root;
    QString tree;    // nested folders
    QString flat;    // the same files in one folder
    QString archive; // the tree, zipped by Info-ZIP
    qint64 bytes = 0;
};

Workspace* g_pWork = nullptr;
QMap<QString, double> g_oSeconds; // summed wall time per contender

QByteArray makeContent(std::mt19937_64& random, qint64 size, bool text)
{
    static const char* const kWords[] = {"frame ", "clip ",   "timeline ", "render ", "audio ",
                                         "track ", "effect ", "title ",    "export ", "project\n"};
    QByteArray data;
    data.reserve(static_cast<int>(size + 16));
    while (data.size() < size) {
        if (text) {
            data += kWords[random() % 10];
        } else {
            const quint64 value = random();
            data.append(reinterpret_cast<const char*>(&value), sizeof value);
        }
    }
    data.truncate(static_cast<int>(size));
    return data;
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

int runTool(const QString& program, const QStringList& arguments, const QString& workDir = QString())
{
    QProcess process;
    process.setWorkingDirectory(workDir);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForStarted() || !process.waitForFinished(-1))
        return -1;
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// About 1,000 files, 100 MB: many small ones, a few large, in 25 folders up to three levels deep.
bool generate(Workspace& work)
{
    std::mt19937_64 random(20240611);
    work.tree = work.root.filePath("tree");
    work.flat = work.root.filePath("flat");
    for (int i = 0; i < kFileCount; ++i) {
        const qint64 size =
            (i % 50 == 0) ? 1500000 + qint64(random() % 1000000) : 20000 + qint64(random() % 90000);
        const bool text = (i % 50 == 0) ? (i % 100 == 0) : (i % 2 == 0);
        const QByteArray data = makeContent(random, size, text);
        const QString folder =
            QStringLiteral("project %1/media %2/%3").arg(i % 5).arg(i % 25).arg(i % 3 ? "clips" : "");
        const QString name = QStringLiteral("file-%1.dat").arg(i);
        if (!writeFile(work.tree + '/' + folder + '/' + name, data) ||
            !writeFile(work.flat + '/' + name, data))
            return false;
        work.bytes += size;
    }
    work.archive = work.root.filePath("tree.zip");
    return runTool("zip", {"-qr", "-6", work.archive, "."}, work.tree) == 0;
}

void record(benchmark::State& state, const QString& contender, double seconds)
{
    g_oSeconds[contender] += seconds;
    state.SetIterationTime(seconds);
    state.SetBytesProcessed(g_pWork->bytes);
}

template <typename Work> void measure(benchmark::State& state, const QString& contender, Work work)
{
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const bool ok = work();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        if (!ok) {
            state.SkipWithError("the run failed");
            return;
        }
        record(state, contender, elapsed.count());
    }
}

void extractOurs(benchmark::State& state)
{
    const QString out = g_pWork->root.filePath("out-ours");
    QDir(out).removeRecursively();
    measure(state, "ExtractDir",
            [&] { return RZQuaZip::ExtractDir(g_pWork->archive, out).size() > kFileCount; });
}

void extractUnzip(benchmark::State& state)
{
    const QString out = g_pWork->root.filePath("out-unzip");
    QDir(out).removeRecursively();
    measure(state, "unzip -q", [&] { return runTool("unzip", {"-q", g_pWork->archive, "-d", out}) == 0; });
}

void compressOurs(benchmark::State& state)
{
    const QString zip = g_pWork->root.filePath("ours.zip");
    QFile::remove(zip);
    measure(state, "CompressDirWithUTF8",
            [&] { return RZQuaZip::CompressDirWithUTF8(zip, g_pWork->tree, nullptr); });
}

void compressZip(benchmark::State& state)
{
    const QString zip = g_pWork->root.filePath("info.zip");
    QFile::remove(zip);
    measure(state, "zip -qr -6", [&] { return runTool("zip", {"-qr", "-6", zip, "."}, g_pWork->tree) == 0; });
}

void md5Ours(benchmark::State& state)
{
    measure(state, "calculateDirectoryMD5",
            [&] { return RZDir::calculateDirectoryMD5(g_pWork->flat).size() == 32; });
}

void md5sum(benchmark::State& state)
{
    QStringList files = QDir(g_pWork->flat).entryList(QDir::Files);
    for (QString& file : files)
        file.prepend(g_pWork->flat + '/');
    measure(state, "md5sum", [&] { return runTool("md5sum", files) == 0; });
}

void ratio(const char* what, const QString& ours, const QString& theirs)
{
    if (g_oSeconds.value(ours) > 0)
        std::printf("%-14s %s %.3f s, %s %.3f s: speed ratio %.2f\n", what, qPrintable(ours),
                    g_oSeconds.value(ours), qPrintable(theirs), g_oSeconds.value(theirs),
                    g_oSeconds.value(theirs) / g_oSeconds.value(ours));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    for (const char* tool : {"zip", "unzip", "md5sum"}) {
        if (QStandardPaths::findExecutable(tool).isEmpty()) {
            std::fprintf(stderr, "bench_files needs %s (scripts/setup installs it)\n", tool);
            return 1;
        }
    }
    Workspace work;
    if (!work.root.isValid() || !generate(work)) {
        std::fprintf(stderr, "could not generate the tree\n");
        return 1;
    }
    g_pWork = &work;
    std::printf("tree: %d files, %.1f MB; archive %.1f MB\n", kFileCount, work.bytes / 1e6,
                QFileInfo(work.archive).size() / 1e6);

    const std::pair<const char*, void (*)(benchmark::State&)> contenders[] = {
        {"extract/ExtractDir", extractOurs},
        {"extract/unzip", extractUnzip},
        {"compress/CompressDirWithUTF8", compressOurs},
        {"compress/zip", compressZip},
        {"md5/calculateDirectoryMD5", md5Ours},
        {"md5/md5sum", md5sum}};
    for (int round = 1; round <= kRounds; ++round) {
        for (const auto& contender : contenders) {
            benchmark::RegisterBenchmark(
                (std::string(contender.first) + "/round:" + std::to_string(round)).c_str(), contender.second)
                ->Iterations(1)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf("\nsummed over %d alternating rounds:\n", kRounds);
    ratio("extraction", "ExtractDir", "unzip -q");
    ratio("compression", "CompressDirWithUTF8", "zip -qr -6");
    ratio("folder MD5", "calculateDirectoryMD5", "md5sum");
    return 0;
}
