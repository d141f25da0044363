// Whether users are entitled to desktops, for one walk on one thread, which holds a DirectoryThread.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "identity/memberships.h"
#include "machines/desktops.h"

namespace wsadmin {

enum class Entitled { yes, no, unknown };

class EntitlementCheck {
  public:
    explicit EntitlementCheck(ServiceContext& service) : service_(service), memberships_(service) {}

    // Reads users ahead, many at once.
    void learn(const std::vector<platform::Sid>& users) { memberships_.learn(users); }
    bool learnt(const platform::Sid& user) const { return memberships_.learnt(user); }
    // The member list itself and the groups that the directory has on record decide nearly always; before
    // somebody is called unentitled, the groups of a logon are asked for.
    Entitled check(const platform::Sid& user, const DesktopEntry& desktop);
    // The user's distinguished name. Null where no domain has the user.
    const std::string* dnOf(const platform::Sid& user) const { return memberships_.find(user); }

  private:
    ServiceContext& service_;
    Memberships memberships_;
    std::map<platform::Sid, std::optional<std::set<platform::Sid>>> groups_;  // nothing: not to be had
};

}  // namespace wsadmin
