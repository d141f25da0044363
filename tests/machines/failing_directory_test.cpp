// The codes of a paged search that only the client's own library gives; the server's are cases.
#include <gtest/gtest.h>

#include "identity/pod_lab.h"
#include "machines/machine_operations.h"
#include "machines/unentitled_reports.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"

namespace {

using namespace wstest;

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
    };
    PeopleLab lab({});
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
