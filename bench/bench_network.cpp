// HTTP against nginx on loopback, each side by side with what a user would otherwise write or run:
//   a 100 MB download to a file: RZNetwork (temporary file, moved into place) vs a plain
//     QNetworkAccessManager reply written to a QFile vs curl -o;
//   1 KB GETs one after another: RZHttpClient::get vs a plain QNetworkAccessManager loop.
// Each measurement is one batch of wall time; the contenders alternate, round after round, and the
// ratios of the summed times are printed at the end (above 1 means RZCore is faster). Then a child
// process downloads 1 GB through RZNetwork and reports its peak resident memory (VmHWM): the download
// must stream.

#include "RZNetPeers.h"

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/net/RZHttpClient.h>
#include <RZCore/net/RZNetwork.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMap>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int kRounds = 5;
constexpr qint64 kDownloadBytes = 100 * 1000 * 1000;
constexpr qint64 kLargeBytes = 1000LL * 1000 * 1000;
constexpr int kSmallGets = 2000;

struct Workspace
{
    QTemporaryDir root;
    RZNetPeers::Nginx nginx;
    QString path(const QString& name) const { return root.path() + QLatin1Char('/') + name; }
};

Workspace* g_pWork = nullptr;
QMap<QString, double> g_oSeconds; // summed wall time per contender
QMap<QString, double> g_oBest;    // its best round
bool g_bFailed = false;

void record(benchmark::State& state, const QString& name, double seconds, bool ok)
{
    if (!ok) {
        g_bFailed = true;
        state.SkipWithError("request failed");
        return;
    }
    g_oSeconds[name] += seconds;
    g_oBest[name] = g_oBest.contains(name) ? std::min(g_oBest.value(name), seconds) : seconds;
    state.SetIterationTime(seconds);
}

bool downloadThroughRZNetwork(const QString& url, const QString& target)
{
    RZNetwork net;
    bool ok = false;
    QString result;
    net.HttpGetRequest(QUrl(url), target, RZDataIO::FileData, true, 0);
    return RZNetwork::WaitForNetworkFinished(net, ok, result, 600000) == 0 && ok;
}

void downloadOurs(benchmark::State& state)
{
    const QString target = g_pWork->path(QStringLiteral("ours.bin"));
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        const bool ok = downloadThroughRZNetwork(g_pWork->nginx.url(QStringLiteral("/100mb.bin")), target);
        record(state, QStringLiteral("RZNetwork"), clock.nsecsElapsed() / 1e9,
               ok && QFileInfo(target).size() == kDownloadBytes);
        QFile::remove(target);
    }
    state.SetBytesProcessed(state.iterations() * kDownloadBytes);
}

void downloadPlainQt(benchmark::State& state)
{
    QNetworkAccessManager manager;
    const QString target = g_pWork->path(QStringLiteral("plain.bin"));
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        QFile file(target);
        file.open(QIODevice::WriteOnly);
        QNetworkReply* reply =
            manager.get(QNetworkRequest(QUrl(g_pWork->nginx.url(QStringLiteral("/100mb.bin")))));
        QEventLoop loop;
        QObject::connect(reply, &QIODevice::readyRead, [&] { file.write(reply->readAll()); });
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        file.write(reply->readAll());
        file.close();
        const bool ok = reply->error() == QNetworkReply::NoError;
        reply->deleteLater();
        record(state, QStringLiteral("QNetworkAccessManager"), clock.nsecsElapsed() / 1e9,
               ok && QFileInfo(target).size() == kDownloadBytes);
        QFile::remove(target);
    }
    state.SetBytesProcessed(state.iterations() * kDownloadBytes);
}

void downloadCurl(benchmark::State& state)
{
    const QString target = g_pWork->path(QStringLiteral("curl.bin"));
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        QString error;
        const bool ok = RZNetPeers::runTool(RZNetPeers::programPath(QStringLiteral("curl")),
                                            {QStringLiteral("-sf"), QStringLiteral("-o"), target,
                                             g_pWork->nginx.url(QStringLiteral("/100mb.bin"))},
                                            g_pWork->root.path(), &error);
        record(state, QStringLiteral("curl -o"), clock.nsecsElapsed() / 1e9,
               ok && QFileInfo(target).size() == kDownloadBytes);
        QFile::remove(target);
    }
    state.SetBytesProcessed(state.iterations() * kDownloadBytes);
}

