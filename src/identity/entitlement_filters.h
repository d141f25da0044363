// The search filters for what principals are entitled to. SIDs are parsed and permissions escaped, so that no
// text of a request can inject a filter term.
#pragma once

#include <string>
#include <vector>

#include "platform/ldap/sid.h"

namespace wsadmin {

using SidList = std::vector<platform::Sid>;

std::string desktopFilter(const SidList& sids);
std::string packageFilter(const SidList& sids);  // packaged applications, and groups of them
std::string globalAssignmentFilter(const SidList& sids);
std::string adminRoleFilter(const SidList& sids);
// Roles that grant one of the permissions (UTF-8, as they stand before "=Allow"), or "Full".
std::string adminPermissionFilter(const SidList& sids, const std::vector<std::string>& permissions);

}  // namespace wsadmin
