// Times as the directory and automation have them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wsadmin {

// Generalised time: the first fourteen characters, taken as UTC and not validated (what is missing counts as
// zero; a month 13 is the next January). Seconds since 1970-01-01 UTC.
std::int64_t parseLdapTime(std::string_view text);

// An automation date (days since 1899-12-30) as "2015-03-01 12:30:45 UTC"; empty when it is no date of the
// years 100 to 9999.
std::wstring formatDisplayTime(double automationDate);

}  // namespace wsadmin
