// What the authentication worker says of the domains in a lab.
#include "platform/platform.h"
#include "support/hostile_ldap.h"
#include "support/rows.h"
#include "support/temp_folder.h"
#include "winauth/known_domains.h"
#include "winauth/winauth_service.h"

using namespace wsadmin;
using CORE::PropertyBag;
using wstest::Json;

namespace {

// A domain with a forest and trusts, or one whose forest has no names for it.
PropertyBag startupOf(const std::string& lab) {
    PropertyBag bag;
    bag.set(platform::labFolderKey, std::string_view(WS_SOURCE_DIR "/tests/winauth/" + lab));
    return bag;
}
// What a domain of a lab knows, as it is answered, or a sentence.
Json known(const Json& in) {
    const auto machine = platform::createPlatform(startupOf(in[0])).value();
    const auto known = readKnownDomains(*machine->directoryServices, in[1]);
    if (!known) return CORE::toUtf8(known.error().text);
    return CORE::toUtf8(renderKnownDomains(*known).flattenForDisplay());
}

// Which of CORP, A, B and C are left where a list of that level is said to be in force. A NetBIOS name will
// do.
Json filtered(const Json& in) {
    PropertyBag lists, brokers, exclude, include, configuration;
    for (const char* domain : {"B.example", "A", "corp.example"}) exclude.addUtf8(domain, "");
    include.addUtf8("b.example", "");
    lists.addBag(L"excludeList", exclude);
    lists.addBag(L"includeList", include);
    brokers.addBag(L"VCS1", lists);
    configuration.addBag(CORE::toWide(in[0].get<std::string>()), in[0] == "brokerList" ? brokers : lists);
    configuration.set(L"brokerName", L"vcs1");
    configuration.set(L"effectiveList", in[1].get<std::string>());
    KnownDomains known{"corp.example", {}};
    for (const char* name : {"corp", "a", "b", "c"})
        known.domains.push_back({name, std::string(name) + ".example", ""});
    filterDomains(known, configuration);
    std::string left;
    for (const auto& domain : known.domains) left += domain.netBios + " ";
    return left;
}

TEST(Rows, OfKnownDomains) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/winauth/rows.jsonl", {{"known", known}, {"filtered", filtered}});
}

TEST(WinauthService, AnswersItsTwoOperations) {
    winauth_service service(startupOf("forest"));
    const auto domainsOf = [&](const char* initial) {
        PropertyBag asked;
        asked.set(L"initialDomain", std::string_view(initial));
        const PropertyBag answer = service.getTrustedDomains(asked, false);
        return answer.getError() ? -1 : static_cast<int>(answer.getBag(L"dnsBag").size());
    };
    EXPECT_EQ(domainsOf(""), 6);
    PropertyBag configuration, cluster, list;
    list.add(L"both.example", std::wstring_view());
    cluster.addBag(L"excludeList", list);
    configuration.addBag(L"cluster", cluster);
    configuration.set(L"effectiveList", L"clusterExclude");
    EXPECT_EQ(service.setDomainConfig(configuration, false).getError(), 0);
    EXPECT_EQ(domainsOf(""), 5);
    EXPECT_EQ(domainsOf("corp.example"),
              6);  // the lists are for this server, not for what another domain trusts
    EXPECT_EQ(domainsOf("gone.example"), -1);
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
