// The request manager against nginx and the misbehaving in-test server: downloads and what survives
// their failures, the text forms and their failure texts, offline answers, certificate checks, and
// the time-limit set-up (the waiting itself is in tst_network_realtime).

#include "NetTestSupport.h"

#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <thread>

namespace {

enum class Form
{
    Get,
    Cbs,
    Post,
    PostMultipart,
    PostWithId,
    PostWithIdMultipart
};

struct Outcome
{
    QString signal;
    QVariantList args;
    bool returnedReply = false;
};

QHttpMultiPart* formData(QObject* parent)
{
    auto* multiPart = new QHttpMultiPart(QHttpMultiPart::FormDataType, parent);
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader, QStringLiteral("form-data; name=\"field\""));
    part.setBody("part-value");
    multiPart->append(part);
    return multiPart;
}

// Sends one request in the given form and waits for its finished signal.
Outcome run(Form form, const QString& url, const QString& id, const QString& body,
            const QByteArray& contentType)
{
    RZNetwork net;
    QSignalSpy get(&net, &RZNetwork::HttpGetRequestFinished);
    QSignalSpy getWithId(&net, &RZNetwork::HttpGetRequestFinishedWithId);
    QSignalSpy cbs(&net, &RZNetwork::HttpCBSGetRequestFinished);
    QSignalSpy post(&net, &RZNetwork::HttpPostRequestFinished);
    QSignalSpy postWithId(&net, &RZNetwork::HttpPostRequestFinishedWithId);
    QNetworkRequest request{QUrl(url)};
    if (!contentType.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
    QObject owner; // keeps the caller-owned multi-part alive for the request
    QNetworkReply* reply = nullptr;
    switch (form) {
    case Form::Get:
        net.HttpGetRequest(request, id, 0);
        break;
    case Form::Cbs:
        net.HttpCBSGetRequest(request, id, 0);
        break;
    case Form::Post:
        reply = net.HttpPostRequest(request, body, 0, true);
        break;
    case Form::PostMultipart:
        net.HttpPostRequest(url, formData(nullptr), 0);
        break;
    case Form::PostWithId:
        reply = net.HttpPostRequestWithId(request, body, id, 0, true);
        break;
    case Form::PostWithIdMultipart:
        reply = net.HttpPostRequestWithId(request, formData(&owner), id, 0, true);
        break;
    }
    Outcome outcome;
    outcome.returnedReply = reply != nullptr;
    QElapsedTimer clock;
    clock.start();
    const QList<QPair<QString, QSignalSpy*>> spies{{QStringLiteral("get"), &get},
                                                   {QStringLiteral("getWithId"), &getWithId},
                                                   {QStringLiteral("cbs"), &cbs},
                                                   {QStringLiteral("post"), &post},
                                                   {QStringLiteral("postWithId"), &postWithId}};
    while (clock.elapsed() < 15000) {
        for (const auto& spy : spies) {
            if (!spy.second->isEmpty()) {
                outcome.signal = spy.first;
                outcome.args = spy.second->takeFirst();
                return outcome;
            }
        }
        QTest::qWait(5);
    }
    return outcome;
}

} // namespace

Q_DECLARE_METATYPE(Form)

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString error = m_oNet.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }
    void cleanupTestCase() { m_oNet.stop(); }
    void init() { m_oNet.online = true; }

    void downloadOutcomes_data();
    void downloadOutcomes();
    void textForms_data();
    void textForms();
    void offlineAnswers_data();
    void offlineAnswers();
    void certificates_data();
    void certificates();
    void timeLimitSetUp();
    void releasedManagerEndsDownloads();
    void waitForNetworkFinished();
    void dataIOFiles();
    void managerFromAnotherThread();

private:
    NetFixture m_oNet;
};

