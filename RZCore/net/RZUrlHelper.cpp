#include <RZCore/net/RZUrlHelper.h>

#include "RZCbsUrl_p.h"

#include <RZCore/net/RZDomainNameService.h>
#include <RZCore/util/RZDeploymentValues.h>

#include <QMap>

namespace {

QString domain(RZDomainNameKind kind)
{
    return RZSingleton<RZDomainNameService>::instance()->domainName(kind);
}

QString serviceAddress(const char* pattern, RZDomainNameKind kind)
{
    return QLatin1String(pattern).arg(domain(kind));
}

// The host takes the first place marker; the markers of the appended path stay for the caller.
QString cbsJump(const char* path)
{
    return QStringLiteral("http://%1/").arg(domain(CbsDomain)) + QLatin1String(path);
}

} // namespace

#define RZ_FIXED(cls, op, host, path)                                                                        \
    QString cls::op()                                                                                        \
    {                                                                                                        \
        return QLatin1String(RZDeployment::host) + QLatin1String(path);                                      \
    }
#define RZ_FIXED_QUERY(cls, op, host, path, query)                                                           \
    QString cls::op()                                                                                        \
    {                                                                                                        \
        return QLatin1String(RZDeployment::host) + QLatin1String(path) + QLatin1String(RZDeployment::query); \
    }
#define RZ_SERVICE(cls, op, kind, pattern)                                                                   \
    QString cls::op()                                                                                        \
    {                                                                                                        \
        return serviceAddress(pattern, kind);                                                                \
    }
#define RZ_SERVICE_THEN(cls, op, kind, pattern, rest)                                                        \
    QString cls::op()                                                                                        \
    {                                                                                                        \
        return serviceAddress(pattern, kind) + QLatin1String(rest);                                          \
    }
#define RZ_JUMP(cls, op, path)                                                                               \
    QString cls::op()                                                                                        \
    {                                                                                                        \
        return cbsJump(path);                                                                                \
    }

RZ_FIXED(FUserTagCollecterUrlHelper, userTagCollecterUrl, kProductClientApiHost, "/v1/wms/reach/messages")

RZ_SERVICE(RZAccountInformationUrlHelper, api730512RootUrl, TrackingDomain, "https://api.%1")
RZ_FIXED(RZAccountInformationUrlHelper, forgetPasswordPage, kAccountPagesHost,
         "/web/reset?account_type=email&email=")
RZ_FIXED(RZAccountInformationUrlHelper, forgetPasswordWithoutEmailPage, kAccountPagesHost,
         "/web/reset?account_type=email&source=3&lang=")
RZ_FIXED(RZAccountInformationUrlHelper, managerMyAccount, kAccountPagesHost, "/web/overview")

RZ_FIXED(RZCreatorAcademyUrlHelper, homePage, kWebApplicationsHost, "/ca2/#/")
RZ_FIXED(RZCreatorAcademyUrlHelper, tawnyreelStudyGroupUrl, kMainlandProductSite, "/academy.html")
RZ_SERVICE(RZCreatorAcademyUrlHelper, requestReportUrl, ServiceDomain,
           "https://cc-api.%1/v1/cc/creator/target-collect")
RZ_SERVICE(RZCreatorAcademyUrlHelper, requestTokenUrl, ServiceDomain, "https://api.%1/v3/user/client/token")
RZ_SERVICE(RZCreatorAcademyUrlHelper, requestUpdate, ServiceDomain,
           "https://cc-api.%1/v1/cc/creator/has-new-videos")
RZ_FIXED(RZCreatorAcademyUrlHelper, topLevelDomainPage, kWebApplicationsHost, "")

RZ_FIXED(RZDownloadCenterUrlHelper, getResCloudServiceDomain, kResourceCloudApiHost, "")

RZ_FIXED(RZEventTrackingUrlHelper, defaultABTest, kABTestService,
         "/api/v2/abtest/online/results?project-key=%1")
RZ_SERVICE_THEN(RZEventTrackingUrlHelper, defaultServerUrl, TrackingDomain, "https://analytics.%1",
                ":8106/sa?project=%1")

RZ_FIXED(RZExportShareUrlHelper, getAiQiYiShareUrl, kIqiyiSite, "/upload?type=0")
RZ_FIXED(RZExportShareUrlHelper, getBiliBiliShareUrl, kBilibiliSite, "/v/video/submit.html")
RZ_FIXED(RZExportShareUrlHelper, getDouYinShareUrl, kDouyinSite, "/content/upload")
RZ_FIXED(RZExportShareUrlHelper, getTencentShareUrl, kTencentVideoSite, "/u/upload.html")
RZ_FIXED(RZExportShareUrlHelper, getXiGuaShareUrl, kXiguaSite, "/")
RZ_FIXED(RZExportShareUrlHelper, getYouKuShareUrl, kYoukuSite, "/")

