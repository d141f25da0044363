#include <array>

#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_entry.h"
#include "machines/machine_filters.h"
#include "machines/machine_keys.h"
#include "machines/unentitled_reports.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::LdapEntry;
using platform::Sid;

namespace {

namespace attribute = layout::attribute;

constexpr int assigned = 1;
constexpr int checkedOut = 2;

int flagsOf(const LdapEntry& machine) {
    return (machine.first(attribute::ownerSid).empty() ? 0 : assigned) |
           (machine.first(attribute::offlineUser).empty() ? 0 : checkedOut);
}

// Who holds a machine, and by what.
struct Holder {
    Sid user;
    int flags;
};

// The user who has it checked out is named by SID, or by the entry of the SID. A value that is neither
// only says that the owner has it checked out.
std::vector<Holder> holdersOf(const LdapEntry& machine) {
    const int flags = flagsOf(machine);
    const auto owner = ownerOf(machine);
    const std::string_view offline = machine.first(attribute::offlineUser);
    auto user = Sid::parse(offline);
    if (!user) user = Sid::parse(platform::rdnValue(offline));
    if (!user || user == owner) return owner ? std::vector<Holder>{{*owner, flags}} : std::vector<Holder>{};
    std::vector<Holder> holders = {{*user, checkedOut}};
    if (owner) holders.insert(holders.begin(), {*owner, assigned});
    return holders;
}

// The sentence of a failed paged search, as this report words it.
std::wstring machineSentence(std::wstring_view shared) {
    constexpr std::array<std::array<std::wstring_view, 2>, 4> sentences = {{
        {L"Failed to construct search", L"Failed to construct search for machines"},
        {L"Failed to perform search", L"Failed to search for machines"},
        {L"Failed to obtain result from search", L"Failed to obtain result when searching for machines"},
        {L"Failed to obtain paged result from search",
         L"Failed to obtain paged result when searching for machines"},
    }};
    for (const auto& [from, to] : sentences)
        if (from == shared) return std::wstring(to);
    return std::wstring(shared);
}

}  // namespace

Result<void> Unentitled::write(platform::LdapSession& session, const ReportKeys& keys,
                               std::function<Result<PropertyBag>(std::size_t)> item) {
    std::vector<Sid> sids;
    for (const Finding& finding : findings_) sids.push_back(finding.user);
    users_ = readUsers(domains(), sids);
    auto report =
        writeReport(findings_, request().boolean(key::listByUser),
                    {.keys = keys,
                     .user = [this](const Sid& sid) { return userBag(sid); },
                     .desktop = [this, &session](const std::string& dn) { return desktopBag(session, dn); },
                     .item = std::move(item)});
    if (!report) return fail(report.error());
    result() = std::move(*report);
    return {};
}

PropertyBag Unentitled::userBag(const Sid& sid) const {
    PropertyBag bag;
    if (const auto user = users_.find(sid); user != users_.end())
        bag = renderUserInformation(user->second, *service().platform().clock);
    bag.set(L"sid", std::string_view(sid.text()));
    return bag;
}

Result<PropertyBag> Unentitled::desktopBag(platform::LdapSession& session, const std::string& dn) {
    if (const auto known = desktops_.find(dn); known != desktops_.end()) return known->second;
    const auto found = readEntry(session, dn, "(objectclass=zre-DesktopApplication)",
                                 {attribute::displayName, attribute::name});
    if (!found) return fail(L"Failed when searching for desktop");
    if (found->empty()) return fail(L"Failed to obtain information on desktop");
    PropertyBag bag;
    bag.add(L"display-name", found->front().first(attribute::displayName));
    bag.add(L"name", found->front().first(attribute::name));
    return desktops_.emplace(dn, std::move(bag)).first->second;
}

Result<void> Unentitled::getUnentitledMachines() {
    const auto session = directory();
    if (!session) return fail(session.error());
    DesktopCache desktops(**session);
    PagedSearch pages(**session, layout::under(layout::container::machines), anyMachine,
                      {attribute::ownerSid, attribute::offlineUser, attribute::memberOfPool,
                       attribute::displayName, attribute::name, attribute::moid, attribute::vmPath});
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(machineSentence(more.error().text));
        if (!*more) break;
        if (auto examined = examine(page, desktops); !examined) return examined;
    }
    checkPending();
    return write(**session,
                 {.report = L"unentitled-machine-report", .itemList = L"machine-list", .item = L"machine"},
                 [this, &session](std::size_t item) { return machineBag(**session, machines_[item]); });
}

