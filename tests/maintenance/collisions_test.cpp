// What a directory does only when it is broken or hostile, and how much is asked of a large one; the rest are
// cases.
#include "maintenance/collisions.h"

#include <gtest/gtest.h>

#include <map>

#include "lab/directory_fixture.h"
#include "support/counting_ldap.h"
#include "support/log_capture.h"
#include "support/sanitizers.h"
#include "support/scripted_ldap.h"
#include "support/test_service.h"

using namespace wstest;

namespace {

void askOf(const std::shared_ptr<LdapClient>& client, bool resolving) {
    const auto platform = std::make_shared<Platform>();
    platform->ldap = client;
    TestService service(platform);
    CORE::PropertyBag request;
    request.setBool(L"resolveCollisions", resolving);
    const auto answer = ask<&Collisions::showAndResolveLDAPCollisions>(service, request);
    EXPECT_TRUE(answer.empty());
    EXPECT_EQ(answer.getError(), 0);
}

// The log of a request that resolves, from the root entry on; before it a conflict entry was found.
std::vector<LogLine> resolve(
    std::vector<ScriptedAnswer> answers,
    std::function<void(ScriptedSession&)> prepare = [](ScriptedSession&) {}) {
    const auto client = std::make_shared<ScriptedClient>();
    client->session->answers = {pageAnswer({entry("CN=a\\0ACNF:1,DC=x")}, ""), pageAnswer({}, "")};
    for (ScriptedAnswer& answer : answers) client->session->answers.push_back(std::move(answer));
    prepare(*client->session);
    const LogCapture log;
    askOf(client, true);
    return log.lines();
}

bool hasLine(const std::vector<LogLine>& lines, std::wstring_view text) {
    return std::ranges::any_of(lines,
                               [text](const LogLine& line) { return line.text.find(text) != text.npos; });
}

const ScriptedAnswer root{.entries = {entry("", {{"schemaNamingContext", {"CN=Schema"}}})}};
const ScriptedAnswer schema{
    .entries = {entry("CN=Member,CN=Schema", {{"cn", {"Member"}}, {"linkID", {"2"}}}),
                entry("CN=Is-Member,CN=Schema", {{"cn", {"back"}}, {"linkID", {"3"}}})}};

TEST(Collisions, WithoutTheNameOfTheSchemaNothingIsDone) {
    for (const ScriptedAnswer& answer : {ScriptedAnswer{}, ScriptedAnswer{.entries = {entry("")}}}) {
        const auto lines = resolve({answer});
        EXPECT_TRUE(hasLine(lines, L"Unable to obtain schemaNamingConext value"));
        EXPECT_FALSE(hasLine(lines, L"removed."));
    }
}

TEST(Collisions, AnAttributeThatHasNoValueLeftIsDone) {
    const auto lines = resolve(
        {root,
         schema,
         pageAnswer(
             {entry("CN=group,DC=x", {{"member;range=0-0", {"CN=x\\0ADEL:1,CN=Deleted Objects,DC=x"}}})}, ""),
         {.entries = {entry("CN=group,DC=x")}},
         pageAnswer({}, "")});
    EXPECT_FALSE(hasLine(lines, L"Failed to read"));
    EXPECT_TRUE(hasLine(lines, L"1 collision entry removed."));
}

// Each range brings another reference that can be removed, so that the reading would start over for ever.
TEST(Collisions, ADirectoryThatInventsReferencesIsGivenUp) {
    std::vector<ScriptedAnswer> answers = {root, schema};
    const auto range = [](int i) {
        return std::vector<LdapAttribute>{
            {"member;range=0-0", {"CN=x" + std::to_string(i) + "\\0ADEL:1,CN=Deleted Objects,DC=x"}}};
    };
    answers.push_back(pageAnswer({entry("CN=group,DC=x", range(0))}, ""));
    for (int i = 1; i < 100; ++i) answers.push_back({.entries = {entry("CN=group,DC=x", range(i))}});
    std::size_t modified = 0;
    const auto lines = resolve(std::move(answers), [&modified](ScriptedSession& session) {
        session.most.entries = 10;
        session.onModify = [&modified](const ModifyCall& call) {
            EXPECT_EQ(call.attribute, "member");
            ++modified;
            return 0;
        };
    });
    EXPECT_EQ(modified, 10U);
    EXPECT_TRUE(
        hasLine(lines, L"Failed to read member of CN=group,DC=x - The directory's answer has more than 10"));
}

// The text for each number, in place of "#"; "$" is the pod's suffix.
std::string series(int first, int last, std::string_view text) {
    std::string all;
    for (int number = first; number <= last; ++number)
        for (const char c : text)
            all += c == '#'   ? std::to_string(number)
                   : c == '$' ? "DC=vdi,DC=talvex,DC=int"
                              : std::string(1, c);
    return all;
}

constexpr int machines = underSanitizer ? 10'000 : 100'000;

// Machines; 50 conflict entries, of which 25 have lost their name to another entry and 25 can have it
// back; 500 references: each conflict entry has six of attributes of one value, and 200 values of one
// attribute, which comes in ranges, are 50 conflict entries and 150 deleted ones.
std::string largePod() {
    constexpr std::string_view conflictValue = "seeAlso: CN=pool#\\0ACNF:#,$\n",
                               deletedValue = "seeAlso: CN=gone#\\0ADEL:#,CN=Deleted Objects,$\n";
    return "dn: CN=Deleted Objects,DC=vdi,DC=talvex,DC=int\nobjectClass: container\nisDeleted: TRUE\n\n" +
           series(1, 150,
                  "dn: CN=gone#\\0ADEL:#,CN=Deleted Objects,$\nobjectClass: zre-VM\nisDeleted: TRUE\n\n") +
           series(1, machines, "dn: CN=vm#,$\nobjectClass: zre-VM\n\n") +
           series(1, 25, "dn: CN=pool#,$\nobjectClass: zre-ServerPool\n\n") +
           series(1, 50, "dn: CN=pool#\\0ACNF:#,$\nobjectClass: zre-ServerPool\n\n") +
           series(1, 50,
                  "dn: CN=app#,$\nobjectClass: zre-DesktopApplication\nzre-DN: CN=pool#\\0ACNF:#,$\n"
                  "zre-Target: CN=pool#\\0ACNF:#,$\nzre-Origin: CN=pool#\\0ACNF:#,$\n"
                  "zre-NDDN: CN=pool#\\0ACNF:#,$\nzre-MemberDNOf: CN=pool#\\0ACNF:#,$\n"
                  "zre-AdminFolderDN: CN=pool#\\0ACNF:#,$\n\n") +
           "dn: CN=ranged,DC=vdi,DC=talvex,DC=int\nobjectClass: zre-DesktopApplication\n" +
           series(1, 50, conflictValue) + series(1, 50, deletedValue) +
           series(1, 1700, "seeAlso: CN=vm#,$\n") + series(51, 150, deletedValue) +
           series(1701, 3000, "seeAlso: CN=vm#,$\n");
}

TEST(Collisions, OfALargePodTakeTheSearchesThatTheyNeed) {
    platform::lab::DirectorySettings settings;
    settings.suffixes = {"DC=vdi,DC=talvex,DC=int"};
    platform::lab::TestDirectory directory(largePod(), settings);
    ASSERT_TRUE(directory.loaded);
    const auto counts = std::make_shared<PortCalls>();
    const auto client = std::make_shared<CountingLdapClient>(
        std::shared_ptr<LdapClient>(std::shared_ptr<void>(), &directory.network), counts);
    constexpr int pages = machines / 1000 + 1, references = 50 * 6 + 200;
    // Of a free name one rename; of a taken one a rename that fails, and two changes where the attribute has
    // other values, one where it has none.
    constexpr int repairs = 25 + 25 * (1 + 2) + 25 * 6 * (1 + 1), removals = 150, deletions = 25;
    const struct {
        bool resolving;
        int logged, pages, ranges, changes;
    } rows[] = {
        {false, references, pages, 2, 0},
        // The first range changes, and then the reading starts over; after that the second one.
        {true, references - 25 * 6, 2 * pages, 5, repairs + removals + deletions},
        {true, 0, pages, 2, 0},
    };
    for (const auto& row : rows) {
        counts->restart();
        const LogCapture log;
        askOf(client, row.resolving);
        std::map<std::string, int> searches;
        for (const LdapSearch& search : counts->searches()) ++searches[search.filter];
        EXPECT_EQ(std::exchange(searches["objectClass=*"], 1), row.pages + 1);  // one of deleted entries
        EXPECT_EQ(std::exchange(searches["(objectClass=*)"], 1), row.ranges);
        for (const auto& [filter, count] : searches) EXPECT_EQ(count, 1) << filter;
        EXPECT_TRUE(searches.contains("(seeAlso=*)") && searches.contains("(zre-Target=*)"));
        EXPECT_EQ(counts->changes, row.changes);
        EXPECT_EQ(std::ranges::count_if(
                      log.lines(),
                      [](const LogLine& line) { return line.text.find(L" contains ") != line.text.npos; }),
                  row.logged);
    }
}

}  // namespace
