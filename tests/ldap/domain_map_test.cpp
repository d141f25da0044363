#include "ldap/domain_map.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/log_capture.h"

using namespace wsadmin;
using wstest::LogCapture;
using wstest::LogLine;

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
    const auto shown = [&](const wchar_t* part) { return map.getBag(part).flattenForDisplay(L" ").str(); };
    EXPECT_EQ(shown(L"primaryDomain"), L"corp.example=GC:");
    EXPECT_EQ(shown(L"allDomains"),
              L"CORP.example=GC: child.corp.example=GC: other.example=LDAP://other.example "
              L"gone.example=LDAP://gone.example stated.example=LDAP://stated.example");
    EXPECT_EQ(shown(L"trustedDomains"),
              L"other.example=LDAP://other.example gone.example=LDAP://gone.example "
              L"stated.example=LDAP://stated.example");
    const wchar_t* const health[] = {
        L"name=CORP dns=CORP.example isNT4=false contactable=FULLYACCESSIBLE trustType=PRIMARYDOMAIN",
        L"name=CHILD dns=child.corp.example isNT4=false contactable=FULLYACCESSIBLE trustType=TWOWAY",
        L"name=OTHER dns=other.example isNT4=false contactable=FULLYACCESSIBLE trustType=FROMBROKER",
        L"name=GONE dns=gone.example isNT4=false contactable=CANNOTBIND trustType=UNKNOWN",
        L"name=STATED dns=stated.example isNT4=false contactable=CANNOTBIND trustType=FOREST",
        L"name=OLDNT dns= isNT4=true contactable=UNKNOWN trustType=UNKNOWN",
    };
    std::wstring all;
    for (const auto& one : health) all += L" domain={" + std::wstring(one) + L"}";
    EXPECT_EQ(L" " + shown(L"domainHealth"), all);
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
    const auto lines = log.lines();
    const LogLine converted{CORE::logDebug, L"Converted DC=other,DC=example to other.example"};
    const auto second = std::ranges::find(lines, converted);
    ASSERT_TRUE(second != lines.begin() && second != lines.end());
    EXPECT_EQ(std::prev(second)->text,
              L"Converted DC=corp,DC=example to corp.example");  // the primary's first
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Domain child.corp.example is handled by a GC lookup"));
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Domain gone.example is handled by a direct LDAP lookup"));
    EXPECT_TRUE(
        log.contains(CORE::logDebug,
                     L"Checking domain gone.example, primary domain=corp.example, root naming context for "
                     L"primary=DC=corp,DC=example, root naming context for this domain="));
}

}  // namespace
