// The request keys of this folder's operations.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key clusterName{L"clustername", KeyType::text, L"", L"the name"};
inline constexpr Key serverName{L"servername", KeyType::text, L"",
                                L"the connection server or security server", Required::yes};
inline constexpr Key resolveCollisions{L"resolveCollisions", KeyType::boolean, L"false",
                                       L"repair and remove what is found; false only looks"};
inline constexpr Key passwordDigest{L"pwdSHA256Base64", KeyType::secret, L"",
                                    L"SHA-256 digest of the backup password, in Base64", Required::yes};

}  // namespace wsadmin::key
