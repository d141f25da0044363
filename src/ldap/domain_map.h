// The map of domains: what is known of each, and the bag that says it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"

namespace wsadmin {

// What was found out about one domain. Naming contexts are empty where the domain could not be asked.
struct DomainFacts {
    std::wstring netBios;
    std::wstring dns;               // empty: a domain without DNS identity
    std::string rootNamingContext;  // of its forest
    std::wstring statedTrust;       // the trust type that the authentication service gives, if any
    bool listsPrimary = false;      // asked in its turn, it names the primary domain among its trusts
};

struct DomainSurvey {
    std::wstring primaryDns;
    std::string primaryRoot;
    std::vector<DomainFacts> domains;  // in the order of the authentication service
    CORE::PropertyBag dnsBag;          // as received
};

// "dc=corp,dc=example" as "corp.example"; a text that is no such name stays as it is.
std::wstring dnsNameOf(std::string_view namingContext);
bool sameForest(std::string_view rootA, std::string_view rootB);

std::wstring trustType(const DomainFacts& domain, const DomainSurvey& survey);
// "primaryDomain", "trustedDomains", "allDomains", "domainHealth", "dnsBag".
CORE::PropertyBag renderDomainMap(const DomainSurvey& survey);

}  // namespace wsadmin
