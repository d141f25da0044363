// The copy of users' names and details that the configuration directory keeps beside their SIDs, so that
// administrators see names: tagged values of "description" in the foreign security principals.
#pragma once

#include "framework/core/property_bag.h"
#include "ldap/worker.h"
#include "platform/ldap_session.h"

namespace wsadmin {

class ForeignPrincipals : public Worker {
  public:
    using Worker::Worker;

    // Refreshes the principals on the first page of a search. A principal whose user is not found or that
    // cannot be written is logged and left unchanged.
    Result<void> updateAll();
    // Refreshes the principal of the user "username".
    Result<void> updateSingle();
};

// The page size: at most this many principals are refreshed by one updateAll.
inline constexpr int principalsPerPage = 250;

// Writes the user's information bag into the principal "fspDN": all tags, also those with empty values. The
// entry is read first, unless the caller passes it with its "description".
Result<void> updateFsp(platform::LdapSession& session, const CORE::PropertyBag& information,
                       const platform::LdapEntry* entry = nullptr);

}  // namespace wsadmin
