// The request keys of the operations on domains.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key forceReload{L"forceReload", KeyType::boolean, L"false",
                                 L"ask all domains now, rather than answer what was last found"};

inline constexpr Key listChange{L"operation", KeyType::text, L"", L"add, remove or removeall", Required::yes};
inline constexpr Key listBroker{L"connectionserver", KeyType::text, L"",
                                L"the connection server whose list it is; empty for the cluster's list"};
inline constexpr Key listType{L"listtype", KeyType::text, L"", L"include, exclude or search", Required::yes};
inline constexpr Key listDomain{L"domain", KeyType::text, L"",
                                L"required for add and remove; the domain's DNS name", Required::depends};

}  // namespace wsadmin::key