void smallGetsOurs(benchmark::State& state)
{
    RZHttpClient client;
    const QUrl url(g_pWork->nginx.url(QStringLiteral("/1kb.bin")));
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        bool ok = true;
        for (int i = 0; i < kSmallGets; ++i) {
            QByteArray data;
            QString err;
            ok = client.get(QNetworkRequest(url), data, err, 10000) == RZBaseTask::RequestSucceeded &&
                 data.size() == 1024 && ok;
        }
        record(state, QStringLiteral("RZHttpClient::get"), clock.nsecsElapsed() / 1e9, ok);
    }
    state.SetItemsProcessed(state.iterations() * kSmallGets);
}

void smallGetsPlainQt(benchmark::State& state)
{
    QNetworkAccessManager manager;
    const QUrl url(g_pWork->nginx.url(QStringLiteral("/1kb.bin")));
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        bool ok = true;
        for (int i = 0; i < kSmallGets; ++i) {
            QNetworkReply* reply = manager.get(QNetworkRequest(url));
            QEventLoop loop;
            QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
            loop.exec();
            ok = reply->error() == QNetworkReply::NoError && reply->readAll().size() == 1024 && ok;
            reply->deleteLater();
        }
        record(state, QStringLiteral("QNetworkAccessManager loop"), clock.nsecsElapsed() / 1e9, ok);
    }
    state.SetItemsProcessed(state.iterations() * kSmallGets);
}

// Summed over the rounds, and best round against best round: on a machine shared with other work the
// best rounds are the ones that ran undisturbed.
void ratio(const char* what, const QString& ours, const QString& theirs)
{
    std::printf("  %-10s %s %.3f s, %s %.3f s: %.2fx;  best rounds %.3f s, %.3f s: %.2fx\n", what,
                qPrintable(ours), g_oSeconds.value(ours), qPrintable(theirs), g_oSeconds.value(theirs),
                g_oSeconds.value(theirs) / g_oSeconds.value(ours), g_oBest.value(ours), g_oBest.value(theirs),
                g_oBest.value(theirs) / g_oBest.value(ours));
}

