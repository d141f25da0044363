// Users by name, and the groups that they belong to.
#pragma once

#include <memory>
#include <vector>

#include "identity/user_information.h"
#include "identity/user_search.h"
#include "ldap/worker.h"
#include "platform/account_authority.h"

namespace wsadmin {

class Group : public Worker {
  public:
    Group(ServiceContext& service, const Request& request);

    // "sid", empty where the account is not a user's.
    Result<void> usernameToSID();
    // "SID".
    Result<void> upnToSid();
    // The information bag with "sid" and "group-list".
    Result<void> getUserInformation();
    // "groupSID", one for each group in the token of a logon.
    Result<void> getUserTokenGroups();
    // "group-list".
    Result<void> getEntitlementGroups() { return answerContext(false); }
    // "user-info" and "group-list".
    Result<void> getUserContext() { return answerContext(true); }

  private:
    Result<void> answerContext(bool withInformation);
    // The user that the request names, in the first of the four ways that it gives.
    Result<platform::Sid> requestedUser();
    // A logon of that user; the cause of a failure is logged.
    Result<std::unique_ptr<platform::Token>> untrustedLogon(const std::wstring& upn);
    void addOwnSid(platform::Token& token);
    CORE::PropertyBag groupList(const std::vector<platform::Sid>& groups, bool listNames);

    std::shared_ptr<platform::AccountAuthority> accounts_;
};

}  // namespace wsadmin
