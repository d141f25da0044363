// Finding the SID of a user in Active Directory: by logon name, principal name, certificate or distinguished
// name. A domain that cannot be asked is skipped.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"
#include "ldap/domain_bindings.h"
#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

using FoundSid = std::optional<platform::Sid>;  // nothing: nobody was found

// On one binding alone.
FoundSid searchSidBySamAccountName(DomainBindings& bindings, std::wstring_view binding,
                                   std::wstring_view account, std::wstring_view domain);
// In the domains of the list, in its order; by any of the principal names, empty ones excepted.
FoundSid searchSidByUpn(DomainBindings& bindings, const CORE::PropertyBag& domains,
                        const std::vector<std::wstring>& upns);
FoundSid searchSidByAltSecurityIdentity(DomainBindings& bindings, const CORE::PropertyBag& domains,
                                        std::wstring_view identity);
// By any of the principal names, of which there is at least one: first in the domain that the first one
// names, then in the primary and in the trusted domains. Fails when no domains are known.
Result<FoundSid> sidForUpnMostLikelyDomain(DomainBindings& bindings, const std::vector<std::wstring>& upns);
// By a certificate: subject and issuer together, then the subject alone. Fails when no domains are known.
Result<FoundSid> sidForCertificate(DomainBindings& bindings, std::string_view subject,
                                   std::string_view issuer);
// The user's entry at that name, in a domain of the domain map or of the forest.
FoundSid sidForUserDn(DomainBindings& bindings, std::string_view dn);

// The value of altSecurityIdentities, "X509:<I>...<S>...", with the components of the names in reverse order.
// An empty name is left out; nothing where a text is no distinguished name, or both are empty.
std::optional<std::string> certificateIdentity(std::string_view subjectDn, std::string_view issuerDn);

}  // namespace wsadmin
