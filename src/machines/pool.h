// Desktop pools in the configuration directory.
#pragma once

#include <string>
#include <string_view>

#include "platform/ldap_session.h"

namespace wsadmin {

struct Pool {
    int type = 0;
    bool persistent() const noexcept;  // its machines have owners
};

// Looks the pool up. Failure: `searchFailed` (the search is logged) or `noEntry`.
Result<Pool> findPool(platform::LdapSession& session, std::wstring_view name, std::wstring searchFailed,
                      std::wstring noEntry);
// The same with sentences that name the pool.
Result<Pool> findPool(platform::LdapSession& session, std::wstring_view name);

// The name that a pool's DN says.
std::string poolName(std::string_view dn);

}  // namespace wsadmin
