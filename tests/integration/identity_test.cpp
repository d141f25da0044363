// Who people are: the same questions to a real domain and to a lab of the same people
// (tests/servers/corp.ldif), with the tools of both builds.
#include <gtest/gtest.h>

#include <algorithm>

#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

using Lines = std::vector<std::string>;

const std::string domainSid = "S-1-5-21-2000-2000-2000-";
const std::string domainUsers = domainSid + "513", builtinUsers = "S-1-5-32-545";

// A bag as lines "key/key=value", sorted: the order of groups is the server's own.
void flatten(const nlohmann::ordered_json& bag, const std::string& path, Lines& lines) {
    for (const auto& entry : bag) {
        const std::string name = path + entry[0].get<std::string>();
        if (entry[1].is_array())
            flatten(entry[1], name + "/", lines);
        else
            lines.push_back(name + "=" + entry[1].get<std::string>());
    }
}

Lines linesOf(const Answer& answer) {
    if (const std::string sentence = answer.errorText(); !sentence.empty()) return {"! " + sentence};
    Lines lines;
    flatten(answer.json.at("result"), "", lines);
    std::ranges::sort(lines);
    return lines;
}

std::string sid(int rid) {
    return domainSid + std::to_string(rid);
}

std::string dnOf(const std::string& name) {
    return "CN=" + name + ",OU=Staff,DC=corp,DC=example";
}

struct Case {
    Request request;
    Lines answer;
};

Case bySam(const std::string& name, int rid) {
    return {{"usernameToSID", {{"username", name}}}, {"sid=" + (rid ? sid(rid) : "")}};
}

Case byUpn(const std::string& upn, int rid) {
    if (rid == 0)
        return {{"upnToSid", {{"upn", upn}}},
                {"! Failed to obtain sid for user with specified upn (upn=" + upn + ")"}};
    return {{"upnToSid", {{"upn", upn}}}, {"SID=" + sid(rid)}};
}

// What getUserInformation says of a user who is in no group but everybody's.
Case information(const std::string& name, const std::string& account, int rid, const Lines& flags) {
    Lines lines = {"account-name=" + account,
                   "cn=" + name,
                   "dn=" + dnOf(name),
                   "domain=CORP",
                   "domain-full=corp.example",
                   "group-list/group/name=BUILTIN\\Users",
                   "group-list/group/name=CORP\\Domain Users",
                   "group-list/group/sid=" + domainUsers,
                   "group-list/group/sid=" + builtinUsers,
                   "sid=" + sid(rid),
                   "user-principal-name=" + account + "@corp.example"};
    for (const std::string& flag : flags) lines.push_back("account-properties/" + flag + "=");
    std::ranges::sort(lines);
    return {{"getUserInformation", {{"dn", dnOf(name)}}}, lines};
}

Case refusedLogon(const std::string& upn) {
    return {{"getUserTokenGroups", {{"upn", upn}}}, {"! Failed to get login token"}};
}

// The SIDs of Carol's groups, reached through three levels.
Lines carolsGroups(const std::string& key, const Lines& more = {}) {
    Lines lines;
    for (const std::string& group : {sid(1109), sid(1110), sid(1111), sid(1112), domainUsers, builtinUsers})
        lines.push_back(key + "=" + group);
    lines.insert(lines.end(), more.begin(), more.end());
    std::ranges::sort(lines);
    return lines;
}

Case context(const Request& request, Lines lines) {
    for (const std::string& group : {domainUsers, builtinUsers})
        lines.push_back("group-list/group/sid=" + group);
    std::ranges::sort(lines);
    return {request, lines};
}