RZ_SERVICE(RZFeedBackUrlHelper, NewSupportTickets, ServiceDomain, "https://api.%1/v1/support/tickets")
RZ_SERVICE(RZFeedBackUrlHelper, getAccessToken, ServiceDomain, "https://api.%1/v3/user/client/token")
RZ_SERVICE(RZFeedBackUrlHelper, getDynamicForms, ServiceDomain, "https://api.%1/v1/support/forms/dynamic")
RZ_SERVICE(RZFeedBackUrlHelper, getOssCredential, ServiceDomain, "https://api.%1/v1/support/oss/credential")
RZ_FIXED(RZFeedBackUrlHelper, supportCenterUrl, kSupportSite, "/#/contact?fast=ticket")

RZ_FIXED(RZFunctionTutorialJumpUrlHelper, advancedColorCorrection, kMainlandProductSite,
         "/help/video-guide/basic/senior-toning.html")
RZ_FIXED(RZFunctionTutorialJumpUrlHelper, advancedSplitScreenEdit, kMainlandProductSite,
         "/help/video-guide/basic/split-screen.html")
RZ_FIXED(RZFunctionTutorialJumpUrlHelper, chromaKey, kMainlandProductSite,
         "/help/video-guide/basic/matting-function.html")
RZ_FIXED(RZFunctionTutorialJumpUrlHelper, cropAndZoomUrl, kMainlandProductSite,
         "/help/video-guide/basic/crop-scale.html")
RZ_FIXED(RZFunctionTutorialJumpUrlHelper, keyFranmingUrl, kMainlandProductSite,
         "/help/video-guide/basic/keyframe.html")
RZ_FIXED(RZFunctionTutorialJumpUrlHelper, motionTracking, kMainlandProductSite,
         "/help/video-guide/basic/motion-tracking.html")

RZ_FIXED(RZInformationInquiryUrlHelper, checkPopupUrl, kEffectStoreHost, "/api/v1.2/check-popup?url=%1")
RZ_JUMP(RZInformationInquiryUrlHelper, getCBSGpuInfo, "go.php?pid=846&m=c101")

RZ_FIXED(RZLogRetrievalUrlHelper, getLogDataReportUrl, kProductClientApiHost, "/v1/product/logs/report")
RZ_FIXED(RZLogRetrievalUrlHelper, getUploadFileTokenUrl, kProductClientApiHost,
         "/v1/product/storage/credential")
RZ_FIXED(RZLogRetrievalUrlHelper, getUserLoginTokenUrl, kProductClientApiHost, "/v3/user/client/token")
RZ_FIXED(RZLogRetrievalUrlHelper, getWhilteListAddUrl, kProductClientApiHost, "/v1/product/logs/whitelist")
RZ_FIXED(RZLogRetrievalUrlHelper, getWhilteListCheckUrl, kProductClientApiHost, "/v1/product/logs/check")

RZ_FIXED(RZLossLessUrlHelper, LossLessHelpUrl, kProductSite, "/guide/action-cam-video-instant-cutter.html")

RZ_FIXED(RZNpsUrlHelper, exportNPSHomePage, kLandingPageHost, "/saas-landing-page/index.html")
RZ_FIXED(RZNpsUrlHelper, homePage, kWebApplicationsHost, "/nps2/")

RZ_FIXED(RZProductUrlHelper, EULAPageDe, kMakerMainSite, "/de/company/end-user-license-agreement.html")
RZ_FIXED(RZProductUrlHelper, EULAPageEn, kMakerMainSite, "/company/end-user-license-agreement.html")
RZ_FIXED(RZProductUrlHelper, EULAPageEs, kMakerMainSite, "/es/company/end-user-license-agreement.html")
RZ_FIXED(RZProductUrlHelper, EULAPageFr, kMakerMainSite, "/fr/company/contrat-licence-utilisateur-final.html")
RZ_FIXED(RZProductUrlHelper, EULAPageIt, kMakerMainSite, "/it/company/end-user-license-agreement.html")
RZ_FIXED(RZProductUrlHelper, EULAPageJp, kMakerJapaneseSite, "/company/end-user-license-agreement.html")
RZ_FIXED(RZProductUrlHelper, EULAPagePtBr, kMakerMainSite, "/pt-br/company/end-user-license-agreement.html")
RZ_FIXED(RZProductUrlHelper, TROpenBuyVIPPage, kMainlandProductSite,
         "/pay/price.html?hideVCGFootage=false&page_type=%1")
