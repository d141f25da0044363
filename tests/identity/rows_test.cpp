// The plain functions of this folder, and what it asks of accounts and their tokens, over rows.jsonl.
#include "support/rows.h"
#include "identity/account_names.h"
#include "identity/admin_permission.h"
#include "identity/entitlement_records.h"
#include "identity/foreign_principals.h"
#include "identity/group.h"
#include "identity/pod_lab.h"
#include "identity/scripted_people.h"
#include "identity/user_information.h"
#include "identity/user_search.h"
#include "support/scripted_ldap.h"

namespace {

using namespace wsadmin;
using namespace wstest;
using CORE::toUtf8, CORE::toWide;

// Of an account with this control, time of expiry and hours of the week at which logging on is allowed,
// counted from Sunday midnight. The clock stands at 10:30 UTC of 2024-01-07, a Sunday; local time is "offset"
// hours ahead.
Json accountFlags(const Json& in) {
    AccountState state{.control = in.value("control", 0), .expires = in.value("expires", std::int64_t{0})};
    if (in.contains("hours")) state.logonHours.assign(in.value("bytes", std::size_t{21}), '\0');
    for (const std::size_t hour : in.value("hours", std::vector<std::size_t>())) {
        char& byte = state.logonHours[hour / 8];
        byte = static_cast<char>(byte | 1 << hour % 8);
    }
    ManualClock clock;
    clock.advance(1'704'623'400 - std::chrono::system_clock::to_time_t(clock.now()));
    clock.localOffset = std::chrono::hours(in.value("offset", 0));
    Json flags = Json::array();
    const CORE::PropertyBag properties = accountProperties(state, clock);
    for (const CORE::BagProperty& flag : properties.props()) {
        EXPECT_EQ(flag.value, "");
        flags.push_back(flag.name);
    }
    return flags;
}

Json folder(const Json& in) {
    return directoryFolder(in.get<std::string>(), "ou=folders,dc=vdi,dc=talvex,dc=int");
}

// The SID of a name, of which the system has an account if it is "known", and what it was asked for;
// "domains" where these had to be learnt.
Json userSid(const Json& in) {
    ScriptedPeople people;
    ScriptedAccounts& accounts = *people.accounts;
    accounts.users = {{toWide(in.value("known", std::string())), sidOf(1102)}};
    const Json sizes = in.value("sizes", Json{122, 28, 5});
    accounts.sizes = {.error = sizes[0], .sid = sizes[1], .domain = sizes[2]};
    accounts.kind = static_cast<AccountKind>(in.value("kind", 1));
    accounts.lookUpCode = in.value("lookUpCode", 0);
    const LogCapture log;
    const auto answer = ask<&Group::usernameToSID>(people.service, requestOf({{L"username", in["name"]}}));
    EXPECT_TRUE(answer.contains(L"sid") && answer.getError() == 0);
    Json outcome = {answer.utf8(L"sid")};
    for (const std::wstring& name : accounts.asked) outcome.push_back(toUtf8(name));
    for (const LogLine& line : log.lines())
        if (line.text.starts_with(L"Account name")) outcome.push_back(toUtf8(line.text));
    if (people.directories->objectOpens > 0) outcome.push_back("domains");
    return outcome;
}

// None where there is nothing of that name.
ScriptedToken tokenOf(const Json& in, const char* name) {
    if (!in.contains(name)) return {.openCode = accountNoToken};
    const Json& token = in[name];
    ScriptedToken made{.openCode = token.value("openCode", 0),
                       .user = token.value("user", sidOf(1)),
                       .groups = token.value("groups", std::vector<std::string>())};
    const std::map<std::string, TokenStep> steps = {
        {"size", TokenStep::size}, {"memory", TokenStep::memory}, {"data", TokenStep::data}};
    if (token.contains("userFails")) made.userFails = steps.at(token["userFails"]);
    if (token.contains("groupsFail")) made.groupsFail = steps.at(token["groupsFail"]);
    return made;
}

// Whether a request without SIDs may administer, and how many tokens were opened for it; the account is the
// one that binds.
Json permission(const Json& in) {
    PeopleLab lab({.pod = "dn: CN=Masters,OU=Groups,DC=vdi,DC=talvex,DC=int\nobjectClass: zre-AdminRole\n"
                          "zre-AdminRolePermissions: Full=Allow\nmember: <SID=S-1-5-21-2000-2000-2000-1>\n",
                   .corp = "dn: CN=Member,DC=corp,DC=example\nobjectClass: user\nsAMAccountName: member\n"
                           "objectSid: S-1-5-21-2000-2000-2000-50\n"
                           "tokenGroups: S-1-5-21-2000-2000-2000-1\n"});
    const auto accounts = std::make_shared<ScriptedAccounts>();
    accounts->users = {
        {L"CORP\\master", sidOf(1)}, {L"CORP\\member", sidOf(50)}, {L"CORP\\stranger", sidOf(9)}};
    accounts->thread = tokenOf(in, "thread");
    accounts->process = tokenOf(in, "process");
    lab.platform->accounts = accounts;
    lab.platform->directoryAccount = toWide(in.value("account", std::string()));
    const auto answer = ask<&AdminPermission::check>(*lab.service, {});
    lab.known.close();
    EXPECT_EQ(accounts->tokensOpen + lab.counts->live, 0);
    EXPECT_EQ(answer.getError(), answer.get(L"result") == L"OK" ? 0 : 1);
    return {std::string(answer.utf8(L"result")) + toUtf8(answer.getErrorText()), accounts->tokensOpened};
}

// The sentence of a logon that fails, or its SIDs; and what is logged.
Json logon(const Json& in) {
    ScriptedPeople people;
    people.accounts->logon = tokenOf(in, "token");
    people.accounts->logonStep = in.value("connects", true) ? LogonStep::package : LogonStep::connect;
    const LogCapture log;
    const auto answer = ask<&Group::getUserTokenGroups>(
        people.service,
        requestOf({{L"upn", "a@x"}, {L"includeUserSID", "true"}, {L"SID", in.value("sid", std::string())}}));
    EXPECT_EQ(people.accounts->asked, std::vector<std::wstring>{L"a@x for ws_admin::group"});
    Json outcome = {toUtf8(answer.getErrorText())};
    for (const CORE::BagProperty& sid : answer.props()) outcome.push_back(sid.value);
    for (const LogLine& line : log.lines())
        outcome.push_back(toUtf8(CORE::logLevelName(line.level)) + " " + toUtf8(line.text));
    people.expectAllGivenBack();
    return outcome;
}

// The sentence of a failed update of a name's copy, and what was written for a user of no domain; the cases
// have the rest.
Json updateCopy(const Json& in) {
    ScriptedSession session;
    session.answers = {ScriptedAnswer{}};
    if (in.value("found", true)) session.answers[0].entries = {entry("CN=X")};
    session.onModify = [&in](const ModifyCall& call) {
        EXPECT_EQ(call, (ModifyCall{"CN=X", LdapModify::add, "description", call.values}));
        return in.value("code", 0);
    };
    CORE::PropertyBag information;
    information.set(L"fspDN", std::string_view(in.value("dn", std::string("cn=x"))));
    information.set(L"account-name", L"uma");
    const auto done = updateFsp(session, information);
    Json outcome = {done ? "" : toUtf8(done.error().text)};
    for (const ModifyCall& call : session.modifies) outcome.push_back(call.values.at(0));
    return outcome;
}

TEST(Rows, OfPeopleAndEntitlements) {
    tryRows(WS_SOURCE_DIR "/tests/identity/rows.jsonl",
            {{"accountFlags", accountFlags},
             {"certificate",
              [](const Json& in) {
                  return orNull(certificateIdentity(in[0].get<std::string>(), in[1].get<std::string>()));
              }},
             {"folder", folder},
             {"userSid", userSid},
             {"permission", permission},
             {"logon", logon},
             {"updateCopy", updateCopy},
             {"accountCode", [](const Json& in) { return toUtf8(accountErrorText(in)); }}});
}

// A value of another type than its column should have is as good as none.
TEST(EntitlementRecords, ValuesOfAnotherTypeCountAsMissing) {
    DirectoryRow row;
    row.set("cn", {DirectoryName{"CN=x"}});
    row.set("zre-DisplayName", {1});
    row.set("zre-Disabled", {"1"});
    row.set("zre-AdminFolderDN", {"OU=Sales,OU=Folders,DC=vdi,DC=talvex,DC=int"});
    row.set("distinguishedName", {"CN=x,DC=y"});
    row.set("zre-EntitlementType", {std::int64_t{1}});
    EXPECT_EQ(render(entitlementOf(row)).flattenForDisplay(L"|"),
              L"cn=|display-name=|description=|folder=/|status=enabled");
    EXPECT_EQ(render(globalEntitlementOf(row)).flattenForDisplay(L"|"),
              L"display-name=|description=|status=enabled|etitlement-type=floating");
    EXPECT_EQ(render(adminRoleOf(row)).flattenForDisplay(L"|"),
              L"cn=|display-name=|description=|status=enabled");
}

}  // namespace
