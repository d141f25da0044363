// Policies as a report shows them.
#pragma once

#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// The attributes that the record is made of.
std::vector<std::string> policyAttributes();
CORE::PropertyBag renderPolicy(const platform::LdapEntry& policy);

}  // namespace wsadmin
