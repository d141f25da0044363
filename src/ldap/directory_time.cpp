#include "ldap/directory_time.h"

#include <chrono>
#include <cmath>

#include "platform/module/module_log.h"

namespace wsadmin {

using namespace std::chrono;

std::int64_t parseLdapTime(std::string_view text) {
    const auto number = [text](std::size_t from, std::size_t digits) {
        int value = 0;
        for (std::size_t i = from; i < from + digits; ++i)
            value = value * 10 + (i < text.size() ? text[i] - '0' : 0);
        return value;
    };
    const int yearNumber = number(0, 4), monthNumber = number(4, 2), dayNumber = number(6, 2);
    const int hour = number(8, 2), minute = number(10, 2), second = number(12, 2);
    logDebug(L"Parsed LDAP time from remote server is %04d%02d%02d%02d%02d%02d.", yearNumber, monthNumber,
             dayNumber, hour, minute, second);
    const year_month month = year{yearNumber} / January + months{monthNumber - 1};
    const sys_days day = sys_days{month / 1d} + days{dayNumber - 1};
    return sys_seconds{day + hours{hour} + minutes{minute} + seconds{second}}.time_since_epoch().count();
}

std::wstring formatDisplayTime(double automationDate) {
    constexpr double firstDay = -657434.0;   // 0100-01-01
    constexpr double endOfTime = 2958466.0;  // 10000-01-01
    constexpr double secondsOfDay = 86400.0;
    if (!(automationDate > firstDay - 1 && automationDate < endOfTime)) return {};
    // The fraction is the time of day also before the epoch: -1.25 is six o'clock on 1899-12-29.
    const double dayPart = std::trunc(automationDate);
    const auto ofDay =
        static_cast<std::int64_t>(std::llround(std::abs(automationDate - dayPart) * secondsOfDay));
    const sys_days epoch = 1899y / December / 30d;
    const sys_seconds time = sys_seconds{epoch + days{static_cast<int>(dayPart)}} + seconds{ofDay};
    if (time >= sys_seconds{sys_days{10000y / January / 1d}}) return {};
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    return CORE::formatText(L"%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                            static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                            clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

}  // namespace wsadmin
