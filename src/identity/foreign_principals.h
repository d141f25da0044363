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

    // Refreshes the principals that the first page of a search gives; who cannot be found is logged and left
    // as it is.
    void updateAll();
    // Refreshes the principal of the user "username".
    void updateSingle();
};

// The most principals that one updateAll refreshes.
inline constexpr int principalsAtOnce = 250;

// Writes what an information bag says of a user into the principal "fspDN", all tags, also with empty values.
// The entry is read first, unless it is handed in with its "description". The failure is its sentence.
Result<void> updateFsp(platform::LdapSession* session, const CORE::PropertyBag& information,
                       const platform::LdapEntry* entry = nullptr);

}  // namespace wsadmin