void TestNetwork::downloadOutcomes_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<QByteArray>("old"); // null: no file before
    QTest::addColumn<bool>("online");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QByteArray>("after"); // null: the file served by nginx
    QTest::addColumn<int>("requests");     // requests the in-test server sees for the address; -1: not asked
    QTest::addColumn<QString>("logLine");

    const NetTestServer& rude = m_oNet.rude;
    const QByteArray old("OLD");
    const QByteArray none;
    QTest::newRow("nginx") << m_oNet.nginx.url(QStringLiteral("/small.bin")) << true << old << true << true
                           << none << -1 << QStringLiteral("OnGetFinishedCode:200");
    QTest::newRow("https, test CA") << m_oNet.https(QStringLiteral("/small.bin")) << true << old << true
                                    << true << none << -1 << QString();
    QTest::newRow("https, self-signed: verified")
        << m_oNet.https(QStringLiteral("/small.bin"), true) << true << old << true << false << old << -1
        << QStringLiteral("******sslErrors******");
    QTest::newRow("404 with a body") << rude.url(QStringLiteral("/missing")) << true << old << true << false
                                     << old << 1 << QStringLiteral("OnGetFinishedCode:404");
    QTest::newRow("reset mid-body") << rude.url(QStringLiteral("/reset")) << true << old << true << false
                                    << old << -1 << QString();
    QTest::newRow("absolute redirect") << rude.url(QStringLiteral("/redirect-abs")) << true << old << true
                                       << true << QByteArray("hello") << 1 << QString();
    QTest::newRow("3xx body stays at the head") << rude.url(QStringLiteral("/moved-with-body")) << true << old
                                                << true << true << QByteArray("MOVEDhello") << 1 << QString();
    QTest::newRow("relative redirect fails")
        << rude.url(QStringLiteral("/redirect-rel")) << true << old << true << false << old << 1
        << QStringLiteral("RelocationUrl ") + rude.url(QStringLiteral("/text"));
    QTest::newRow("redirect to a 404")
        << rude.url(QStringLiteral("/redirect-404")) << true << old << true << false << old << 1 << QString();
    QTest::newRow("no overwrite: kept, not fetched")
        << rude.url(QStringLiteral("/text")) << false << old << true << true << old << 0 << QString();
    QTest::newRow("no overwrite, empty file: fetched")
        << rude.url(QStringLiteral("/text")) << false << QByteArray("") << true << true << QByteArray("hello")
        << 1 << QString();
    QTest::newRow("new file") << rude.url(QStringLiteral("/text")) << true << none << true << true
                              << QByteArray("hello") << 1
                              << QStringLiteral("downloadUrl:") + rude.url(QStringLiteral("/text"));
    QTest::newRow("empty url") << QString() << true << old << true << false << old << 0 << QString();
    // (the folder is made missing or read-only by the test, by these names)
    QTest::newRow("missing folder") << rude.url(QStringLiteral("/text")) << true << none << true << false
                                    << none << 0 << QString();
    QTest::newRow("read-only folder")
        << rude.url(QStringLiteral("/text")) << true << old << true << false << old << 0 << QString();
    QTest::newRow("offline") << rude.url(QStringLiteral("/text")) << true << old << false << false << old << 0
                             << QString();
}

// Whatever happens, the final path holds the old file or the whole new one, and no temporary file stays.
void TestNetwork::downloadOutcomes()
{
    QFETCH(QString, url);
    QFETCH(bool, overwrite);
    QFETCH(QByteArray, old);
    QFETCH(bool, online);
    QFETCH(bool, ok);
    QFETCH(QByteArray, after);
    QFETCH(int, requests);
    QFETCH(QString, logLine);

    QTemporaryDir folder(m_oNet.path(QStringLiteral("out/XXXXXX")));
    const QString tag = QString::fromLatin1(QTest::currentDataTag());
    const QString target =
        folder.path() +
        (tag == QLatin1String("missing folder") ? QStringLiteral("/no/such/folder") : QString()) +
        QStringLiteral("/target.bin");
    if (!old.isNull())
        QVERIFY(RZNetPeers::writeFile(target, old));
    if (tag == QLatin1String("read-only folder")) {
        QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::ExeOwner);
        if (RZNetPeers::writeFile(folder.path() + QStringLiteral("/probe"), "x")) {
            QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QSKIP("this user writes into read-only folders (root)");
        }
    }
    m_oNet.online = online;
    m_oNet.log->sink->clear();
    const int seen = m_oNet.rude.count(QUrl(url).path());

    RZNetwork net;
    QSignalSpy finished(&net, &RZNetwork::HttpGetRequestFinished);
    net.HttpGetRequest(QUrl(url), target, RZDataIO::FileData, overwrite, 0);
    QVERIFY(caught(finished));
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.at(0).at(0).toBool(), ok);
    QCOMPARE(finished.at(0).at(1).toString(), target); // the path, success or not
    QCOMPARE(RZNetPeers::readFile(target), after.isNull() && ok ? m_oNet.small : after);
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QTRY_VERIFY2(NetFixture::leftovers(folder.path()).isEmpty(),
                 qPrintable(NetFixture::leftovers(folder.path()).join(',')));
    if (requests >= 0)
        QCOMPARE(m_oNet.rude.count(QUrl(url).path()) - seen, requests);
    if (!logLine.isEmpty())
        QVERIFY2(m_oNet.logged(logLine), qPrintable(logLine));
}

