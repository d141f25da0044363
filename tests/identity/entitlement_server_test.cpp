// What people may use, asked of a real server: that of with-pod.
#include <gtest/gtest.h>

#include <cstdlib>

#include "identity/handlers.h"
#include "identity/pod_lab.h"

using namespace wstest;
using namespace wsadmin;

namespace {

// The servers that the configuration file names, with everything that goes to them counted.
std::shared_ptr<platform::Platform> countedServers(const char* configuration,
                                                   const std::shared_ptr<LdapCounts>& counts) {
    CORE::PropertyBag startup;
    startup.set(platform::configurationKey, CORE::toWide(configuration));
    auto made = platform::createPlatform(startup);
    if (!made) throw std::runtime_error(CORE::toUtf8(made.error().text));
    auto& machine = **made;
    machine.ldap = std::make_shared<CountingLdapClient>(machine.ldap, counts);
    machine.directoryServices = platform::makePortableDirectoryServices(machine.ldap, {});
    return *made;
}

// Most of the SIDs are nobody's: the server finds no entry behind these members.
TEST(ServerEntitlements, OfAThousandSidsTakeOneSearch) {
    const char* const configuration = std::getenv("WS_TEST_CONFIG");
    if (!configuration) GTEST_SKIP() << "no server is named by WS_TEST_CONFIG";
    const auto counts = std::make_shared<LdapCounts>();
    TestService service(countedServers(configuration, counts));
    std::vector<std::string> sids;
    for (int number = 50000; number < 51000; ++number) sids.push_back(sidOf(number));
    EXPECT_FALSE(getEntitledDesktops(service, requestOf(L"sid", sids)).contains(L"entitlement"));
    sids.insert(sids.begin() + 500, sidOf(1102));
    counts->forget();

    const auto result = getEntitledDesktops(service, requestOf(L"sid", sids));

    EXPECT_EQ(result.getError(), 0) << CORE::toUtf8(result.getErrorText());
    EXPECT_EQ(CORE::toUtf8(result.flattenForDisplay(L"|").str()),
              "entitlement={cn=desk-plain|display-name=|description=|folder=/|status=enabled}");
    EXPECT_EQ(counts->searchesFor("zre-DesktopApplication"), 1);
    EXPECT_EQ(counts->searchesFor("member="), 1);
    EXPECT_EQ(counts->live, 0);
}

}  // namespace
