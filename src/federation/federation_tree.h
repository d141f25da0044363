// The federation as its global layer has it: the federation's own record, its sites, their pods and the
// connection servers of these. The calling thread holds a DirectoryThread.
#pragma once

#include <cstddef>
#include <string>

#include "framework/core/property_bag.h"
#include "platform/platform.h"

namespace wsadmin::qrv {

struct FederationTree {
    CORE::PropertyBag common, sites, pods, endpoints;
};

// Reads it from this server's instance. Failure: the sentence of the step that failed.
Result<FederationTree> readFederation(platform::Platform& platform);

// How many pods there are; failures are logged and count as none.
std::size_t countPods(platform::Platform& platform);
// The name of the entry of the pod that is shown to people by this name, which is looked for as it is
// written: a filter's own characters in it mean what they mean in a filter. Empty where there is none;
// failures are logged and answered so, too.
std::wstring podShownAs(platform::Platform& platform, const std::wstring& displayName);

}  // namespace wsadmin::qrv