RZ_FIXED_QUERY(RZProductUrlHelper, buyPage, kProductSite,
               "/shop/buy/buy-video-editor.html?utm_source=button&utm_medium=product-win&f=pro",
               kBuyPageFixedQuery)
RZ_JUMP(RZProductUrlHelper, buyPageWithImportFileFail, "go.php?pid=3223&m=db")
RZ_FIXED(RZProductUrlHelper, buyPage_TR, kMainlandProductSite,
         "/pay/client-buy.html?version=4&page_type=%1&higherIframe=%2")
RZ_FIXED(RZProductUrlHelper, homePage, kMakerMainSite, "")
RZ_FIXED(RZProductUrlHelper, homePageChina, kMakerMainlandSite, "")
RZ_FIXED(RZProductUrlHelper, initBeatDetectionLink, kEffectStoreHost, "/api/user/res/exist")
RZ_FIXED(RZProductUrlHelper, innerBuyWebPage, kProductSite,
         "/shop/buy/buy-video-editor.html?utm_source=button&utm_medium=product-win&f=pro")
RZ_FIXED(RZProductUrlHelper, noticeUpgradePage, kProductSite, "/client/client-pay-upgrade-2023.html")
RZ_FIXED(RZProductUrlHelper, pidUpgradePage, kProductSite, "/client/client-pay-upgrade-13.html")
RZ_FIXED(RZProductUrlHelper, privacyPolicyPageDe, kMakerMainSite, "/de/privacy.html")
RZ_FIXED(RZProductUrlHelper, privacyPolicyPageEn, kMakerMainSite, "/privacy.html")
RZ_FIXED(RZProductUrlHelper, privacyPolicyPageEs, kMakerMainSite, "/es/privacy.html")
RZ_FIXED(RZProductUrlHelper, privacyPolicyPageFr, kMakerMainSite, "/fr/privacy.html")
RZ_FIXED(RZProductUrlHelper, privacyPolicyPageIt, kMakerMainSite, "/it/privacy.html")
RZ_FIXED(RZProductUrlHelper, privacyPolicyPageJp, kMakerJapaneseSite, "/privacy.html")
RZ_FIXED_QUERY(RZProductUrlHelper, privacyPolicyPageTawnyreelx, kMakerMainlandSite, "/privacy.html",
               kMainlandPrivacyTrackingQuery)
RZ_FIXED(RZProductUrlHelper, privacyPolicyPagePtBr, kMakerMainSite, "/pt-br/privacidade.html")
RZ_FIXED(RZProductUrlHelper, productHomePage, kMakerMainSite, "/products-solutions/digitalcreativity/")
RZ_FIXED(RZProductUrlHelper, productHomePageTawnyreel, kMainlandProductSite, "/")
RZ_FIXED(RZProductUrlHelper, requirementPage, kProductSite, "/tech-spec.html")
RZ_JUMP(RZProductUrlHelper, supportCenterJumpLink, "go.php?pid=%1&m=ds")
RZ_JUMP(RZProductUrlHelper, supportCenterJumpLinkWithVersion, "go.php?pid=%1&m=cm&custom=%2")
RZ_FIXED(RZProductUrlHelper, supportCenterPage, kSupportSite, "")
RZ_JUMP(RZProductUrlHelper, userCommunityJumpLink, "go.php?pid=%1&m=c175")

RZ_FIXED(RZReelvaultUrlHelper, FAQPage, kStockMediaSite, "/help/Usage-of-cinvera-template.html")
RZ_FIXED(RZReelvaultUrlHelper, LPPage, kStockMediaSite,
         "/c/effects.html?source=1&b_type=3&p=1&order_by=Most-Recent")
RZ_FIXED(RZReelvaultUrlHelper, downloadPage, kStockMediaSite, "/user/client-download")
RZ_FIXED(RZReelvaultUrlHelper, homePage, kStockMediaSite,
         "/bridge?redirect=cinvera9-stock-video-effects&fs_channel=nw&utm_source=client&utm_medium=client&"
         "utm_campaign=cinvera9client")
RZ_FIXED(RZReelvaultUrlHelper, productBuyPage, kProductSite,
         "/store/windows-individuals.html?utm_source=link_in_product&utm_medium=ownmedia")
RZ_FIXED(RZReelvaultUrlHelper, resourceBuyPage, kProductSite,
         "/store/windows-effects-assets-add-on.html?utm_source=link_in_product&utm_medium=ownmedia")
RZ_FIXED(RZReelvaultUrlHelper, rewardsFreeSaasOrPackPage, kStockMediaStoreSite, "/bridge")

RZ_SERVICE(RZResourceCloudUrlHelper, searchKeywordUrl, ServiceDomain,
           "https://rc-api.%1/v1/dispatch/featured/keywords")