std::vector<Case> cases() {
    const std::string operation = "getEntitlementGroups", noSid = "! Failed to obtain sid for user ";
    const Request carol{"getUserContext",
                        {{"SID", sid(1104)}, {"listNames", "true"}, {"includeUserSID", "true"}}};
    return {
        bySam("CORP\\alice", 1102),
        bySam("alice@corp.example", 1102),
        bySam("ALICE", 1102),
        bySam("corp.example\\alice", 1102),
        bySam("bob@mail.example", 1103),
        bySam("CORP\\abcdefghijklmnopqrst", 1105),   // twenty characters are a logon name
        bySam("CORP\\bcdefghijklmnopqrstuv", 1106),  // twenty-one are a principal name
        bySam("bcdefghijklmnopqrstuv@CORP", 1106),
        bySam("bcdefghijklmnopqrstuv@ELSEWHERE", 0),
        bySam("CORP\\Sales", 0),  // a group
        bySam("CORP\\Local Staff", 0),
        bySam("DC1$", 0),  // a computer
        bySam("SYSTEM", 0),
        bySam("CORP\\nobody", 0),
        bySam("CORP\\*", 0),
        bySam("CORP\\alice)(cn=*", 0),
        bySam("", 0),

        byUpn("alice@corp.example", 1102),
        byUpn("alice@CORP", 1102),
        byUpn("bob@mail.example", 1103),  // a suffix that is no domain's
        byUpn("alice@vdi.talvex.int", 0),
        byUpn("bob@corp.example/x", 0),
        byUpn("*@corp.example", 0),
        byUpn("alice", 0),
        {{"upnToSid", {}}, {"! No UPN specified"}},

        information("Name of Twenty", "abcdefghijklmnopqrst", 1105, {"normal-user-account"}),
        information("Dora Disabled", "dora", 1107, {"normal-user-account", "account-disabled"}),
        information("Erin Expired", "erin", 1108,
                    {"normal-user-account", "account-expired", "account-outside-logon-hours"}),
        information("Sonja Smartcard", "sonja", 1113, {"normal-user-account", "smartcard-required"}),
        information("Lotte Locked", "lotte", 1114, {"normal-user-account", "account-locked-out"}),
        information("Hugo Hourless", "hugo", 1115, {"normal-user-account", "account-outside-logon-hours"}),
        {{"getUserInformation", {{"dn", dnOf("Nobody")}}},
         {"! Failed to obtain sid for user with dn=" + dnOf("Nobody")}},
        {{"getUserInformation", {{"dn", "CN=Sales,OU=AppGroups,DC=corp,DC=example"}}},
         {"! Failed to obtain sid for user with dn=CN=Sales,OU=AppGroups,DC=corp,DC=example"}},
        {{"getUserInformation", {}}, {"! Failed to obtain sid for user with dn="}},
        {{"getUserInformation", {{"SID", sid(1109)}}},
         {"! Unable to obtain user information from Active Directory"}},
        {{"getUserInformation", {{"SID", "*"}}},
         {"! Unable to obtain user information from Active Directory"}},

        {{"getUserTokenGroups", {{"upn", "carol@corp.example"}}}, carolsGroups("groupSID")},
        {{"getUserTokenGroups", {{"upn", "carol@corp.example"}, {"includeUserSID", "true"}}},
         carolsGroups("groupSID", {"groupSID=" + sid(1104)})},
        {{"getUserTokenGroups", {}}, {"! Failed to obtain UPN for user"}},
        refusedLogon("dora@corp.example"),
        refusedLogon("erin@corp.example"),
        refusedLogon("lotte@corp.example"),
        refusedLogon("hugo@corp.example"),
        refusedLogon("Sales@corp.example"),
        refusedLogon("nobody@corp.example"),

        {{operation, {{"dn", dnOf("Carol Cole")}}}, carolsGroups("group-list/group/sid")},
        context({operation, {{"upn", "nobody@corp.example"}, {"upn", "alice@corp.example"}}}, {}),
        context(
            {operation, {{"subjectDN", "CN=Alice, O=Corp, C=EX"}, {"issuerDN", "CN=Corp CA, O=Corp, C=EX"}}},
            {}),
        // Bob's certificate is mapped by its subject alone, whoever issued it; Alice's is not.
        {{operation,
          {{"subjectDN", "CN=Bob,O=Corp,C=EX"}, {"issuerDN", "CN=Any CA"}, {"includeUserSID", "1"}}},
         {"group-list/group/sid=" + sid(1103), "group-list/group/sid=" + sid(1111),
          "group-list/group/sid=" + sid(1112), "group-list/group/sid=" + domainUsers,
          "group-list/group/sid=" + builtinUsers}},
        {{operation, {{"subjectDN", "CN=Alice,O=Corp,C=EX"}, {"issuerDN", "CN=Any CA"}}},
         {noSid + "with subject=CN=Alice,O=Corp,C=EX issuer=CN=Any CA"}},
        {{operation, {{"upn", "x@corp.example"}, {"upn", "y"}}},
         {noSid + "with specified upns (first upn=x@corp.example)"}},
        {{operation, {{"dn", "no name"}}}, {noSid + "with dn=no name"}},
        {{operation, {}}, {noSid + "- sid not available"}},
        {{operation, {{"SID", sid(9999)}}}, {"! Unable to obtain user information from Active Directory"}},
        {carol, carolsGroups(
                    "group-list/group/sid",
                    {"group-list/group/name=BUILTIN\\Users", "group-list/group/name=CORP\\All Staff",
                     "group-list/group/name=CORP\\Desktop Users", "group-list/group/name=CORP\\Domain Users",
                     "group-list/group/name=CORP\\Local Staff", "group-list/group/name=CORP\\Sales",
                     "group-list/group/name=CORP\\carol", "group-list/group/sid=" + sid(1104),
                     "user-info/account-name=carol", "user-info/account-properties/normal-user-account=",
                     "user-info/cn=Carol Cole", "user-info/dn=" + dnOf("Carol Cole"), "user-info/domain=CORP",
                     "user-info/domain-full=corp.example", "user-info/sid=" + sid(1104),
                     "user-info/user-principal-name=carol@corp.example"})},
    };
}

class Identity : public testing::TestWithParam<std::tuple<Build, Place>> {};

TEST_P(Identity, PeopleAreTheSameOnAServerAndInALab) {
    const auto [build, place] = GetParam();
    const std::vector<Case> all = cases();
    std::vector<Request> requests;
    for (const Case& one : all) requests.push_back(one.request);
    const auto answers = askAll(build, makePod(place)->options(), requests);
    for (std::size_t i = 0; i < all.size(); ++i) {
        Lines expected = all[i].answer;
        std::ranges::sort(expected);
        EXPECT_EQ(linesOf(answers[i]), expected)
            << all[i].request.operation << " " << nlohmann::json(all[i].request.keys);
    }
}

TEST(TokenGroups, AreWhatTheServerItselfSays) {
    Lines expected;
    for (const std::string& group : corpValues(dnOf("Carol Cole"), "tokenGroups"))
        expected.push_back("groupSID=" + sidText(group));
    std::ranges::sort(expected);
    const auto answers = askAll(Build::native, makePod(Place::server)->options(),
                                {{"getUserTokenGroups", {{"upn", "carol@corp.example"}}}});
    EXPECT_EQ(linesOf(answers.at(0)), expected);
    EXPECT_EQ(expected.size(), 6U);
}

INSTANTIATE_TEST_SUITE_P(Each, Identity,
                         testing::Combine(testing::Values(Build::native, Build::windows),
                                          testing::Values(Place::server, Place::lab)),
                         [](const auto& instance) {
                             return testing::PrintToString(std::get<0>(instance.param)) + "_" +
                                    testing::PrintToString(std::get<1>(instance.param));
                         });

}  // namespace
}  // namespace integration
