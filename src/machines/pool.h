// Desktop pools in the configuration directory.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/ldap_session.h"

namespace wsadmin {

struct Pool {
    std::string dn;
    int type = 0;
    bool persistent() const noexcept;  // its machines have owners
};

enum class PoolSearch { found, failed, noEntry };
// Looks the pool up; a search that fails is logged.
PoolSearch findPool(platform::LdapSession& session, std::string_view name, Pool& pool);

// The name that a pool's DN says.
std::string poolName(std::string_view dn);

}  // namespace wsadmin
