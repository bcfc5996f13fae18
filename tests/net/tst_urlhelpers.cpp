// Domains by kind, the addresses composed from them, the redirect-service rewrite, and the token
// functions the host supplies.

#include "RZTestLogSink.h"

#include <RZCore/net/RZDomainNameService.h>
#include <RZCore/net/RZTokenHelper.h>
#include <RZCore/net/RZUrlHelper.h>
#include <RZCore/util/RZDeploymentValues.h>

#include <QtTest>

namespace {

RZDomainNameService* domains()
{
    return RZSingleton<RZDomainNameService>::instance();
}

int errorLines(const RZTestLogSink& sink, const char* text)
{
    int count = 0;
    for (const RZTestLogSink::Record& record : sink.records())
        if (record.message == text && record.level == RZBaseLog::LogLevel::error &&
            record.function == "RZDomainNameServicePrivate::domainName")
            ++count;
    return count;
}

} // namespace

using Helper = QString (*)();
Q_DECLARE_METATYPE(Helper)

class TestUrlHelpers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_pLog = std::make_unique<RZScopedTestLogger>(); }
    void init()
    {
        domains()->registerQueryDomainName(nullptr);
        domains()->update({{ServiceDomain, QLatin1String(RZDeployment::kServiceDomain)},
                           {TrackingDomain, QLatin1String(RZDeployment::kTrackingDomain)},
                           {CbsDomain, QLatin1String(RZDeployment::kCbsDomain)}});
        m_pLog->sink->clear();
    }

    void lookupWithoutQueryFunction();
    void queryFunctionAndUpdates();
    void composedAddresses_data();
    void composedAddresses();
    void cbsRewrite_data();
    void cbsRewrite();
    void tokens();

private:
    std::unique_ptr<RZScopedTestLogger> m_pLog;
};

// The stored value, and one error line per lookup.
void TestUrlHelpers::lookupWithoutQueryFunction()
{
    QCOMPARE(domains()->domainName(CbsDomain), QStringLiteral("go.example.org"));
    QCOMPARE(domains()->domainName(CbsDomain), QStringLiteral("go.example.org"));
    QCOMPARE(errorLines(*m_pLog->sink, "uninit query fun"), 2);
    QCOMPARE(domains()->domainName(static_cast<RZDomainNameKind>(7)), QString());
}

void TestUrlHelpers::queryFunctionAndUpdates()
{
    QStringList asked;
    domains()->registerQueryDomainName([&asked](const QString& stored) {
        asked << stored;
        return stored + QStringLiteral(".marked");
    });
    QCOMPARE(domains()->domainName(ServiceDomain), QStringLiteral("example.com.marked"));
    QCOMPARE(domains()->domainNameMap().value(ServiceDomain), QStringLiteral("example.com"));
    QCOMPARE(domains()->domainName(static_cast<RZDomainNameKind>(7)), QStringLiteral(".marked"));
    QCOMPARE(asked, (QStringList{"example.com", ""}));
    QCOMPARE(errorLines(*m_pLog->sink, "uninit query fun"), 0);

    domains()->update({{TrackingDomain, QStringLiteral("tracking.example")}});
    const QMap<RZDomainNameKind, QString> map = domains()->domainNameMap();
    QCOMPARE(map.size(), 3);
    QCOMPARE(map.value(TrackingDomain), QStringLiteral("tracking.example"));
    QCOMPARE(map.value(ServiceDomain), QStringLiteral("example.com"));
    domains()->update(map); // the stored map itself: nothing to do
    domains()->update(CbsDomain, QStringLiteral("go.example.net"));
    QCOMPARE(domains()->domainNameMap().value(CbsDomain), QStringLiteral("go.example.net"));
}

