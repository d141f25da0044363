// What the monitor does: the addresses that have rules, those that are paired, and the difference.
#include <algorithm>

#include "ldap/directory_session.h"
#include "ldap/layout.h"
#include "ldap/search.h"
#include "netsec/engine_walk.h"
#include "netsec/ipsec_rules.h"
#include "netsec/rule_names.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

namespace {

using platform::MainModeContext;
using Outcome = ipsec::RuleAddress::Outcome;

constexpr std::string_view addressPair = "gw-ipaddress=";

// Adds the address that the rule's name holds, if it is one of ours and holds one.
void collectAddress(const std::wstring& name, std::set<std::wstring>& addresses) {
    const auto [outcome, address] = ipsec::addressIn(name);
    if (outcome == Outcome::foreign) return;
    logDebug(L"Found Talvex IPsec rule: %s", name);
    if (outcome == Outcome::noAddress) logDebug(L"No IP address in IPsec rule");
    if (outcome == Outcome::otherForm)
        logDebug(L"IPsec rule name doesn't contain IP address in format expected");
    if (outcome == Outcome::found && addresses.insert(address).second)
        logDebug(L"Found FW API IP address: %s", address);
}

// The search for the security servers that are paired with this server; a failure is logged.
Result<std::vector<platform::LdapEntry>> searchPaired(platform::LdapSession& session,
                                                      const std::string& ownEntry) {
    const std::string base = layout::under(layout::container::brokers);
    auto found = session.search(
        {.base = base,
         .filter = "(&(" + std::string(layout::attribute::securityServer) + "=1)" +
                   platform::filterTerm(layout::attribute::connectionServerDn, ownEntry) + ")"});
    if (found) return std::move(found->entries);
    const Failure& failure = found.error();
    if (failure.code == platform::ldapNoSuchObject)
        logError(L"Security Server properties not found in LDAP");
    else
        logError(L"Failed to search for server properties entry \"%s\" %s (%d).", base, failure.text,
                 failure.code);
    return fail(failure);
}

// This server's own entry; a name that is not known is no entry.
Result<std::string> ownEntryOf(const platform::Platform& platform) {
    constexpr wchar_t variable[] = L"COMPUTERNAME";
    const auto name = platform.environment ? platform.environment->variable(variable)
                                           : Result<std::optional<std::wstring>>(std::nullopt);
    if (name && *name && !(*name)->empty()) return layout::brokerEntry(CORE::toUtf8(**name));
    logError(L"The environment variable %s is not known, so this server's pairings are not", variable);
    return fail(name ? Failure{} : name.error());
}

}  // namespace

Result<IPsecRules::Addresses> IPsecRules::ruleAddresses() {
    const auto engine = openEngine();
    if (!engine) {
        logWarning(L"FwpmEngineOpen failed. Return value: %d.", engine.error().code);
        return fail(engine.error());
    }
    const auto contexts = (*engine)->mainModeContexts();
    if (!contexts) {
        logWarning(L"FwpmProviderContextCreateEnumHandle failed. Return value: %d.", contexts.error().code);
        return fail(contexts.error());
    }
    Addresses addresses;
    const auto walked = ipsec::walk(
        **contexts, stopping_, [](std::size_t) {},
        [&addresses](const MainModeContext& context) {
            if (context.name) collectAddress(*context.name, addresses);
            return ipsec::Walk::on;
        });
    if (!walked) {
        logWarning(L"FwpmProviderContextEnum failed: %d.", walked.error().code);
        return fail(walked.error());
    }
    return addresses;
}

Result<IPsecRules::Addresses> IPsecRules::pairedAddresses() {
    const auto session = openConfigurationDirectory(platform_);
    if (!session) {
        logError(L"Unable to initialize LDAP");
        return fail(session.error());
    }
    const auto ownEntry = ownEntryOf(platform_);
    if (!ownEntry) return fail(ownEntry.error());
    const auto entries = searchPaired(**session, *ownEntry);
    if (!entries) return fail(entries.error());
    Addresses addresses;
    for (const auto& entry : *entries) {
        const auto pairs = readValues(**session, entry, layout::attribute::nameValuePair);
        if (!pairs) return fail(pairs.error());
        const auto pair = std::ranges::find_if(*pairs, [](std::string_view value) {
            return CORE::equalFolded(value.substr(0, addressPair.size()), addressPair);
        });
        if (pair == pairs->end()) continue;
        const std::wstring address = CORE::toWide(std::string_view(*pair).substr(addressPair.size()));
        logDebug(L"Found LDAP paired IP address: %s", address);
        addresses.insert(address);
    }
    logDebug(L"Number of paired Security Servers found in LDAP: %d", addresses.size());
    return addresses;
}

void IPsecRules::checkRules() {
    const auto ruled = ruleAddresses();
    if (!ruled) return;
    logDebug(L"Number of IP addresses found in Firewall API enumeration: %d", ruled->size());
    if (ruled->empty()) {
        logDebug(L"No Talvex IPsec rules found, so nothing to do");
        return;
    }
    const auto paired = pairedAddresses();
    if (!paired) return;
    for (const std::wstring& address : *ruled) {
        if (paired->contains(address)) continue;
        if (stopping_.isSet()) return;
        logInfo(L"Deleting IPsec rules for endpoint: %s", address);
        pairing_.endpoint = CORE::toUtf8(address);
        static_cast<void>(deleteRules());  // what failed is logged, and tried again by the next run
    }
}

}  // namespace wsadmin
