// People are looked for in the next domain where one fails at any step.
#include "identity/user_search.h"

#include <algorithm>

#include "identity/group.h"
#include "identity/scripted_people.h"

using namespace wstest;
using namespace wsadmin;

namespace {

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
    const struct {
        std::string dn;
        const char* searched;  // path
        bool found;
    } rows[] = {
        {"CN=Alice,DC=Corp,DC=Example", "LDAP://CN=Alice,DC=Corp,DC=Example", true},
        {"CN=Eve,DC=partner,DC=example", "LDAP://CN=Eve,DC=partner,DC=example", true},
        {ofForest, ScriptedPeople::catalogue, true},
        {"CN=x,DC=127,DC=77,DC=0,DC=9", ScriptedPeople::catalogue, false},
        {"CN=x,DC=evil,DC=example", ScriptedPeople::catalogue, false},
        {"CN=x", ScriptedPeople::catalogue, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.dn);
        ScriptedPeople people;
        people.answer = [&](const Asked& asked) {
            const bool isOurs = asked.path != ScriptedPeople::catalogue ||
                                asked.filter == "(&(objectClass=user)(distinguishedName=" + ofForest + "))";
            return isOurs ? Answer{.rows = {{{"objectSid", {sidValue(1102)}}}}} : Answer{};
        };
        const LogCapture log(CORE::logWarning);
        EXPECT_EQ(sidForUserDn(people.domains, row.dn).has_value(), row.found);
        ASSERT_EQ(people.searches.size(), 1U);
        EXPECT_EQ(people.searches.front().path, row.searched);
        for (const auto& opened : people.directories->opened())
            EXPECT_EQ(opened.path.find("127"), std::string::npos) << opened.path;
        EXPECT_EQ(log.contains(CORE::logWarning,
                               L"User dn " + CORE::toWide(row.dn) + L" not found in Active Directory"),
                  !row.found);
    }
}

}  // namespace
