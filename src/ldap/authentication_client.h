// Messages to the host's authentication worker and to this plug-in's own worker.
#pragma once

#include <string>
#include <string_view>

#include "framework/core/property_bag.h"

namespace wsadmin {

// The worker "winauth", which knows the trusted domains.
class ws_winauth {
  public:
    // Waits up to ten seconds for the worker to be there.
    static bool available();
    // The worker's answer, or a bag with the error "Failed to issue request to winauth service".
    static CORE::PropertyBag getTrustedDomains(std::wstring_view initialDomain = {});
    static CORE::PropertyBag setDomainConfig(const CORE::PropertyBag& configuration);
};

// The worker "ws_admin": ourselves, asked as anybody asks.
class ws_adminaccess {
  public:
    static CORE::PropertyBag loadDomainConfig();
};

}  // namespace wsadmin
