// Group memberships of many users, from the "memberOf" of users and groups: many in one search. For one walk
// on one thread, which holds a DirectoryThread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "identity/domain_bindings.h"
#include "ldap/directory_rows.h"
#include "ldap/service_context.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

class Memberships {
  public:
    explicit Memberships(ServiceContext& service) : service_(service) {}

    // Reads the users that are not known yet, and the groups above them.
    void learn(const std::vector<platform::Sid>& users);

    bool learnt(const platform::Sid& user) const { return users_.contains(user); }
    // The user's distinguished name. Null: there is no such user or, with unsure(), nobody could tell.
    const std::string* find(const platform::Sid& user) const;
    // A domain could not be asked: users that were not found may be there.
    bool unsure() const noexcept { return unsure_; }
    // Whether the user, or a group above the user, is among them. A yes is certain; groups that only a logon
    // shows are not seen.
    bool isAmong(const platform::Sid& user, const std::set<platform::Sid>& members) const;

  private:
    using GroupNumber = std::uint32_t;  // an index into groups_
    using GroupNumbers = std::vector<GroupNumber>;
    struct Group {
        std::string key{};                   // of the distinguished name
        std::optional<platform::Sid> sid{};  // nothing: no security group, or not there
        GroupNumbers above{};
        bool asked = false;
    };
    struct User {
        std::string dn;
        GroupNumbers above{};
        std::optional<platform::Sid> primaryGroup{};
    };

    GroupNumber numberOf(const std::string& dn);
    GroupNumbers groupsAbove(const DirectoryRow& row);
    // Keeps what was found of a group, and answers the groups above it.
    const GroupNumbers& take(const DirectoryRow& row);
    void addPrimaryGroups(const std::vector<platform::Sid>& users);
    // Reads these groups and all above them, those that were asked for already excepted.
    void learnGroups(GroupNumbers numbers);
    // Answers the groups above those that were found.
    GroupNumbers learnGroupsOf(const std::string& domain, const GroupNumbers& numbers);

    ServiceContext& service_;
    std::optional<std::optional<DomainBindings>> domains_;
    bool unsure_ = false;
    std::map<platform::Sid, std::optional<User>> users_;
    std::vector<Group> groups_;
    std::unordered_map<std::string, GroupNumber> byKey_;
    std::unordered_map<std::string, GroupNumber> byName_;  // as the directories write it
    std::map<platform::Sid, std::optional<GroupNumber>> primaryGroups_;
};

}  // namespace wsadmin