void TestUrlHelpers::composedAddresses_data()
{
    QTest::addColumn<Helper>("helper");
    QTest::addColumn<QString>("byDefault");
    QTest::addColumn<QString>("afterwards"); // service domain mapped by the query function, jumps updated
    QTest::newRow("service domain") << Helper(&RZFeedBackUrlHelper::NewSupportTickets)
                                    << "https://api.example.com/v1/support/tickets"
                                    << "https://api.mapped.example/v1/support/tickets";
    QTest::newRow("service domain, cc-api") << Helper(&RZCreatorAcademyUrlHelper::requestUpdate)
                                            << "https://cc-api.example.com/v1/cc/creator/has-new-videos"
                                            << "https://cc-api.mapped.example/v1/cc/creator/has-new-videos";
    QTest::newRow("tracking, then its own marker") << Helper(&RZEventTrackingUrlHelper::defaultServerUrl)
                                                   << "https://analytics.example.net:8106/sa?project=%1"
                                                   << "https://analytics.example.net:8106/sa?project=%1";
    QTest::newRow("jump keeps the caller's markers")
        << Helper(&RZProductUrlHelper::supportCenterJumpLinkWithVersion)
        << "http://go.example.org/go.php?pid=%1&m=cm&custom=%2"
        << "http://go.example.net/go.php?pid=%1&m=cm&custom=%2";
    QTest::newRow("jump with a fixed pid") << Helper(&RZProductUrlHelper::buyPageWithImportFileFail)
                                           << "http://go.example.org/go.php?pid=3223&m=db"
                                           << "http://go.example.net/go.php?pid=3223&m=db";
    QTest::newRow("fixed host") << Helper(&RZProductUrlHelper::homePage) << "https://www.example.com"
                                << "https://www.example.com";
    QTest::newRow("fixed, with a fixed query")
        << Helper(&RZUserDetaiInfoUrlHelper::getUserTagCollectControlUrl)
        << "https://product-api.example.com/v1/product/%1?app_id=example-app-id&sign=example-sign"
        << "https://product-api.example.com/v1/product/%1?app_id=example-app-id&sign=example-sign";
    QTest::newRow("sentinel") << Helper(&RZThirdPartyUrlHelper::closeUrl) << "http://close/"
                              << "http://close/";
}

void TestUrlHelpers::composedAddresses()
{
    QFETCH(Helper, helper);
    QFETCH(QString, byDefault);
    QFETCH(QString, afterwards);
    QCOMPARE(helper(), byDefault);
    domains()->registerQueryDomainName([](const QString& stored) {
        return stored == QLatin1String("example.com") ? QStringLiteral("mapped.example") : stored;
    });
    domains()->update(CbsDomain, QStringLiteral("go.example.net"));
    QCOMPARE(helper(), afterwards);
}

void TestUrlHelpers::cbsRewrite_data()
{
    QTest::addColumn<QString>("cbsDomain");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("result");
    QTest::newRow("default host kept") << "go.example.org"
                                       << "http://go.example.org/go.php?pid=1"
                                       << "http://go.example.org/go.php?pid=1";
    QTest::newRow("moved, every occurrence") << "cbs.example.net"
                                             << "http://go.example.org/go.php?r=go.example.org"
                                             << "http://cbs.example.net/go.php?r=cbs.example.net";
    QTest::newRow("another host untouched") << "cbs.example.net"
                                            << "http://other.example.org/go.php"
                                            << "http://other.example.org/go.php";
    QTest::newRow("case-sensitive") << "cbs.example.net"
                                    << "http://GO.EXAMPLE.ORG/go.php"
                                    << "http://GO.EXAMPLE.ORG/go.php";
    QTest::newRow("empty") << "cbs.example.net" << QString() << QString();
}

void TestUrlHelpers::cbsRewrite()
{
    QFETCH(QString, cbsDomain);
    QFETCH(QString, url);
    QFETCH(QString, result);
    domains()->update(CbsDomain, cbsDomain);
    QCOMPARE(RZCbsUrlHelper::standardCbsUrltransition(url), result);
}

// Empty with one warning per call until the host assigns a function; then asked every time.
void TestUrlHelpers::tokens()
{
    RZTokenHelper::s_getTokenFun = nullptr;
    RZTokenHelper::s_getAuthCode = nullptr;
    RZTokenHelper::s_getUidFun = nullptr;
    QCOMPARE(RZTokenHelper::token(), QString());
    QCOMPARE(RZTokenHelper::authCode(), QString());
    QCOMPARE(RZTokenHelper::uid(), QString());
    QCOMPARE(RZTokenHelper::token(), QString());
    QCOMPARE(m_pLog->sink->messages(),
             (std::vector<std::string>{"get token function is nullptr.", "get authCode function is nullptr.",
                                       "get uid function is nullptr.", "get token function is nullptr."}));
    int calls = 0;
    RZTokenHelper::s_getTokenFun = [&calls] { return QStringLiteral("token-%1").arg(++calls); };
    RZTokenHelper::s_getUidFun = [] { return QStringLiteral("uid-7"); };
    QCOMPARE(RZTokenHelper::token(), QStringLiteral("token-1"));
    QCOMPARE(RZTokenHelper::token(), QStringLiteral("token-2"));
    QCOMPARE(RZTokenHelper::uid(), QStringLiteral("uid-7"));
    RZTokenHelper::s_getTokenFun = nullptr;
    RZTokenHelper::s_getUidFun = nullptr;
}

QTEST_GUILESS_MAIN(TestUrlHelpers)
#include "tst_urlhelpers.moc"
