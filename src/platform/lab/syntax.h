// Attribute syntaxes: how values are checked, stored, compared and written for people.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "framework/core/corestring.h"

namespace wsadmin::platform::lab {

enum class Syntax : std::uint8_t { text, integer, largeInteger, boolean, time, dn, octets, sid, guid };

std::optional<Syntax> syntaxOfName(std::string_view name);  // as schema files name them
std::string_view syntaxName(Syntax syntax);

using CORE::foldText;
bool equalFolded(std::string_view a, std::string_view folded);  // the second is folded already
// In quotation marks, for sentences.
std::wstring inQuotes(std::string_view text);

// The stored form of a value that a client or a file gives: numbers, times and flags in one spelling, SIDs
// and GUIDs in binary. Nothing when it is no value of that syntax. Names (dn) need a directory and are not
// handled here.
std::optional<std::string> storedValue(Syntax syntax, std::string_view value);
// Whether a stored value equals, and how it compares to (-1, 0, 1), another stored one. For text the second
// is folded.
bool sameValue(Syntax syntax, std::string_view stored, std::string_view key);
int compareValues(Syntax syntax, std::string_view stored, std::string_view key);
// What stored values are looked up by: equal values have equal keys.
std::string matchKey(Syntax syntax, std::string_view stored);
// As a file shows it: SIDs and GUIDs as text.
std::string readableValue(Syntax syntax, std::string_view stored);

std::optional<std::string> guidFromText(std::string_view text);
std::string guidToText(std::string_view binary);

using Seconds = std::chrono::sys_seconds;
std::string timeToText(Seconds time);  // "20240101000000.0Z"
std::optional<Seconds> timeFromText(std::string_view text);

}  // namespace wsadmin::platform::lab
