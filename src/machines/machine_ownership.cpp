// Who owns a machine.
#include "identity/accounts.h"
#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "machines/machine.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::toWide;
using platform::LdapEntry;
using platform::LdapModify;
using platform::LdapSession;
using platform::Sid;

namespace {

constexpr wchar_t noMachine[] = L"Could not locate a virtual or physical machine entry to update";

void logNotModified(const std::string& dn, const Failure& cause) {
    logError(L"Failed to modify entry %s (%s).", dn, cause.text);
    logError(L"Entry not modified");
}

// Gives the machine back to whom it belonged, unless somebody else has changed the owner meanwhile: the
// directory refuses to delete a value that is not there any more.
void takeBack(LdapSession& session, const LdapEntry& machine, const Sid& owner) {
    std::vector<platform::LdapModification> changes = {{.operation = LdapModify::remove,
                                                        .attribute = layout::attribute::ownerSid,
                                                        .values = {owner.text()}}};
    if (const auto& before = machine.all(layout::attribute::ownerSid); !before.empty())
        changes.push_back({LdapModify::add, layout::attribute::ownerSid, before});
    if (const auto undone = session.modify(machine.dn, changes); !undone)
        logNotModified(machine.dn, undone.error());
}

}  // namespace

Result<std::optional<std::string>> Machine::otherOwned(LdapSession& session, const MachineCriteria& owned,
                                                       const std::string& exceptDn) {
    const auto machines = searchSubtree(session, layout::under(layout::container::machines),
                                        poolMachineFilter({.owner = owned.owner, .pool = owned.pool}),
                                        {layout::attribute::displayName});
    if (!machines) return wsadmin::fail(machines.error());
    for (const LdapEntry& machine : *machines)
        if (!platform::sameDn(machine.dn, exceptDn))
            return std::optional<std::string>(machine.first(layout::attribute::displayName));
    return std::optional<std::string>();
}

bool Machine::failBecauseOwned(const Result<std::optional<std::string>>& other) {
    if (!other) fail(noMachine);
    if (!other || !*other) return !other;
    fail(L"The machine (" + toWide(**other) + L") in this pool is already assigned to the specified user");
    return true;
}

std::optional<LdapEntry> Machine::ownershipTarget(LdapSession& session, const MachineCriteria& criteria) {
    const auto machines =
        searchSubtree(session, layout::under(layout::container::machines), poolMachineFilter(criteria),
                      {layout::attribute::ownerSid, layout::attribute::offlineState});
    if (!machines) {
        fail(noMachine);
        return std::nullopt;
    }
    if (machines->empty()) {
        fail(L"No virtual or physical machine entry was found matching the specified criteria");
        return std::nullopt;
    }
    return machines->front();
}

void Machine::setVMOwnership() {
    const bool remove = request().getBool(L"removeAssignment", false);
    const std::wstring pool = request().get(L"desktop").str(), user = request().get(L"userName").str();
    const std::wstring given = request().get(L"sid").str();
    const auto sid = !given.empty() ? Sid::parse(std::wstring_view(given))
                     : user.empty() ? std::nullopt
                                    : userOf(service(), user);
    const bool named = !given.empty() || !user.empty();
    if (named && !sid && (!remove || !given.empty())) return fail(L"Failed to obtain sid for specified user");

    LdapSession* session = directory();
    if (!session) return;
    Pool found;
    const PoolSearch search = findPool(*session, CORE::toUtf8(pool), found);
    if (search == PoolSearch::failed) return fail(L"Could not locate pool information");
    if (search == PoolSearch::noEntry) return fail(L"Could not locate pool information (no entry)");
    if (!found.persistent()) return fail(L"The specified pool is not a persistent pool");

    const MachineCriteria owned{.owner = sid, .pool = CORE::toUtf8(pool)};
    if (!remove) {
        if (!sid) return fail(L"A user must be specified when setting an assignment");
        if (failBecauseOwned(otherOwned(*session, owned, {}))) return;
    }
    const std::string_view name = request().utf8(L"machineName");
    if (name.empty() && !sid) return fail(L"A machine name or user must be specified");
    const auto machine = ownershipTarget(
        *session, name.empty() ? owned : MachineCriteria{.name = std::string(name), .pool = owned.pool});
    if (!machine) return;
    const std::string_view state = machine->first(layout::attribute::offlineState);
    if (!state.empty() && CORE::compareFolded(state, std::string_view("checked in")) != 0)
        return fail(L"Desktop is in Local Mode.  Re-assignment or removal of assignment is not allowed.");
    if (remove)
        removeOwner(*session, *machine);
    else
        assignOwner(*session, *machine, owned);
}

void Machine::removeOwner(LdapSession& session, const LdapEntry& machine) {
    const auto removed =
        modifyAttribute(session, machine.dn, LdapModify::remove, layout::attribute::ownerSid);
    if (removed) return result().set(L"textmessage", L"Successfully removed owner from specified machine.");
    if (removed.error().code == platform::ldapNoSuchAttribute)
        return fail(L"The specified machine has no owner, not updated.");
    logNotModified(machine.dn, removed.error());
    fail(L"Could not remove owner from existing entry.");
}

// The directory has no transaction over two entries, so the rule is looked at again afterwards: of two
// requests at once at least one sees both machines, and takes its own back.
void Machine::assignOwner(LdapSession& session, const LdapEntry& machine, const MachineCriteria& owned) {
    const auto assigned = modifyAttribute(session, machine.dn, LdapModify::replace,
                                          layout::attribute::ownerSid, {owned.owner.value().text()});
    if (!assigned) {
        logNotModified(machine.dn, assigned.error());
        return fail(L"Could not update entry with new owner");
    }
    if (const auto other = otherOwned(session, owned, machine.dn); other && *other) {
        takeBack(session, machine, *owned.owner);
        failBecauseOwned(other);
        return;
    }
    result().set(L"textmessage", L"Successfully assigned machine to specified user");
}

}  // namespace wsadmin
