// The services of the global layer: its description is the pod instance's own, and the broker starts after
// it. Outcomes are logged, and callers are not told: a federation works without them.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"

namespace wsadmin::qrv {

// Enabling makes the broker depend on the global layer's service, disabling ends that.
void configureGlobalService(platform::Platform& platform, bool enable);

// Single steps. Failures are logged.
Result<std::wstring> queryServiceDescription(platform::ServiceManager& manager, const std::wstring& name);
Result<void> changeServiceDescription(platform::ServiceManager& manager, const std::wstring& name,
                                      const std::wstring& description);
Result<std::vector<std::wstring>> queryServiceDependencies(platform::ServiceManager& manager,
                                                           const std::wstring& name);
Result<void> changeServiceDependencies(platform::ServiceManager& manager, const std::wstring& name,
                                       const std::vector<std::wstring>& names);

}  // namespace wsadmin::qrv
