// The request keys of this folder's operations.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key remoteEndpoint{L"remoteEndpointIP", KeyType::text, L"",
                                    L"IPv4 or IPv6 address of the paired server", Required::yes};
inline constexpr Key ruleAction{
    L"ruleAction", KeyType::text, L"requireinrequireout",
    L"requireinrequireout, requestinrequestout, requireinrequestout, requireinclearout or noauthentication, "
    L"in lower case"};
inline constexpr Key preSharedKey{L"preSharedKey", KeyType::secret, L"",
                                  L"the key that the two servers prove themselves with (main mode)",
                                  Required::yes};
inline constexpr Key pfsSharedKey{L"pfsSharedKey", KeyType::secret, L"",
                                  L"the key for the protected channel (quick mode)", Required::yes};

inline constexpr Key ruleName{L"RULE", KeyType::text, L"", L"the rule's exact name, with its case",
                              Required::yes};
inline constexpr Key ruleMayNotExist{L"MAYNOTEXIST", KeyType::boolean, L"false",
                                     L"do not fail when there is no such rule"};

}  // namespace wsadmin::key
