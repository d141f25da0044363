// Lines of LDIF (RFC 2849).
#pragma once

#include <string>
#include <string_view>

namespace wsadmin::platform {

// "name: value" without a line end, in base64 where the value could not stand in the line as it is. Nothing
// that the value holds makes a line of its own.
std::string ldifLine(std::string_view name, std::string_view value);

}  // namespace wsadmin::platform
