// Principals as the configuration directory keeps them: foreign security principal entries named by the SID.
#pragma once

#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

// "cn=" SID ",cn=ForeignSecurityPrincipals,dc=vdi,dc=talvex,dc=int": the entry's name, and the value of
// "member".
std::string principalDn(const platform::Sid& sid);
// The values "sid" of the request. Fails, naming it, at one that is no SID.
Result<std::vector<platform::Sid>> sidList(const CORE::PropertyBag& request);

}  // namespace wsadmin
