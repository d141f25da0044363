// Principals as the configuration directory keeps them: foreign security principal entries named by the SID.
#pragma once

#include <string>
#include <vector>

#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

// "cn=" SID ",cn=ForeignSecurityPrincipals,dc=vdi,dc=talvex,dc=int": the entry's name, and the value of
// "member".
std::string principalDn(const platform::Sid& sid);
// The SIDs that are written so. The failure names the first text that is no SID.
Result<std::vector<platform::Sid>> sidList(const std::vector<std::wstring>& texts);

}  // namespace wsadmin