void TestNetwork::textForms_data()
{
    QTest::addColumn<Form>("form");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QVariantList>("args");

    const QString none;
    QTest::newRow("get, no id") << Form::Get << "/text" << none << none << QByteArray() << "get"
                                << QVariantList{true, "hello"};
    QTest::newRow("get with id") << Form::Get << "/text"
                                 << "g1" << none << QByteArray() << "getWithId"
                                 << QVariantList{true, "hello", "g1"};
    QTest::newRow("get 404") << Form::Get << "/missing"
                             << "g2" << none << QByteArray() << "getWithId"
                             << QVariantList{false, "203:404:nothing here", "g2"};
    QTest::newRow("get 3xx is no error")
        << Form::Get << "/redirect-abs" << none << none << QByteArray() << "get" << QVariantList{true, ""};
    QTest::newRow("cbs gives Location") << Form::Cbs << "/cbs"
                                        << "c1" << none << QByteArray() << "cbs"
                                        << QVariantList{true, "https://landing.example.com/page?x=1", "c1"};
    QTest::newRow("cbs failure") << Form::Cbs << "/missing"
                                 << "c2" << none << QByteArray() << "cbs"
                                 << QVariantList{false, "203:404", "c2"};
    QTest::newRow("post, default type") << Form::Post << "/echo" << none << "a=1" << QByteArray() << "post"
                                        << QVariantList{true, "application/x-www-form-urlencoded|a=1", ""};
    QTest::newRow("post keeps its type")
        << Form::Post << "/echo" << none << "{}" << QByteArray("application/json") << "post"
        << QVariantList{true, "application/json|{}", ""};
    QTest::newRow("post failure") << Form::Post << "/missing" << none << "a=1" << QByteArray() << "post"
                                  << QVariantList{false, "203:404", "nothing here"};
    QTest::newRow("post with id") << Form::PostWithId << "/echo"
                                  << "p1"
                                  << "b=2" << QByteArray() << "postWithId"
                                  << QVariantList{true, "application/x-www-form-urlencoded|b=2", "p1"};
    QTest::newRow("post with id failure")
        << Form::PostWithId << "/missing"
        << "p2"
        << "b=2" << QByteArray() << "postWithId" << QVariantList{false, "203:404:nothing here", "p2"};
    QTest::newRow("multi-part") << Form::PostMultipart << "/echo" << none << none << QByteArray() << "post"
                                << QVariantList{true, "part-value", ""};
    QTest::newRow("multi-part with id")
        << Form::PostWithIdMultipart << "/echo"
        << "m1" << none << QByteArray() << "postWithId" << QVariantList{true, "part-value", "m1"};
}

void TestNetwork::textForms()
{
    QFETCH(Form, form);
    QFETCH(QString, path);
    QFETCH(QString, id);
    QFETCH(QString, body);
    QFETCH(QByteArray, contentType);
    QFETCH(QString, signal);
    QFETCH(QVariantList, args);

    const Outcome outcome = run(form, m_oNet.rude.url(path), id, body, contentType);
    QCOMPARE(outcome.signal, signal);
    QCOMPARE(outcome.args.size(), args.size());
    for (int i = 0; i < args.size(); ++i) {
        if (form == Form::PostMultipart || form == Form::PostWithIdMultipart) // the body holds a boundary
            QVERIFY2(outcome.args.at(i).toString().contains(args.at(i).toString()),
                     qPrintable(outcome.args.at(i).toString()));
        else
            QCOMPARE(outcome.args.at(i).toString(), args.at(i).toString());
    }
}

