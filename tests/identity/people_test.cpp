// People and their groups, which are looked for in the next domain where one fails at any step.
#include "identity/group.h"

#include <algorithm>

#include "identity/scripted_people.h"
#include "identity/user_search.h"

using namespace wstest;
using namespace wsadmin;

namespace {

const std::wstring noInformation = L"Unable to obtain user information from Active Directory";
const auto aliceAsked = requestOf({{L"SID", sidOf(1102)}});
constexpr char aliceDn[] = "CN=Alice,DC=corp,DC=example", alicePath[] = "LDAP://CN=Alice,DC=corp,DC=example";

std::vector<std::string> groupsOf(const CORE::PropertyBag& result) {
    std::vector<std::string> all;
    for (const CORE::BagProperty& group : result.getBag(L"group-list").props())
        all.emplace_back(group.bag->utf8(L"sid"));
    return all;
}

std::vector<DirectoryColumn> localGroup(int number) {
    return {{"distinguishedName", {DirectoryName{"CN=G" + std::to_string(number) + ",DC=corp,DC=example"}}},
            {"groupType", {static_cast<std::int32_t>(0x80000004)}},
            {"objectSID", {sidValue(number)}}};
}

// Alice, user 1102 of CORP, with these answers about her groups.
struct Alice {
    Answer token{.rows = {{{"tokenGroups", {sidValue(10), sidValue(11)}}}}};
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
    for (const std::string range : {"0-0", "0-x", "1-*"}) {
        ScriptedPeople people;
        people.answer = Alice{.token = {.rows = {{{"tokenGroups;range=" + range, {sidValue(10)}}}}}};
        const LogCapture log;
        const auto result = ask<&Group::getEntitlementGroups>(people.service, aliceAsked);
        EXPECT_EQ(result.getErrorText(), noInformation);
        EXPECT_TRUE(result.empty());
        EXPECT_TRUE(
            log.contains(CORE::logError, L"The directory gives ranges of tokenGroups that do not join"));
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
    const auto result = ask<&Group::getEntitlementGroups>(people.service, aliceAsked);
    EXPECT_EQ(groupsOf(result), (std::vector{sidOf(10), sidOf(11)}));
    EXPECT_TRUE(log.contains(CORE::logWarning, L"Failed to bind to LDAP://corp.example"));
    people.expectAllGivenBack();
}

TEST(UserGroups, EndWhereADirectoryNamesThemWithoutEnd) {
    // Whether it is the token, the minutes of each answer, and the sentence.
    for (const auto& [ofToken, minutes, sentence] :
         {std::tuple{false, 0, L"The directory gives domain local groups without end"},
          {true, 0, L"The directory gives ranges of tokenGroups without end"},
          {true, 10, L"The directory's answer takes longer than 1800000 ms (search-timeout)"}}) {
        ScriptedPeople people;
        Alice alice;
        people.answer = [&, next = 2000](const Asked& asked) mutable {
            alice.local.rows.clear();
            std::vector<DirectoryValue> groups;
            for (int i = 0; i < 1000; ++i) {
                if (!ofToken) alice.local.rows.push_back(localGroup(next));
                groups.push_back(sidValue(next++));
            }
            if (ofToken && asked.path == alicePath) {
                people.clock->advance(60 * minutes);
                const std::string& attribute = asked.attributes.front();
                const int from = attribute == "tokenGroups" ? 0 : std::stoi(attribute.substr(18));
                alice.token = {
                    .rows = {{{"tokenGroups;range=" + std::to_string(from) + "-" + std::to_string(from + 999),
                               std::move(groups)}}}};
            }
            return alice(asked);
        };
        const LogCapture log(CORE::logError);
        EXPECT_EQ(ask<&Group::getUserInformation>(people.service, aliceAsked).getErrorText(), noInformation);
        EXPECT_TRUE(log.contains(CORE::logError, sentence)) << sentence;
    }
}

TEST(UserGroups, WithoutNamesKeepTheirSids) {
    ScriptedPeople people;
    people.answer = Alice{.token = {.rows = {{{"tokenGroups", {sidValue(10), DirectoryBytes{"\1\2"}}}}}}};
    const LogCapture log(CORE::logWarning);
    const auto asked = requestOf({{L"SID", sidOf(1102)}, {L"listNames", "true"}});
    for (const int code : {0, static_cast<int>(platform::accountNoServer)}) {
        people.accounts->namesCode = code;
        const auto result = ask<&Group::getEntitlementGroups>(people.service, asked);
        EXPECT_EQ(groupsOf(result), std::vector{sidOf(10)});
        EXPECT_FALSE(result.getBag(L"group-list").getBag(L"group").contains(L"name"));
    }
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{CORE::logWarning, L"Failed to convert SID"},
                                    {CORE::logWarning, L"Failed to look up SID"},
                                    {CORE::logWarning, L"Failed to convert SID"},
                                    {CORE::logWarning, L"The names of groups cannot be looked up: scripted"},
                                    {CORE::logWarning, L"Failed to look up SID"}}));
}

