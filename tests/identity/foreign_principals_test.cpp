// The copy of people's names beside their SIDs.
#include "identity/foreign_principals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "identity/handlers.h"
#include "identity/pod_lab.h"
#include "support/log_capture.h"
#include "support/scripted_accounts.h"
#include "support/scripted_ldap.h"

using namespace wstest;
using namespace wsadmin;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

std::string principal(int number, const std::string& more = {}) {
    return "dn: CN=" + sidOf(number) + ",CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int\n" +
           "objectClass: foreignSecurityPrincipal\nobjectSid: " + sidOf(number) + "\n" + more + "\n";
}

std::string user(int number, const std::string& more = {}) {
    const std::string name = "u" + std::to_string(number);
    return "dn: CN=" + name + ",DC=corp,DC=example\nobjectClass: user\nsAMAccountName: " + name +
           "\nobjectSid: " + sidOf(number) + "\n" + more + "\n";
}

std::vector<std::string> descriptions(const PodLab& lab, int number) {
    const auto session = lab.platform->ldap->open({}).value();
    EXPECT_TRUE(session->bind({}));
    const auto found = session->search(
        {.base = "CN=" + sidOf(number) + ",CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int",
         .scope = LdapScope::base,
         .filter = "(objectClass=*)"});
    return found && !found->entries.empty() ? found->entries.front().all("description")
                                            : std::vector<std::string>{"no entry"};
}

CORE::PropertyBag updateSingle(const PodLab& lab, const std::string& username) {
    return updateSingleUserFSP(*lab.service, requestOf(L"username", {username}));
}

TEST(ForeignPrincipals, AUsersCopyIsRefreshed) {
    PeopleLab lab({.pod = principal(7,
                                    "description: a note\ndescription: user=old\ndescription: CN=other\n"
                                    "description: MAIL=x\n"),
                   .corp = user(7, "givenName: Uma\nsn: \xc3\x84hre\nmail: u7@corp.example\n") + user(8)});
    for (const char* time : {"first", "second"}) {
        SCOPED_TRACE(time);
        const LogCapture log;
        const auto answer = updateSingle(lab, "CORP\\u7");
        EXPECT_EQ(answer.getErrorText(), L"");
        EXPECT_TRUE(answer.empty());
        EXPECT_THAT(
            descriptions(lab, 7),
            UnorderedElementsAre("a note", "MAIL=x", "USER=u7", "DOMAIN=corp.example",
                                 "EMAIL=u7@corp.example", "DISPLAYNAME=corp.example\\u7", "GIVENNAME=Uma",
                                 "SN=\xc3\x84hre", "CN=u7", "DISTINGUISHEDNAME=CN=u7,DC=corp,DC=example"));
        EXPECT_TRUE(
            log.contains(CORE::logDebug, L"SID " + CORE::toWide(sidOf(7)) + L" found for user CORP\\u7"));
        EXPECT_TRUE(
            log.contains(CORE::logDebug, L"FSP DN = cn=" + CORE::toWide(sidOf(7)) +
                                             L",cn=ForeignSecurityPrincipals,dc=vdi,dc=talvex,dc=int"));
        EXPECT_EQ(lab.counts->changes, time == std::string("first") ? 10 : 0);  // two values were replaced
        lab.counts->forget();
    }
    lab.closeBindings();
    EXPECT_EQ(lab.counts->live, 0);
}