void TestNetwork::offlineAnswers_data()
{
    QTest::addColumn<Form>("form");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QVariantList>("args");
    const QString offline = QStringLiteral("You computer seems to be offline,causing a connection "
                                           "error.Please check your connection and try again.");
    QTest::newRow("get with id") << Form::Get << "get" << QVariantList{false, "offLine"};
    QTest::newRow("cbs") << Form::Cbs << "cbs" << QVariantList{false, offline, "o1"};
    QTest::newRow("post") << Form::Post << "post" << QVariantList{false, "offLine", ""};
    QTest::newRow("multi-part post") << Form::PostMultipart << "post" << QVariantList{false, "offLine", ""};
    QTest::newRow("post with id") << Form::PostWithId << "postWithId" << QVariantList{false, "offLine", "o1"};
    QTest::newRow("multi-part with id")
        << Form::PostWithIdMultipart << "postWithId" << QVariantList{false, "offLine", "o1"};
}

// At once, inside the call, with no reply and nothing sent.
void TestNetwork::offlineAnswers()
{
    QFETCH(Form, form);
    QFETCH(QString, signal);
    QFETCH(QVariantList, args);
    m_oNet.online = false;
    const int seen = m_oNet.rude.count(QStringLiteral("/echo"));
    const Outcome outcome = run(form, m_oNet.rude.url(QStringLiteral("/echo")), QStringLiteral("o1"),
                                QStringLiteral("x"), QByteArray());
    QCOMPARE(outcome.signal, signal);
    QCOMPARE(outcome.args, args);
    QVERIFY(!outcome.returnedReply);
    QCOMPARE(m_oNet.rude.count(QStringLiteral("/echo")), seen);
}

void TestNetwork::certificates_data()
{
    QTest::addColumn<bool>("selfSigned");
    QTest::addColumn<bool>("verifyDisabled");
    QTest::addColumn<bool>("ok");
    QTest::newRow("test CA, verified") << false << false << true;
    QTest::newRow("self-signed, verified") << true << false << false;
    QTest::newRow("self-signed, switch on") << true << true << true;
}

// Verified by default with the CA store (the test CA is in it); a failed check is the handshake
// error (6) and the log lines of the errors; the host's switch lets the self-signed one through.
void TestNetwork::certificates()
{
    QFETCH(bool, selfSigned);
    QFETCH(bool, verifyDisabled);
    QFETCH(bool, ok);
    RZNetPeers::writeFile(m_oNet.path(QStringLiteral("www/hello.txt")), "hello over TLS");
    m_oNet.log->sink->clear();
    RZNetwork::setPeerVerifyDisabled(verifyDisabled);
    const Outcome outcome = run(Form::Get, m_oNet.https(QStringLiteral("/hello.txt"), selfSigned), QString(),
                                QString(), QByteArray());
    RZNetwork::setPeerVerifyDisabled(false);
    QCOMPARE(outcome.args.value(0).toBool(), ok);
    QCOMPARE(outcome.args.value(1).toString(),
             ok ? QStringLiteral("hello over TLS") : QStringLiteral("6:0:"));
    QCOMPARE(m_oNet.logged(QStringLiteral("******sslErrors******")), !ok);
    QCOMPARE(m_oNet.logged(QStringLiteral("sslErrcoed:")), !ok);
}

// The limits a request gets, read off its timer before anything waits: at least 5 ms, at least
// 3000 ms on a download, none at 0.
void TestNetwork::timeLimitSetUp()
{
    RZNetwork net;
    QNetworkRequest request{QUrl(m_oNet.rude.url(QStringLiteral("/silent")))};
    QNetworkReply* post = net.HttpPostRequest(request, QStringLiteral("x"), 1, true);
    QVERIFY(post && post->findChild<FReplyTimeOut*>());
    QCOMPARE(post->findChild<FReplyTimeOut*>()->findChild<QTimer*>()->interval(), 5);
    QNetworkReply* unlimited = net.HttpPostRequest(request, QStringLiteral("x"), 0, true);
    QVERIFY(unlimited && !unlimited->findChild<FReplyTimeOut*>());

    const QString target = m_oNet.path(QStringLiteral("out/limit.bin"));
    net.HttpGetRequest(QUrl(m_oNet.rude.url(QStringLiteral("/silent?limited"))), target, RZDataIO::FileData,
                       true, 1);
    net.HttpGetRequest(QUrl(m_oNet.rude.url(QStringLiteral("/silent?unlimited"))), target + '2',
                       RZDataIO::FileData, true, 0);
    const QList<QNetworkReply*> replies = RZNetwork::GetNetManager()->findChildren<QNetworkReply*>();
    int downloads = 0;
    for (QNetworkReply* reply : replies) {
        const QString query = reply->url().query();
        if (query == QLatin1String("limited")) {
            ++downloads;
            QCOMPARE(reply->property("timeOut").toInt(), 3000);
            QCOMPARE(reply->findChild<FReplyTimeOut*>()->findChild<QTimer*>()->interval(), 3000);
        } else if (query == QLatin1String("unlimited")) {
            ++downloads;
            QVERIFY(!reply->property("timeOut").isValid());
            QVERIFY(!reply->findChild<FReplyTimeOut*>());
        }
    }
    QCOMPARE(downloads, 2);
    post->abort();
    unlimited->abort();
}

