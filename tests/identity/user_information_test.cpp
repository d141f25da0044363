#include "identity/user_information.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/manual_clock.h"

namespace {

using namespace wsadmin;

// 2024-01-07 was a Sunday. The clock stands at 10:30 of it, UTC.
constexpr std::int64_t sunday = 1'704'623'400;
constexpr std::int64_t ticksPerSecond = 10'000'000;

std::int64_t ticksAt(std::int64_t seconds) {
    return (seconds + 11'644'473'600) * ticksPerSecond;
}

// Hours of the week at which logging on is allowed, counted from Sunday midnight.
std::string hours(std::initializer_list<int> allowed) {
    std::string bits(21, '\0');
    for (const int hour : allowed) {
        char& byte = bits[static_cast<std::size_t>(hour / 8)];
        byte = static_cast<char>(byte | 1 << hour % 8);
    }
    return bits;
}

std::wstring flags(const AccountState& state, int localOffset = 0) {
    wstest::ManualClock clock;
    clock.advance(sunday - std::chrono::system_clock::to_time_t(clock.now()));
    clock.localOffset = std::chrono::hours(localOffset);
    const CORE::PropertyBag properties = accountProperties(state, clock);
    std::wstring names;
    for (const CORE::BagProperty& flag : properties.props())
        names += CORE::toWide(flag.name) + L"=" + CORE::toWide(flag.value) + L" ";
    return names;
}

TEST(AccountProperties, AreTheFlagsThatApply) {
    constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();
    const struct {
        AccountState state;
        const wchar_t* flags;
    } rows[] = {
        {{}, L""},
        {{.control = 0x200}, L"normal-user-account= "},
        {{.control = 0x2 | 0x200}, L"normal-user-account= account-disabled= "},
        {{.control = 0x40000 | 0x10}, L"smartcard-required= account-locked-out= "},
        {{.control = 0x800000}, L"password-expired= "},
        {{.control = 0x1 | 0x4 | 0x8 | 0x20 | 0x10000}, L""},
        {{.expires = never}, L""},
        {{.expires = 0}, L""},
        {{.expires = ticksAt(sunday)}, L"account-expired= "},
        {{.expires = ticksAt(sunday + 1)}, L""},
        {{.expires = 1}, L"account-expired= "},
        {{.logonHours = hours({10})}, L""},
        {{.logonHours = hours({9, 11, 10 + 24})}, L"account-outside-logon-hours= "},
        {{.logonHours = std::string(20, '\0')}, L""},  // no week
    };
    for (const auto& row : rows)
        EXPECT_EQ(flags(row.state), row.flags) << row.state.control << " " << row.state.expires;
}

TEST(AccountProperties, LogonHoursUseTheServersLocalTime) {
    const AccountState midday{.logonHours = hours({12})}, saturdayNight{.logonHours = hours({6 * 24 + 23})};
    EXPECT_EQ(flags(midday, 2), L"");
    EXPECT_EQ(flags(midday, 0), L"account-outside-logon-hours= ");
    EXPECT_EQ(flags(saturdayNight, -11), L"");
}

TEST(UserInformation, LeavesOutWhatIsEmpty) {
    const wstest::ManualClock clock;
    const UserInformation user{.cn = L"Alice", .mail = L"a@b", .accountName = L"alice"};
    EXPECT_EQ(renderUserInformation(user, clock).flattenForDisplay().str(),
              L"cn=Alice, mail=a@b, account-name=alice, account-properties={}");
}

}  // namespace
