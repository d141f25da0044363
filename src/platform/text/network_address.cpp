#include "framework/core/ascii.h"
#include "framework/core/asio_parts.h"  // first: it says how asio allocates
//
#include "platform/text/network_address.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <string>

namespace wsadmin::platform {

namespace {

constexpr std::size_t longestName = 253, longestLabel = 63;

bool isLabelCharacter(char c) {
    return CORE::isAsciiAlphanumeric(c) || c == '-' || c == '_';
}

bool isLabel(std::string_view label) {
    return !label.empty() && label.size() <= longestLabel && label.front() != '-' && label.back() != '-' &&
           std::ranges::all_of(label, isLabelCharacter);
}

bool isDnsName(std::string_view text) {
    if (text.size() > longestName) return false;
    bool digitsOnly = false;  // the last label of a name is never a number: that is an address with a mistake
    for (std::size_t at = 0; at <= text.size();) {
        const auto end = std::min(text.find('.', at), text.size());
        const std::string_view label = text.substr(at, end - at);
        if (!isLabel(label)) return false;
        digitsOnly = std::ranges::all_of(label, [](char c) { return c >= '0' && c <= '9'; });
        at = end + 1;
    }
    return !digitsOnly;
}

}  // namespace

// The libraries take more than addresses: some a port ("10.0.0.1:80") or fewer numbers ("10.1"), some any
// words behind a "%".
bool isIpAddress(std::string_view text) {
    const bool isSix = text.find(':') != std::string_view::npos;
    const std::string_view allowed = isSix ? "0123456789abcdefABCDEF:." : "0123456789.";
    if (text.find_first_not_of(allowed) != std::string_view::npos) return false;
    if (!isSix && std::ranges::count(text, '.') != 3) return false;
    asio::error_code error;
    if (isSix)
        asio::ip::make_address_v6(std::string(text), error);
    else
        asio::ip::make_address_v4(std::string(text), error);
    return !error;
}

bool isNetworkAddress(std::string_view text) {
    return isIpAddress(text) || isDnsName(text);
}

bool isThisMachine(std::string_view host) {
    if (host.empty() || CORE::equalAscii(host, "localhost")) return true;
    if (!isIpAddress(host)) return false;
    const auto address = asio::ip::make_address(host);
    const bool mapped = address.is_v6() && address.to_v6().is_v4_mapped();
    return mapped ? asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).is_loopback()
                  : address.is_loopback();
}

}  // namespace wsadmin::platform