qint64 peakResidentKiB()
{
    const QByteArray status = RZNetPeers::readFile(QStringLiteral("/proc/self/status"));
    for (const QByteArray& line : status.split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

// The child: one large download through RZNetwork, then its own peak resident memory.
int downloadChild(const char* url, const char* target)
{
    std::printf("before %lld\n", peakResidentKiB());
    const bool ok = downloadThroughRZNetwork(QString::fromUtf8(url), QString::fromUtf8(target));
    std::printf("ok %d size %lld peak %lld\n", ok, QFileInfo(QString::fromUtf8(target)).size(),
                peakResidentKiB());
    QFile::remove(QString::fromUtf8(target));
    return ok ? 0 : 1;
}

void largeDownloadMemory()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--download-child"), g_pWork->nginx.url(QStringLiteral("/1gb.bin")),
                 g_pWork->path(QStringLiteral("large.bin"))});
    child.waitForFinished(-1);
    const QString report = QString::fromUtf8(child.readAllStandardOutput()).simplified();
    std::printf("\n1 GB download through RZNetwork in a child process (KiB of VmHWM): %s\n",
                qPrintable(report));
    const qint64 peak = report.section(QLatin1Char(' '), -1).toLongLong();
    std::printf("  peak resident memory %.1f MB (limit 64 MB): %s\n", peak / 1024.0,
                child.exitCode() == 0 && peak > 0 && peak <= 64 * 1024 ? "streams" : "FAILED");
    g_bFailed = g_bFailed || child.exitCode() != 0 || peak <= 0 || peak > 64 * 1024;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    // The request lines of the library's log would only interleave with the tables.
    if (RZBaseLog::RZBaseLogger* logger = RZBaseLog::defaultLogger())
        logger->set_level(RZBaseLog::levelMaskFrom(RZBaseLog::LogLevel::warn));
    if (!RZNetwork::IsNetworkDeviceValid())
        RZNetwork::setNetworkProbe([] { return true; }); // nginx is on loopback either way
    if (argc == 4 && std::strcmp(argv[1], "--download-child") == 0)
        return downloadChild(argv[2], argv[3]);

    Workspace work;
    QDir().mkpath(work.path(QStringLiteral("www")));
    QDir().mkpath(work.path(QStringLiteral("nginx")));
    // Sparse files: served in full, while the disk holds almost nothing of them.
    const std::pair<const char*, qint64> files[] = {{"100mb.bin", kDownloadBytes}, {"1gb.bin", kLargeBytes}};
    for (const auto& file : files) {
        QFile sparse(work.path(QStringLiteral("www/")) + QLatin1String(file.first));
        if (!sparse.open(QIODevice::WriteOnly) || !sparse.resize(file.second)) {
            std::fprintf(stderr, "cannot make %s\n", file.first);
            return 1;
        }
    }
    RZNetPeers::writeFile(work.path(QStringLiteral("www/1kb.bin")), QByteArray(1024, 'k'));
    QString error;
    if (!work.nginx.start(work.path(QStringLiteral("nginx")), work.path(QStringLiteral("www")), nullptr,
                          &error)) {
        std::fprintf(stderr, "bench_network needs nginx (scripts/setup installs it): %s\n",
                     qPrintable(error));
        return 1;
    }
    g_pWork = &work;
    // Untimed: the first request of a process pays for Qt's network start-up (the shared manager, its
    // thread, the proxy and interface look-ups); the plain loops get their managers outside the clock.
    // The first read of the large file costs whoever comes first, too.
    downloadThroughRZNetwork(work.nginx.url(QStringLiteral("/100mb.bin")),
                             work.path(QStringLiteral("warm-up.bin")));
    QFile::remove(work.path(QStringLiteral("warm-up.bin")));

    using Contender = std::pair<const char*, void (*)(benchmark::State&)>;
    const std::vector<std::vector<Contender>> groups{
        {{"download100MB/RZNetwork", downloadOurs},
         {"download100MB/QNetworkAccessManager", downloadPlainQt},
         {"download100MB/curl", downloadCurl}},
        {{"get1KB/RZHttpClient", smallGetsOurs}, {"get1KB/QNetworkAccessManager", smallGetsPlainQt}}};
    for (int round = 1; round <= kRounds; ++round) {
        for (const std::vector<Contender>& group : groups) {
            // Each round starts with another contender, so that none always comes first.
            for (std::size_t i = 0; i < group.size(); ++i) {
                const Contender& contender = group[(i + round) % group.size()];
                benchmark::RegisterBenchmark(
                    (std::string(contender.first) + "/round:" + std::to_string(round)).c_str(),
                    contender.second)
                    ->Iterations(1)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond);
            }
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf(
        "\nsummed over %d alternating rounds (above 1: RZCore is faster; floor 0.9 against plain Qt):\n",
        kRounds);
    ratio("100 MB", QStringLiteral("RZNetwork"), QStringLiteral("QNetworkAccessManager"));
    ratio("100 MB", QStringLiteral("RZNetwork"), QStringLiteral("curl -o"));
    ratio("1 KB GETs", QStringLiteral("RZHttpClient::get"), QStringLiteral("QNetworkAccessManager loop"));
    std::printf("  1 KB GETs per second: RZHttpClient::get %.0f, QNetworkAccessManager loop %.0f\n",
                kRounds * kSmallGets / g_oSeconds.value(QStringLiteral("RZHttpClient::get")),
                kRounds * kSmallGets / g_oSeconds.value(QStringLiteral("QNetworkAccessManager loop")));
    largeDownloadMemory();
    RZNetwork::ReleaseManeger();
    return g_bFailed ? 1 : 0;
}
