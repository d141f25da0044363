// The plain functions of this folder over rows.jsonl.
#include <limits>

#include "ldap/directory_time.h"
#include "ldap/domain_config.h"
#include "ldap/domain_map.h"
#include "ldap/layout.h"
#include "ldap/name_value.h"
#include "platform/directory_services.h"
#include "support/log_capture.h"
#include "support/rows.h"
#include "support/scripted_ldap.h"

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

// Of domains, each with its short name, DNS name, root naming context, stated trust, and whether it lists the
// primary one: who is reached how, the health of each, and what is logged on the way.
Json domainMap(const Json& in) {
    const auto wide = [](const Json& text) { return CORE::toWide(text.get<std::string>()); };
    DomainSurvey survey;
    survey.primaryDns = wide(in["primary"][0]);
    survey.primaryRoot = in["primary"][1];
    for (const Json& one : in["domains"])
        survey.domains.push_back({wide(one[0]), wide(one[1]), one[2], wide(one[3]), one[4]});
    const wstest::LogCapture log;
    const CORE::PropertyBag map = renderDomainMap(survey);
    EXPECT_TRUE(log.contains(CORE::logVerbose,
                             L"Result from buildDomainMap is " + map.flattenForDisplay(L"\r\n").str()));
    Json outcome = Json::array();
    for (const wchar_t* part : {L"primaryDomain", L"allDomains", L"trustedDomains"})
        outcome.push_back(CORE::toUtf8(map.getBag(part).flattenForDisplay(L" ")));
    for (const CORE::BagProperty& health : map.getBag(L"domainHealth").props())
        outcome.push_back(CORE::toUtf8(health.bag->flattenForDisplay(L" ")));
    for (const wstest::LogLine& line : log.lines())
        if (line.level != CORE::logVerbose) outcome.push_back(CORE::toUtf8(line.text));
    return outcome;
}

// Whether a pair was set, the code of the call that failed, and what was deleted (-) and added (+) for it; or
// what is logged.
Json pair(const Json& in) {
    wstest::ScriptedSession session;
    session.onModify = [&in](const wstest::ModifyCall& call) {
        return in.value(call.operation == platform::LdapModify::remove ? "deleteCode" : "addCode", 0);
    };
    const wstest::LogCapture log;
    const auto set =
        setNameValue(session, wstest::entry(in.value("dn", "cn=desk"), {{"pairs", in["present"]}}), "pairs",
                     in["set"][0].get<std::string>(), in["set"][1].get<std::string>());
    Json outcome = {set.changed, set.code}, lines = Json::array();
    for (const wstest::ModifyCall& call : session.modifies) {
        EXPECT_EQ(call.dn + " " + call.attribute, "cn=desk pairs");
        const char* sign = call.operation == platform::LdapModify::remove ? "-" : "+";
        for (const std::string& value : call.values) outcome.push_back(sign + value);
    }
    for (const wstest::LogLine& line : log.lines())
        lines.push_back(CORE::toUtf8(CORE::logLevelName(line.level)) + " " + CORE::toUtf8(line.text));
    return in.contains("log") ? lines : outcome;
}

TEST(Rows, OfTheDirectory) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/ldap/rows.jsonl",
        {{"ldapTime", [](const Json& in) { return parseLdapTime(in.get<std::string>()); }},
         {"displayTime", [](const Json& in) { return CORE::toUtf8(formatDisplayTime(in)); }},
         {"serverEntry", [](const Json& in) { return layout::serverEntry(in.get<std::string>()); }},
         {"federationCopy", [](const Json& in) { return layout::federationCopy(in.get<std::string>()); }},
         {"dnsName", [](const Json& in) { return CORE::toUtf8(dnsNameOf(in.get<std::string>())); }},
         {"listInForce", listInForce},
         {"domainMap", domainMap},
         {"pair", pair},
         {"code", [](const Json& in) {
              return CORE::toUtf8(
                  platform::adsCodeText(static_cast<int>(std::stoul(in.get<std::string>(), nullptr, 16))));
          }}});
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
