#include "ldap/domain_config.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/scripted_ldap.h"
#include "support/test_service.h"

using namespace wstest;

namespace {

using Change = DomainListChange;
using Type = DomainListType;

DomainFilters pod() {
    DomainFilters filters;
    filters.thisBroker = L"vcs1";
    filters.cluster.exclude = {L"old.example"};
    filters.brokers = {{L"VCS1", L"corp.example", {.include = {L"corp.example"}}},
                       {L"VCS2", L"branch.example", {.exclude = {L"a.example", L"b.example"}}}};
    return filters;
}

TEST(DomainLists, TheListInForceHereFollowsTheOrderOfPrecedence) {
    struct Case {
        std::vector<std::wstring> clusterInclude, clusterExclude, brokerInclude, brokerExclude;
        const wchar_t* effective;
    };
    const std::vector<std::wstring> some = {L"x.example"};
    const Case cases[] = {
        {{}, {}, {}, {}, L"unlimited"},          {some, {}, {}, {}, L"clusterInclude"},
        {some, {}, some, {}, L"brokerInclude"},  {{}, some, some, {}, L"clusterExclude"},
        {{}, some, {}, some, L"brokerExclude"},  {some, some, some, some, L"brokerExclude"},
        {some, some, {}, {}, L"clusterExclude"},
    };
    for (const Case& c : cases) {
        DomainFilters filters;
        filters.thisBroker = L"vcs1";
        filters.cluster = {.include = c.clusterInclude, .exclude = c.clusterExclude, .search = some};
        filters.brokers = {
            {L"VCS2", L"", {.include = some, .exclude = some}},  // another broker's lists do not count
            {L"VCS1", L"", {.include = c.brokerInclude, .exclude = c.brokerExclude}}};
        EXPECT_EQ(effectiveList(filters), c.effective);
    }
}

TEST(DomainLists, EveryRefusalHasItsSentence) {
    struct Case {
        DomainListRequest request;
        const wchar_t* refusal;  // null: it may be done
    };
    const Case cases[] = {
        {{Change::add, Type::exclude, L"", L"Corp.Example"},
         L"Corp.Example is a primary domain for a broker and cannot be excluded"},
        {{Change::add, Type::exclude, L"vcs2", L"branch.example"},
         L"branch.example is the primary domain for the broker vcs2 and cannot be excluded"},
        {{Change::add, Type::exclude, L"vcs2", L"corp.example"}, nullptr},  // another broker's domain
        {{Change::add, Type::include, L"", L"corp.example"}, nullptr},
        {{Change::remove, Type::exclude, L"", L"corp.example"},
         L"The domain corp.example is not present in this list so cannot be removed"},
        {{Change::add, Type::include, L"VCS9", L"x"}, L"Cannot find domain information for broker VCS9"},
        {{Change::removeAll, Type::include, L"VCS9", L""}, L"Cannot find domain information for broker VCS9"},
        {{Change::add, Type::exclude, L"", L""}, L"A domain must be provided for this operation"},
        {{Change::remove, Type::search, L"", L""}, L"A domain must be provided for this operation"},
        {{Change::removeAll, Type::search, L"", L""}, L"The list already is empty"},
        {{Change::removeAll, Type::exclude, L"VCS2", L""}, nullptr},
        {{Change::remove, Type::exclude, L"VCS2", L"B.example"}, nullptr},
        {{Change::add, Type::exclude, L"", L"OLD.example"},
         L"The domain OLD.example is already present in this list and cannot be added again"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(CORE::toUtf8(c.request.broker + L" " + c.request.domain));
        const auto refusal = refuseDomainChange(pod(), c.request);
        if (c.refusal)
            EXPECT_EQ(refusal, std::wstring(c.refusal));
        else
            EXPECT_FALSE(refusal);
    }
}

TEST(DomainLists, TellWhatWasDone) {
    const std::pair<DomainListRequest, const wchar_t*> cases[] = {
        {{Change::add, Type::include, L"", L"a"},
         L"The domain a has been added to the include list for the cluster."},
        {{Change::remove, Type::exclude, L"VCS1", L"a"},
         L"The domain a has been removed from the exclude list for the broker VCS1"},
        {{Change::removeAll, Type::search, L"", L""},
         L"All domains have been removed from the search list for the cluster."},
    };
    for (const auto& [request, sentence] : cases) EXPECT_EQ(domainChangeDone(request), sentence);
}

TEST(DomainLists, AreRenderedAsBagsOfNames) {
    const auto bag = renderDomainFilters(pod());
    EXPECT_EQ(bag.getBag(L"cluster").getBag(L"excludeList").getName(0), L"old.example");
    EXPECT_EQ(bag.getBag(L"cluster").getBag(L"includeList").size(), 0U);
    const auto& vcs2 = bag.getBag(L"brokerList").getBag(L"VCS2");
    EXPECT_EQ(vcs2.getBag(L"excludeList").size(), 2U);
    EXPECT_TRUE(vcs2.isBag(L"searchExclusionList"));
    EXPECT_EQ(vcs2.get(L"brokerDNSDomainName"), L"branch.example");
    EXPECT_EQ(bag.get(L"effectiveList"), L"clusterExclude");
    EXPECT_EQ(bag.get(L"brokerName"), L"vcs1");
}

struct FixedNames : ComputerNames {
    Result<std::wstring> netBios() const override { return L"VCS1"; }
    Result<std::wstring> dnsFullyQualified() const override { return L"vcs1.corp.example"; }
};

constexpr char commonDn[] = "CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int";
constexpr char vcs1Dn[] = "CN=VCS1,OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int";

ScriptedAnswer one(LdapEntry found) {
    return {.entries = {std::move(found)}};
}
ScriptedAnswer cluster() {
    return one(entry(commonDn, {{"zre-AuthDomainExcludeList", {"Old.example", "b.example"}}}));
}
ScriptedAnswer brokers() {
    return pageAnswer({entry(vcs1Dn, {{"cn", {"VCS1"}}, {"zre-DNSDomainName", {"corp.example"}}})}, "");
}

// One request against a scripted directory. What the session was asked is kept.
struct Request {
    std::shared_ptr<ScriptedClient> client = std::make_shared<ScriptedClient>();
    CORE::PropertyBag bag, startup;
    std::vector<ModifyCall> modifies;
    int modifyCode = 0;

    explicit Request(std::deque<ScriptedAnswer> answers) { client->session->answers = std::move(answers); }
    Request& with(const wchar_t* key, const wchar_t* value) {
        bag.set(key, std::wstring_view(value));
        return *this;
    }
    template <void (DomainConfig::*method)()>
    CORE::PropertyBag run() {
        auto platform = std::make_shared<Platform>();
        platform->ldap = client;
        platform->names = std::make_shared<FixedNames>();
        TestService service(platform);
        service.configurationBag = startup;
        client->session->onModify = [this](const ModifyCall& call) {
            modifies.push_back(call);
            return modifyCode;
        };
        return answer<DomainConfig, method>(service, bag);
    }
    CORE::PropertyBag load() { return run<&DomainConfig::load>(); }
    CORE::PropertyBag save() { return run<&DomainConfig::save>(); }
};

TEST(DomainConfig, ReadsTheListsOfClusterAndBrokers) {
    Request request({cluster(), brokers()});
    const LogCapture log;
    const auto result = request.load();
    EXPECT_EQ(result.getBag(L"cluster").getBag(L"excludeList").size(), 2U);
    EXPECT_EQ(result.getBag(L"brokerList").getBag(L"VCS1").get(L"brokerDNSDomainName"), L"corp.example");
    EXPECT_EQ(result.get(L"brokerName"), L"VCS1");
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Load domain config: readLdap=true, readReg=false"));
}

TEST(DomainConfig, ReadsTheClusterListsFromTheStartUpBagWhereThatIsSwitchedOn) {
    for (const bool directoryToo : {true, false}) {
        Request request({cluster(), brokers()});
        request.startup.setBool(L"EnableLdapDomainConfig", directoryToo);
        request.startup.setBool(L"EnableRegistryDomainConfig", true);
        request.startup.set(L"excludeList", L"old.EXAMPLE, c.example;d.example");
        request.startup.set(L"includeList", L"e.example");
        const auto result = request.load();
        const auto& lists = result.getBag(L"cluster");
        EXPECT_EQ(lists.getBag(L"excludeList").size(), directoryToo ? 4U : 3U);  // a name stands there once
        EXPECT_EQ(lists.getBag(L"includeList").getName(0), L"e.example");
        EXPECT_EQ(lists.getBag(L"searchExclusionList").size(), 0U);
        EXPECT_EQ(result.getBag(L"brokerList").size(), directoryToo ? 1U : 0U);
        EXPECT_EQ(request.client->opened, directoryToo ? 1 : 0);
    }
}

TEST(DomainConfig, AFailedReadIsASentenceAndNotAnEmptyList) {
    const struct {
        const char* what;
        std::deque<ScriptedAnswer> answers;
        const wchar_t* sentence;
    } cases[] = {
        {"no settings", {{}}, L"Common global properties not found in LDAP"},
        {"no settings entry",
         {{.waitCode = ldapNoSuchObject}},
         L"Common global properties not found in LDAP"},
        {"settings not readable",
         {{.waitCode = ldapInsufficientRights}},
         L"Failed to search for common global properies entry "
         L"\"cn=common,ou=global,ou=properties,dc=vdi,dc=talvex,dc=int\" - Insufficient Rights"},
        {"brokers not readable", {cluster(), {.waitCode = ldapBusy}}, L"Failed to perform search"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Request request(c.answers);
        const auto result = request.load();
        EXPECT_EQ(result.getError(), 1);
        EXPECT_EQ(result.getErrorText(), c.sentence);
        EXPECT_EQ(result.size(), 0U);
    }
}

TEST(DomainConfig, WritesOneModification) {
    struct Case {
        const wchar_t* operation;
        const wchar_t* broker;
        const wchar_t* list;
        const wchar_t* domain;
        ModifyCall expected;
    };
    const Case cases[] = {
        {L"ADD",
         L"",
         L"Include",
         L"n.example",
         {commonDn, LdapModify::add, "zre-AuthDomainIncludeList", {"n.example"}}},
        {L"remove",
         L"",
         L"exclude",
         L"OLD.example",
         {commonDn, LdapModify::remove, "zre-AuthDomainExcludeList", {"Old.example"}}},
        {L"removeAll", L"", L"exclude", L"", {commonDn, LdapModify::remove, "zre-AuthDomainExcludeList", {}}},
        {L"add",
         L"vcs1",
         L"search",
         L"n.example",
         {vcs1Dn, LdapModify::add, "zre-AuthDomainSearchExcludeList", {"n.example"}}},
    };
    for (const Case& c : cases) {
        for (const int code : {0, static_cast<int>(ldapBusy)}) {
            Request request({cluster(), brokers(), one(entry(*c.broker ? vcs1Dn : commonDn))});
            request.modifyCode = code;
            const auto result = request.with(L"operation", c.operation)
                                    .with(L"connectionserver", c.broker)
                                    .with(L"listtype", c.list)
                                    .with(L"domain", c.domain)
                                    .save();
            ASSERT_EQ(request.modifies.size(), 1U);
            EXPECT_EQ(request.modifies[0], c.expected);
            EXPECT_EQ(result.get(L"result").empty(), code != 0);
            if (!code) continue;
            EXPECT_EQ(result.getErrorText(), c.expected.operation == LdapModify::add
                                                 ? L"Failed to set domain in list - Busy"
                                                 : L"Failed to remove domain from list - Busy");
        }
    }
}

TEST(DomainConfig, RefusesWhatItCannotFindOrDoesNotKnow) {
    const struct {
        const char* what;
        std::deque<ScriptedAnswer> last;  // after the lists
        const wchar_t* operation;
        const wchar_t* list;
        const wchar_t* broker;
        const wchar_t* sentence;
    } cases[] = {
        {"operation", {}, L"Change", L"include", L"", L"Change is not a valid operation"},
        {"list type", {}, L"add", L"Both", L"", L"Both is not a valid list type"},
        {"settings gone", {{}}, L"add", L"include", L"", L"Common global properties not found in LDAP"},
        {"broker gone",
         {{.waitCode = ldapNoSuchObject}},
         L"add",
         L"include",
         L"VCS1",
         L"Broker properties not found in LDAP"},
        {"broker not readable",
         {{.waitCode = ldapBusy}},
         L"add",
         L"include",
         L"VCS1",
         L"Failed to search for common global properies entry "
         L"\"cn=VCS1,ou=server,ou=properties,dc=vdi,dc=talvex,dc=int\" - Busy"},
        {"no name",
         {one(entry(""))},
         L"add",
         L"include",
         L"",
         L"Failed to get DN for entry \"cn=common,ou=global,ou=properties,dc=vdi,dc=talvex,dc=int"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Request request({cluster(), brokers()});
        for (const ScriptedAnswer& answer : c.last) request.client->session->answers.push_back(answer);
        const auto result = request.with(L"operation", c.operation)
                                .with(L"connectionserver", c.broker)
                                .with(L"listtype", c.list)
                                .with(L"domain", L"n.example")
                                .save();
        EXPECT_EQ(result.getError(), 1);
        EXPECT_EQ(result.getErrorText(), c.sentence);
        EXPECT_TRUE(request.modifies.empty());
    }
}

TEST(DomainConfig, ListsOfTheDirectoryThatAreNotInUseCannotBeChanged) {
    Request request({cluster(), brokers()});
    request.startup.setBool(L"EnableLdapDomainConfig", false);
    const auto result =
        request.with(L"operation", L"add").with(L"listtype", L"include").with(L"domain", L"x").save();
    EXPECT_EQ(result.getErrorText(), L"LDAP not initialized");
    EXPECT_EQ(request.client->opened, 0);
}

}  // namespace
