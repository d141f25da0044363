// Sentences and steps of the cluster operations, against a scripted directory. What they do to a real one is
// tested with the lab and with servers.
#include <gtest/gtest.h>

#include <tuple>

#include "maintenance/cserver.h"
#include "maintenance/handlers.h"
#include "support/scripted_ldap.h"
#include "support/test_service.h"

using namespace wstest;

namespace {

constexpr char commonDn[] = "CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int";
constexpr char vcs1[] = "CN=VCS1,OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int";
constexpr char vcs1Copy[] = "cn=vcs1,ou=server,ou=qrv,ou=properties,dc=vdi,dc=talvex,dc=int";

using Handler = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);

// One request against a scripted directory.
struct Request {
    std::shared_ptr<ScriptedClient> client = std::make_shared<ScriptedClient>();
    ScriptedSession& session = *client->session;
    std::vector<ModifyCall> modifies;
    std::vector<LdapSearch> searches;

    CORE::PropertyBag operator()(Handler handler, const wchar_t* key, const wchar_t* value) {
        auto platform = std::make_shared<Platform>();
        platform->ldap = client;
        TestService service(platform);
        CORE::PropertyBag request;
        request.set(key, std::wstring_view(value));
        // The session ends with the worker: keep what it was asked.
        auto inner = session.onModify;
        session.onModify = [this, inner](const ModifyCall& call) {
            modifies.push_back(call);
            return inner(call);
        };
        session.onSearch = [this](const LdapSearch& search) { searches.push_back(search); };
        return handler(service, request);
    }
};

LdapEntry securityServer(const char* name) {
    return entry(std::string("CN=") + name, {{"cn", {name}}});
}

TEST(ClusterName, AddsThenReplacesAndOnlyTheReplaceCounts) {
    Request run;
    run.session.answers = {{.entries = {entry(commonDn)}}};
    run.session.onModify = [](const ModifyCall& call) {
        return call.operation == LdapModify::add ? ldapAttributeOrValueExists : ldapSuccess;
    };
    const auto result = run(setClusterName, L"clustername", L"Cluster-\x00C4");
    EXPECT_EQ(result.getError(), 0);
    EXPECT_EQ(result.get(L"textmessage"), L"The specified cluster name has been set for this cluster.");
    const std::vector<ModifyCall> expected = {
        {commonDn, LdapModify::add, "zre-ClusterName", {"Cluster-\xC3\x84"}},
        {commonDn, LdapModify::replace, "zre-ClusterName", {"Cluster-\xC3\x84"}}};
    EXPECT_EQ(run.modifies, expected);
}

struct Refusal {
    const char* what;
    std::deque<ScriptedAnswer> answers;
    std::wstring sentence;
    int replaceCode = 0;
};

void expectRefusals(Handler handler, const wchar_t* key, const wchar_t* value,
                    std::span<const Refusal> refusals) {
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        Request run;
        run.session.answers = refusal.answers;
        run.session.onModify = [&refusal](const ModifyCall& call) {
            return call.operation == LdapModify::replace ? refusal.replaceCode : ldapSuccess;
        };
        const auto result = run(handler, key, value);
        EXPECT_EQ(result.getError(), 1);
        EXPECT_EQ(result.getErrorText(), refusal.sentence);
        EXPECT_FALSE(result.contains(L"textmessage"));
        EXPECT_EQ(run.modifies.empty(), refusal.replaceCode == 0);
    }
}

TEST(ClusterName, EveryRefusalHasItsSentence) {
    const std::wstring base = L"cn=common,ou=global,ou=properties,dc=vdi,dc=talvex,dc=int";
    const Refusal refusals[] = {
        {"no entry", {{.waitCode = ldapNoSuchObject}}, L"Common global properties not found in LDAP"},
        {"search fails",
         {{.waitCode = ldapBusy}},
         L"Failed to search for common global properies entry \"" + base + L"\" - Busy"},
        {"nothing matches", {{}}, L"Entry for \"" + base + L"\" not found."},
        {"no name", {{.entries = {entry("")}}}, L"Failed to get DN for entry \"" + base},
        {"replace fails",
         {{.entries = {entry(commonDn)}}},
         L"Failed to set cluster name - Insufficient Rights",
         ldapInsufficientRights},
    };
    expectRefusals(setClusterName, L"clustername", L"x", refusals);
}

TEST(ConnectionServerEntry, MarksEntryAndFederationCopy) {
    Request run;
    run.session.answers = {{.entries = {entry(vcs1)}}, {}};
    run.session.onModify = [](const ModifyCall& call) {  // no federation copy, and a mark from before
        return call.dn == vcs1Copy                 ? ldapNoSuchObject
               : call.operation == LdapModify::add ? ldapAttributeOrValueExists
                                                   : ldapSuccess;
    };
    const auto result = run(deleteConnectionServerEntry, L"servername", L"vcs1");
    EXPECT_EQ(result.get(L"textmessage"),
              L"The specified Server has been scheduled for removal from this configuration.");
    const std::vector<ModifyCall> expected = {{vcs1, LdapModify::add, "zre-MarkedForDelete", {"1"}},
                                              {vcs1Copy, LdapModify::add, "zre-MarkedForDelete", {"1"}},
                                              {vcs1, LdapModify::replace, "zre-MarkedForDelete", {"1"}},
                                              {vcs1Copy, LdapModify::replace, "zre-MarkedForDelete", {"1"}}};
    EXPECT_EQ(run.modifies, expected);
}

