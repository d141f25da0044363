#include "netsec/ipsec_rules.h"

#include <cerrno>
#include <utility>

#include "netsec/engine_walk.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using ipsec::Walk;

namespace {

constexpr int oldestWithEngine = 5, oldestWithoutOpenings = 10;  // levels of the operating system
constexpr int notSupported = 50;

void ignoreBatch(std::size_t) {}

}  // namespace

IPsecRules::IPsecRules(platform::Platform& platform, const CORE::coreevent& stopping,
                       std::string_view endpoint)
    : platform_(platform),
      stopping_(stopping),
      pairing_{std::string(endpoint), (platform.installation.role & CORE::InstType::connectionServer) != 0} {}

bool IPsecRules::run(const CORE::secretstring& line) {
    logVerbose(L"IPsecRules: IPsecRules running command %ws", ipsec::maskedLine(line.view()));
    const auto ended = !platform_.commands ? Result<int>(fail(ENOENT, L"There is no command interpreter"))
                       : stopping_.isSet() ? Result<int>(fail(ECANCELED, L"The service is stopping"))
                                           : platform_.commands->run(line, &stopping_);
    const int status = ended.value_or(-1);
    if (status == 0)
        logVerbose(L"IPsecRules: command completed successfully");
    else
        logWarning(L"IPsecRules: netsh command failed - exit status %d, errno %d", status,
                   ended ? 0 : ended.error().code);
    return status == 0;
}

// The listener's side lets the key exchange in; older systems do so by themselves.
bool IPsecRules::hasFirewallRules() const {
    return pairing_.ownsListener && platform_.installation.osLevel >= oldestWithoutOpenings;
}

bool IPsecRules::addRules(const std::wstring& action, std::string_view preSharedKey,
                          std::string_view pfsSharedKey) {
    const std::string chosen = CORE::toUtf8(action);
    if (!ipsec::isRuleAction(chosen)) {
        logError(L"IPsecRules: Unable to add rules. Unexpected action type: %d", action);
        return false;
    }
    const std::uint32_t role = platform_.installation.role;
    if (!(role & (CORE::InstType::connectionServer | CORE::InstType::securityServer))) {
        logVerbose(L"IPsecRules: Unable to add rules. Invalid server type: %d.", role);
        return false;
    }
    if (hasFirewallRules()) {
        logVerbose(L"IPsecRules: Adding firewall rules to allow IPsec negotiation");
        if (!run(ipsec::addFirewallRules(pairing_))) return false;
    }
    return run(ipsec::addMainModeRule(pairing_, preSharedKey)) &&
           run(ipsec::addQuickModeRule(pairing_, chosen, pfsSharedKey));
}

bool IPsecRules::deleteRules() {
    if (!run(ipsec::deleteModeRules(pairing_))) return false;
    if (!hasFirewallRules()) return true;
    logVerbose(L"IPsecRules: Deleting firewall rules");
    return run(ipsec::deleteFirewallRules(pairing_));
}

Result<std::unique_ptr<platform::FilteringEngine>> IPsecRules::openEngine() const {
    if (!platform_.filtering) return fail(notSupported, L"There is no filtering engine");
    return platform_.filtering->open();
}

bool IPsecRules::verifyActive() {
    if (platform_.installation.osLevel < oldestWithEngine) {
        logWarning(L"%s is unsupported on this OS type", L"IPsecRules::verifyIPsecRulesActive");
        return false;
    }
    const auto engine = openEngine();
    if (!engine) {
        logWarning(L"IPsecRules: FwpmEngineOpen failed. Return value: %d.", engine.error().code);
        return false;
    }
    const std::wstring message = CORE::toWide(ipsec::quickModeName(pairing_.endpoint, ipsec::messageChannel));
    const std::wstring channel = CORE::toWide(ipsec::quickModeName(pairing_.endpoint, ipsec::pairingChannel));
    const auto associations = (*engine)->securityAssociations();
    if (!associations) {
        logWarning(L"IPsecRules: IPsecSaCreateEnumHandle failed. Return value: %d.",
                   associations.error().code);
        return false;
    }
    bool active = false;
    const auto walked =
        ipsec::walk(**associations, stopping_, ignoreBatch, [&](const platform::SecurityAssociation& one) {
            active = one.filterName && (*one.filterName == message || *one.filterName == channel);
            return active ? Walk::end : Walk::on;
        });
    if (!walked) logWarning(L"IPsecRules: IPsecSaEnum failed: %d.", walked.error().code);
    return active;
}

Result<void> IPsecRules::getEndpoints(CORE::PropertyBag& result) {
    const auto addressText = platform_.filtering ? platform_.filtering->addressText()
                                                 : Result<platform::AddressText>(fail(Failure{notSupported}));
    if (!addressText) {
        logError(L"Failed to get inet_ntop proc address");
        return fail(L"inet_ntop not available");
    }
    const auto engine = openEngine();
    if (!engine) {
        logError(L"FwpmEngineOpen failed. Return value: %d.\n", engine.error().code);
        return {};
    }
    const auto associations = (*engine)->securityAssociations();
    if (!associations) {
        logError(L"IPsecSaCreateEnumHandle failed. Return value: %ld.\n", associations.error().code);
        return {};
    }
    const std::wstring rule = CORE::toWide(ipsec::quickModeName(pairing_.endpoint, ipsec::pairingChannel));
    logDebug(L"IPsecRules: Looking for SA for Quick Mode rule %s", rule);
    std::size_t seen = 0;
    const auto tellBatch = [&seen](std::size_t count) {
        logDebug(L"IPsecRules: Processing %d SA entries", count);
        seen += count;
    };
    const auto look = [&](const platform::SecurityAssociation& one) {
        if (one.filterName != rule) return Walk::on;
        if (std::holds_alternative<platform::Ipv4>(one.remote))
            logDebug(L"IPsecRules: Found IPv4 SA matching expected QM rule");
        else if (std::holds_alternative<platform::Ipv6>(one.remote))
            logDebug(L"IPsecRules: Found IPv6 SA matching expected QM rule");
        else
            return Walk::on;
        try {
            const auto address = (*addressText)(one);
            if (!address) return Walk::on;
            logDebug(L"IPsecRules: Matching SA is using remote IP address %s", *address);
            result.add(rule, std::string_view(*address));
            return Walk::end;
        } catch (const std::bad_alloc&) {
            logWarning(L"ERROR: Memory allocation failure");
            return Walk::nextBatch;
        }
    };
    const auto walked = ipsec::walk(**associations, stopping_, tellBatch, look);
    if (!walked) logWarning(L"IPsecRules: IPsecSaEnum failed: %d.", walked.error().code);
    if (seen == 0) logWarning(L"No SAs found.");
    return {};
}

}  // namespace wsadmin
