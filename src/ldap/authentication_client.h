// Messages to the host's authentication worker and to this plug-in's own worker.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "framework/core/property_bag.h"
#include "framework/core/threads.h"

namespace wsadmin {

// The worker "winauth", which knows the trusted domains.
class ws_winauth {
  public:
    // Asks whether the worker is installed, with a timeout of ten seconds. The callback runs once, on a
    // framework thread that `owner` counts. The result identifies the message, and cancelling that ends the
    // wait; 0: the message could not be sent and there is no callback.
    static std::uint64_t askAvailable(CORE::ThreadGroup& owner, std::function<void(bool)> answer);
    // The answer is the worker's, or a bag with the error "Failed to issue request to winauth service". In
    // the same manner: the worker asks directories, which may be silent, or may not answer at all.
    static std::uint64_t getTrustedDomains(CORE::ThreadGroup& owner, std::wstring_view initialDomain,
                                           std::function<void(CORE::PropertyBag)> answer);
    static std::uint64_t setDomainConfig(CORE::ThreadGroup& owner, CORE::PropertyBag configuration,
                                         std::function<void(CORE::PropertyBag)> answer);
};

// The worker "ws_admin": ourselves, asked as anybody asks.
class ws_adminaccess {
  public:
    static CORE::PropertyBag loadDomainConfig();
};

}  // namespace wsadmin
