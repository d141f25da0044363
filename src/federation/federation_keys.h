// Keys of requests and results of the operations on the federation.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key lastError{
    L"QuorinLastError", KeyType::text, L"",
    L"with an error: the code of the step that failed, such as QRV_OP_NO_PERMISSION"};

}  // namespace wsadmin::key
