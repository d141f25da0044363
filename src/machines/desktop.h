// The desktop that a user's thin client connects to without asking.
#pragma once

#include <string>
#include <vector>

#include "ldap/worker.h"
#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

class Desktop : public Worker {
  public:
    Desktop(ServiceContext& service, const CORE::PropertyBag& request) : Worker(service, request) {}

    // Marks one desktop as the user's default, or without a desktop removes the mark.
    void setDefaultDesktop();

  private:
    using Assignments = std::vector<platform::LdapEntry>;

    // The user's assignments, all or those to one desktop. A failure is logged.
    static Result<Assignments> assignments(platform::LdapSession& session, const platform::Sid& user,
                                           const std::string& desktopDn = {});
    // True when there was one. A search that fails finds none.
    static bool clearDefaults(platform::LdapSession& session, const platform::Sid& user);
    // Empty after its failure was put into the result.
    std::string desktopDn(platform::LdapSession& session, const CORE::wstr& name);
    void assign(platform::LdapSession& session, const platform::Sid& user, const std::string& desktopDn);
};

}  // namespace wsadmin
