#include "ldap/domain_config.h"

#include <gtest/gtest.h>

#include "support/scripted_ldap.h"
#include "support/test_service.h"

using namespace wstest;

namespace {

struct FixedNames : ComputerNames {
    Result<std::wstring> netBios() const override { return L"VCS1"; }
    Result<std::wstring> dnsFullyQualified() const override { return L"vcs1.corp.example"; }
};

// A start-up bag, and how often the directory was asked for.
struct Started {
    std::shared_ptr<ScriptedClient> client = std::make_shared<ScriptedClient>();
    CORE::PropertyBag startup;

    template <auto method>
    CORE::PropertyBag run(const CORE::PropertyBag& request = {}) {
        client->session->answers = {
            {.entries = {entry("CN=Common", {{"zre-AuthDomainExcludeList", {"Old.example", "b.example"}}})}},
            pageAnswer({entry("CN=VCS1", {{"cn", {"VCS1"}}})}, "")};
        const auto platform = std::make_shared<Platform>();
        platform->ldap = client;
        platform->names = std::make_shared<FixedNames>();
        TestService service(platform);
        service.configurationBag = startup;
        return ask<method>(service, request);
    }
};

TEST(DomainConfig, ReadsTheClusterListsFromTheStartUpBagWhereThatIsSwitchedOn) {
    for (const bool directoryToo : {true, false}) {
        Started started;
        started.startup.setBool(L"EnableLdapDomainConfig", directoryToo);
        started.startup.setBool(L"EnableRegistryDomainConfig", true);
        started.startup.set(L"excludeList", L"old.EXAMPLE, c.example;d.example");
        started.startup.set(L"includeList", L"e.example");
        const auto result = started.run<&DomainConfig::load>();
        const auto& lists = result.getBag(L"cluster");
        EXPECT_EQ(lists.getBag(L"excludeList").size(), directoryToo ? 4U : 3U);  // a name stands there once
        EXPECT_EQ(lists.getBag(L"includeList").getName(0), L"e.example");
        EXPECT_EQ(lists.getBag(L"searchExclusionList").size(), 0U);
        EXPECT_EQ(result.getBag(L"brokerList").size(), directoryToo ? 1U : 0U);
        EXPECT_EQ(started.client->opened, directoryToo ? 1 : 0);
    }
}

TEST(DomainConfig, ListsOfTheDirectoryThatAreNotInUseCannotBeChanged) {
    Started started;
    started.startup.setBool(L"EnableLdapDomainConfig", false);
    CORE::PropertyBag request;
    for (const auto& [key, value] :
         {std::pair(L"operation", L"add"), {L"listtype", L"include"}, {L"domain", L"x"}})
        request.set(key, std::wstring_view(value));
    EXPECT_EQ(started.run<&DomainConfig::save>(request).getErrorText(), L"LDAP not initialized");
    EXPECT_EQ(started.client->opened, 0);
}

}  // namespace
