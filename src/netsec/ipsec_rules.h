// The IPsec rules of the pairing with one other server: made and deleted by command lines, and looked for
// among what the filtering engine has alive.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "framework/core/corelock.h"
#include "framework/core/property_bag.h"
#include "netsec/ipsec_commands.h"
#include "platform/platform.h"

namespace wsadmin {

// One object a request or run of the monitor; used by one thread.
class IPsecRules {
  public:
    // The references outlive the object. When `stopping` is set, no further command begins.
    IPsecRules(platform::Platform& platform, const CORE::coreevent& stopping, std::string_view endpoint);

    // False when a step failed, which is logged; what earlier steps made stays.
    bool addRules(const std::wstring& action, std::string_view preSharedKey, std::string_view pfsSharedKey);
    bool deleteRules();
    // Whether a security association of the pairing is alive; false also when that cannot be found out.
    bool verifyActive();
    // Adds the rule and the remote address of the association that is alive, nothing where there is none. The
    // failure is the sentence for the caller; other failures are logged alone.
    Result<void> getEndpoints(CORE::PropertyBag& result);
    // Deletes the rules of pairings that the configuration directory does not have any more. It changes
    // nothing unless both the rules and the pairings are known in full.
    void checkRules();

  private:
    using Addresses = std::set<std::wstring>;

    bool run(const CORE::secretstring& line);
    bool hasFirewallRules() const;
    Result<std::unique_ptr<platform::FilteringEngine>> openEngine() const;
    Result<Addresses> ruleAddresses();
    Result<Addresses> pairedAddresses();

    platform::Platform& platform_;
    const CORE::coreevent& stopping_;
    ipsec::Pairing pairing_;
};

}  // namespace wsadmin
