// What a domain's directory knows of its own domain, its forest and the domains that it trusts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/directory_services.h"

namespace wsadmin {

struct KnownDomain {
    std::string netBios;
    std::string dns;    // empty: a domain of the old kind, without a DNS name
    std::string trust;  // "TWOWAY" or "FROMBROKER" as a trust object states it; empty: none does
};

struct KnownDomains {
    std::string primaryDns;
    std::vector<KnownDomain>
        domains;  // its own first, then those that it trusts, then the rest of its forest
};

// Asks the domain's server, or one of the machine's own domain where the name is empty. Failure: a sentence.
Result<KnownDomains> readKnownDomains(platform::DirectoryServices& services, const std::string& domain);

// Leaves out what the list in force does not let through. `configuration` is the answer of loadDomainConfig;
// the primary domain always stays.
void filterDomains(KnownDomains& known, const CORE::PropertyBag& configuration);

// "primaryDomain", "dnsBag", "trustInformationBag".
CORE::PropertyBag renderKnownDomains(const KnownDomains& known);

}  // namespace wsadmin
