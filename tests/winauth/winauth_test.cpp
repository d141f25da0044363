// What the authentication worker says of the domains in a lab.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "support/hostile_ldap.h"
#include "support/temp_folder.h"
#include "winauth/known_domains.h"
#include "winauth/winauth_service.h"

using namespace wsadmin;
using CORE::PropertyBag;

namespace {

// A domain with a forest and trusts, or one whose forest has no names for it.
PropertyBag startupOf(const std::string& lab) {
    PropertyBag bag;
    bag.set(platform::labFolderKey, std::string_view(WS_SOURCE_DIR "/tests/winauth/" + lab));
    return bag;
}
Result<KnownDomains> read(const std::string& lab, const std::string& domain) {
    const auto machine = platform::createPlatform(startupOf(lab));
    if (!machine) return fail(machine.error());
    return readKnownDomains(*(*machine)->directoryServices, domain);
}

TEST(KnownDomains, AreItsOwnThoseItTrustsAndTheRestOfTheForest) {
    for (const std::string asked : {"", "CORP.example"}) {
        const auto known = read("forest", asked);
        ASSERT_TRUE(known) << CORE::toUtf8(known.error().text);
        const PropertyBag bag = renderKnownDomains(*known);
        EXPECT_EQ(bag.get(L"primaryDomain"), L"corp.example");
        EXPECT_EQ(bag.getBag(L"dnsBag").flattenForDisplay(),
                  L"CORP=corp.example, BOTH=both.example, THEM=them.example, OLDNT=, NEAR=near.corp.example, "
                  L"CHILD=child.corp.example");
        EXPECT_EQ(bag.getBag(L"trustInformationBag").flattenForDisplay(),
                  L"BOTH=TWOWAY, THEM=FROMBROKER, OLDNT=FROMBROKER, NEAR=TWOWAY");
    }
}

TEST(KnownDomains, ADirectoryThatCannotBeAskedIsAFailureAndNoEmptyList) {
    const struct {
        const char *lab, *asked;
        std::wstring sentence;
    } cases[] = {
        {"forest", "gone.example",
         L"Failed to read the trusts of gone.example - The server is not operational."},
        {"forest", "not a host/x", L"Failed to read the trusts of not a host/x - "},
        {"nameless", "",
         L"Failed to read the trusts of this machine's domain - the forest has no names for "
         L"dc=corp,dc=example"},
    };
    for (const auto& c : cases) {
        const auto known = read(c.lab, c.asked);
        ASSERT_FALSE(known);
        EXPECT_TRUE(known.error().text.starts_with(c.sentence)) << CORE::toUtf8(known.error().text);
    }
}

TEST(KnownDomains, PassTheListInForce) {
    PropertyBag lists, brokers, exclude, include;
    for (const char* domain : {"B.example", "A", "corp.example"})  // a NetBIOS name will do
        exclude.addUtf8(domain, "");
    include.addUtf8("b.example", "");
    lists.addBag(L"excludeList", exclude);
    lists.addBag(L"includeList", include);
    brokers.addBag(L"VCS1", lists);
    const struct {
        const wchar_t *level, *inForce;
        std::string left;
    } cases[] = {
        {L"cluster", L"unlimited", "CORP A B C"},    {L"cluster", L"clusterExclude", "CORP C"},
        {L"cluster", L"clusterInclude", "CORP B"},   {L"brokerList", L"brokerExclude", "CORP C"},
        {L"brokerList", L"brokerInclude", "CORP B"}, {L"brokerList", L"clusterExclude", "CORP A B C"},
        {L"cluster", L"brokerInclude", "CORP"},  // of an empty list, as above
    };
    for (const auto& c : cases) {
        KnownDomains known{"corp.example",
                           {{"CORP", "corp.example", ""},
                            {"A", "a.example", ""},
                            {"B", "b.example", ""},
                            {"C", "c.example", ""}}};
        PropertyBag configuration;
        const bool ofBroker = std::wstring_view(c.level) == L"brokerList";
        configuration.addBag(c.level, ofBroker ? brokers : lists);
        configuration.set(L"brokerName", L"vcs1");
        configuration.set(L"effectiveList", std::wstring_view(c.inForce));
        filterDomains(known, configuration);
        std::string left;
        for (const auto& domain : known.domains) left += (left.empty() ? "" : " ") + domain.netBios;
        EXPECT_EQ(left, c.left) << CORE::toUtf8(c.inForce);
    }
}

TEST(WinauthService, AnswersItsTwoOperations) {
    winauth_service service(startupOf("forest"));
    EXPECT_EQ(service.getTrustedDomains({}, false).getBag(L"dnsBag").size(), 6U);
    PropertyBag configuration, cluster, list;
    list.add(L"both.example", std::wstring_view());
    cluster.addBag(L"excludeList", list);
    configuration.addBag(L"cluster", cluster);
    configuration.set(L"effectiveList", L"clusterExclude");
    EXPECT_EQ(service.setDomainConfig(configuration, false).getError(), 0);
    PropertyBag asked;  // the lists are for this server, not for what another domain trusts
    asked.set(L"initialDomain", L"corp.example");
    EXPECT_EQ(service.getTrustedDomains(asked, false).getBag(L"dnsBag").size(), 6U);
    EXPECT_EQ(service.getTrustedDomains({}, false).getBag(L"dnsBag").size(), 5U);
    PropertyBag elsewhere;
    elsewhere.set(L"initialDomain", L"gone.example");
    EXPECT_EQ(service.getTrustedDomains(elsewhere, false).getError(), 1);
}

TEST(WinauthService, ARequestThatIsGivenUpWaitsForNoDirectory) {
    const wstest::HostileLdap server(wstest::stall);
    const wstest::TempFolder folder;
    PropertyBag startup;
    startup.set(
        platform::configurationKey,
        std::string_view(folder.write("silent.toml",
                                      "directory-services = \"portable\"\n"
                                      "default-domain = \"localhost\"\n"
                                      "[[server]]\nfor = \"localhost\"\nport = " +
                                          std::to_string(server.port()) + "\nconnect-timeout = 3600000\n")));
    winauth_service service(startup);
    std::atomic<bool> givenUp{false};
    std::jthread givingUp([&] {
        server.awaitClient();
        givenUp = true;
        service.endWaiting();
    });
    EXPECT_NE(service.getTrustedDomains({}, givenUp).getError(), 0);
    EXPECT_EQ(service.getTrustedDomains({}, givenUp).getErrorText(), L"The request was given up");
}

TEST(WinauthService, APlatformThatCannotBeHadIsItsSentence) {
    PropertyBag nowhere;
    nowhere.set(platform::labFolderKey, L"no such folder");
    winauth_service service(nowhere);
    EXPECT_FALSE(service.getTrustedDomains({}, false).getErrorText().empty());
}

}  // namespace
