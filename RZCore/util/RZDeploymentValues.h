#pragma once
// Deployment values compiled into the library: service hosts and keys that differ per product
// deployment. The defaults point at reserved example domains, so that nothing real is contacted
// by a build that was not configured for a deployment. Change them here and nowhere else.

namespace RZDeployment {

// A/B-test service: host, path (with the project key's place marker) and the fixed project key.
inline constexpr const char kABTestService[] = "https://abtest.example.com";
inline constexpr const char kABTestPath[] = "/api/v2/abtest/online/results?project-key=%1";
inline constexpr const char kABTestProjectKey[] = "example-abtest-project-key";

// Fixed pages of the configuration store: the mainland product site's buy page (%1: the product
// number) and the account pages' password reset (%1: the language, filled by the caller).
inline constexpr const char kBuyPageUrl[] = "https://cn.example.org/buy/index.html?product=%1";
inline constexpr const char kFindPasswordUrl[] =
    "https://account.example.com/auth/account/#/forget-password?brand=cinvera&lang=%1";

} // namespace RZDeployment

// ---- web addresses ---------------------------------------------------------------------------------
// The three domains the service addresses are composed from, by kind: the service APIs' second-level
// domain (its hosts are "api.", "cc-api." and "rc-api."), the analytics' second-level domain, and the
// whole host name of the redirect service ("go.php" jumps). A host may replace them at run time.
namespace RZDeployment {

inline constexpr const char kServiceDomain[] = "example.com";
inline constexpr const char kTrackingDomain[] = "example.net";
inline constexpr const char kCbsDomain[] = "go.example.org";

// Fixed hosts of the product's own services and sites, scheme included.
inline constexpr const char kProductClientApiHost[] = "https://client-api.example.com";
inline constexpr const char kProductApiHost[] = "https://product-api.example.com";
inline constexpr const char kAccountPagesHost[] = "https://account.example.com";
inline constexpr const char kWebApplicationsHost[] = "https://apps.example.com";
inline constexpr const char kMainlandProductSite[] = "https://cn.example.org";
inline constexpr const char kProductSite[] = "https://product.example.com";
inline constexpr const char kSupportSite[] = "https://support.example.com";
inline constexpr const char kEffectStoreHost[] = "https://effects.example.com";
inline constexpr const char kLandingPageHost[] = "https://landing.example.com";
inline constexpr const char kMakerMainSite[] = "https://www.example.com";
inline constexpr const char kMakerJapaneseSite[] = "https://jp.example.com";
inline constexpr const char kMakerMainlandSite[] = "https://www.example.org";
inline constexpr const char kStockMediaSite[] = "https://stock.example.com";
inline constexpr const char kStockMediaStoreSite[] = "https://store.stock.example.com";
// The resource cloud's API host as a bare host name.
inline constexpr const char kResourceCloudApiHost[] = "rc-api.example.com";

// Fixed query values of the buy pages and of the user-tag control address.
inline constexpr const char kBuyPageFixedQuery[] =
    "&login_code=0&client-type=2&lang=en&m-pid=1901&User-Agent=Cinvera-Win&pid=1901&device-no=0&version=1.0.0";
inline constexpr const char kUserTagControlFixedQuery[] = "?app_id=example-app-id&sign=example-sign";
inline constexpr const char kMainlandPrivacyTrackingQuery[] = "?utm_source=client&utm_medium=privacy";

// Public pages of outside parties (share targets, stock-media sources, policies). Reserved ".example"
// names here; a deployment puts the parties' real addresses in their place.
inline constexpr const char kIqiyiSite[] = "https://www.iqiyi.example";
inline constexpr const char kBilibiliSite[] = "https://member.bilibili.example";
inline constexpr const char kDouyinSite[] = "https://creator.douyin.example";
inline constexpr const char kTencentVideoSite[] = "https://v.tencent.example";
inline constexpr const char kXiguaSite[] = "https://studio.xigua.example";
inline constexpr const char kYoukuSite[] = "https://mp.youku.example";
inline constexpr const char kGiphySite[] = "https://giphy.example";
inline constexpr const char kGoogleAccountSite[] = "https://myaccount.google.example";
inline constexpr const char kGoogleSite[] = "https://policies.google.example";
inline constexpr const char kMicrosoftStoreSite[] = "https://apps.microsoft.example";
inline constexpr const char kOssEndPoint[] = "https://oss.cloud.example";
inline constexpr const char kPexelsSite[] = "https://www.pexels.example";
inline constexpr const char kPixabaySite[] = "https://pixabay.example";
inline constexpr const char kUnsplashSite[] = "https://unsplash.example";
inline constexpr const char kYoutubeSite[] = "https://www.youtube.example";

// Addresses the web views recognise and never load.
inline constexpr const char kCloseSentinel[] = "http://close/";
inline constexpr const char kOpenSentinel[] = "http://open/";
inline constexpr const char kLogOffSentinel[] = "http://log_off/";
inline constexpr const char kExposureOffSentinel[] = "http://exposure_off/";

} // namespace RZDeployment
