// Keys that many operations share.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr Key textMessage{L"textmessage", KeyType::text, L"",
                                 L"the sentence that tells of the success"};

inline constexpr Key directoryError{L"ldaperr", KeyType::integer, L"",
                                    L"when the directory could not be opened: the LDAP result code"};

// Of operations that change the configuration directory, and of those that answer nothing but a failure to
// open it.
inline constexpr Key changeResult[] = {textMessage, directoryError};
inline constexpr Key silentResult[] = {directoryError};

}  // namespace wsadmin::row
