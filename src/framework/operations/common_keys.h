// Keys that many operations share.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr KeyInfo textMessage{L"textmessage", L"text", L"", L"the sentence that tells of the success"};

inline constexpr KeyInfo directoryError{L"ldaperr", L"integer", L"",
                                        L"when the directory could not be opened: the LDAP result code"};

// Of operations that change the configuration directory, and of those that answer nothing but a failure to
// open it.
inline constexpr KeyInfo changeResult[] = {textMessage, directoryError};
inline constexpr KeyInfo silentResult[] = {directoryError};

}  // namespace wsadmin::row
