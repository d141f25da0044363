// The request keys of this folder's operations.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key clusterName{L"clustername", KeyType::text, L"", L"the name"};
inline constexpr Key serverName{L"servername", KeyType::text, L"",
                                L"the connection server or security server", Required::yes};

}  // namespace wsadmin::key