TEST(ConnectionServerEntry, EveryRefusalHasItsSentence) {
    const std::wstring base = L"cn=VCS1,ou=Server,ou=Properties,dc=vdi,dc=talvex,dc=int";
    const ScriptedAnswer found{.entries = {entry(vcs1)}};
    const Refusal refusals[] = {
        {"no entry",
         {{.waitCode = ldapNoSuchObject}},
         L"Server \"VCS1\" is not present in this configuration."},
        {"search fails",
         {{.waitCode = ldapServerDown}},
         L"Failed to search for entry \"" + base + L"\" - Server Down"},
        {"nothing matches", {{}}, L"Entry for \"" + base + L"\" not found."},
        {"no name", {{.entries = {entry("")}}}, L"Failed to get DN for entry \"" + base},
        {"referrers unknown", {found, {.waitCode = ldapServerDown}}, L"Failed to perform search"},
        {"one referrer",
         {found, {.entries = {securityServer("VSS1")}}},
         L"Connection Server \"VCS1\" cannot be removed as it is referenced by one or more Security "
         L"Servers.\" Remove "
         L"this Security Server first.\n   VSS1"},
        {"two referrers",
         {found, {.entries = {securityServer("VSS1"), securityServer("VSS2")}}},
         L"Connection Server \"VCS1\" cannot be removed as it is referenced by one or more Security "
         L"Servers.\" Remove "
         L"these Security Servers first.\n   VSS1\n   VSS2"},
        {"replace fails",
         {found, {}},
         L"Failed to mark entry for delete - Insufficient Rights (50).",
         ldapInsufficientRights},
    };
    expectRefusals(deleteConnectionServerEntry, L"servername", L"VCS1", refusals);
}

TEST(ConnectionServerEntry, AnEmptyNameIsNotPresentAndNothingIsSearched) {
    Request run;
    const auto result = run(deleteConnectionServerEntry, L"servername", L"");
    EXPECT_EQ(result.getErrorText(), L"Server \"\" is not present in this configuration.");
    EXPECT_TRUE(run.modifies.empty());
    EXPECT_TRUE(run.searches.empty());
}

TEST(Searches, AreWrittenAsAdministratorsFindThemInTheLog) {
    constexpr char odd[] = "CN=VCS (1),OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int";
    const struct {
        Handler handler;
        const wchar_t *key, *value;
        std::vector<std::tuple<std::string, LdapScope, std::string>> searches;
    } rows[] = {
        {setClusterName,
         L"clustername",
         L"x",
         {{"cn=common,ou=global,ou=properties,dc=vdi,dc=talvex,dc=int", LdapScope::base, "objectClass=*"}}},
        {checkLdapConnectivity,
         L"ignored",
         L"",
         {{"cn=ForeignSecurityPrincipals, dc=vdi,dc=talvex,dc=int", LdapScope::base,
           "objectclass=container"}}},
        {deleteConnectionServerEntry,
         L"servername",
         L"VCS (1)",
         {{"cn=VCS (1),ou=Server,ou=Properties,dc=vdi,dc=talvex,dc=int", LdapScope::base, "objectClass=*"},
          {"ou=Server,ou=Properties,dc=vdi,dc=talvex,dc=int", LdapScope::subtree,
           "(&(zre-HDQSecurityServer=1)(zre-ConnectionServerDN=CN=VCS \\281\\29,"
           "OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int))"}}},
    };
    for (const auto& row : rows) {
        Request run;
        run.session.answers = {{.entries = {entry(odd)}}, {}};
        run(row.handler, row.key, row.value);
        ASSERT_EQ(run.searches.size(), row.searches.size());
        for (std::size_t i = 0; i < run.searches.size(); ++i) {
            const LdapSearch& sent = run.searches[i];
            EXPECT_EQ(std::tie(sent.base, sent.scope, sent.filter), row.searches[i]) << sent.filter;
        }
    }
}

TEST(LdapConnectivity, SaysOkFailedOrNothing) {
    struct Case {
        int openCode, searchCode;
        std::wstring result, searchBase;
        int code;
    };
    const std::wstring base = L"cn=ForeignSecurityPrincipals, dc=vdi,dc=talvex,dc=int";
    const Case cases[] = {
        {0, 0, L"ok", L"", 0}, {0, ldapNoSuchObject, L"failed", base, 32}, {ldapServerDown, 0, L"", L"", 0}};
    for (const Case& c : cases) {
        Request run;
        run.client->openCode = c.openCode;
        run.session.answers = {{.waitCode = c.searchCode}};
        const auto result = run(checkLdapConnectivity, L"ignored", L"");
        EXPECT_EQ(result.getError(), 0);
        EXPECT_EQ(result.get(L"result"), c.result);
        EXPECT_EQ(result.get(L"searchbase"), c.searchBase);
        EXPECT_EQ(result.getInt(L"ldaperr"), c.code);
        EXPECT_EQ(result.empty(), c.openCode != 0);
    }
}

}  // namespace
