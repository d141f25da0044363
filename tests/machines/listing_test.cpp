// What a long listing asks of the domains, and how its searches fail.
#include "machines/machine_listing.h"

#include <algorithm>

#include "identity/pod_lab.h"
#include "identity/scripted_people.h"
#include "ldap/layout.h"
#include "machines/machine_operations.h"
#include "machines/unentitled_reports.h"
#include "support/scripted_ldap.h"

namespace {

using namespace wstest;

TEST(MachineListing, ADomainThatCannotBeReachedIsTriedOnce) {
    ScriptedPeople people;
    people.directories->openCode = [](const std::string& path) {
        return path == ScriptedPeople::partner ? adsServerDown : 0;
    };
    MachineListing listing(people.domains, true);
    constexpr int ownersPerPage = 1000, pages = 3;  // each page is a look-up of its own
    for (int page = 0; page < pages; ++page) {
        std::vector<LdapEntry> machines;
        for (int i = 0; i < ownersPerPage; ++i)
            machines.push_back(
                entry("CN=vm", {{layout::attribute::ownerSid, {sidOf(page * ownersPerPage + i + 1)}}}));
        listing.add(std::move(machines));
    }
    EXPECT_EQ(listing.finish().size(), static_cast<std::size_t>(pages * ownersPerPage));
    const auto opened = people.directories->opened();
    EXPECT_EQ(std::ranges::count(opened, ScriptedPeople::partner, &ScriptedDirectoryServices::Opened::path),
              1);
    EXPECT_GE(std::ranges::count(people.searches, ScriptedPeople::corp, &Asked::path), pages);
    people.expectAllGivenBack();
}

// The codes of a paged search that only the client's own library gives; the server's are cases.
using Question = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);

TEST(PagedSearches, HaveASentenceForEachStep) {
    const std::vector<LdapEntry> some = {entry("CN=vm1,OU=Servers,DC=vdi,DC=talvex,DC=int")};
    const struct {
        ScriptedAnswer answer;
        std::wstring sentence, ofMachines;
        std::wstring line;
    } rows[] = {
        {{.sendCode = 83},
         L"Failed to construct search",
         L"Failed to construct search for machines",
         L"Failed to construct search - Encoding Error (83)."},
        {{.entries = some},
         L"Failed to obtain paged result from search",
         L"Failed to obtain paged result when searching for machines",
         L"Failed to obtain paged result - Specified control was not found in message (93)."},
        {{.controls = {{.oid = controls::pagedResults, .value = "\x30\x7f"}}},
         L"Failed to obtain paged result from search",
         L"Failed to obtain paged result when searching for machines",
         L"Failed to obtain paged result - Decoding Error (84)."},
        {{.sendCode = ldapServerDown},
         L"Failed to perform search",
         L"Failed to search for machines",
         L"Server Down (81)."},
    };
    PeopleLab lab(PodContent{});
    for (const auto& row : rows)
        for (const Question handler : {ask<&Machine::getMachineInfo>, ask<&Unentitled::getUnentitledMachines>,
                                       ask<&Unentitled::getUnentitledPolicies>}) {
            const auto client = std::make_shared<ScriptedClient>();
            client->session->answers = {pageAnswer(some, "more"), row.answer};
            lab.platform->ldap = client;
            const LogCapture log(CORE::logError);
            const auto answer = handler(*lab.service, {});
            EXPECT_EQ(answer.getErrorText(),
                      handler == ask<&Unentitled::getUnentitledMachines> ? row.ofMachines : row.sentence);
            EXPECT_TRUE(answer.empty()) << "nothing of the first page";
            ASSERT_FALSE(log.lines().empty()) << row.sentence;
            EXPECT_NE(log.lines().back().text.find(row.line), std::wstring::npos) << row.sentence;
        }
}

}  // namespace
