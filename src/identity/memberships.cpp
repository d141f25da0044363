#include "identity/memberships.h"

#include <algorithm>
#include <utility>

#include "identity/sid_search.h"
#include "platform/ldap/batches.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::Sid;

namespace {

// A limit against directories that name ever new groups, far above what a forest holds.
constexpr std::size_t mostMemberships = 1'000'000;

const std::vector<std::string> groupAttributes = {"objectSid", "groupType", "memberOf", "distinguishedName"};

std::optional<Sid> primaryGroupOf(const Sid& user, const DirectoryRow& row) {
    const auto* const rid = row.first<std::int32_t>("primaryGroupID");
    return rid ? Sid::parse(user.domain().text() + "-" + std::to_string(*rid)) : std::nullopt;
}

bool isSecurityGroup(const DirectoryRow& row) {
    const auto* const type = row.first<std::int32_t>("groupType");
    return type && *type < 0;  // the highest bit
}

}  // namespace

// Many users share few groups: caching by the name as written saves parsing it for every user.
Memberships::GroupNumber Memberships::numberOf(const std::string& dn) {
    const auto [name, isNew] = byName_.try_emplace(dn);
    if (!isNew) return name->second;
    std::string key = platform::dnKey(dn).value_or(dn);
    const auto [known, isNewKey] = byKey_.try_emplace(key, static_cast<GroupNumber>(groups_.size()));
    if (isNewKey) groups_.push_back({.key = std::move(key)});
    return name->second = known->second;
}

Memberships::GroupNumbers Memberships::groupsAbove(const DirectoryRow& row) {
    GroupNumbers numbers;
    for (const platform::DirectoryValue& group : row.all("memberOf"))
        numbers.push_back(numberOf(platform::directoryText(group)));
    return numbers;
}

void Memberships::load(const std::vector<Sid>& users) {
    std::vector<Sid> unknown;
    for (const Sid& user : users)
        if (users_.try_emplace(user).second) unknown.push_back(user);
    if (unknown.empty()) return;
    auto found = searchBySids(domains_, unknown, "(objectClass=user)", {"memberOf", "primaryGroupID"});
    uncertain_.merge(found.uncertain);
    GroupNumbers numbers;
    for (const auto& [sid, row] : found.rows) {
        User user{row.text("distinguishedName"), groupsAbove(row), primaryGroupOf(sid, row)};
        numbers.insert(numbers.end(), user.above.begin(), user.above.end());
        users_[sid] = std::move(user);
    }
    addPrimaryGroups(unknown);
    for (const auto& [sid, number] : primaryGroups_)
        if (number)
            numbers.insert(numbers.end(), groups_[*number].above.begin(), groups_[*number].above.end());
    loadGroups(std::move(numbers));
}

void Memberships::addPrimaryGroups(const std::vector<Sid>& users) {
    std::vector<Sid> unknown;
    for (const Sid& sid : users)
        if (const auto& user = users_[sid];
            user && user->primaryGroup && primaryGroups_.try_emplace(*user->primaryGroup).second)
            unknown.push_back(*user->primaryGroup);
    if (unknown.empty()) return;
    const auto found = searchBySids(domains_, std::move(unknown), "(objectClass=group)", groupAttributes);
    for (const auto& [sid, row] : found.rows) {
        addGroup(row);
        primaryGroups_[sid] = numberOf(row.text("distinguishedName"));
    }
}

const Memberships::GroupNumbers& Memberships::addGroup(const DirectoryRow& row) {
    const GroupNumber number = numberOf(row.text("distinguishedName"));
    GroupNumbers above = groupsAbove(row);  // may move the groups
    Group& group = groups_[number];
    if (isSecurityGroup(row)) group.sid = Sid::fromBytes(row.text("objectSid"));
    group.above = std::move(above);
    group.requested = true;
    return group.above;
}

void Memberships::loadGroups(GroupNumbers numbers) {
    while (!numbers.empty()) {
        if (groups_.size() > mostMemberships) {
            logWarning(L"The directories name groups without end");
            return;  // what is missing is left to the groups of a logon
        }
        std::map<std::string, GroupNumbers> byDomain;
        for (const GroupNumber number : numbers) {
            Group& group = groups_[number];
            if (std::exchange(group.requested, true)) continue;  // also a group that was not found
            byDomain[platform::dnsDomainOf(group.key)].push_back(number);
        }
        numbers.clear();
        for (const auto& [domain, ofDomain] : byDomain) {
            const GroupNumbers above = loadGroupsOf(domain, ofDomain);
            numbers.insert(numbers.end(), above.begin(), above.end());
        }
    }
}

Memberships::GroupNumbers Memberships::loadGroupsOf(const std::string& domain, const GroupNumbers& numbers) {
    GroupNumbers found;
    const std::string binding = "LDAP://" + domain;
    const DomainSearch search(domains_, binding);
    if (!search) return found;
    for (const auto batch : platform::batchesOf(numbers, namesPerSearch)) {
        std::string filter = "(&(objectClass=group)(|";
        for (const GroupNumber number : batch)
            filter += platform::filterTerm("distinguishedName", groups_[number].key);
        const auto rows = readRows(*search, filter + "))", groupAttributes, 0, OnRefusal::logsDebug);
        if (!rows) {
            logWarning(L"Search failed on binding %s", binding);
            break;
        }
        for (const DirectoryRow& row : *rows) {
            const GroupNumbers& above = addGroup(row);
            found.insert(found.end(), above.begin(), above.end());
        }
    }
    return found;
}

const std::string* Memberships::find(const Sid& user) const {
    const auto found = users_.find(user);
    return found != users_.end() && found->second ? &found->second->dn : nullptr;
}

bool Memberships::isAmong(const Sid& user, const std::set<Sid>& members) const {
    if (members.contains(user)) return true;
    const auto found = users_.find(user);
    if (found == users_.end() || !found->second) return false;
    GroupNumbers reached = found->second->above;
    if (const auto& primary = found->second->primaryGroup) {
        if (members.contains(*primary)) return true;
        if (const auto known = primaryGroups_.find(*primary); known != primaryGroups_.end() && known->second)
            reached.push_back(*known->second);
    }
    // A user is in few groups: a linear search of them costs less than a set.
    for (std::size_t at = 0; at < reached.size(); ++at) {
        const Group& group = groups_[reached[at]];
        if (group.sid && members.contains(*group.sid)) return true;
        for (const GroupNumber above : group.above)
            if (std::ranges::find(reached, above) == reached.end()) reached.push_back(above);
    }
    return false;
}

}  // namespace wsadmin
