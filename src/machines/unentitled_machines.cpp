#include <array>

#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_entry.h"
#include "machines/machine_filters.h"
#include "machines/unentitled.h"
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

// The user who has it checked out is named by SID, or by the entry of the SID. A value that is neither is
// taken for a mark on the owner's machine.
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

// The sentences of a paged search, as this report words them.
std::wstring sentenceOf(std::wstring_view shared) {
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

void Unentitled::readReportedUsers() {
    std::vector<Sid> sids;
    for (const Finding& finding : findings_) sids.push_back(finding.user);
    users_ = readUsers(service(), sids);
}

PropertyBag Unentitled::userBag(const Sid& sid) const {
    PropertyBag bag;
    if (const auto user = users_.find(sid); user != users_.end())
        bag = renderUserInformation(user->second, *service().platform().clock);
    bag.set(L"sid", std::string_view(sid.text()));
    return bag;
}

PropertyBag Unentitled::desktopBag(platform::LdapSession& session, const std::string& dn) {
    const auto [known, isNew] = desktops_.try_emplace(dn);
    PropertyBag& bag = known->second;
    if (!isNew) return bag;
    const auto found = readEntry(session, dn, "(objectclass=zre-DesktopApplication)",
                                 {attribute::displayName, attribute::name});
    if (!found) {
        bag.setError(L"Failed when searching for desktop");
    } else if (found->empty()) {
        bag.setError(L"Failed to obtain information on desktop");
    } else {
        bag.add(L"display-name", found->front().first(attribute::displayName));
        bag.add(L"name", found->front().first(attribute::name));
    }
    return bag;
}

void Unentitled::machines() {
    platform::LdapSession* session = directory();
    if (!session) return;
    Desktops desktops(*session);
    PagedSearch pages(*session, layout::under(layout::container::machines), anyMachine,
                      {attribute::ownerSid, attribute::offlineUser, attribute::memberOfPool,
                       attribute::displayName, attribute::name, attribute::moid, attribute::vmPath});
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(sentenceOf(more.error().text));
        if (!*more) break;
        examine(page, desktops);
    }
    decideWaiting();
    readReportedUsers();
    result() = writeReport(
        findings_, byUser(),
        {.report = L"unentitled-machine-report",
         .itemList = L"machine-list",
         .item = L"machine",
         .user = [this](const Sid& sid) { return userBag(sid); },
         .desktop = [this, session](const std::string& dn) { return desktopBag(*session, dn); },
         .render = [this, session](std::size_t item) { return machineBag(*session, machines_[item]); }});
}

void Unentitled::examine(const std::vector<LdapEntry>& page, Desktops& desktops) {
    std::vector<const LdapEntry*> held;
    std::vector<std::string_view> pools;
    for (const LdapEntry& machine : page) {
        const std::string_view pool = machine.first(attribute::memberOfPool);
        if (flagsOf(machine) == 0 || pool.empty()) continue;
        held.push_back(&machine);
        pools.push_back(pool);
    }
    desktops.learn(pools);
    for (const LdapEntry* machine : held)
        if (const auto* desktop = desktops.ofPool(machine->first(attribute::memberOfPool)))
            examine(*machine, *desktop);
    // The users of one page would be few in a search, once most of them are known.
    constexpr std::size_t usersAtOnce = 1000, mostWaiting = 10000;
    if (unknown_.size() >= usersAtOnce || waiting_.size() >= mostWaiting) decideWaiting();
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
        // Who stands on the list needs no look at the groups.
        if (desktop.members.contains(user)) continue;
        if (!check_.learnt(user)) {
            unknown_.insert(user);
            waiting_.push_back({record(flags), user, &desktop});
        } else if (isUnentitled(user, desktop)) {
            report(record(flags), user, desktop);
        }
    }
}

void Unentitled::decideWaiting() {
    check_.learn({unknown_.begin(), unknown_.end()});
    for (Case& one : waiting_)
        if (isUnentitled(one.user, *one.desktop)) report(std::move(one.machine), one.user, *one.desktop);
    unknown_.clear();
    waiting_.clear();
}

bool Unentitled::isUnentitled(const Sid& user, const DesktopEntry& desktop) {
    const Entitled entitled = check_.check(user, desktop);
    if (entitled == Entitled::unknown)
        logWarning(L"Failed to determine whether %s is entitled to %s", user.text(), desktop.dn);
    return entitled == Entitled::no;
}

void Unentitled::report(MachineRecord machine, const Sid& user, const DesktopEntry& desktop) {
    findings_.push_back({user, desktop.dn, machines_.size()});
    machines_.push_back(std::move(machine));
}

const std::optional<Unentitled::ServerOfPool>& Unentitled::serverOf(platform::LdapSession& session,
                                                                    const std::string& pool) {
    const auto [known, isNew] = servers_.try_emplace(pool);
    if (!isNew) return known->second;
    const auto gone = [](const Failure& failure) { return failure.code != platform::ldapNoSuchObject; };
    const auto entry =
        readEntry(session, pool, "(objectclass=zre-ServerPool)", {attribute::managementServer});
    if (!entry && gone(entry.error())) return known->second;
    known->second.emplace();
    if (!entry || entry->empty()) return known->second;
    ServerOfPool server{.dn = std::string(entry->front().first(attribute::managementServer)), .url = {}};
    if (const auto url = serverUrls_.find(server.dn); url != serverUrls_.end()) {
        server.url = url->second;
    } else if (!server.dn.empty()) {
        const auto found =
            readEntry(session, server.dn, "(objectclass=zre-Nodarium)", {attribute::managementUrl});
        if (!found && gone(found.error())) {
            known->second.reset();
            return known->second;
        }
        if (found && !found->empty()) server.url = found->front().first(attribute::managementUrl);
        serverUrls_.emplace(server.dn, server.url);
    }
    known->second = std::move(server);
    return known->second;
}

PropertyBag Unentitled::machineBag(platform::LdapSession& session, const MachineRecord& machine) {
    PropertyBag bag;
    const auto& server = serverOf(session, machine.pool);
    if (!server) {
        logError(L"Failed to obtain information on vm, VM DN = %s", machine.dn);
        bag.setError(L"Failed to obtain information on machine");
        return bag;
    }
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
