// The groups of a user, from Active Directory.
#pragma once

#include <string_view>
#include <vector>

#include "identity/user_information.h"
#include "ldap/domain_bindings.h"
#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

struct UserGroups {
    std::vector<platform::Sid> sids{};  // each once
    bool complete = true;               // false: not all domain-local groups could be read
};

// The constructed attribute "tokenGroups" of the user's entry. Failures are logged. An attribute without
// values is no failure: three warnings tell the administrator which access is missing.
Result<std::vector<platform::Sid>> userTokenGroupsFromDirectory(DomainBindings& bindings,
                                                                std::string_view userDn);
// tokenGroups, and the domain-local groups of the user's domain whose "member" lists the user or one of
// these. Failures are logged; that of the latter is one of the call only where there are too many.
Result<UserGroups> userGroups(DomainBindings& bindings, std::string_view userDn);
Result<UserGroups> userGroups(DomainBindings& bindings, const UserInformation& user);

}  // namespace wsadmin
