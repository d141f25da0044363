// Keys of requests and results of the operations on the federation.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key lastError{
    L"QuorinLastError", KeyType::text, L"",
    L"with an error: the code of the step that failed, such as QRV_OP_NO_PERMISSION"};

inline constexpr Key sourceServer{L"servername", KeyType::text, L"",
                                  L"a connection server that is in the federation already", Required::yes};
inline constexpr Key sourceUser{L"sourceusername", KeyType::text, L"",
                                L"an account that may administer it, as DOMAIN\\user"};
inline constexpr Key sourcePassword{L"sourcepassword", KeyType::encrypted, L"",
                                    L"that account's password; the tool encrypts what @FILE and @- read"};

inline constexpr Key podName{L"podname", KeyType::text, L"",
                             L"display name of the pod, as qrvLdapInfo lists it", Required::yes};
inline constexpr Key podEndpoint{L"podEndpoint", KeyType::text, L"",
                                 L"the connection server's name, as qrvLdapInfo lists it", Required::yes};
inline constexpr Key podEndpointHost{L"podEndpointFQHN", KeyType::text, L"", L"its fully qualified host name",
                                     Required::yes};

}  // namespace wsadmin::key
