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

std::string entryOf(const std::string& dn, const std::string& attributes) {
    return "dn: " + dn + "\n" + attributes + "\n";
}

std::string trust(const std::string& flat, const std::string& partner, int direction, int type) {
    return entryOf("CN=" + partner + ",CN=System,DC=corp,DC=example",
                   "objectClass: trustedDomain\nflatName: " + flat + "\ntrustPartner: " + partner +
                       "\ntrustDirection: " + std::to_string(direction) +
                       "\ntrustType: " + std::to_string(type) + "\n");
}

std::string reference(const std::string& flat, const std::string& context, const std::string& dns) {
    return entryOf(
        "CN=" + flat + ",CN=Partitions,CN=Configuration,DC=corp,DC=example",
        "objectClass: crossRef\nnCName: " + context + "\ndnsRoot: " + dns + "\nnETBIOSName: " + flat + "\n");
}

// A domain's directory with those entries below its containers.
class DomainLab {
  public:
    explicit DomainLab(const std::string& entries) {
        folder_.write(
            "machine.toml",
            "[machine]\ndns-name = \"vcs1.corp.example\"\n[[directory]]\nkind = \"ad\"\n"
            "suffixes = [\"dc=corp,dc=example\"]\nhosts = [\"corp.example\"]\nfiles = [\"corp.ldif\"]\n");
        folder_.write("corp.ldif",
                      entryOf("DC=corp,DC=example", "objectClass: domainDNS\n") +
                          entryOf("CN=System,DC=corp,DC=example", "objectClass: container\n") +
                          entryOf("CN=Configuration,DC=corp,DC=example", "objectClass: configuration\n") +
                          entryOf("CN=Partitions,CN=Configuration,DC=corp,DC=example",
                                  "objectClass: crossRefContainer\n") +
                          entries);
    }
    PropertyBag startup() const {
        PropertyBag bag;
        bag.set(platform::labFolderKey, folder_.path().wstring());
        return bag;
    }
    Result<KnownDomains> read(const std::string& domain = {}) const {
        const auto machine = platform::createPlatform(startup());
        if (!machine) return fail(machine.error());
        return readKnownDomains(*(*machine)->directoryServices, domain);
    }

  private:
    wstest::TempFolder folder_;
};

const std::string ownNames = reference("CORP", "DC=corp,DC=example", "corp.example");

TEST(KnownDomains, AreItsOwnThoseItTrustsAndTheRestOfTheForest) {
    const DomainLab lab(reference("CHILD", "DC=child,DC=corp,DC=example", "child.corp.example") + ownNames +
                        reference("NEAR", "DC=near,DC=corp,DC=example", "near.corp.example") +
                        trust("BOTH", "both.example", 3, 2) + trust("THEM", "them.example", 2, 2) +
                        trust("US", "us.example", 1, 2) + trust("OFF", "off.example", 0, 2) +
                        trust("OLDNT", "OLDNT", 2, 1) + trust("REALM", "realm.example", 3, 3) +
                        trust("NEAR", "near.corp.example", 3, 2));
    for (const std::string asked : {"", "CORP.example"}) {
        const auto known = lab.read(asked);
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
        std::string entries, asked;
        std::wstring sentence;
    } cases[] = {
        {ownNames, "gone.example",
         L"Failed to read the trusts of gone.example - The server is not operational."},
        {ownNames, "not a host/x", L"Failed to read the trusts of not a host/x - "},
        {"", "",
         L"Failed to read the trusts of this machine's domain - the forest has no names for "
         L"dc=corp,dc=example"},
    };
    for (const auto& c : cases) {
        const auto known = DomainLab(c.entries).read(c.asked);
        ASSERT_FALSE(known);
        EXPECT_TRUE(known.error().text.starts_with(c.sentence)) << CORE::toUtf8(known.error().text);
    }
}

TEST(KnownDomains, PassTheListInForce) {
    PropertyBag lists, brokers;
    PropertyBag exclude, include;
    exclude.add(L"B.example", std::wstring_view());
    exclude.add(L"A", std::wstring_view());  // a NetBIOS name will do
    exclude.add(L"corp.example", std::wstring_view());
    include.add(L"b.example", std::wstring_view());
    lists.addBag(L"excludeList", exclude);
    lists.addBag(L"includeList", include);
    brokers.addBag(L"VCS1", lists);
    const struct {
        const wchar_t *level, *inForce;
        std::size_t left;
    } cases[] = {
        {L"cluster", L"unlimited", 4},      {L"cluster", L"clusterExclude", 2},
        {L"cluster", L"clusterInclude", 2}, {L"broker", L"brokerExclude", 2},
        {L"broker", L"brokerInclude", 2},   {L"broker", L"clusterExclude", 4},  // of an empty list
        {L"cluster", L"brokerInclude", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(CORE::toUtf8(c.inForce));
        KnownDomains known{"corp.example",
                           {{"CORP", "corp.example", ""},
                            {"A", "a.example", ""},
                            {"B", "b.example", ""},
                            {"C", "c.example", ""}}};
        PropertyBag configurationBag;
        if (std::wstring_view(c.level) == L"cluster")
            configurationBag.addBag(L"cluster", lists);
        else
            configurationBag.addBag(L"brokerList", brokers);
        configurationBag.set(L"brokerName", L"vcs1");
        configurationBag.set(L"effectiveList", std::wstring_view(c.inForce));
        filterDomains(known, configurationBag);
        EXPECT_EQ(known.domains.size(), c.left);
        EXPECT_EQ(known.domains.front().netBios, "CORP");
    }
}

TEST(WinauthService, AnswersItsTwoOperations) {
    const DomainLab lab(ownNames + trust("BOTH", "both.example", 3, 2));
    winauth_service service(lab.startup());
    EXPECT_EQ(service.getTrustedDomains({}, false).getBag(L"dnsBag").size(), 2U);
    PropertyBag configuration, cluster, list;
    list.add(L"both.example", std::wstring_view());
    cluster.addBag(L"excludeList", list);
    configuration.addBag(L"cluster", cluster);
    configuration.set(L"effectiveList", L"clusterExclude");
    EXPECT_EQ(service.setDomainConfig(configuration, false).getError(), 0);
    PropertyBag asked;  // the lists are for this server, not for what another domain trusts
    asked.set(L"initialDomain", L"corp.example");
    EXPECT_EQ(service.getTrustedDomains(asked, false).getBag(L"dnsBag").size(), 2U);
    EXPECT_EQ(service.getTrustedDomains({}, false).getBag(L"dnsBag").size(), 1U);
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
