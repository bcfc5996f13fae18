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
