// What is set on single machines: the request for space, and the address of the agent.
#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "machines/machine_entry.h"
#include "machines/machine_filters.h"
#include "machines/machine_keys.h"
#include "machines/machine_operations.h"
#include "machines/pool.h"
#include "platform/text/network_address.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::LdapModify;
using platform::LdapSession;

namespace {

std::wstring quoted(std::wstring_view name) {
    return L"\"" + std::wstring(name) + L"\"";
}

// The distinguished name, never empty, of the virtual machine of that name in the pool.
Result<std::string> virtualMachineDn(LdapSession& session, const CORE::wstr& name, const CORE::wstr& pool) {
    const std::wstring absent = L"Machine entry not found in LDAP for machine '" + name.str() + L"'";
    if (name.empty()) return fail(absent);
    const auto machines = searchSubtree(session, layout::under(layout::container::machines),
                                        virtualMachineFilter(CORE::toUtf8(name), CORE::toUtf8(pool)),
                                        {layout::attribute::sparseStatus});
    if (!machines)
        return fail(machines.error().code == platform::ldapNoSuchObject
                        ? L"Entry for " + quoted(name) + L" not found."
                        : L"Failed to search for machine entry " + quoted(name));
    if (machines->empty()) return fail(absent);
    if (machines->front().dn.empty()) return fail(L"Failed to get DN for entry " + quoted(name));
    return machines->front().dn;
}

// The machines of the pool "desktopName", or those of a name among them; at least one.
Result<std::vector<LdapEntry>> agentMachines(LdapSession& session, const Request& request,
                                             const Key& machineName) {
    if (const auto pool = findPool(session, request.text(key::agentPool)); !pool) return fail(pool.error());
    MachineCriteria criteria{.pool = std::string(request.utf8(key::agentPool))};
    if (const std::string_view name = request.utf8(machineName); !name.empty()) criteria.name = name;
    auto machines = searchAllPages(
        session, layout::under(layout::container::machines), poolMachineFilter(criteria),
        {layout::attribute::displayName, layout::attribute::ipHost, layout::attribute::ipHostOverride});
    if (machines && machines->empty()) return fail(L"No machines found");
    return machines;
}

}  // namespace

Result<void> Machine::markMachineForSpaceReclamation() {
    const CORE::wstr poolName = request().text(key::reclaimedPool);
    const auto session = directory();
    if (!session) return fail(session.error());
    if (const auto pool = findPool(**session, poolName); !pool) return fail(pool.error());
    const auto dn = virtualMachineDn(**session, request().text(key::reclaimedMachine), poolName);
    if (!dn) return fail(dn.error());

    const auto set = addThenReplace(**session, *dn, layout::attribute::sparseStatus, "NEEDED_EXPLICIT");
    if (!set) return fail(L"Failed to set space reclamation status - " + set.error().text);
    result().set(L"textmessage", L"The machine was marked for space reclamation.");
    return {};
}

Result<void> Machine::getMachineAgentInfo() {
    if (request().utf8(key::agentPool).empty()) return fail(L"A desktop pool name must be provided");
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto machines = agentMachines(**session, request(), key::listedAgent);
    if (!machines) return fail(machines.error());
    CORE::PropertyBag list;
    for (const LdapEntry& machine : *machines) list.addBag(L"machine-entry", renderAddresses(machine));
    result().addBag(L"machine-list", std::move(list));
    return {};
}

Result<void> Machine::setMachineAgentInfo() {
    if (request().utf8(key::agentPool).empty()) return fail(L"A desktop pool name must be provided");
    if (request().utf8(key::changedAgent).empty())
        return fail(L"A machine name must be provided when setting an IP/DNS value");
    const std::string address(request().utf8(key::agentAddress));
    const bool removes = address.empty();
    const std::wstring failed = removes ? L"Failed to remove assigned network address from configuration - "
                                        : L"Failed to assign network address to configuration - ";
    if (!removes && !platform::isNetworkAddress(address))
        return fail(failed + quoted(request().text(key::agentAddress)) +
                    L" is no IP address and no DNS name");
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto machines = agentMachines(**session, request(), key::changedAgent);
    if (!machines) return fail(machines.error());
    for (const LdapEntry& machine : *machines) {
        const auto written =
            modifyAttribute(**session, machine.dn, removes ? LdapModify::remove : LdapModify::replace,
                            layout::attribute::ipHostOverride,
                            removes ? std::vector<std::string>() : std::vector<std::string>{address});
        if (!written) return fail(failed + written.error().text);
    }
    result().set(L"status", L"OK");
    return {};
}

}  // namespace wsadmin
