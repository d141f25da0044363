// Group memberships of many users, from the "memberOf" of users and groups: a cache that is filled by batched
// searches. For one request on one thread, which holds a DirectoryThread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ldap/directory_rows.h"
#include "ldap/domain_bindings.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

class Memberships {
  public:
    explicit Memberships(DomainBindings& domains) : domains_(domains) {}

    // Reads the users that are not cached yet, and all groups that they are in, directly or through other
    // groups.
    void load(const std::vector<platform::Sid>& users);

    bool isLoaded(const platform::Sid& user) const { return users_.contains(user); }
    // The user's distinguished name; null for a user that was not found.
    const std::string* find(const platform::Sid& user) const;
    // Whether a user that was not found may exist all the same, because the domain could not be asked.
    bool isUncertain(const platform::Sid& user) const { return uncertain_.contains(user); }
    // Whether the user, or a group that the user is in, is one of the members. True is certain; false is not,
    // as the groups that only a logon adds are missing here.
    bool isAmong(const platform::Sid& user, const std::set<platform::Sid>& members) const;

  private:
    using GroupNumber = std::uint32_t;  // an index into groups_
    using GroupNumbers = std::vector<GroupNumber>;
    struct Group {
        std::string key{};                   // of the distinguished name
        std::optional<platform::Sid> sid{};  // nothing: no security group, or not found
        GroupNumbers above{};
        bool requested = false;
    };
    struct User {
        std::string dn;
        GroupNumbers above{};
        std::optional<platform::Sid> primaryGroup{};
    };

    GroupNumber numberOf(const std::string& dn);
    GroupNumbers groupsAbove(const DirectoryRow& row);
    // Caches a group that was found, and returns the groups above it.
    const GroupNumbers& addGroup(const DirectoryRow& row);
    void addPrimaryGroups(const std::vector<platform::Sid>& users);
    // Reads these groups and all above them, except those that were requested before.
    void loadGroups(GroupNumbers numbers);
    // Returns the groups above those that were found.
    GroupNumbers loadGroupsOf(const std::string& domain, const GroupNumbers& numbers);

    DomainBindings& domains_;
    std::set<platform::Sid> uncertain_;
    std::map<platform::Sid, std::optional<User>> users_;
    std::vector<Group> groups_;
    std::unordered_map<std::string, GroupNumber> byKey_;
    std::unordered_map<std::string, GroupNumber> byName_;  // as the directories write it
    std::map<platform::Sid, std::optional<GroupNumber>> primaryGroups_;
};

}  // namespace wsadmin
