// The communicator between two processes, beside a raw QLocalSocket carrying the same bytes between
// the same two processes:
//   - round trips of a beat (server sends "CMD_PINGPONG_BEAT", the client answers, sigPingPong)
//     against a raw echo of the 71 bytes of that frame;
//   - one-way frames streamed from the client to the server (parsed by the receiver, as a host
//     does) against the same bytes streamed raw.
// Each pair runs alternately within one benchmark, in five rounds; the summary gives each round's
// ratio, their median and how closely the rounds agree.
// Run: scripts/bench bench_ipc    (the binary starts itself again as the second process)
#include <RZCore/ipc/RZCommunicator.h>
#include <RZCore/log/RZBaseLog.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QTimer>
#include <QUuid>

#ifdef __linux__
#include <sched.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

namespace {

const QString kBeat = QStringLiteral("CMD_PINGPONG_BEAT");
const QString kStreamRequest = QStringLiteral("BENCH_STREAM");
const QString kStreamFrame = QStringLiteral("BENCH_FRAME");
constexpr int kStreamBatch = 1000;

// One streamed frame: about 100 bytes on the wire.
QStringList streamContents()
{
    return {QStringLiteral("clip-0042.mp4"), QStringLiteral("00:01:02.500"), QStringLiteral("progress 42")};
}

QByteArray streamFrameBytes()
{
    return RZCommunicatorMsg(kStreamFrame, streamContents()).toString().toUtf8();
}

// Round trips run with each process on a CPU of its own, the first two the machine allows. Left to the
// scheduler, the two sometimes share a CPU (a round trip is then a pair of context switches) and
// sometimes not (then it is two wake-ups of an idle CPU), and a round's ratio moved between 0.6 and 1.0
// with that. Streams run unpinned: a stream keeps both processes busy, and a pinned one would follow
// whatever else the machine runs on just one of the two CPUs. Nothing is pinned with a single CPU.
class CpuPlacement
{
public:
    CpuPlacement()
    {
#ifdef __linux__
        m_bUsable = sched_getaffinity(0, sizeof m_oAllowed, &m_oAllowed) == 0 && CPU_COUNT(&m_oAllowed) >= 2;
#endif
    }
    // nChild: the second process's id.
    void pin(qint64 nChild)
    {
#ifdef __linux__
        if (!m_bUsable)
            return;
        int nIndex = 0;
        for (int nCpu = 0; nCpu < CPU_SETSIZE && nIndex < 2; ++nCpu) {
            if (!CPU_ISSET(nCpu, &m_oAllowed))
                continue;
            cpu_set_t oOne;
            CPU_ZERO(&oOne);
            CPU_SET(nCpu, &oOne);
            sched_setaffinity(nIndex++ == 0 ? 0 : pid_t(nChild), sizeof oOne, &oOne);
        }
#else
        (void)nChild;
#endif
    }
    void release(qint64 nChild)
    {
#ifdef __linux__
        if (!m_bUsable)
            return;
        sched_setaffinity(0, sizeof m_oAllowed, &m_oAllowed);
        sched_setaffinity(pid_t(nChild), sizeof m_oAllowed, &m_oAllowed);
#else
        (void)nChild;
#endif
    }

private:
#ifdef __linux__
    cpu_set_t m_oAllowed;
#endif
    bool m_bUsable = false;
};

// ---- the second process ----------------------------------------------------------------------

int runChild(const QString& strServer, const QString& strRawServer)
{
    RZCommunicatorClient oClient;
    // Made once, as the raw peer makes its bytes once: both sides stream what they hold.
    const QStringList lstContents = streamContents();
    QObject::connect(&oClient, &RZCommunicatorClient::sigRecveMsg, [&](const QString& strText) {
        for (const RZCommunicatorMsg& oMsg : RZCommunicatorMsg::buildListFromString(strText)) {
            if (!oMsg.contains(kStreamRequest))
                continue;
            const int nCount = oMsg.firstContent().toInt();
            for (int i = 0; i < nCount; ++i)
                oClient.SendMsg(kStreamFrame, lstContents, false);
        }
    });
    QObject::connect(&oClient, &RZCommunicatorClient::sigServerClosed, [] { QCoreApplication::exit(0); });
    oClient.ConnectToServer(strServer);

    // Raw peer: echoes every read; a 4-byte request asks for that many stream frames instead.
    QLocalSocket oRaw;
    const QByteArray oFrame = streamFrameBytes();
    QObject::connect(&oRaw, &QLocalSocket::readyRead, [&] {
        const QByteArray oRead = oRaw.readAll();
        if (oRead.startsWith("S:")) {
            const int nCount = oRead.mid(2).toInt();
            for (int i = 0; i < nCount; ++i) {
                oRaw.write(oFrame);
                oRaw.flush();
            }
            return;
        }
        oRaw.write(oRead);
        oRaw.flush();
    });
    QObject::connect(&oRaw, &QLocalSocket::disconnected, [] { QCoreApplication::exit(0); });
    oRaw.connectToServer(strRawServer);
    return QCoreApplication::exec();
}

// ---- the measuring process -------------------------------------------------------------------

class Peer
{
public:
    bool start()
    {
        const QString strId = QUuid::createUuid().toString(QUuid::Id128).left(12);
        m_pServer = RZCommunicatorServer::GetInstance();
        m_pServer->Listen(QStringLiteral("rzcore-bench-") + strId);
        m_oRawServer.listen(QStringLiteral("rzcore-bench-raw-") + strId);

        QObject::connect(m_pServer, &RZCommunicatorServer::sigPingPong, [this] { ++m_nPongs; });
        QObject::connect(m_pServer, &RZCommunicatorServer::sigReceveMsgFrom, [this](const QString& strText) {
            for (const RZCommunicatorMsg& oMsg : RZCommunicatorMsg::buildListFromString(strText))
                m_nFrames += oMsg.contains(kStreamFrame) ? 1 : 0;
        });

        m_oChild.setProcessChannelMode(QProcess::ForwardedChannels);
        m_oChild.start(QCoreApplication::applicationFilePath(),
                       {QStringLiteral("--ipc-child"), QStringLiteral("rzcore-bench-") + strId,
                        QStringLiteral("rzcore-bench-raw-") + strId});
        m_strChildPath = QDir::fromNativeSeparators(QCoreApplication::applicationFilePath());
        if (!m_oChild.waitForStarted(10000) || !m_oRawServer.waitForNewConnection(10000))
            return false;
        m_pRaw = m_oRawServer.nextPendingConnection();
        QObject::connect(m_pRaw, &QLocalSocket::readyRead,
                         [this] { m_nRawBytes += m_pRaw->readAll().size(); });
        if (!waitWithin([this] { return m_pServer->isSocketProcessExists(m_strChildPath); }))
            return false;

        // A frame that shares one read with the server's "next" greeting is lost; beat until one is
        // answered, so that the measured frames never meet the greeting.
        QTimer oBeat;
        QObject::connect(&oBeat, &QTimer::timeout,
                         [this] { m_pServer->SendMsgToProcess(kBeat, {}, m_strChildPath, false); });
        oBeat.start(100);
        return waitWithin([this] { return m_nPongs > 0; });
    }