RZ_SERVICE(RZResourceCloudUrlHelper, searchThinkingwordUrl, ServiceDomain,
           "https://rc-api.%1/v1/dispatch/search/suggestions")

RZ_FIXED(RZThirdPartyUrlHelper, closeUrl, kCloseSentinel, "")
RZ_FIXED(RZThirdPartyUrlHelper, forceLoginOnUrl, kOpenSentinel, "")
RZ_FIXED(RZThirdPartyUrlHelper, giphyPage, kGiphySite, "")
RZ_FIXED(RZThirdPartyUrlHelper, giphyPrivacyPage, kGiphySite, "/privacy")
RZ_FIXED(RZThirdPartyUrlHelper, giphyTremsPage, kGiphySite, "/terms")
RZ_FIXED(RZThirdPartyUrlHelper, googleAccountPermissionsPage, kGoogleAccountSite, "/permissions")
RZ_FIXED(RZThirdPartyUrlHelper, googlePrivacyPage, kGoogleSite, "/policies/privacy")
RZ_FIXED(RZThirdPartyUrlHelper, logPostCloseUrl, kLogOffSentinel, "")
RZ_FIXED(RZThirdPartyUrlHelper, microsoftHevcExtensionsDownloadPage, kMicrosoftStoreSite,
         "/en-us/p/hevc-video-extensions/9nmzlz57r3t7?activetab=pivot:overviewtab")
RZ_FIXED(RZThirdPartyUrlHelper, ossEndPoint, kOssEndPoint, "")
RZ_FIXED(RZThirdPartyUrlHelper, particleExposureOffUrl, kExposureOffSentinel, "")
RZ_FIXED(RZThirdPartyUrlHelper, pexelsPage, kPexelsSite, "")
RZ_FIXED(RZThirdPartyUrlHelper, pexelsPrivacyPage, kPexelsSite, "/privacy-policy/")
RZ_FIXED(RZThirdPartyUrlHelper, pexelsTremsPage, kPexelsSite, "/terms-of-service/")
RZ_FIXED(RZThirdPartyUrlHelper, pixabayPage, kPixabaySite, "/")
RZ_FIXED(RZThirdPartyUrlHelper, pixabayPrivacyPage, kPixabaySite, "/service/privacy")
RZ_FIXED(RZThirdPartyUrlHelper, pixabayTremsPage, kPixabaySite, "/service/terms")
RZ_FIXED(RZThirdPartyUrlHelper, unsplashPage, kUnsplashSite,
         "/?utm_source=Cinvera%20for%20Win&utm_medium=referral")
RZ_FIXED(RZThirdPartyUrlHelper, unsplashPrivacyPage, kUnsplashSite, "/privacy")
RZ_FIXED(RZThirdPartyUrlHelper, unsplashTremsPage, kUnsplashSite, "/terms")
RZ_FIXED(RZThirdPartyUrlHelper, youtubeTremsPage, kYoutubeSite, "/t/terms")

RZ_FIXED(RZUninstallUrlHelper, jsonDownloadUrl, kWebApplicationsHost, "/uninstall/cfg/v1/%1-%2.json")
RZ_JUMP(RZUninstallUrlHelper, slideshowImageUrl, "go.php?pid=%1&m=c23")

RZ_FIXED_QUERY(RZUserDetaiInfoUrlHelper, getUserTagCollectControlUrl, kProductApiHost, "/v1/product/%1",
               kUserTagControlFixedQuery)

RZ_FIXED_QUERY(RZVCGUrlHelper, buyPage, kMainlandProductSite, "/pay/price.html?open_browser=1&type=5",
               kBuyPageFixedQuery)

QString RZCbsUrlHelper::standardCbsUrltransition(const QString& url)
{
    return RZCbsUrl::standardize(url, RZDomainNameService::defaultDomainName(CbsDomain),
                                 [] { return domain(CbsDomain); });
}

void RZUrlTest::test()
{
    const QString cbs = QStringLiteral("http://%1/").arg(domain(CbsDomain));
    const QString service = domain(ServiceDomain);
    const QMap<QString, QString> expected{
        {QStringLiteral("https://api.%1/v1/support/tickets").arg(service),
         RZFeedBackUrlHelper::NewSupportTickets()},
        {QStringLiteral("https://rc-api.%1/v1/dispatch/featured/keywords").arg(service),
         RZResourceCloudUrlHelper::searchKeywordUrl()},
        {cbs + QLatin1String("go.php?pid=3223&m=db"), RZProductUrlHelper::buyPageWithImportFileFail()},
        {cbs + QLatin1String("go.php?pid=846&m=c101"), RZInformationInquiryUrlHelper::getCBSGpuInfo()},
    };
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        (void)(it.key() == it.value());
}
