// Whether a principal may administer: holds a role that grants what is asked for.
#pragma once

#include <optional>

#include "identity/entitlement_filters.h"
#include "ldap/worker.h"
#include "platform/accounts.h"

namespace wsadmin {

class AdminPermission : public Worker {
  public:
    using Worker::Worker;

    // "result" is "OK" where a role of one of the SIDs grants one of the values "permission", or "Full"; else
    // "Permission Denied". A request without "sid" asks for the account that the configuration directory is
    // bound with, and where there is none for who the thread or the process is. The local system may all.
    void check();

  private:
    void permit() { result().set(L"result", L"OK"); }
    // Nothing after a failure, which is in the result then.
    std::optional<SidList> principals();
    SidList bindAccount(platform::AccountAuthority& accounts);
    std::optional<SidList> callingToken(platform::AccountAuthority& accounts);
    void searchRoles(const SidList& sids);
    template <class T>
    bool known(const platform::TokenResult<T>& asked, std::wstring_view sentence);
};

}  // namespace wsadmin
