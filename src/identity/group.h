// Users by name, and the groups that they belong to.
#pragma once

#include <optional>
#include <vector>

#include "identity/user_information.h"
#include "identity/user_search.h"
#include "ldap/worker.h"
#include "platform/accounts.h"

namespace wsadmin {

class Group : public Worker {
  public:
    Group(ServiceContext& service, const CORE::PropertyBag& request);

    // "sid", empty where the account is not a user's.
    void usernameToSID();
    // "SID".
    void upnToSid();
    // The information bag with "sid" and "group-list".
    void getUserInformation();
    // "groupSID", one for each group of a logon.
    void getUserTokenGroups();
    // "group-list".
    void getEntitlementGroups() { answerContext(false); }
    // "user-info" and "group-list".
    void getUserContext() { answerContext(true); }

  private:
    void answerContext(bool withInformation);
    // The user that the request names, in the first of four ways that is there; else the failure is in the
    // result.
    FoundSid requestedUser();
    FoundSid found(const Result<FoundSid>& search, std::wstring_view sentence);
    // A logon of that user, or null; the reason is logged.
    std::unique_ptr<platform::Token> untrustedLogon(const std::wstring& upn);
    void addOwnSid(platform::Token& token);
    CORE::PropertyBag groupList(const std::vector<platform::Sid>& groups, bool listNames);

    platform::DirectoryThread thread_;
    std::shared_ptr<platform::AccountAuthority> accounts_;
};

}  // namespace wsadmin
