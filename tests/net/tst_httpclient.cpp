// The blocking client on the main thread and on a worker thread that owns it: bodies, failure texts,
// redirects, files written in place, content types, the task's own texts.

#include "NetTestSupport.h"

#include <RZCore/net/RZHttpClient.h>

#include <QNetworkReply>
#include <atomic>
#include <functional>
#include <thread>

namespace {

struct Call
{
    int result = -1;
    QByteArray data = "untouched";
    QString err = QStringLiteral("untouched");
};

enum class Kind
{
    Memory,
    File,
    Post
};

Call perform(Kind kind, const QString& url, const QString& path, const QByteArray& contentType, int ms)
{
    RZHttpClient client;
    Call call;
    if (kind == Kind::Memory) {
        call.result = client.get(url, call.data, call.err, ms);
    } else if (kind == Kind::File) {
        call.result = client.get(url, path, call.err, ms);
        call.data = RZNetPeers::readFile(path);
    } else {
        QNetworkRequest request{QUrl(url)};
        if (!contentType.isEmpty())
            request.setRawHeader("Content-Type", contentType);
        call.result = client.post(request, "a=1", call.data, call.err, ms);
    }
    return call;
}

// Runs `work` on a thread of its own (its client, manager and event loop live there) while this
// thread serves the in-test server.
Call onWorker(const std::function<Call()>& work)
{
    Call call;
    std::atomic<bool> done{false};
    std::thread worker([&] {
        call = work();
        done = true;
    });
    QElapsedTimer clock;
    clock.start();
    while (!done && clock.elapsed() < 30000)
        QTest::qWait(5);
    worker.join();
    return call;
}

} // namespace

Q_DECLARE_METATYPE(Kind)

class TestHttpClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString error = m_oNet.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }
    void cleanupTestCase() { m_oNet.stop(); }

    void calls_data();
    void calls();
    void taskTexts();

private:
    NetFixture m_oNet;
};

void TestHttpClient::calls_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<int>("ms");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("data"); // for a file: what the file holds afterwards ("" for no file)
    QTest::addColumn<QString>("err");     // a fragment of it, or "untouched"

    const int ok = RZBaseTask::RequestSucceeded;
    const int failed = RZBaseTask::RequestFailed;
    const int aborted = RZBaseTask::RequestAborted;
    const QString untouched = QStringLiteral("untouched");
    QTest::newRow("memory") << Kind::Memory << "/text" << QByteArray() << 10000 << ok << QByteArray("hello")
                            << untouched;
    QTest::newRow("memory, 404") << Kind::Memory << "/missing" << QByteArray() << 10000 << failed
                                 << QByteArray("untouched") << QStringLiteral("Not Found");
    QTest::newRow("memory, relative redirect")
        << Kind::Memory << "/redirect-rel" << QByteArray() << 10000 << ok << QByteArray("hello") << untouched;
    QTest::newRow("memory, no time at all")
        << Kind::Memory << "/text" << QByteArray() << 0 << aborted << QByteArray("untouched") << untouched;
    QTest::newRow("memory, reset") << Kind::Memory << "/reset" << QByteArray() << 10000 << failed
                                   << QByteArray("untouched") << QString();
    QTest::newRow("file") << Kind::File << "/text" << QByteArray() << 10000 << ok << QByteArray("hello")
                          << untouched;
    QTest::newRow("file, only the last response") << Kind::File << "/moved-with-body" << QByteArray() << 10000
                                                  << ok << QByteArray("hello") << untouched;
    QTest::newRow("file, 404 deletes the old file") << Kind::File << "/missing" << QByteArray() << 10000
                                                    << failed << QByteArray() << QStringLiteral("Not Found");
    QTest::newRow("file, redirect to a 404") << Kind::File << "/redirect-404" << QByteArray() << -1 << failed
                                             << QByteArray() << QStringLiteral("Not Found");
    QTest::newRow("post, default type") << Kind::Post << "/echo" << QByteArray() << 10000 << ok
                                        << QByteArray("application/x-www-form-urlencoded|a=1") << untouched;
    QTest::newRow("post keeps its type") << Kind::Post << "/echo" << QByteArray("text/x-own") << 10000 << ok
                                         << QByteArray("text/x-own|a=1") << untouched;
}

void TestHttpClient::calls()
{
    QFETCH(Kind, kind);
    QFETCH(QString, path);
    QFETCH(QByteArray, contentType);
    QFETCH(int, ms);
    QFETCH(int, result);
    QFETCH(QByteArray, data);
    QFETCH(QString, err);

    for (const bool worker : {false, true}) {
        const QString target = m_oNet.path(QStringLiteral("out/client-%1.bin").arg(worker));
        QVERIFY(RZNetPeers::writeFile(target, "OLD"));
        const QString url = m_oNet.rude.url(path);
        const auto work = [=] { return perform(kind, url, target, contentType, ms); };
        const Call call = worker ? onWorker(work) : work();
        QCOMPARE(call.result, result);
        QCOMPARE(call.data, data);
        QVERIFY2(call.err.contains(err), qPrintable(call.err));
        if (kind == Kind::File)
            QCOMPARE(QFile::exists(target), result == RZBaseTask::RequestSucceeded);
    }
}

// An unopenable file is reported before anything is sent; the task's texts describe its reply.
void TestHttpClient::taskTexts()
{
    RZHttpClient client;
    QString err;
    const int seen = m_oNet.rude.count(QStringLiteral("/text"));
    QCOMPARE(client.get(m_oNet.rude.url(QStringLiteral("/text")),
                        m_oNet.path(QStringLiteral("no/such/dir/file")), err, 1000),
             int(RZBaseTask::RequestFailed));
    QVERIFY(!err.isEmpty());
    QCOMPARE(m_oNet.rude.count(QStringLiteral("/text")), seen);

    RZBaseTask task(&client.accessManager(), m_oNet.rude.url(QStringLiteral("/missing")));
    QSignalSpy progress(&task, &RZBaseTask::progress);
    task.startRequest();
    task.waitForFinished(10000);
    QCOMPARE(task.requestResult(), RZBaseTask::RequestFailed);
    QCOMPARE(task.errorReplyStr(), QStringLiteral("203:404:nothing here"));
    QVERIFY(!progress.isEmpty());

    RZBaseTask neverStarted(&client.accessManager(), m_oNet.rude.url(QStringLiteral("/text")));
    neverStarted.abort(); // no reply yet: marked only
    QCOMPARE(neverStarted.errorReplyStr(), QString());
}

QTEST_GUILESS_MAIN(TestHttpClient)
#include "tst_httpclient.moc"
