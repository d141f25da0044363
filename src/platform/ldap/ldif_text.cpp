#include "platform/ldap/ldif_text.h"

#include <algorithm>

namespace wsadmin::platform {

namespace {

std::string encodeBase64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t at) {
            return at < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[at])) : 0U;
        };
        const unsigned bits = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        for (int shift = 18; shift >= 0; shift -= 6) out += digits[bits >> shift & 63];
    }
    const std::size_t padding = (3 - bytes.size() % 3) % 3;
    return out.replace(out.size() - padding, padding, padding, '=');
}

bool plainInLdif(std::string_view value) {
    if (value.empty()) return true;
    if (value.front() == ' ' || value.front() == ':' || value.front() == '<' || value.back() == ' ')
        return false;
    return std::all_of(value.begin(), value.end(), [](char c) {
        return c != '\0' && c != '\n' && c != '\r' && static_cast<unsigned char>(c) < 0x80;
    });
}

}  // namespace

std::string ldifLine(std::string_view name, std::string_view value) {
    const std::string line(name);
    if (!plainInLdif(value)) return line + ":: " + encodeBase64(value);
    return value.empty() ? line + ":" : line + ": " + std::string(value);
}

}  // namespace wsadmin::platform
