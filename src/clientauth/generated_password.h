// Passwords that the system makes up for client devices. They are weak: the seed is the time in seconds, so
// whoever knows the minute in which an account was made has sixty candidates. The same time gives the same
// password on every platform.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "framework/core/corestring.h"

namespace wsadmin {

inline constexpr std::string_view passwordAlphabet =
    "1234567890!@#$^%*abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

// 16 characters, the first four of them an upper-case letter, a lower-case letter, a digit and a special
// character. Nothing where the alphabet has fewer than 64 characters.
std::optional<CORE::secretstring> generatePassword(std::uint32_t seed,
                                                   std::string_view alphabet = passwordAlphabet);

}  // namespace wsadmin
