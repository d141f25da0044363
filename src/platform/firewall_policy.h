// The port to the policy of this machine's firewall. Codes of failures are HRESULTs. A policy and what comes
// of it stay on the thread that opened it; different policies may be used by any threads.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/result.h"

namespace wsadmin::platform {

// A truth value as the policy gives it. Only all bits set are true.
using FirewallFlag = std::int16_t;
inline constexpr FirewallFlag firewallTrue = -1;

// Bits of the profiles.
enum FirewallProfile : std::int32_t { firewallDomain = 1, firewallPrivate = 2, firewallPublic = 4 };

class FirewallRule {
  public:
    virtual ~FirewallRule() = default;
    virtual Result<std::wstring> name() = 0;
    virtual Result<FirewallFlag> enabled() = 0;
    virtual Result<void> setEnabled(bool enabled) = 0;
};

class FirewallRules {
  public:
    virtual ~FirewallRules() = default;
    // Null after the last one. The failure's text says which step failed.
    virtual Result<std::unique_ptr<FirewallRule>> next() = 0;
};

class FirewallPolicy {
  public:
    virtual ~FirewallPolicy() = default;
    virtual Result<std::int32_t> currentProfiles() = 0;  // bits of FirewallProfile
    virtual Result<FirewallFlag> enabled(FirewallProfile profile) = 0;
    // The failure's text says which step failed.
    virtual Result<std::unique_ptr<FirewallRules>> rules() = 0;
};

class Firewall {
  public:
    virtual ~Firewall() = default;
    // The failure's text is the name of the system's call that failed.
    virtual Result<std::unique_ptr<FirewallPolicy>> open() = 0;
};

}  // namespace wsadmin::platform
