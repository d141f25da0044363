// What is answered and logged when the directory cannot be opened, or a paged search fails at one of its
// steps.
#include <gtest/gtest.h>

#include "machines/handlers.h"
#include "machines/machines_lab.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"

namespace {

using namespace wstest;

using Handler = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);

TEST(MachinesWithoutDirectory, AnswerTheCodeToo) {
    const struct {
        Handler handler;
        Attributes request;
    } rows[] = {
        {getMachineInfo, {}},
        {setVMOwnership, {{"desktop", "sales"}, {"machineName", "vm1"}, {"sid", sidOf(1001)}}},
        {markMachineForSpaceReclamation, {{"desktopName", "sales"}, {"machineName", "vm1"}}},
        {getMachineAgentInfo, {{"desktopName", "sales"}}},
        {setMachineAgentInfo, {{"desktopName", "sales"}, {"machineName", "vm1"}}},
        {getUnentitledMachines, {}},
        {getUnentitledPolicies, {}},
        {setDefaultDesktop, {{"username", "CORP\\alice"}, {"desktopname", "one"}}},
    };
    PeopleLab lab(officeWith(""));
    for (const auto& row : rows) {
        auto client = std::make_shared<ScriptedClient>();
        client->openCode = ldapServerDown;
        lab.platform->ldap = client;
        const auto answer = row.handler(*lab.service, bagOf(row.request));
        EXPECT_EQ(textOf(answer), "! Failed to establish LDAP connection on this server - Server Down");
        EXPECT_EQ(answer.getInt(L"ldaperr"), ldapServerDown);
        EXPECT_EQ(client->opened, 1);
    }
}

TEST(PagedSearches, HaveASentenceForEachStep) {
    const std::vector<LdapEntry> some = {entry(machineDn("vm1"), {{"zre-DisplayName", {"vm1"}}})};
    const struct {
        ScriptedAnswer answer;
        std::string sentence, ofMachines;
        std::wstring line;
    } rows[] = {
        {{.sendCode = 83},
         "! Failed to construct search",
         "! Failed to construct search for machines",
         L"Failed to construct search - Encoding Error (83)."},
        {{.waitCode = 51}, "! Failed to perform search", "! Failed to search for machines", L"Busy (51)."},
        {{.waitCode = 84},
         "! Failed to obtain result from search",
         "! Failed to obtain result when searching for machines",
         L"Failed to obtain result - Decoding Error (84)."},
        {{.entries = some},
         "! Failed to obtain paged result from search",
         "! Failed to obtain paged result when searching for machines",
         L"Failed to obtain paged result - Specified control was not found in message (93)."},
    };
    PeopleLab lab(officeWith(""));
    for (const auto& row : rows)
        for (const Handler handler : {getMachineInfo, getUnentitledMachines, getUnentitledPolicies}) {
            auto client = std::make_shared<ScriptedClient>();
            client->session->answers = {pageAnswer(some, "more"), row.answer};
            lab.platform->ldap = client;
            const LogCapture log(CORE::logError);
            const auto answer = handler(*lab.service, {});
            EXPECT_EQ(textOf(answer), handler == getUnentitledMachines ? row.ofMachines : row.sentence);
            EXPECT_TRUE(answer.empty()) << "nothing of the first page";
            ASSERT_FALSE(log.lines().empty()) << row.sentence;
            EXPECT_NE(log.lines().back().text.find(row.line), std::wstring::npos) << row.sentence;
        }
}

}  // namespace
