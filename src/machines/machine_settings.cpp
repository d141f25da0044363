// What is set on single machines: the request for space, and the address of the agent.
#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "machines/machine.h"
#include "machines/machine_entry.h"
#include "platform/text/network_address.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::LdapEntry;
using platform::LdapModify;
using platform::LdapSession;

namespace {

std::wstring quoted(std::wstring_view name) {
    return L"\"" + std::wstring(name) + L"\"";
}

}  // namespace

void Machine::markMachineForSpaceReclamation() {
    const CORE::wstr name = request().get(L"machineName"), poolName = request().get(L"desktopName");
    LdapSession* session = directory();
    if (!session) return;
    if (Pool pool; !locate(*session, poolName, pool)) return;
    const std::wstring absent = L"Machine entry not found in LDAP for machine '" + name.str() + L"'";
    if (name.empty()) return fail(absent);
    const auto machines = searchSubtree(*session, layout::under(layout::container::machines),
                                        virtualMachineFilter(CORE::toUtf8(name), CORE::toUtf8(poolName)),
                                        {layout::attribute::sparseStatus});
    if (!machines)
        return fail(machines.error().code == platform::ldapNoSuchObject
                        ? L"Entry for " + quoted(name) + L" not found."
                        : L"Failed to search for machine entry " + quoted(name));
    if (machines->empty()) return fail(absent);
    const std::string& dn = machines->front().dn;
    if (dn.empty()) return fail(L"Failed to get DN for entry " + quoted(name));

    const auto set = addThenReplace(*session, dn, layout::attribute::sparseStatus, "NEEDED_EXPLICIT");
    if (!set) return fail(L"Failed to set space reclamation status - " + set.error().text);
    result().set(L"textmessage", L"The machine was marked for space reclamation.");
}

std::optional<std::vector<LdapEntry>> Machine::requestedMachines(LdapSession& session) {
    if (Pool pool; !locate(session, request().get(L"desktopName"), pool)) return std::nullopt;
    MachineCriteria criteria{.pool = std::string(request().utf8(L"desktopName"))};
    if (const std::string_view name = request().utf8(L"machineName"); !name.empty()) criteria.name = name;
    auto machines = searchAllPages(
        session, layout::under(layout::container::machines), poolMachineFilter(criteria),
        {layout::attribute::displayName, layout::attribute::ipHost, layout::attribute::ipHostOverride});
    if (machines && !machines->empty()) return std::move(*machines);
    fail(machines ? L"No machines found" : machines.error().text);
    return std::nullopt;
}

void Machine::getMachineAgentInfo() {
    if (request().utf8(L"desktopName").empty()) return fail(L"A desktop pool name must be provided");
    LdapSession* session = directory();
    const auto machines = session ? requestedMachines(*session) : std::nullopt;
    if (!machines) return;
    PropertyBag list;
    for (const LdapEntry& machine : *machines) list.addBag(L"machine-entry", renderAddresses(machine));
    result().addBag(L"machine-list", std::move(list));
}

void Machine::setMachineAgentInfo() {
    if (request().utf8(L"desktopName").empty()) return fail(L"A desktop pool name must be provided");
    if (request().utf8(L"machineName").empty())
        return fail(L"A machine name must be provided when setting an IP/DNS value");
    const std::string address(request().utf8(L"ipAddress"));
    const std::wstring notAssigned = L"Failed to assign network address to configuration - ";
    if (!address.empty() && !platform::isNetworkAddress(address))
        return fail(notAssigned + quoted(request().get(L"ipAddress")) + L" is no IP address and no DNS name");
    LdapSession* session = directory();
    const auto machines = session ? requestedMachines(*session) : std::nullopt;
    if (!machines) return;
    for (const LdapEntry& machine : *machines) {
        const auto written = address.empty() ? modifyAttribute(*session, machine.dn, LdapModify::remove,
                                                               layout::attribute::ipHostOverride)
                                             : modifyAttribute(*session, machine.dn, LdapModify::replace,
                                                               layout::attribute::ipHostOverride, {address});
        if (written) continue;
        return fail((address.empty() ? L"Failed to remove assigned network address from configuration - "
                                     : notAssigned) +
                    written.error().text);
    }
    result().set(L"status", L"OK");
}

}  // namespace wsadmin
