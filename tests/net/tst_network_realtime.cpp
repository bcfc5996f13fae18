// Time limits that must pass in real time: the order of the finished and time-out signals per form,
// the download's idle limit against a drip-feeding server, the waits of WaitForNetworkFinished and of
// the blocking client, a redirect loop, and cancelling one of two downloads.

#include "NetTestSupport.h"

#include <RZCore/net/RZHttpClient.h>

#include <QNetworkReply>

class TestNetworkRealtime : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString error = m_oNet.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }
    void cleanupTestCase() { m_oNet.stop(); }

    void timeOutSignals_data();
    void timeOutSignals();
    void timeOutWithoutAbort();
    void downloadIdleLimit_data();
    void downloadIdleLimit();
    void waitForNetworkFinishedLimits();
    void cancelOneOfTwo();
    void clientLimits_data();
    void clientLimits();

private:
    NetFixture m_oNet;
};

// Every signal of interest as one marker, in arrival order.
static QStringList* recordMarkers(RZNetwork& net, QStringList* markers)
{
    QObject::connect(&net, &RZNetwork::HttpGetRequestFinished, [markers](bool ok, const QString& text) {
        *markers << QStringLiteral("get %1 %2").arg(ok).arg(text);
    });
    QObject::connect(&net, &RZNetwork::HttpGetRequestFinishedWithId,
                     [markers](bool ok, const QString& text, const QString& id) {
                         *markers << QStringLiteral("get %1 %2 %3").arg(ok).arg(text, id);
                     });
    QObject::connect(&net, &RZNetwork::HttpCBSGetRequestFinished,
                     [markers](bool ok, const QString& text, const QString& id) {
                         *markers << QStringLiteral("cbs %1 %2 %3").arg(ok).arg(text, id);
                     });
    QObject::connect(&net, &RZNetwork::HttpPostRequestFinished,
                     [markers](bool ok, const QString& a, const QString& b) {
                         *markers << QStringLiteral("post %1 %2 %3").arg(ok).arg(a, b);
                     });
    QObject::connect(&net, &RZNetwork::HttpPostRequestFinishedWithId,
                     [markers](bool ok, const QString& text, const QString& id) {
                         *markers << QStringLiteral("post %1 %2 %3").arg(ok).arg(text, id);
                     });
    QObject::connect(&net, &RZNetwork::sigTimeOut, [markers] { *markers << QStringLiteral("timeout"); });
    QObject::connect(&net, &RZNetwork::sigTimeOutWithId,
                     [markers](const QString& id) { *markers << "timeout " + id; });
    return markers;
}

void TestNetworkRealtime::timeOutSignals_data()
{
    QTest::addColumn<int>("form");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("markers");
    // The abort ends the reply (5, OperationCanceledError) first; the time-out signal comes after it.
    QTest::newRow("get") << 0 << QString() << QStringList{"get 0 5:0:", "timeout"};
    QTest::newRow("get with id") << 0 << "t1" << QStringList{"get 0 5:0: t1", "timeout", "timeout t1"};
    QTest::newRow("cbs") << 1 << "t2" << QStringList{"cbs 0 5:0 t2", "timeout"};
    QTest::newRow("post") << 2 << QString() << QStringList{"post 0 5:0 ", "timeout"};
    QTest::newRow("post with id") << 3 << "t3" << QStringList{"post 0 5:0: t3", "timeout t3"};
}

void TestNetworkRealtime::timeOutSignals()
{
    QFETCH(int, form);
    QFETCH(QString, id);
    QFETCH(QStringList, markers);
    RZNetwork net;
    QStringList seen;
    recordMarkers(net, &seen);
    QNetworkRequest request{QUrl(m_oNet.rude.url(QStringLiteral("/silent")))};
    if (form == 0)
        net.HttpGetRequest(request, id, 50);
    else if (form == 1)
        net.HttpCBSGetRequest(request, id, 50);
    else if (form == 2)
        net.HttpPostRequest(request, QStringLiteral("x"), 50, true);
    else
        net.HttpPostRequestWithId(request, QStringLiteral("x"), id, 50, false); // the flag has no effect
    QTRY_COMPARE(seen.size(), markers.size());
    QCoreApplication::processEvents(); // nothing more is queued behind them
    QCOMPARE(seen, markers);
    QVERIFY(m_oNet.logged(QStringLiteral("abort")));
}

// Without the abort only the time-out is told, and the request may still finish.
void TestNetworkRealtime::timeOutWithoutAbort()
{
    RZNetwork net;
    QStringList seen;
    recordMarkers(net, &seen);
    QNetworkRequest request{QUrl(m_oNet.rude.url(QStringLiteral("/delay?ms=400")))};
    net.HttpPostRequest(request, QStringLiteral("x"), 50, false);
    QTRY_COMPARE(seen.size(), 2);
    QCOMPARE(seen, (QStringList{"timeout", "post 1 late "}));
}

void TestNetworkRealtime::downloadIdleLimit_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("ok");
    // The limit is raised to 3000 ms and restarts with each arrival of data.
    QTest::newRow("gaps under the limit, longer in all") << "/drip?n=4&every=1000" << true;
    QTest::newRow("one gap over the limit") << "/drip?n=2&every=100&stall=3400" << false;
}

