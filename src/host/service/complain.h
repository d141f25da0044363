// What went wrong, on standard error.
#pragma once

#include <iostream>
#include <string>

#include "host/outcome.h"
#include "host/terminal_text.h"

namespace mfwhost {

// Answers the status.
inline int complain(hdqadmin::ExitStatus status, const std::string& sentence) {
    std::cerr << "mfwhost: " << hdqadmin::terminalText(sentence) << '\n';
    return status;
}

}  // namespace mfwhost
