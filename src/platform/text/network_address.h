// Addresses of machines as people type them.
#pragma once

#include <string_view>

namespace wsadmin::platform {

// An IPv4 or IPv6 address, in full and without a port or a zone.
bool isIpAddress(std::string_view text);
// An IPv4 or IPv6 address, or a DNS name: labels of letters, digits, "-" and "_", up to 63 characters each
// and 253 in all.
bool isNetworkAddress(std::string_view text);
// This machine itself: nothing, "localhost" or a loopback address. No other name is: whoever answers DNS says
// what it means.
bool isThisMachine(std::string_view host);

}  // namespace wsadmin::platform
