// The plain functions of this folder over rows.jsonl.
#include <limits>

#include "ldap/directory_time.h"
#include "ldap/domain_config.h"
#include "ldap/domain_map.h"
#include "support/log_capture.h"
#include "support/rows.h"

namespace {

using namespace wsadmin;
using wstest::Json;

Json listInForce(const Json& in) {
    const std::set<std::string> given = in;
    const std::vector<std::wstring> some = {L"x.example"};
    const auto list = [&](const char* name) {
        return given.contains(name) ? some : std::vector<std::wstring>{};
    };
    DomainFilters filters;
    filters.thisBroker = L"vcs1";
    filters.cluster = {.include = list("clusterInclude"), .exclude = list("clusterExclude"), .search = some};
    filters.brokers = {
        {L"VCS2", L"", {.include = some, .exclude = some}},  // another broker's lists do not count
        {L"VCS1", L"", {.include = list("brokerInclude"), .exclude = list("brokerExclude")}}};
    return CORE::toUtf8(effectiveList(filters));
}

TEST(Rows, OfTheDirectory) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/ldap/rows.jsonl",
        {{"ldapTime", [](const Json& in) { return parseLdapTime(in.get<std::string>()); }},
         {"displayTime", [](const Json& in) { return CORE::toUtf8(formatDisplayTime(in)); }},
         {"dnsName", [](const Json& in) { return CORE::toUtf8(dnsNameOf(in.get<std::string>())); }},
         {"listInForce", listInForce}});
}

TEST(DirectoryTime, IsLoggedAndMayBeNonsense) {
    const wstest::LogCapture log;
    parseLdapTime("20150301123045.0Z");
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Parsed LDAP time from remote server is 20150301123045."));
    EXPECT_NO_THROW(static_cast<void>(parseLdapTime("")));
    EXPECT_NO_THROW(static_cast<void>(parseLdapTime(std::string(14, '\xff'))));
    EXPECT_EQ(formatDisplayTime(std::numeric_limits<double>::quiet_NaN()), L"");
    EXPECT_EQ(formatDisplayTime(std::numeric_limits<double>::infinity()), L"");
}

}  // namespace