Result<void> Unentitled::examine(const std::vector<LdapEntry>& page, DesktopCache& desktops) {
    std::vector<const LdapEntry*> held;
    std::vector<std::string_view> pools;
    for (const LdapEntry& machine : page) {
        const std::string_view pool = machine.first(attribute::memberOfPool);
        if (flagsOf(machine) == 0 || pool.empty()) continue;
        held.push_back(&machine);
        pools.push_back(pool);
    }
    // Without its desktop nobody could be told to be unentitled to a machine.
    if (!desktops.load(pools)) return fail(L"Failed to obtain entitlement information");
    for (const LdapEntry* machine : held)
        if (const auto* desktop = desktops.ofPool(machine->first(attribute::memberOfPool)))
            examine(*machine, *desktop);
    // Later pages bring few new users: one search for each page would be many searches for few users each.
    constexpr std::size_t maxPendingUsers = 1000, maxPendingMachines = 10000;
    if (pendingUsers_.size() >= maxPendingUsers || pending_.size() >= maxPendingMachines) checkPending();
    return {};
}

void Unentitled::examine(const LdapEntry& machine, const DesktopEntry& desktop) {
    const auto record = [&machine](int flags) {
        const auto text = [&machine](const char* name) { return std::string(machine.first(name)); };
        return MachineRecord{.dn = machine.dn,
                             .displayName = text(attribute::displayName),
                             .name = text(attribute::name),
                             .moid = text(attribute::moid),
                             .vmPath = text(attribute::vmPath),
                             .pool = text(attribute::memberOfPool),
                             .flags = flags};
    };
    const auto holders = holdersOf(machine);
    if (holders.empty()) logWarning(L"Failed to determine user for %s", machine.dn);
    for (const auto& [user, flags] : holders) {
        // A user in the member list itself needs no look at the groups.
        if (desktop.members.contains(user)) continue;
        if (!check_.isLoaded(user)) {
            pendingUsers_.insert(user);
            pending_.push_back({record(flags), user, &desktop});
        } else if (isUnentitled(user, desktop)) {
            addFinding(record(flags), user, desktop);
        }
    }
}

void Unentitled::checkPending() {
    check_.load({pendingUsers_.begin(), pendingUsers_.end()});
    for (auto& [machine, user, desktop] : pending_)
        if (isUnentitled(user, *desktop)) addFinding(std::move(machine), user, *desktop);
    pendingUsers_.clear();
    pending_.clear();
}

bool Unentitled::isUnentitled(const Sid& user, const DesktopEntry& desktop) {
    const Entitled entitled = check_.check(user, desktop);
    if (entitled == Entitled::unknown)
        logWarning(L"Failed to determine whether %s is entitled to %s", user.text(), desktop.dn);
    return entitled == Entitled::no;
}

void Unentitled::addFinding(MachineRecord machine, const Sid& user, const DesktopEntry& desktop) {
    findings_.push_back({user, desktop.dn, machines_.size()});
    machines_.push_back(std::move(machine));
}

Result<std::string> Unentitled::cachedValue(platform::LdapSession& session, const std::string& dn,
                                            const std::string& filter, const std::string& name) {
    const std::pair value(dn, name);
    if (const auto known = values_.find(value); known != values_.end()) return known->second;
    const auto found = findEntry(session, dn, filter, {name});
    if (!found) return fail(found.error());
    const auto first = found->empty() ? std::string_view() : found->front().first(name);
    return values_.emplace(value, first).first->second;
}

Result<Unentitled::ManagementServer> Unentitled::serverOf(platform::LdapSession& session,
                                                          const std::string& poolDn) {
    const auto dn = cachedValue(session, poolDn, "(objectclass=zre-ServerPool)", attribute::managementServer);
    if (!dn) return fail(dn.error());
    if (dn->empty()) return ManagementServer{};
    const auto url = cachedValue(session, *dn, "(objectclass=zre-Nodarium)", attribute::managementUrl);
    if (!url) return fail(url.error());
    return ManagementServer{*dn, *url};
}

Result<PropertyBag> Unentitled::machineBag(platform::LdapSession& session, const MachineRecord& machine) {
    const auto server = serverOf(session, machine.pool);
    if (!server) {
        logError(L"Failed to obtain information on vm, VM DN = %s", machine.dn);
        return fail(L"Failed to obtain information on machine");
    }
    PropertyBag bag;
    bag.add(L"display-name", std::string_view(machine.displayName));
    bag.add(L"name", std::string_view(machine.name));
    bag.add(L"moid", std::string_view(machine.moid));
    bag.add(L"vmpath", std::string_view(machine.vmPath));
    bag.add(L"pool-dn", std::string_view(machine.pool));
    bag.add(L"nodarium-dn", std::string_view(server->dn));
    bag.add(L"nodarium-url", std::string_view(server->url));
    PropertyBag type;
    if (machine.flags & assigned) type.add(L"assigned-to-user", std::wstring_view());
    if (machine.flags & checkedOut) type.add(L"checked-out-by-user", std::wstring_view());
    bag.addBag(L"unentitled-type", std::move(type));
    return bag;
}

}  // namespace wsadmin
