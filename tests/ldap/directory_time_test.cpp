#include "ldap/directory_time.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/log_capture.h"

using namespace wsadmin;

namespace {

TEST(DirectoryTime, ParsesTheFirstFourteenCharactersAsUtc) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"19700101000000.0Z", 0},        {"20150301123045.0Z", 1425213045},
        {"20150301123045", 1425213045},  {"20150301123045.999+0500", 1425213045},
        {"19691231235959Z", -1},         {"20160229000000Z", 1456704000},
        {"20151301000000Z", 1451606400}, {"20150229000000Z", 1425168000},  // carried over, not refused
    };
    for (const auto& [text, seconds] : cases) EXPECT_EQ(parseLdapTime(text), seconds) << text;
    EXPECT_NO_THROW(static_cast<void>(parseLdapTime("")));
    EXPECT_NO_THROW(
        static_cast<void>(parseLdapTime("\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff")));
}

TEST(DirectoryTime, LogsWhatItParsed) {
    const wstest::LogCapture log;
    parseLdapTime("20150301123045.0Z");
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Parsed LDAP time from remote server is 20150301123045."));
}

TEST(DirectoryTime, DisplaysAutomationDates) {
    const std::pair<double, std::wstring> cases[] = {
        {0.0, L"1899-12-30 00:00:00 UTC"},
        {-1.25, L"1899-12-29 06:00:00 UTC"},
        {42064.521354166667, L"2015-03-01 12:30:45 UTC"},
        {1.9999999, L"1900-01-01 00:00:00 UTC"},  // rounds to the next second, and so to the next day
        {-657434.0, L"0100-01-01 00:00:00 UTC"},
        {2958465.99998842, L"9999-12-31 23:59:59 UTC"},
        {2958465.9999999, L""},
        {2958466.0, L""},
        {-657435.0, L""},
        {1e300, L""},
        {std::numeric_limits<double>::quiet_NaN(), L""},
        {std::numeric_limits<double>::infinity(), L""},
    };
    for (const auto& [date, text] : cases) EXPECT_EQ(formatDisplayTime(date), text) << date;
}

}  // namespace
