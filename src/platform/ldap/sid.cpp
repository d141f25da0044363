#include "platform/ldap/sid.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "framework/core/corestring.h"

namespace wsadmin::platform {

namespace {

constexpr std::size_t headSize = 8;  // revision, count and authority
constexpr std::size_t partSize = 4;
constexpr std::size_t maxSubAuthorities = 15;
constexpr std::size_t authorityBits = 48;

std::uint64_t byteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

std::optional<std::uint64_t> number(std::string_view text, int base) {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stop != end || text.empty()) return std::nullopt;
    return value;
}

std::optional<std::uint64_t> authorityOf(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    return hexadecimal ? number(text.substr(2), 16) : number(text, 10);
}

}  // namespace

std::optional<Sid> Sid::parse(std::string_view text) {
    if (text.size() < 4 || (text[0] != 'S' && text[0] != 's') || text.substr(1, 3) != "-1-")
        return std::nullopt;
    text.remove_prefix(4);
    const auto takePiece = [&text] {
        const std::string_view piece = text.substr(0, text.find('-'));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
        return piece;
    };
    const auto parts = static_cast<std::size_t>(std::ranges::count(text, '-'));
    const auto authority = authorityOf(takePiece());
    if (parts > maxSubAuthorities || !authority || *authority >> authorityBits) return std::nullopt;
    std::string bytes;
    bytes.reserve(headSize + partSize * parts);
    bytes = {1, static_cast<char>(parts)};
    for (int shift = authorityBits - 8; shift >= 0; shift -= 8)
        bytes += static_cast<char>(*authority >> shift & 0xff);
    for (std::size_t i = 0; i < parts; ++i) {
        const auto part = number(takePiece(), 10);
        if (!part || *part > UINT32_MAX) return std::nullopt;
        for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(*part >> shift & 0xff);
    }
    return Sid(std::move(bytes));
}

std::optional<Sid> Sid::parse(std::wstring_view text) {
    return parse(std::string_view(CORE::toUtf8(text)));
}

std::optional<Sid> Sid::fromBytes(std::string_view bytes) {
    if (bytes.size() < headSize || byteAt(bytes, 0) != 1) return std::nullopt;
    const std::size_t parts = byteAt(bytes, 1);
    if (parts > maxSubAuthorities || bytes.size() != headSize + partSize * parts) return std::nullopt;
    return Sid(std::string(bytes));
}

std::string Sid::text() const {
    std::uint64_t authority = 0;
    for (std::size_t i = 2; i < headSize; ++i) authority = authority << 8 | byteAt(bytes_, i);
    std::string text;
    if (authority >> 32)
        text = CORE::toUtf8(CORE::formatText(L"S-1-0x%012llx", authority));
    else
        text = "S-1-" + std::to_string(authority);
    for (std::size_t at = headSize; at < bytes_.size(); at += partSize) {
        std::uint64_t part = 0;
        for (std::size_t i = partSize; i-- > 0;) part = part << 8 | byteAt(bytes_, at + i);
        text += '-' + std::to_string(part);
    }
    return text;
}

Sid Sid::domain() const {
    if (bytes_.size() == headSize) return *this;
    std::string bytes = bytes_.substr(0, bytes_.size() - partSize);
    --bytes[1];
    return Sid(std::move(bytes));
}

}  // namespace wsadmin::platform