TEST(ForeignPrincipals, ASingleOneSaysWhyItCouldNot) {
    const auto accounts = std::make_shared<ScriptedAccounts>();
    accounts->users = {{L"u7", sidOf(7)}, {L"u8", sidOf(8)}, {L"ghost", sidOf(9)}};
    const struct {
        const char *username, *faults;
        std::wstring sentence;
        int code = 0;
    } rows[] = {
        {"nobody", "", L"Cannot find user nobody"},
        {"", "", L"Cannot find user "},
        {"ghost", "", L"Failed to update FSP (Unable to obtain user information from Active Directory)"},
        {"u8", "", L"Failed to update FSP (FSP not found)"},
        {"u7", "refuse-connections = true", L"Failed to update FSP (LDAP not initialized)", 81},
        {"u7", "die-after-operations = 0", L"Failed to update FSP (FSP not found)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.username);
        PeopleLab lab({.pod = principal(7), .corp = user(7) + user(8), .podFaults = row.faults});
        lab.platform->accounts = accounts;
        const auto answer = updateSingle(lab, row.username);
        EXPECT_EQ(answer.getErrorText(), row.sentence);
        EXPECT_EQ(answer.getError(), 1);
        EXPECT_EQ(answer.getInt(L"ldaperr"), row.code);
        EXPECT_EQ(lab.counts->changes, 0);
        lab.closeBindings();
        EXPECT_EQ(lab.counts->live, 0);
    }
}

TEST(ForeignPrincipals, AllAreThoseOfTheFirstPage) {
    constexpr int all = 300, page = 250;
    std::string principals, people;
    int found = 0;
    for (int number = 1; number <= all; ++number) {
        principals += principal(number);
        if (number % 10 == 0) continue;  // has left the company
        people += user(number);
        if (number <= page) ++found;
    }
    PeopleLab lab({.pod = principals, .corp = people});
    lab.service->domainMap->getDomainMap(true);
    lab.counts->forget();
    const LogCapture log;
    const auto answer = updateAllUserFSPs(*lab.service, {});
    EXPECT_EQ(answer.getErrorText(), L"");
    EXPECT_TRUE(answer.empty());
    EXPECT_EQ(lab.counts->changes, found * 8);
    // The page, and what finding its people takes: nothing a principal.
    EXPECT_EQ(lab.counts->searchesFor("(objectclass=foreignSecurityPrincipal)"), 1);
    EXPECT_LT(lab.counts->searches().size(), 20U);
    for (const int number : {1, 9, 249}) EXPECT_EQ(descriptions(lab, number).size(), 8U) << number;
    for (const int number : {10, 250, 251, 299, 300})
        EXPECT_THAT(descriptions(lab, number), ElementsAre()) << number;
    EXPECT_TRUE(log.contains(CORE::logDebug, L"AD user details obtained for SID " + CORE::toWide(sidOf(9))));
    EXPECT_TRUE(
        log.contains(CORE::logWarning, L"Failed to get AD user details for SID " + CORE::toWide(sidOf(10))));

    lab.counts->forget();
    EXPECT_EQ(updateAllUserFSPs(*lab.service, {}).getError(), 0);
    EXPECT_EQ(lab.counts->changes, 0);
    lab.closeBindings();
    EXPECT_EQ(lab.counts->live, 0);
}

TEST(ForeignPrincipals, AllSayWhyTheyCouldNot) {
    const std::pair<const char*, std::wstring> rows[] = {
        {"refuse-connections = true", L"Failed to bind to LDAP - Server Down"},
        {"die-after-operations = 0", L"Failed to search for Foreign Security Principals - Server Down"},
    };
    for (const auto& [faults, sentence] : rows) {
        PeopleLab lab({.pod = principal(7), .corp = user(7), .podFaults = faults});
        EXPECT_EQ(updateAllUserFSPs(*lab.service, {}).getErrorText(), sentence);
    }
}

// One answer of a scripted directory for one principal.
TEST(UpdateFsp, SaysWhyItCouldNot) {
    CORE::PropertyBag named;
    named.set(L"fspDN", L"cn=x");
    const struct {
        const char* what;
        bool session;
        CORE::PropertyBag information;
        ScriptedAnswer answer;
        std::wstring sentence;
        std::vector<LogLine> logged;
    } rows[] = {
        {"no session", false, named, {}, L"LDAP not initialized", {}},
        {"no name", true, {}, {}, L"No FSP DN was specified for the operation", {}},
        {"search fails",
         true,
         named,
         {.waitCode = ldapBusy},
         L"FSP not found",
         {{CORE::logError, L"Failed to find FSP - cn=x Busy (51)."}}},
        {"no entry", true, named, {}, L"FSP entry not found", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const LogCapture log(CORE::logError);
        ScriptedSession session;
        session.answers = {row.answer};
        const auto done = updateFsp(row.session ? &session : nullptr, row.information);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().text, row.sentence);
        EXPECT_EQ(log.lines(), row.logged);
        EXPECT_TRUE(session.modifies.empty());
    }
}

TEST(UpdateFsp, WritesAllTagsInOrderAlsoWithoutValues) {
    CORE::PropertyBag information;
    information.set(L"fspDN", L"cn=x");
    information.set(L"account-name", L"uma");  // of no domain
    ScriptedSession session;
    session.answers = {{.entries = {entry("CN=X")}}};
    ASSERT_TRUE(updateFsp(&session, information));
    std::vector<std::string> written;
    for (const ModifyCall& call : session.modifies) {
        EXPECT_EQ(call.dn, "CN=X");
        EXPECT_EQ(call.attribute, "description");
        EXPECT_EQ(call.operation, LdapModify::add);
        written.push_back(call.values.at(0));
    }
    EXPECT_THAT(written, ElementsAre("USER=uma", "DOMAIN=", "EMAIL=", "DISPLAYNAME=uma",
                                     "GIVENNAME=", "SN=", "CN=", "DISTINGUISHEDNAME="));
}

}  // namespace