    void stop()
    {
        m_oChild.kill();
        m_oChild.waitForFinished(5000);
        RZCommunicatorServer::Release();
    }

    // Blocks in the event loop until `done` holds. The measured loops use this one: nothing but
    // the peer's bytes wakes it.
    template <typename Done> static void waitUntil(Done done)
    {
        while (!done())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    // The same, giving up after 10 s.
    template <typename Done> static bool waitWithin(Done done)
    {
        QTimer oGuard;
        oGuard.start(10000); // also wakes the loop when nothing else would
        while (!done() && oGuard.remainingTime() > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return done();
    }

    RZCommunicatorServer* m_pServer = nullptr;
    QString m_strChildPath;
    QLocalServer m_oRawServer;
    QLocalSocket* m_pRaw = nullptr;
    QProcess m_oChild;
    qint64 m_nPongs = 0;
    qint64 m_nFrames = 0;
    qint64 m_nRawBytes = 0;
    CpuPlacement m_oCpus;
};

Peer* g_pPeer = nullptr;

constexpr int kRounds = 5;

double median(std::vector<double> vecValues)
{
    if (vecValues.empty())
        return 0;
    std::sort(vecValues.begin(), vecValues.end());
    return vecValues[vecValues.size() / 2];
}

// Runs `raw` and `ours` alternately, each timed alone, the first of the two switching every
// iteration, so that whatever else the machine does falls on both alike. Each gets the median of its
// own times: a stall of the scheduler now and then moves a median little, a mean a lot.
template <typename Raw, typename Ours>
void runPair(benchmark::State& state, Raw raw, Ours ours, double dItemsPerRun)
{
    std::vector<double> vecRaw;
    std::vector<double> vecOurs;
    QElapsedTimer oTimer;
    bool bRawFirst = true;
    for (auto _ : state) {
        for (int nSide = 0; nSide < 2; ++nSide) {
            const bool bRaw = (nSide == 0) == bRawFirst;
            oTimer.start();
            bRaw ? raw() : ours();
            (bRaw ? vecRaw : vecOurs).push_back(double(oTimer.nsecsElapsed()));
        }
        bRawFirst = !bRawFirst;
    }
    const double dRaw = dItemsPerRun * 1e9 / median(vecRaw);
    const double dOurs = dItemsPerRun * 1e9 / median(vecOurs);
    state.counters["raw/s"] = dRaw;
    state.counters["ours/s"] = dOurs;
    state.counters["ratio"] = dOurs / dRaw;
}

void BM_BeatRoundTrip(benchmark::State& state)
{
    Peer& oPeer = *g_pPeer;
    const QByteArray oBytes = RZCommunicatorMsg(kBeat, {}).toString().toUtf8();
    const auto raw = [&] {
        const qint64 nTarget = oPeer.m_nRawBytes + oBytes.size();
        oPeer.m_pRaw->write(oBytes);
        oPeer.m_pRaw->flush();
        oPeer.waitUntil([&] { return oPeer.m_nRawBytes >= nTarget; });
    };
    const auto beat = [&] {
        const qint64 nTarget = oPeer.m_nPongs + 1;
        oPeer.m_pServer->SendMsgToProcess(kBeat, {}, oPeer.m_strChildPath, false);
        oPeer.waitUntil([&] { return oPeer.m_nPongs >= nTarget; });
    };
    oPeer.m_oCpus.pin(oPeer.m_oChild.processId());
    runPair(state, raw, beat, 1);
    oPeer.m_oCpus.release(oPeer.m_oChild.processId());
}

void BM_Stream(benchmark::State& state)
{
    Peer& oPeer = *g_pPeer;
    const qint64 nBatchBytes = qint64(streamFrameBytes().size()) * kStreamBatch;
    const auto raw = [&] {
        const qint64 nTarget = oPeer.m_nRawBytes + nBatchBytes;
        oPeer.m_pRaw->write("S:" + QByteArray::number(kStreamBatch));
        oPeer.m_pRaw->flush();
        oPeer.waitUntil([&] { return oPeer.m_nRawBytes >= nTarget; });
    };
    const auto frames = [&] {
        const qint64 nTarget = oPeer.m_nFrames + kStreamBatch;
        oPeer.m_pServer->SendMsgToProcess(kStreamRequest, {QString::number(kStreamBatch)}, oPeer.m_strChildPath,
                                          false);
        oPeer.waitUntil([&] { return oPeer.m_nFrames >= nTarget; });
    };
    runPair(state, raw, frames, kStreamBatch);
}

// Console output as usual, plus each round's ratio of every pair, for the summary at the end.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& vecRuns) override
    {
        ConsoleReporter::ReportRuns(vecRuns);
        for (const Run& oRun : vecRuns) {
            if (oRun.run_type != Run::RT_Iteration || oRun.error_occurred)
                continue;
            const std::string strName = oRun.benchmark_name();
            auto it = oRun.counters.find("ratio");
            if (it != oRun.counters.end())
                m_mapRatios[strName.substr(0, strName.find("/round:"))].push_back(it->second.value);
        }
    }
    // The median of the rounds' ratios, the rounds, and how far the farthest round is from the median.
    void printRatio(const char* pTitle, const std::string& strName, const char* pTarget)
    {
        const std::vector<double>& vecRatios = m_mapRatios[strName];
        if (vecRatios.empty())
            return;
        const double dMedian = median(vecRatios);
        double dSpread = 0;
        std::printf("%-36s median %.2fx  (rounds:", pTitle, dMedian);
        for (double dRatio : vecRatios) {
            std::printf(" %.2f", dRatio);
            dSpread = std::max(dSpread, std::abs(dRatio / dMedian - 1));
        }
        std::printf(")  rounds within %.0f %% of it  target %s\n", dSpread * 100, pTarget);
    }

private:
    std::map<std::string, std::vector<double>> m_mapRatios;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    RZBaseLog::setLevel(RZBaseLog::LogLevel::warn); // the info lines of connects would fill the report
    if (argc >= 4 && std::strcmp(argv[1], "--ipc-child") == 0)
        return runChild(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));

    benchmark::Initialize(&argc, argv);
    for (int nRound = 0; nRound < kRounds; ++nRound) {
        const std::string strRound = "/round:" + std::to_string(nRound);
        benchmark::RegisterBenchmark(("beat_round_trip" + strRound).c_str(), BM_BeatRoundTrip)
            ->MinTime(1.0)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("stream" + strRound).c_str(), BM_Stream)->MinTime(1.0)->UseRealTime();
    }

    Peer oPeer;
    g_pPeer = &oPeer;
    if (!oPeer.start()) {
        std::fprintf(stderr, "bench_ipc: the second process did not come up\n");
        return 1;
    }
    RatioReporter oReporter;
    benchmark::RunSpecifiedBenchmarks(&oReporter);
    std::printf("\ncommunicator / raw QLocalSocket, per second, each round a median of alternated runs:\n");
    oReporter.printRatio("beat round trip vs raw echo", "beat_round_trip", ">= 0.9");
    oReporter.printRatio("frames streamed one way vs raw", "stream", ">= 0.9");
    oPeer.stop();
    benchmark::Shutdown();
    return 0;
}
