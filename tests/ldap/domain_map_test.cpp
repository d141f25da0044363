#include "ldap/domain_map.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"

using namespace wsadmin;
using wstest::LogCapture;

namespace {

DomainSurvey survey() {
    DomainSurvey s;
    s.primaryDns = L"corp.example";
    s.primaryRoot = "DC=corp,DC=example";
    s.domains = {
        {L"CORP", L"CORP.example", "dc=corp,dc=example", L"", false},
        {L"CHILD", L"child.corp.example", "DC=corp,DC=example", L"", true},
        {L"OTHER", L"other.example", "DC=other,DC=example", L"", false},
        {L"GONE", L"gone.example", "", L"", false},
        {L"STATED", L"stated.example", "", L"FOREST", false},
        {L"OLDNT", L"", "", L"", false},
    };
    return s;
}

TEST(DomainMap, SaysHowEachDomainIsReached) {
    const auto map = renderDomainMap(survey());
    EXPECT_EQ(map.getBag(L"primaryDomain").get(L"corp.example"), L"GC:");
    struct Case {
        const wchar_t* name;
        const wchar_t* dns;
        const wchar_t* nt4;
        const wchar_t* contactable;
        const wchar_t* trust;
        const wchar_t* binding;
        bool direct;
    };
    const Case cases[] = {
        {L"CORP", L"CORP.example", L"false", L"FULLYACCESSIBLE", L"PRIMARYDOMAIN", L"GC:", false},
        {L"CHILD", L"child.corp.example", L"false", L"FULLYACCESSIBLE", L"TWOWAY", L"GC:", false},
        {L"OTHER", L"other.example", L"false", L"FULLYACCESSIBLE", L"FROMBROKER", L"LDAP://other.example",
         true},
        {L"GONE", L"gone.example", L"false", L"CANNOTBIND", L"UNKNOWN", L"LDAP://gone.example", true},
        {L"STATED", L"stated.example", L"false", L"CANNOTBIND", L"FOREST", L"LDAP://stated.example", true},
        {L"OLDNT", L"", L"true", L"UNKNOWN", L"UNKNOWN", L"", false},
    };
    std::size_t position = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(CORE::toUtf8(c.name));
        const auto* health = map.getBag(L"domainHealth").getNextBag(L"domain", position);
        ASSERT_TRUE(health);
        EXPECT_EQ(health->get(L"name"), c.name);
        EXPECT_EQ(health->get(L"dns"), c.dns);
        EXPECT_EQ(health->get(L"isNT4"), c.nt4);
        EXPECT_EQ(health->get(L"contactable"), c.contactable);
        EXPECT_EQ(health->get(L"trustType"), c.trust);
        if (!*c.dns) continue;
        EXPECT_EQ(map.getBag(L"allDomains").get(c.dns), c.binding);
        EXPECT_EQ(map.getBag(L"trustedDomains").contains(c.dns), c.direct);
    }
    EXPECT_EQ(map.getBag(L"allDomains").size(), 5U);
    EXPECT_FALSE(map.getBag(L"domainHealth").getNextBag(L"domain", position));
}

TEST(DomainMap, WithoutThePrimaryForestNobodyIsReachedThroughTheCatalog) {
    auto unknown = survey();
    unknown.primaryRoot.clear();
    const auto map = renderDomainMap(unknown);
    EXPECT_EQ(map.getBag(L"allDomains").get(L"child.corp.example"), L"LDAP://child.corp.example");
    EXPECT_EQ(map.getBag(L"primaryDomain").get(L"corp.example"), L"GC:");
}

TEST(DomainMap, LogsItsDecisions) {
    const LogCapture log;
    renderDomainMap(survey());
    EXPECT_TRUE(
        log.contains(CORE::logInfo,
                     L"Domain OLDNT has no DNS identity and will not be used for identifying or directly "
                     L"entitling users"));
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Converted DC=other,DC=example to other.example"));
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Domain child.corp.example is handled by a GC lookup"));
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Domain gone.example is handled by a direct LDAP lookup"));
    EXPECT_TRUE(
        log.contains(CORE::logDebug,
                     L"Checking domain gone.example, primary domain=corp.example, root naming context for "
                     L"primary=DC=corp,DC=example, root naming context for this domain="));
}

TEST(DomainMap, TurnsNamingContextsIntoDnsNames) {
    const std::pair<const char*, const wchar_t*> cases[] = {{"DC=corp,DC=example", L"corp.example"},
                                                            {"dc=a, dc=b", L"a.b"},
                                                            {"O=x,DC=y", L"O=x,DC=y"},
                                                            {"", L""}};
    for (const auto& [dn, dns] : cases) EXPECT_EQ(dnsNameOf(dn), dns);
}

}  // namespace
