// Text from a directory, a file or a command line on its way to a terminal, which must not obey what it
// holds.
#pragma once

#include <string>
#include <string_view>

namespace hdqadmin {

// UTF-8 with control characters, also those beyond ASCII, as \xNN; each line end becomes `lineEnd`. What is
// not valid UTF-8 becomes U+FFFD.
std::string terminalText(std::string_view text, std::string_view lineEnd = "\n");

}  // namespace hdqadmin
