// Whether users are entitled to desktops: a cache for one report, on one thread, which holds a
// DirectoryThread.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "identity/memberships.h"
#include "identity/user_groups.h"
#include "machines/desktop_cache.h"

namespace wsadmin {

enum class Entitled { yes, no, unknown };

class EntitlementCheck {
  public:
    explicit EntitlementCheck(DomainBindings& domains) : domains_(domains), memberships_(domains) {}

    // Reads the users and their groups, many in one search.
    void load(const std::vector<platform::Sid>& users) { memberships_.load(users); }
    bool isLoaded(const platform::Sid& user) const { return memberships_.isLoaded(user); }
    // The desktop's member list and the groups that the directory has on record decide nearly always. A user
    // is unentitled only if the groups of a logon, which cost a search for each user, do not decide
    // otherwise.
    Entitled check(const platform::Sid& user, const DesktopEntry& desktop);
    // The distinguished name of a loaded user; null where no domain has the user.
    const std::string* dnOf(const platform::Sid& user) const { return memberships_.find(user); }

  private:
    DomainBindings& domains_;
    Memberships memberships_;
    std::map<platform::Sid, Result<UserGroups>> logonGroups_;
};

}  // namespace wsadmin
