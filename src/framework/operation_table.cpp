#include "framework/operation_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>

#include "framework/core/ascii.h"
#include "framework/operations/accounts.h"
#include "framework/operations/agents.h"
#include "framework/operations/clientauth.h"
#include "framework/operations/domains.h"
#include "framework/operations/entitlements.h"
#include "framework/operations/federation.h"
#include "framework/operations/machines.h"
#include "framework/operations/maintenance.h"
#include "framework/operations/netsec.h"
#include "framework/operations/service.h"
#include "framework/operations/unentitled.h"

namespace wsadmin {

namespace {

// The order is part of the contract: it is the order in which names are compared and lists are given.
constexpr std::array table{
    row::Diag,
    row::getEntitlementGroups,
    row::getUserTokenGroups,
    row::getUserInformation,
    row::updateSingleUserFSP,
    row::updateAllUserFSPs,
    row::usernameToSID,
    row::getUnentitledMachines,
    row::getUnentitledPolicies,
    row::deleteConnectionServerEntry,
    row::setClusterName,
    row::setDefaultDesktop,
    row::getEntitledDesktops,
    row::getGlobalEntitledDesktops,
    row::getEntitledMirapaks,
    row::getAdminRoles,
    row::getUserContext,
    row::setServiceConfiguration,
    row::setVMOwnership,
    row::getDomainType,
    row::getMachineInfo,
    row::markMachineForSpaceReclamation,
    row::checkLdapConnectivity,
    row::getDomainHealth,
    row::copyAgentLog,
    row::getAgentLogs,
    row::createAgentDCT,
    row::getAgentVersion,
    row::getAgentLogLevel,
    row::setAgentLogLevel,
    row::checkAdminPermission,
    row::saveDomainConfig,
    row::loadDomainConfig,
    row::getMachineAgentInfo,
    row::setMachineAgentInfo,
    row::getNetBiosName,
    row::upnToSid,
    row::clientAuthConfig,
    row::clientAuthGetDefaults,
    row::clientAuthList,
    row::clientAuthRemoveAll,
    row::showAndResolveLDAPCollisions,
    row::addIPsecRules,
    row::getIPsecEndpoints,
    row::deleteIPsecRules,
    row::verifyIPsecRulesActive,
    row::monitorIPsecRules,
    row::encodeBackupProtectionItems,
    row::getAppdataLocation,
    row::disableFirewallRule,
    row::enableFirewallRule,
    row::isFirewallOn,
    row::isFirewallRuleEnabled,
    row::qrvLdapInfo,
    row::qrvLdapInit,
    row::qrvLdapUninit,
    row::qrvLdapJoin,
    row::qrvLdapUnjoin,
    row::qrvLdapEject,
    row::qrvLdapCheckEnablement,
    row::qrvLdapInstallReplica,
    row::qrvLdapUninstallReplica,
    row::qrvLdapRemovePodEndpoint,
};

// Operation names are ASCII, so nothing beyond ASCII can be another spelling of one.
constexpr bool before(std::wstring_view a, std::wstring_view b) noexcept {
    return std::ranges::lexicographical_compare(a, b, {}, CORE::asciiLower<wchar_t>,
                                                CORE::asciiLower<wchar_t>);
}

constexpr std::wstring_view nameOf(std::uint8_t row) noexcept {
    return table[row].name;
}

// The rows sorted by name, for the look-up.
constexpr auto byName = [] {
    std::array<std::uint8_t, table.size()> rows{};
    std::iota(rows.begin(), rows.end(), std::uint8_t{0});
    std::ranges::sort(rows, before, nameOf);
    return rows;
}();

}  // namespace

std::span<const Operation> operationTable() noexcept {
    return table;
}

const Operation* findOperation(std::wstring_view name) noexcept {
    const auto found = std::ranges::lower_bound(byName, name, before, nameOf);
    return found != byName.end() && !before(name, nameOf(*found)) ? &table[*found] : nullptr;
}

}  // namespace wsadmin
