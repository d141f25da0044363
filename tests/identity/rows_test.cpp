// The plain functions of this folder over rows.jsonl.
#include "support/rows.h"
#include "identity/entitlement_records.h"
#include "identity/user_information.h"
#include "identity/user_search.h"
#include "support/manual_clock.h"

namespace {

using namespace wsadmin;
using wstest::Json;

// Of an account with this control, time of expiry and hours of the week at which logging on is allowed,
// counted from Sunday midnight. The clock stands at 10:30 UTC of 2024-01-07, a Sunday; local time is "offset"
// hours ahead.
Json accountFlags(const Json& in) {
    AccountState state{.control = in.value("control", 0), .expires = in.value("expires", std::int64_t{0})};
    if (in.contains("hours")) state.logonHours.assign(in.value("bytes", std::size_t{21}), '\0');
    for (const std::size_t hour : in.value("hours", std::vector<std::size_t>())) {
        char& byte = state.logonHours[hour / 8];
        byte = static_cast<char>(byte | 1 << hour % 8);
    }
    wstest::ManualClock clock;
    clock.advance(1'704'623'400 - std::chrono::system_clock::to_time_t(clock.now()));
    clock.localOffset = std::chrono::hours(in.value("offset", 0));
    Json flags = Json::array();
    const CORE::PropertyBag properties = accountProperties(state, clock);
    for (const CORE::BagProperty& flag : properties.props()) {
        EXPECT_EQ(flag.value, "");
        flags.push_back(flag.name);
    }
    return flags;
}

Json folder(const Json& in) {
    return directoryFolder(in.get<std::string>(), "ou=folders,dc=vdi,dc=talvex,dc=int");
}

TEST(Rows, OfPeopleAndEntitlements) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/identity/rows.jsonl",
        {{"accountFlags", accountFlags},
         {"certificate",
          [](const Json& in) {
              return wstest::orNull(certificateIdentity(in[0].get<std::string>(), in[1].get<std::string>()));
          }},
         {"folder", folder}});
}

}  // namespace
