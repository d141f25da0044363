// Group memberships of many users, from the "memberOf" of users and groups: many in one search. For one walk
// on one thread, which holds a DirectoryThread.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "identity/user_information.h"
#include "ldap/service_context.h"
#include "platform/sid.h"

namespace wsadmin {

class Memberships {
  public:
    explicit Memberships(ServiceContext& service) : service_(service) {}

    // Reads the users that are not known yet, and the groups above them.
    void learn(const std::vector<platform::Sid>& users);

    // Null: there is no such user or, with unsure(), nobody could tell.
    const UserInformation* find(const platform::Sid& user) const;
    // A domain could not be asked: users that were not found may be there.
    bool unsure() const noexcept { return unsure_; }
    // Whether the user, or a group above the user, is among them. A yes is certain; groups that only a logon
    // shows are not seen.
    bool isAmong(const platform::Sid& user, const std::set<platform::Sid>& members) const;

  private:
    using Key = std::string;  // of a distinguished name
    struct Group {
        std::optional<platform::Sid> sid{};  // nothing: no security group, or not there
        std::vector<Key> above{};
    };
    struct User {
        UserInformation information;
        std::vector<Key> above{};
        std::optional<platform::Sid> primaryGroup{};
    };

    void addPrimaryGroups(const std::vector<platform::Sid>& users);
    // Reads these groups and all above them.
    void learnGroups(std::set<Key> names);

    ServiceContext& service_;
    std::optional<std::optional<DomainBindings>> domains_;
    bool unsure_ = false;
    std::map<platform::Sid, std::optional<User>> users_;
    std::map<Key, Group, std::less<>> groups_;
    std::map<platform::Sid, Key> primaryGroups_;
};

}  // namespace wsadmin
