// Who owns a machine.
#include "identity/account_lookup.h"
#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "machines/machine_filters.h"
#include "machines/machine_keys.h"
#include "machines/machine_operations.h"
#include "machines/pool.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::LdapModify;
using platform::LdapSession;
using platform::Sid;

namespace {

constexpr wchar_t noMachine[] = L"Could not locate a virtual or physical machine entry to update";

std::wstring alreadyOwns(std::string_view machine) {
    return L"The machine (" + CORE::toWide(machine) +
           L") in this pool is already assigned to the specified user";
}

void logNotModified(const std::string& dn, const Failure& cause) {
    logError(L"Failed to modify entry %s (%s).", dn, cause.text);
    logError(L"Entry not modified");
}

// Restores the previous owner, unless another request has changed the owner meanwhile: the directory refuses
// to delete a value that is not there any more, and then changes nothing.
void rollbackOwner(LdapSession& session, const LdapEntry& machine, const Sid& owner) {
    std::vector<platform::LdapModification> changes = {{.operation = LdapModify::remove,
                                                        .attribute = layout::attribute::ownerSid,
                                                        .values = {owner.text()}}};
    if (const auto& before = machine.all(layout::attribute::ownerSid); !before.empty())
        changes.push_back({LdapModify::add, layout::attribute::ownerSid, before});
    if (const auto undone = session.modify(machine.dn, changes); !undone)
        logNotModified(machine.dn, undone.error());
}

// A machine of the pool that the user owns, by its name shown to people, other than the one given.
Result<std::optional<std::string>> otherOwned(LdapSession& session, const MachineCriteria& owned,
                                              const std::string& exceptDn) {
    const auto machines = searchSubtree(session, layout::under(layout::container::machines),
                                        poolMachineFilter(owned), {layout::attribute::displayName});
    if (!machines) return fail(machines.error());
    for (const LdapEntry& machine : *machines)
        if (!platform::sameDn(machine.dn, exceptDn))
            return std::optional<std::string>(machine.first(layout::attribute::displayName));
    return std::optional<std::string>();
}

// The machine whose owner is to change, with its present one.
Result<LdapEntry> ownershipTarget(LdapSession& session, const MachineCriteria& criteria) {
    auto machines =
        searchSubtree(session, layout::under(layout::container::machines), poolMachineFilter(criteria),
                      {layout::attribute::ownerSid, layout::attribute::offlineState});
    if (!machines) return fail(noMachine);
    if (machines->empty())
        return fail(L"No virtual or physical machine entry was found matching the specified criteria");
    const std::string_view state = machines->front().first(layout::attribute::offlineState);
    if (!state.empty() && !CORE::equalFolded(state, std::string_view("checked in")))
        return fail(L"Desktop is in Local Mode.  Re-assignment or removal of assignment is not allowed.");
    return std::move(machines->front());
}

Result<void> removeOwner(LdapSession& session, const std::string& dn) {
    const auto removed = modifyAttribute(session, dn, LdapModify::remove, layout::attribute::ownerSid, {},
                                         OnRefusal::callerLogs);
    if (removed) return {};
    if (removed.error().code == platform::ldapNoSuchAttribute)
        return fail(L"The specified machine has no owner, not updated.");
    logNotModified(dn, removed.error());
    return fail(L"Could not remove owner from existing entry.");
}

// The directory has no transaction over two entries, so the rule of one machine per user is checked again
// after the write: of two concurrent requests at least one sees both machines and rolls its own back. A check
// that fails rolls nothing back.
Result<void> assignOwner(LdapSession& session, const LdapEntry& machine, const MachineCriteria& owned) {
    const Sid& owner = owned.owner.value();
    const auto assigned = modifyAttribute(session, machine.dn, LdapModify::replace,
                                          layout::attribute::ownerSid, {owner.text()}, OnRefusal::callerLogs);
    if (!assigned) {
        logNotModified(machine.dn, assigned.error());
        return fail(L"Could not update entry with new owner");
    }
    const auto other = otherOwned(session, owned, machine.dn);
    if (!other || !*other) return {};
    rollbackOwner(session, machine, owner);
    return fail(alreadyOwns(**other));
}

}  // namespace

Result<void> Machine::setVMOwnership() {
    const auto session = directory();
    if (!session) return fail(session.error());
    const bool remove = request().boolean(key::removeAssignment);
    const CORE::wstr pool = request().text(key::ownedPool), user = request().text(key::ownerName);
    const CORE::wstr given = request().text(key::ownerSid);
    const auto sid = !given.empty() ? Sid::parse(std::wstring_view(given))
                     : user.empty() ? std::nullopt
                                    : userOf(domains(), user);
    const bool named = !given.empty() || !user.empty();
    if (named && !sid && (!remove || !given.empty())) return fail(L"Failed to obtain sid for specified user");

    const auto found = findPool(**session, pool, L"Could not locate pool information",
                                L"Could not locate pool information (no entry)");
    if (!found) return fail(found.error());
    if (!found->persistent()) return fail(L"The specified pool is not a persistent pool");

    const MachineCriteria owned{.owner = sid, .pool = CORE::toUtf8(pool)};
    if (!remove) {
        if (!sid) return fail(L"A user must be specified when setting an assignment");
        const auto other = otherOwned(**session, owned, {});
        if (!other) return fail(noMachine);
        if (*other) return fail(alreadyOwns(**other));
    }
    const std::string_view name = request().utf8(key::ownedMachine);
    if (name.empty() && !sid) return fail(L"A machine name or user must be specified");
    const auto machine = ownershipTarget(
        **session, name.empty() ? owned : MachineCriteria{.name = std::string(name), .pool = owned.pool});
    if (!machine) return fail(machine.error());
    const auto done = remove ? removeOwner(**session, machine->dn) : assignOwner(**session, *machine, owned);
    if (done)
        result().set(L"textmessage", remove ? L"Successfully removed owner from specified machine."
                                            : L"Successfully assigned machine to specified user");
    return done;
}

}  // namespace wsadmin
