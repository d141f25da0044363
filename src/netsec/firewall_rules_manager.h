// The firewall of this server: whether it is on, and its rules by name. A rule is known by its name alone;
// the match is exact, and several rules may share a name.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ldap/worker.h"

namespace wsadmin {

class FirewallRulesManager : public Worker {
  public:
    using Worker::Worker;

    // Answers "FirewallOn".
    Result<void> isFirewallOn();
    // Answers "ENABLED" for the first rule named "RULE".
    Result<void> isFirewallRuleEnabled();
    // Switch all rules named "RULE". With "MAYNOTEXIST" there need be none.
    Result<void> enableFirewallRule() { return switchRule(true); }
    Result<void> disableFirewallRule() { return switchRule(false); }

  private:
    using Policy = platform::FirewallPolicy;
    using Rules = std::vector<std::unique_ptr<platform::FirewallRule>>;

    // The policy for one check. Its failures are logged, as are those of the checks below.
    Result<std::unique_ptr<Policy>> open();
    Result<bool> isOn(Policy& policy);
    Result<bool> isProfileOn(Policy& policy, platform::FirewallProfile bit, const wchar_t* name);
    // In the order of the enumeration. The step that failed is logged by its name.
    Result<Rules> find(Policy& policy, const CORE::wstr& name);
    Result<bool> exists(const CORE::wstr& name);
    Result<bool> isEnabled(const CORE::wstr& name);
    Result<void> setEnabled(const CORE::wstr& name, bool enabled);
    Result<void> switchRule(bool enabled);
};

}  // namespace wsadmin