// Each attempt might take the whole time-out; a certificate is looked for twice in each domain.
TEST(UserSearch, ADomainThatIsAwayOrGoesAwayIsTriedOnceARequest) {
    for (const bool opens : {false, true}) {
        SCOPED_TRACE(opens);
        ScriptedPeople people;
        people.directories->openCode = [opens](const std::string& path) {
            return opens || path != ScriptedPeople::partner ? 0 : adsServerDown;
        };
        people.answer = [&](const Asked& asked) {
            people.directories->connected = asked.path != ScriptedPeople::partner;
            return asked.path == ScriptedPeople::partner ? Answer{.code = adsTimeout} : Answer{};
        };
        const LogCapture log(CORE::logError);
        const auto certificate = requestOf({{L"subjectDN", "CN=Alice"}, {L"issuerDN", "CN=CA"}});
        EXPECT_NE(ask<&Group::getUserContext>(people.service, certificate).getError(), 0);
        EXPECT_EQ(std::ranges::count(people.searches, ScriptedPeople::catalogue, &Asked::path), 2);
        EXPECT_EQ(std::ranges::count(people.directories->opened(), ScriptedPeople::partner,
                                     &ScriptedDirectoryServices::Opened::path),
                  1);
        // That a domain is passed over is a warning of its own.
        for (const LogLine& line : log.lines()) EXPECT_FALSE(line.text.starts_with(L"Failed to search"));
    }
}

TEST(UserSearch, ANameOfTheRequestChoosesNoHost) {
    const std::string ofForest = "CN=Bob,DC=new,DC=corp,DC=example";
    const std::tuple<std::string, const char*, bool> rows[] = {
        {"CN=Alice,DC=Corp,DC=Example", "LDAP://CN=Alice,DC=Corp,DC=Example", true},
        {"CN=Eve,DC=partner,DC=example", "LDAP://CN=Eve,DC=partner,DC=example", true},
        {ofForest, ScriptedPeople::catalogue, true},
        {"CN=x,DC=127,DC=77,DC=0,DC=9", ScriptedPeople::catalogue, false},
        {"CN=x,DC=evil,DC=example", ScriptedPeople::catalogue, false},
        {"CN=x", ScriptedPeople::catalogue, false},
    };
    for (const auto& [dn, searched, found] : rows) {
        SCOPED_TRACE(dn);
        ScriptedPeople people;
        people.answer = [&](const Asked& asked) {
            const bool isOurs = asked.path != ScriptedPeople::catalogue ||
                                asked.filter == "(&(objectClass=user)(distinguishedName=" + ofForest + "))";
            return isOurs ? Answer{.rows = {{{"objectSid", {sidValue(1102)}}}}} : Answer{};
        };
        const LogCapture log(CORE::logWarning);
        EXPECT_EQ(sidForUserDn(people.domains, dn).has_value(), found);
        ASSERT_EQ(people.searches.size(), 1U);
        EXPECT_EQ(people.searches.front().path, searched);
        for (const auto& opened : people.directories->opened())
            EXPECT_EQ(opened.path.find("127"), std::string::npos) << opened.path;
        EXPECT_EQ(log.contains(CORE::logWarning,
                               L"User dn " + CORE::toWide(dn) + L" not found in Active Directory"),
                  !found);
    }
}

}  // namespace