void TestNetworkRealtime::downloadIdleLimit()
{
    QFETCH(QString, path);
    QFETCH(bool, ok);
    const QString target = m_oNet.path(QStringLiteral("out/drip.bin"));
    QVERIFY(RZNetPeers::writeFile(target, "OLD"));
    RZNetwork net;
    QStringList seen;
    recordMarkers(net, &seen);
    net.HttpGetRequest(QUrl(m_oNet.rude.url(path)), target, RZDataIO::FileData, true, 10);
    QTRY_VERIFY_WITH_TIMEOUT(!seen.isEmpty() && seen.constFirst().startsWith(QLatin1String("get")), 15000);
    if (ok) {
        QCOMPARE(seen, QStringList{QStringLiteral("get 1 ") + target});
        QCOMPARE(RZNetPeers::readFile(target), QByteArray(4000, 'd'));
    } else {
        QCOMPARE(seen, (QStringList{QStringLiteral("get 0 ") + target, "timeout"})); // direct on this route
        QCOMPARE(RZNetPeers::readFile(target), QByteArray("OLD"));
    }
    QVERIFY(NetFixture::leftovers(m_oNet.path(QStringLiteral("out"))).isEmpty());
}

void TestNetworkRealtime::waitForNetworkFinishedLimits()
{
    RZNetwork net;
    bool ok = true;
    QString result = QStringLiteral("untouched");
    QNetworkRequest request{QUrl(m_oNet.rude.url(QStringLiteral("/silent")))};
    net.HttpPostRequest(request, QStringLiteral("x"), 0, true);
    QCOMPARE(RZNetwork::WaitForNetworkFinished(net, ok, result, 100), -2); // a POST is not cancelled
    QVERIFY(ok);
    QCOMPARE(result, QStringLiteral("untouched"));

    // A download is: the cancel reports the failure, which turns -2 into -1. A redirect loop never
    // ends on its own.
    for (const char* path : {"/silent", "/loop"}) {
        const QString target = m_oNet.path(QStringLiteral("out/waited.bin"));
        QVERIFY(RZNetPeers::writeFile(target, "OLD"));
        net.HttpGetRequest(QUrl(m_oNet.rude.url(QLatin1String(path))), target, RZDataIO::FileData, true, 0);
        QCOMPARE(RZNetwork::WaitForNetworkFinished(net, ok, result, 300), -1);
        QVERIFY(!ok);
        QCOMPARE(result, target);
        QCOMPARE(RZNetPeers::readFile(target), QByteArray("OLD"));
        QTRY_VERIFY(NetFixture::leftovers(m_oNet.path(QStringLiteral("out"))).isEmpty());
    }
}

// Two objects share the manager; cancelling one leaves the other's download running.
void TestNetworkRealtime::cancelOneOfTwo()
{
    RZNetwork first;
    RZNetwork second;
    QSignalSpy firstDone(&first, &RZNetwork::HttpGetRequestFinished);
    QSignalSpy secondDone(&second, &RZNetwork::HttpGetRequestFinished);
    QCOMPARE(RZNetwork::GetNetManager(), RZNetwork::GetNetManager());
    const QString url = m_oNet.rude.url(QStringLiteral("/drip?n=5&every=100"));
    first.HttpGetRequest(QUrl(url), m_oNet.path(QStringLiteral("out/first.bin")), RZDataIO::FileData, true,
                         0);
    second.HttpGetRequest(QUrl(url), m_oNet.path(QStringLiteral("out/second.bin")), RZDataIO::FileData, true,
                          0);
    first.CancelAllRequest();
    QCOMPARE(firstDone.size(), 1);
    QCOMPARE(firstDone.at(0).at(0).toBool(), false);
    QVERIFY(caught(secondDone));
    QCOMPARE(secondDone.at(0).at(0).toBool(), true);
    QCOMPARE(RZNetPeers::readFile(m_oNet.path(QStringLiteral("out/second.bin"))).size(), 5000);
    QVERIFY(!QFile::exists(m_oNet.path(QStringLiteral("out/first.bin"))));
}

void TestNetworkRealtime::clientLimits_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("ms");
    QTest::addColumn<int>("result");
    // The limit covers the whole call: every redirect, and data that keeps arriving.
    QTest::newRow("redirect loop") << "/loop" << 300 << int(RZBaseTask::RequestAborted);
    QTest::newRow("drip longer than the limit")
        << "/drip?n=5&every=100" << 250 << int(RZBaseTask::RequestAborted);
    QTest::newRow("no limit") << "/drip?n=2&every=100" << -1 << int(RZBaseTask::RequestSucceeded);
}

void TestNetworkRealtime::clientLimits()
{
    QFETCH(QString, path);
    QFETCH(int, ms);
    QFETCH(int, result);
    const QString target = m_oNet.path(QStringLiteral("out/client.bin"));
    QVERIFY(RZNetPeers::writeFile(target, "OLD"));
    RZHttpClient client;
    QString err = QStringLiteral("untouched");
    QCOMPARE(client.get(m_oNet.rude.url(path), target, err, ms), result);
    // This route writes in place: an aborted get takes the older file with it.
    QCOMPARE(QFile::exists(target), result == RZBaseTask::RequestSucceeded);
    QCOMPARE(err, QStringLiteral("untouched"));
}

QTEST_GUILESS_MAIN(TestNetworkRealtime)
#include "tst_network_realtime.moc"
