#include "framework/operation_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

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
constexpr wchar_t lower(wchar_t c) noexcept {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

constexpr bool sameName(std::wstring_view a, std::wstring_view b) noexcept {
    if (a == b) return true;  // how nearly everybody writes it
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

// The look-up index: a hash table with open addressing, made by the compiler.
constexpr std::size_t slots = 256;
constexpr std::uint8_t freeSlot = 0xFF;
static_assert(table.size() < slots / 2, "a fuller index would be a slow one");

// The length and four characters tell nearly all names apart, and cost less than reading a name twice.
constexpr std::size_t homeSlot(std::wstring_view name) noexcept {
    std::size_t hash = name.size();
    const std::size_t step = name.size() / 4 + 1;
    for (std::size_t i = 0; i < name.size(); i += step)
        hash = hash * 31 + static_cast<unsigned char>(lower(name[i]));
    return hash % slots;
}

constexpr std::size_t nextSlot(std::size_t slot) noexcept {
    return (slot + 1) % slots;
}

// Rows go in by the table's order, so the first of two equal names would be found first.
constexpr auto slotRows = [] {
    std::array<std::uint8_t, slots> rows{};
    rows.fill(freeSlot);
    for (std::size_t i = 0; i < table.size(); ++i) {
        std::size_t slot = homeSlot(table[i].name);
        while (rows[slot] != freeSlot) slot = nextSlot(slot);
        rows[slot] = static_cast<std::uint8_t>(i);
    }
    return rows;
}();

constexpr std::size_t longestName = std::ranges::max_element(table, {}, [](const Operation& operation) {
                                        return operation.name.size();
                                    })->name.size();

}  // namespace

std::span<const Operation> operationTable() noexcept {
    return table;
}

const Operation* findOperation(std::wstring_view name) noexcept {
    if (name.size() > longestName) return nullptr;  // no work for a name of a megabyte
    for (std::size_t slot = homeSlot(name); slotRows[slot] != freeSlot; slot = nextSlot(slot)) {
        const Operation& operation = table[slotRows[slot]];
        if (sameName(operation.name, name)) return &operation;
    }
    return nullptr;
}

}  // namespace wsadmin
