// Which results of an operation leave a session of no further use.
#pragma once

#include "platform/ldap_session.h"

namespace wsadmin::platform {

// Also when the service stops: nothing more is to be sent then.
constexpr bool isConnectionLost(int code) noexcept {
    return code == ldapServerDown || code == ldapTimeout || code == ldapUserCancelled ||
           code == ldapConnectError;
}

}  // namespace wsadmin::platform
