#pragma once
// Every fixed web address the system opens or calls: one class of static operations per area of the
// product, and nothing else in the library spells an address. An address is composed one of three ways:
//  - fixed: a host of the deployment (RZDeploymentValues.h) and a path;
//  - service domain: a pattern with the domain of a kind in the host's place ("https://api.%1/..."),
//    filled through RZDomainNameService, so that its query function and update() change these
//    addresses and nothing else does;
//  - redirect-service jump: "http://<CbsDomain>/go.php?pid=...&m=<action>".
// Place markers left in a result ("%1", "%2") are the caller's to fill with QString::arg; in a jump
// the marker after "pid=" is the product id. Addresses that may change per release are not here but
// in the "Url" group of "FConfig.ini".
//
//     QString page = RZProductUrlHelper::supportCenterJumpLink().arg(productId);
//     QString tickets = RZFeedBackUrlHelper::NewSupportTickets();   // follows the service domain

#include <RZCore/RZCoreExport.h>

#include <QString>

class RZCORE_EXPORT FUserTagCollecterUrlHelper
{
public:
    static QString userTagCollecterUrl();
};

class RZCORE_EXPORT RZAccountInformationUrlHelper
{
public:
    static QString api730512RootUrl();
    static QString forgetPasswordPage();
    static QString forgetPasswordWithoutEmailPage();
    static QString managerMyAccount();
};

class RZCORE_EXPORT RZCreatorAcademyUrlHelper
{
public:
    static QString homePage();
    static QString tawnyreelStudyGroupUrl();
    static QString requestReportUrl();
    static QString requestTokenUrl();
    static QString requestUpdate();
    static QString topLevelDomainPage();
};

class RZCORE_EXPORT RZDownloadCenterUrlHelper
{
public:
    static QString getResCloudServiceDomain();
};

class RZCORE_EXPORT RZEventTrackingUrlHelper
{
public:
    static QString defaultABTest();
    static QString defaultServerUrl();
};

class RZCORE_EXPORT RZExportShareUrlHelper
{
public:
    static QString getAiQiYiShareUrl();
    static QString getBiliBiliShareUrl();
    static QString getDouYinShareUrl();
    static QString getTencentShareUrl();
    static QString getXiGuaShareUrl();
    static QString getYouKuShareUrl();
};

class RZCORE_EXPORT RZFeedBackUrlHelper
{
public:
    static QString NewSupportTickets();
    static QString getAccessToken();
    static QString getDynamicForms();
    static QString getOssCredential();
    static QString supportCenterUrl();
};

class RZCORE_EXPORT RZFunctionTutorialJumpUrlHelper
{
public:
    static QString advancedColorCorrection();
    static QString advancedSplitScreenEdit();
    static QString chromaKey();
    static QString cropAndZoomUrl();
    static QString keyFranmingUrl();
    static QString motionTracking();
};

class RZCORE_EXPORT RZInformationInquiryUrlHelper
{
public:
    static QString checkPopupUrl();
    static QString getCBSGpuInfo();
};

class RZCORE_EXPORT RZLogRetrievalUrlHelper
{
public:
    static QString getLogDataReportUrl();
    static QString getUploadFileTokenUrl();
    static QString getUserLoginTokenUrl();
    static QString getWhilteListAddUrl();
    static QString getWhilteListCheckUrl();
};

class RZCORE_EXPORT RZLossLessUrlHelper
{
public:
    static QString LossLessHelpUrl();
};

class RZCORE_EXPORT RZNpsUrlHelper
{
public:
    static QString exportNPSHomePage();
    static QString homePage();
};

class RZCORE_EXPORT RZProductUrlHelper
{
public:
    static QString EULAPageDe();
    static QString EULAPageEn();
    static QString EULAPageEs();
    static QString EULAPageFr();
    static QString EULAPageIt();
    static QString EULAPageJp();
    static QString EULAPagePtBr();
    static QString TROpenBuyVIPPage();
    static QString buyPage();
    static QString buyPageWithImportFileFail();
    static QString buyPage_TR();
    static QString homePage();
    static QString homePageChina();
    static QString initBeatDetectionLink();
    static QString innerBuyWebPage();
    static QString noticeUpgradePage();
    static QString pidUpgradePage();
    static QString privacyPolicyPageDe();
    static QString privacyPolicyPageEn();
    static QString privacyPolicyPageEs();
    static QString privacyPolicyPageFr();
    static QString privacyPolicyPageIt();
    static QString privacyPolicyPageJp();
    static QString privacyPolicyPageTawnyreelx();
    static QString privacyPolicyPagePtBr();
    static QString productHomePage();
    static QString productHomePageTawnyreel();
    static QString requirementPage();
    static QString supportCenterJumpLink();
    static QString supportCenterJumpLinkWithVersion();
    static QString supportCenterPage();
    static QString userCommunityJumpLink();
};

class RZCORE_EXPORT RZReelvaultUrlHelper
{
public:
    static QString FAQPage();
    static QString LPPage();
    static QString downloadPage();
    static QString homePage();
    static QString productBuyPage();
    static QString resourceBuyPage();
    static QString rewardsFreeSaasOrPackPage();
};

class RZCORE_EXPORT RZResourceCloudUrlHelper
{
public:
    static QString searchKeywordUrl();
    static QString searchThinkingwordUrl();
};

class RZCORE_EXPORT RZThirdPartyUrlHelper
{
public:
    static QString closeUrl();
    static QString forceLoginOnUrl();
    static QString giphyPage();
    static QString giphyPrivacyPage();
    static QString giphyTremsPage();
    static QString googleAccountPermissionsPage();
    static QString googlePrivacyPage();
    static QString logPostCloseUrl();
    static QString microsoftHevcExtensionsDownloadPage();
    static QString ossEndPoint();
    static QString particleExposureOffUrl();
    static QString pexelsPage();
    static QString pexelsPrivacyPage();
    static QString pexelsTremsPage();
    static QString pixabayPage();
    static QString pixabayPrivacyPage();
    static QString pixabayTremsPage();
    static QString unsplashPage();
    static QString unsplashPrivacyPage();
    static QString unsplashTremsPage();
    static QString youtubeTremsPage();
};

class RZCORE_EXPORT RZUninstallUrlHelper
{
public:
    static QString jsonDownloadUrl();
    static QString slideshowImageUrl();
};

class RZCORE_EXPORT RZUserDetaiInfoUrlHelper
{
public:
    static QString getUserTagCollectControlUrl();
};

class RZCORE_EXPORT RZVCGUrlHelper
{
public:
    static QString buyPage();
};

// Addresses of the caddy messages live in the "Url" group; the class has no operation of its own.
class RZCORE_EXPORT RZCaddyUrlHelper
{
};

class RZCORE_EXPORT RZCbsUrlHelper
{
public:
    // A URL stored with the default redirect-service host, moved to the host the service now names
    // (RZDomainNameService, CbsDomain). Other URLs, and every URL while the host is the default one,
    // come back as they are. Case-sensitive.
    static QString standardCbsUrltransition(const QString& url);
};

// A development aid: pairs each expected address with what the helpers return. No effect.
class RZCORE_EXPORT RZUrlTest
{
public:
    static void test();
};
