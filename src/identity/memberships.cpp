#include "identity/memberships.h"

#include <algorithm>
#include <span>

#include "identity/sid_search.h"
#include "ldap/connection_mgr.h"
#include "platform/ldap_text.h"
#include "platform/module_log.h"

namespace wsadmin {

using platform::DirectoryRow;
using platform::Sid;

namespace {

constexpr std::size_t namesAtOnce = 100;
const std::vector<std::string> groupAttributes = {"objectSid", "groupType", "memberOf", "distinguishedName"};

std::string keyOf(std::string_view dn) {
    return platform::dnKey(dn).value_or(std::string(dn));
}

std::vector<std::string> groupsAbove(const DirectoryRow& row) {
    std::vector<std::string> keys;
    for (const platform::DirectoryValue& group : row.all("memberOf"))
        keys.push_back(keyOf(platform::directoryText(group)));
    return keys;
}

std::optional<Sid> primaryGroupOf(const Sid& user, const DirectoryRow& row) {
    const auto* const rid = row.first<std::int32_t>("primaryGroupID");
    return rid ? Sid::parse(user.domain().text() + "-" + std::to_string(*rid)) : std::nullopt;
}

bool isSecurityGroup(const DirectoryRow& row) {
    const auto* const type = row.first<std::int32_t>("groupType");
    return type && *type < 0;  // the highest bit
}

}  // namespace

void Memberships::learn(const std::vector<Sid>& users) {
    if (!domains_) domains_ = DomainBindings::of(service_);
    std::vector<Sid> unknown;
    for (const Sid& user : users)
        if (users_.try_emplace(user).second) unknown.push_back(user);
    if (!*domains_) unsure_ = true;
    if (unknown.empty() || !*domains_) return;

    std::vector<std::string> attributes = userAttributes();
    attributes.insert(attributes.end(), {"memberOf", "primaryGroupID"});
    const auto rows =
        searchBySids(service_, **domains_, unknown, "(objectClass=user)", std::move(attributes), &unsure_);
    std::set<Key> names;
    for (const auto& [sid, row] : rows) {
        User user{userInformationOf(sid, row, **domains_), groupsAbove(row), primaryGroupOf(sid, row)};
        names.insert(user.above.begin(), user.above.end());
        users_[sid] = std::move(user);
    }
    addPrimaryGroups(unknown);
    for (const auto& [sid, name] : primaryGroups_)
        names.insert(groups_[name].above.begin(), groups_[name].above.end());
    learnGroups(std::move(names));
}

void Memberships::addPrimaryGroups(const std::vector<Sid>& users) {
    std::vector<Sid> unknown;
    for (const Sid& sid : users)
        if (const auto& user = users_[sid];
            user && user->primaryGroup && !primaryGroups_.contains(*user->primaryGroup))
            unknown.push_back(*user->primaryGroup);
    if (unknown.empty()) return;
    for (const auto& [sid, row] : searchBySids(service_, **domains_, std::move(unknown),
                                               "(objectClass=group)", {"groupType", "memberOf"})) {
        const Key key = keyOf(row.text("distinguishedName"));
        groups_[key] = {.sid = isSecurityGroup(row) ? std::optional(sid) : std::nullopt,
                        .above = groupsAbove(row)};
        primaryGroups_[sid] = key;
    }
}

void Memberships::learnGroups(std::set<Key> names) {
    const auto pool = service_.connections();
    while (pool && !names.empty()) {
        std::erase_if(names, [this](const Key& name) { return groups_.contains(name); });
        std::map<std::string, std::vector<Key>> byDomain;
        for (const Key& name : names) {
            groups_[name];  // whatever is found: it is not asked for again
            byDomain[platform::dnsDomainOf(name)].push_back(name);
        }
        names.clear();
        for (const auto& [domain, keys] : byDomain) {
            const std::string binding = "LDAP://" + domain;
            const PooledSearch search(*pool, pool->getConnection(binding));
            for (std::span<const Key> left = keys; search && !left.empty();) {
                const auto batch = left.first(std::min(left.size(), namesAtOnce));
                left = left.subspan(batch.size());
                std::string filter = "(&(objectClass=group)(|";
                for (const Key& name : batch)
                    filter += "(distinguishedName=" + platform::escapeFilterValue(name) + ")";
                const auto rows = platform::readRows(*search, filter + "))", groupAttributes);
                if (!rows) {
                    logWarning(L"Search failed on binding %s", binding);
                    break;
                }
                for (const DirectoryRow& row : *rows) {
                    Group& group = groups_[keyOf(row.text("distinguishedName"))];
                    if (isSecurityGroup(row)) group.sid = Sid::fromBytes(row.text("objectSid"));
                    group.above = groupsAbove(row);
                    names.insert(group.above.begin(), group.above.end());
                }
            }
        }
    }
}

const UserInformation* Memberships::find(const Sid& user) const {
    const auto found = users_.find(user);
    return found != users_.end() && found->second ? &found->second->information : nullptr;
}

bool Memberships::isAmong(const Sid& user, const std::set<Sid>& members) const {
    if (members.contains(user)) return true;
    const auto found = users_.find(user);
    if (found == users_.end() || !found->second) return false;
    std::vector<Key> waiting = found->second->above;
    if (const auto& primary = found->second->primaryGroup) {
        if (members.contains(*primary)) return true;
        if (const auto key = primaryGroups_.find(*primary); key != primaryGroups_.end())
            waiting.push_back(key->second);
    }
    for (std::set<Key> seen; !waiting.empty();) {
        const Key name = std::move(waiting.back());
        waiting.pop_back();
        const auto group = groups_.find(name);
        if (group == groups_.end() || !seen.insert(name).second) continue;
        if (group->second.sid && members.contains(*group->second.sid)) return true;
        waiting.insert(waiting.end(), group->second.above.begin(), group->second.above.end());
    }
    return false;
}

}  // namespace wsadmin