// A manager released under a running download ends it as a failure, leaving no temporary file.
void TestNetwork::releasedManagerEndsDownloads()
{
    const QString target = m_oNet.path(QStringLiteral("out/released.bin"));
    QVERIFY(RZNetPeers::writeFile(target, "OLD"));
    RZNetwork net;
    QSignalSpy finished(&net, &RZNetwork::HttpGetRequestFinished);
    net.HttpGetRequest(QUrl(m_oNet.rude.url(QStringLiteral("/silent"))), target, RZDataIO::FileData, true, 0);
    RZNetwork::ReleaseManeger();
    QVERIFY(m_oNet.logged(QStringLiteral("RZNetwork::ReleaseManeger begin")));
    QVERIFY(caught(finished));
    QCOMPARE(finished.at(0), (QVariantList{false, target}));
    QCOMPARE(RZNetPeers::readFile(target), QByteArray("OLD"));
    QVERIFY(NetFixture::leftovers(m_oNet.path(QStringLiteral("out"))).isEmpty());
}

void TestNetwork::waitForNetworkFinished()
{
    RZNetwork net;
    bool ok = false;
    QString result;
    const QString target = m_oNet.path(QStringLiteral("out/waited.bin"));
    net.HttpGetRequest(QUrl(m_oNet.nginx.url(QStringLiteral("/small.bin"))), target, RZDataIO::FileData, true,
                       0);
    QCOMPARE(RZNetwork::WaitForNetworkFinished(net, ok, result, 15000), 0);
    QVERIFY(ok);
    QCOMPARE(result, target);
    QNetworkRequest request{QUrl(m_oNet.rude.url(QStringLiteral("/missing")))};
    net.HttpPostRequest(request, QStringLiteral("x"), 0, true);
    QCOMPARE(RZNetwork::WaitForNetworkFinished(net, ok, result, 15000), -1);
    QVERIFY(!ok);
    QCOMPARE(result, QStringLiteral("203:404"));
}

void TestNetwork::dataIOFiles()
{
    const QString source = m_oNet.path(QStringLiteral("out/source.bin"));
    const QString target = m_oNet.path(QStringLiteral("out/copy.bin"));
    const QByteArray bytes(5000, 'e'); // more than one 1 KB chunk
    QVERIFY(RZNetPeers::writeFile(source, bytes) && RZNetPeers::writeFile(target, "OLD"));
    RZDataIO::Encrypt(source, target);
    QCOMPARE(RZNetPeers::readFile(target), bytes);
    RZDataIO::Encrypt(m_oNet.path(QStringLiteral("out/no-such-file")), target);
    QCOMPARE(RZNetPeers::readFile(target), bytes);

    RZDataIO unnamed(QString{});
    QVERIFY(!unnamed.Open(QIODevice::WriteOnly));
    QVERIFY(RZNetPeers::writeFile(target, ""));
    QVERIFY(!RZDataIO(target).IsFileExists());
    {
        RZDataIO open(target);
        QVERIFY(open.Open(QIODevice::WriteOnly));
        open.Write("partial");
        QCOMPARE(NetFixture::leftovers(m_oNet.path(QStringLiteral("out"))).size(), 1);
    }
    QVERIFY(NetFixture::leftovers(m_oNet.path(QStringLiteral("out"))).isEmpty());
    QCOMPARE(RZNetPeers::readFile(target), QByteArray());
}

// A warning, not a guard: the one manager is handed out all the same.
void TestNetwork::managerFromAnotherThread()
{
    QNetworkAccessManager* const manager = RZNetwork::GetNetManager();
    QNetworkAccessManager* fromWorker = nullptr;
    std::thread worker([&fromWorker] { fromWorker = RZNetwork::GetNetManager(); });
    worker.join();
    QCOMPARE(fromWorker, manager);
    QVERIFY(m_oNet.logged(QStringLiteral("*********run in other thread**********")));
}

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
