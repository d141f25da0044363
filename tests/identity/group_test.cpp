// The groups of people: from the directory, and from a logon.
#include "identity/group.h"
#include "identity/scripted_people.h"

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
        EXPECT_EQ(ask<&Group::getUserInformation>(people.service, aliceAsked).getErrorText(), noInformation);
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

}  // namespace
