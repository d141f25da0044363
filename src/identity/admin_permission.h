// Whether a principal may administer: holds a role that grants what is asked for.
#pragma once

#include "identity/entitlement_filters.h"
#include "ldap/worker.h"
#include "platform/account_authority.h"

namespace wsadmin {

class AdminPermission : public Worker {
  public:
    using Worker::Worker;

    // "result" is "OK" where a role of one of the SIDs grants one of the values "permission", or "Full"; else
    // "Permission Denied". A request without "sid" checks the account that the configuration directory is
    // bound with, and without such an account the user of the thread's or the process's token. The local
    // system has every permission.
    Result<void> check();

  private:
    Result<void> permit();
    Result<SidList> principals();
    // Empty where the directory is bound with no account that can be found.
    SidList bindAccount(platform::AccountAuthority& accounts);
    Result<void> searchRoles(const SidList& sids);
};

}  // namespace wsadmin
