#pragma once
// Deployment values compiled into the library: service hosts and keys that differ per product
// deployment. The defaults point at reserved example domains, so that nothing real is contacted
// by a build that was not configured for a deployment. Change them here and nowhere else.

namespace RZDeployment {

// A/B-test service: host, path (with the project key's place marker) and the fixed project key.
inline constexpr const char kABTestService[] = "https://abtest.example.com";
inline constexpr const char kABTestPath[] = "/api/v2/abtest/online/results?project-key=%1";
inline constexpr const char kABTestProjectKey[] = "example-abtest-project-key";

} // namespace RZDeployment
