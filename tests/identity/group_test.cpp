// The groups of people: from the directory, and from a logon.
#include "identity/group.h"
#include "identity/scripted_people.h"

using namespace wstest;
using namespace wsadmin;
using CORE::toWide;

namespace {

const std::wstring noInformation = L"Unable to obtain user information from Active Directory";
constexpr char aliceDn[] = "CN=Alice,DC=corp,DC=example", alicePath[] = "LDAP://CN=Alice,DC=corp,DC=example";

std::vector<std::string> sids(const std::vector<int>& numbers) {
    std::vector<std::string> all;
    for (const int number : numbers) all.push_back(sidOf(number));
    return all;
}

std::vector<std::string> groupsOf(const CORE::PropertyBag& result) {
    std::vector<std::string> all;
    for (const CORE::BagProperty& group : result.getBag(L"group-list").props())
        all.emplace_back(group.bag->utf8(L"sid"));
    return all;
}

std::vector<DirectoryColumn> localGroup(int number, std::uint32_t type) {
    return {{"distinguishedName", {DirectoryName{"CN=G" + std::to_string(number) + ",DC=corp,DC=example"}}},
            {"groupType", {static_cast<std::int32_t>(type)}},
            {"objectSID", {sidValue(number)}}};
}

Answer tokenGroups(std::vector<DirectoryValue> values) {
    return {.rows = {{{"tokenGroups", std::move(values)}}}};
}

// Alice, user 1102 of CORP, with these answers about her groups.
struct Alice {
    Answer token = tokenGroups({sidValue(10), sidValue(11)});
    Answer local{};

    Answer operator()(const Asked& asked) const {
        if (asked.path == alicePath) return token;
        if (asked.path != ScriptedPeople::corp) return {};
        if (asked.filter.starts_with("(&(objectClass=group)")) return local;
        return {.rows = {{{"objectSid", {sidValue(1102)}},
                          {"distinguishedName", {std::string(aliceDn)}},
                          {"cn", {std::string("Alice")}}}}};
    }
};

TEST(UserGroups, WithoutThoseOfATokenThereIsNoAnswer) {
    const auto range = [](const std::string& values) {
        return Answer{.rows = {{{"tokenGroups;range=" + values, {sidValue(10)}}}}};
    };
    const wchar_t noJoin[] = L"The directory gives ranges of tokenGroups that do not join";
    const std::pair<Answer, std::wstring> rows[] = {
        {{}, L"User object not found in Active Directory"},
        {{.rows = {{}}, .columnCode = static_cast<int>(0x80072020)}, L"GetColumn failed, error 80072020"},
        {range("0-0"), noJoin},
        {range("0-x"), noJoin},
        {range("1-*"), noJoin},
    };
    for (const auto& [token, line] : rows) {
        SCOPED_TRACE(CORE::toUtf8(line));
        ScriptedPeople people;
        people.answer = Alice{.token = token};
        const LogCapture log;
        const auto result =
            ask<&Group::getEntitlementGroups>(people.service, requestOf({{L"SID", sidOf(1102)}}));
        EXPECT_EQ(result.getErrorText(), noInformation);
        EXPECT_TRUE(result.empty());
        EXPECT_TRUE(log.contains(CORE::logError, line));
        people.expectAllGivenBack();
    }
}

TEST(UserGroups, LocalOnesAreSkippedWhereTheConnectionIsLostBeforeThem) {
    ScriptedPeople people;
    people.answer = [&](const Asked& asked) {
        people.directories->connected = asked.path != alicePath;
        return Alice()(asked);
    };
    const LogCapture log;
    const auto result = ask<&Group::getEntitlementGroups>(people.service, requestOf({{L"SID", sidOf(1102)}}));
    EXPECT_EQ(groupsOf(result), sids({10, 11}));
    EXPECT_TRUE(log.contains(CORE::logWarning, L"Failed to bind to LDAP://corp.example"));
    people.expectAllGivenBack();
}

TEST(UserGroups, EndWhereADirectoryNamesThemWithoutEnd) {
    const struct {
        bool ofToken;
        std::chrono::minutes time;  // of each answer
        const wchar_t* sentence;
    } rows[] = {
        {false, {}, L"The directory gives domain local groups without end"},
        {true, {}, L"The directory gives ranges of tokenGroups without end"},
        {true, std::chrono::minutes(10),
         L"The directory's answer takes longer than 1800000 ms (search-timeout)"},
    };
    for (const auto& row : rows) {
        ScriptedPeople people;
        Alice alice;
        people.answer = [&, next = 2000](const Asked& asked) mutable {
            alice.local.rows.clear();
            std::vector<DirectoryValue> groups;
            for (int i = 0; i < 1000; ++i) {
                if (!row.ofToken) alice.local.rows.push_back(localGroup(next, 0x80000004));
                groups.push_back(sidValue(next++));
            }
            if (row.ofToken && asked.path == alicePath) {
                people.clock->advance(row.time);
                const std::string& attribute = asked.attributes.front();
                const int from = attribute == "tokenGroups" ? 0 : std::stoi(attribute.substr(18));
                alice.token = {
                    .rows = {{{"tokenGroups;range=" + std::to_string(from) + "-" + std::to_string(from + 999),
                               std::move(groups)}}}};
            }
            return alice(asked);
        };
        const LogCapture log(CORE::logError);
        EXPECT_EQ(ask<&Group::getUserInformation>(people.service, requestOf({{L"SID", sidOf(1102)}}))
                      .getErrorText(),
                  noInformation);
        EXPECT_TRUE(log.contains(CORE::logError, row.sentence)) << row.sentence;
    }
}

TEST(UserGroups, WithoutNamesKeepTheirSids) {
    ScriptedPeople people;
    people.answer = Alice{.token = tokenGroups({sidValue(10), DirectoryBytes{"\1\2"}})};
    const LogCapture log(CORE::logWarning);
    const auto asked = requestOf({{L"SID", sidOf(1102)}, {L"listNames", "true"}});
    for (const int code : {0, static_cast<int>(platform::accountNoServer)}) {
        people.accounts->namesCode = code;
        const auto result = ask<&Group::getEntitlementGroups>(people.service, asked);
        EXPECT_EQ(groupsOf(result), sids({10}));
        EXPECT_FALSE(result.getBag(L"group-list").getBag(L"group").contains(L"name"));
    }
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{CORE::logWarning, L"Failed to convert SID"},
                                    {CORE::logWarning, L"Failed to look up SID"},
                                    {CORE::logWarning, L"Failed to convert SID"},
                                    {CORE::logWarning, L"The names of groups cannot be looked up: scripted"},
                                    {CORE::logWarning, L"Failed to look up SID"}}));
}

