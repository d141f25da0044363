// Identifiers of client devices: what is accepted, and how it is kept. An identifier is also the name of the
// device's account.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wsadmin {

// Always among the prefixes of accepted identifiers.
inline constexpr std::wstring_view customPrefix = L"custom-";
inline constexpr std::size_t longestIdentifier = 20;  // of a logon name

// The identifier as it is kept: what begins with one of the prefixes (case does not count) as it stands, the
// address of a network card, with or without a leading "cm-", as "cm-" and the address with underscores.
// Nothing for any other text.
std::optional<std::wstring> keptIdentifier(std::wstring_view given,
                                           const std::vector<std::wstring>& prefixes);

}  // namespace wsadmin
