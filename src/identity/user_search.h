// Finding the SID of a user in Active Directory: by logon name, principal name, certificate or distinguished
// name. A domain that cannot be asked is skipped. All calls need a DirectoryThread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"
#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

using FoundSid = std::optional<platform::Sid>;  // nothing: nobody was found

// On one binding alone.
FoundSid searchSidBySamAccountName(ServiceContext& service, std::wstring_view binding,
                                   std::wstring_view account, std::wstring_view domain);
// In the domains of the list, in its order; `upns` has one or more values "upn".
FoundSid searchSidByUpn(ServiceContext& service, const CORE::PropertyBag& domains,
                        const CORE::PropertyBag& upns);
FoundSid searchSidByAltSecurityIdentity(ServiceContext& service, const CORE::PropertyBag& domains,
                                        std::wstring_view identity);
// All values "upn" of the request, first in the domain that the first one names, then in the primary and in
// the trusted ones. Fails when no domains are known.
Result<FoundSid> sidForUpnMostLikelyDomain(ServiceContext& service, const CORE::PropertyBag& request);
// By "subjectDN" and "issuerDN" of a certificate: the two together, then the subject alone. Fails likewise.
Result<FoundSid> sidForCertificate(ServiceContext& service, const CORE::PropertyBag& request);
// The user's entry at that name.
FoundSid sidForUserDn(ServiceContext& service, std::string_view dn);

// "X509:<I>...<S>..." as directories keep it: components in reverse order. An empty issuer is left out;
// nothing where a name is none, or nothing is given.
std::optional<std::string> certificateIdentity(std::string_view subjectDn, std::string_view issuerDn);

}  // namespace wsadmin