TEST(TokenGroups, OfALogonOrASentence) {
    using platform::LogonStep, platform::TokenStep;
    const std::string own = sidOf(1102), given = sidOf(9);
    const std::vector<std::string> groups = sids({10, 11});
    const ScriptedToken sound{.user = own, .groups = groups}, none{.openCode = 5};
    const auto failing = [&](std::optional<TokenStep> user, std::optional<TokenStep> ofGroups) {
        return ScriptedToken{.user = own, .groups = groups, .userFails = user, .groupsFail = ofGroups};
    };
    const std::wstring here = L"Group::getUserTokenGroups: ", noLogon = L"Failed to get login token",
                       noSize = L"Failed to get token groups size",
                       noData = L"Failed to get lookup token groups";
    const std::vector<LogLine> loggedOn = {
        {CORE::logDebug, L"Group::untrustedLogon: LSA logon succeeded"},
        {CORE::logDebug, here + L"Found user token group: " + toWide(groups[0])},
        {CORE::logDebug, here + L"Found user token group: " + toWide(groups[1])}};
    const struct {
        ScriptedToken token;
        std::string asked, ownSid;    // the SID of the request, and the one that is answered
        std::wstring sentence, line;  // the line after those of the logon
        std::size_t lines;            // of these
        LogonStep step = LogonStep::logon;
    } rows[] = {
        {sound, given, own, L"", L"", 3},
        {failing(TokenStep::size, {}), given, given, L"", L"", 3},
        {failing(TokenStep::data, {}), "", "", L"", here + L"Unable to determine user's SID", 3},
        {failing({}, TokenStep::size), given, "", noSize, here + noSize + L" - scripted", 1},
        {failing({}, TokenStep::data), given, "", noData, here + noData + L" - scripted", 1},
        {none, "", "", noLogon, L"LsaConnectUntrusted failed - scripted", 0, LogonStep::connect},
        {none, "", "", noLogon, L"LsaLookupAuthenticationPackage failed - scripted", 0, LogonStep::package},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(CORE::toUtf8(row.line));
        ScriptedPeople people;
        people.accounts->logon = row.token;
        people.accounts->logonStep = row.step;
        const LogCapture log;
        const auto result = ask<&Group::getUserTokenGroups>(
            people.service, requestOf({{L"upn", "a@x"}, {L"includeUserSID", "true"}, {L"SID", row.asked}}));
        EXPECT_EQ(result.getErrorText(), row.sentence);
        std::vector<std::string> answered, expected;
        for (const CORE::BagProperty& group : result.props()) answered.emplace_back(group.value);
        if (row.sentence.empty()) expected = groups;
        if (!row.ownSid.empty()) expected.push_back(row.ownSid);
        EXPECT_EQ(answered, expected);
        std::vector<LogLine> lines = loggedOn;
        lines.resize(row.lines);
        if (!row.line.empty())
            lines.push_back({row.sentence.empty() ? CORE::logWarning : CORE::logError, row.line});
        EXPECT_EQ(log.lines(), lines);
        EXPECT_EQ(people.accounts->asked, std::vector<std::wstring>{L"a@x for ws_admin::group"});
        people.expectAllGivenBack();
    }
}

}  // namespace
