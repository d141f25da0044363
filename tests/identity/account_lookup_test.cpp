// Accounts by name: which names the system is asked for, and what directories answer where there is none.
#include "identity/account_lookup.h"

#include "identity/directory_accounts.h"
#include "identity/group.h"
#include "identity/scripted_people.h"

using namespace wstest;
using namespace wsadmin;
using platform::AccountKind;

namespace {

const std::wstring twenty(20, L'u'), twentyOne(21, L'u');

TEST(UsernameToSid, AsksAgainByPrincipalNameWhereAUserIsTooLongForALogonName) {
    const struct {
        std::wstring name, changed;  // empty: asked but once
        bool asksDomains = true;     // which may have to be learnt first
    } rows[] = {
        {L"CORP\\" + twenty, L"", false},
        {L"corp\\" + twentyOne, twentyOne + L"@corp.example"},
        {L"ELSE\\" + twentyOne, twentyOne + L"@ELSE"},
        {L"OLD\\" + twentyOne, twentyOne + L"@OLD"},  // no DNS name
        {twenty + L"@CORP", L"", false},
        {twenty + L"@x@CORP", twenty + L"@x@corp.example"},  // the last "@" counts
        {twentyOne + L"@OLD", L""},
        {twentyOne, L"", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(CORE::toUtf8(row.name));
        ScriptedPeople people;
        std::vector<std::wstring> asked = {row.name};
        if (!row.changed.empty()) asked.push_back(row.changed);
        people.accounts->users = {{asked.back(), sidOf(1102)}};
        if (row.changed.empty()) people.accounts->users.clear();
        const LogCapture log;
        const auto result =
            ask<&Group::usernameToSID>(people.service, requestOf({{L"username", CORE::toUtf8(row.name)}}));
        EXPECT_EQ(people.accounts->asked, asked);
        EXPECT_EQ(people.directories->objectOpens > 0, row.asksDomains);
        EXPECT_EQ(result.utf8(L"sid"), row.changed.empty() ? "" : sidOf(1102));
        EXPECT_TRUE(result.contains(L"sid"));
        EXPECT_EQ(log.contains(CORE::logDebug, L"Account name '" + row.name + L"' changed to '" +
                                                   row.changed + L"' for sid lookup"),
                  !row.changed.empty());
    }
}

TEST(UsernameToSid, TakesUsersOnlyAndWhatCanBeLookedUp) {
    const int enough = platform::accountInsufficientBuffer;
    const struct {
        platform::AccountBufferSizes sizes;
        AccountKind kind;
        int lookUpCode;
        bool found;
    } rows[] = {
        {{enough, 28, 5}, AccountKind::user, 0, true},
        {{enough, 0, 5}, AccountKind::user, 0, false},
        {{enough, 28, 0}, AccountKind::user, 0, false},
        {{platform::accountNoServer, 28, 5}, AccountKind::user, 0, false},
        {{enough, 28, 5}, AccountKind::user, platform::accountNoneMapped, false},
        {{enough, 28, 5}, AccountKind::wellKnownGroup, 0, false},
    };
    for (const auto& row : rows) {
        ScriptedPeople people;
        people.accounts->users = {{L"alice", sidOf(1102)}};
        people.accounts->sizes = row.sizes;
        people.accounts->kind = row.kind;
        people.accounts->lookUpCode = row.lookUpCode;
        const auto result = ask<&Group::usernameToSID>(people.service, requestOf({{L"username", "alice"}}));
        EXPECT_EQ(result.utf8(L"sid"), row.found ? sidOf(1102) : "");
        EXPECT_EQ(result.getError(), 0);
    }
}

TEST(DirectoryAccounts, ABareNameIsLookedForInTheOwnDomainItsForestAndBeyond) {
    ScriptedPeople people;
    DirectoryAccounts accounts(people.domains);
    EXPECT_EQ(accounts.bufferSizesFor(L"zoe").error, platform::accountNoneMapped);
    std::vector<std::string> asked;
    for (const Asked& search : people.searches) asked.push_back(search.path);
    EXPECT_EQ(asked, (std::vector<std::string>{ScriptedPeople::corp, "LDAP://lab.corp.example",
                                               ScriptedPeople::partner}));
    people.searches.clear();
    for (const wchar_t* name : {L"OLD\\zoe", L"ELSE\\zoe", L"\\zoe"})
        EXPECT_EQ(accounts.bufferSizesFor(name).error, platform::accountNoneMapped) << name;
    EXPECT_TRUE(people.searches.empty());
    people.expectAllGivenBack();
}

}  // namespace
