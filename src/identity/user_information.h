// Who a user is and in what state the account is, from Active Directory.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "ldap/directory_rows.h"
#include "ldap/domain_bindings.h"
#include "platform/clock.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

struct AccountState {
    std::int32_t control = 0;  // userAccountControl, with what the server adds to it
    std::int64_t expires = 0;  // 100 ns since 1601-01-01 UTC; 0 and the greatest number: never
    std::string logonHours{};  // 21 bytes, a bit an hour from Sunday midnight on; empty: always
};

struct UserInformation {
    std::optional<platform::Sid> sid{};
    std::wstring cn{}, dn{}, sn{}, givenName{}, mail{}, domain{}, domainFull{}, accountName{},
        userPrincipalName{};
    AccountState state{};
};

// The flags that apply at that time: keys without values.
CORE::PropertyBag accountProperties(const AccountState& state, const platform::Clock& clock);
// The information bag, with "account-properties"; empty values are left out.
CORE::PropertyBag renderUserInformation(const UserInformation& user, const platform::Clock& clock);

// The attributes that the information is made of, and the information of an entry that has them.
const std::vector<std::string>& userAttributes();
UserInformation userInformationOf(const platform::Sid& sid, const DirectoryRow& row,
                                  const MappedDomains& domains);

// The users with these SIDs that are found, by SID; see searchBySids.
std::map<platform::Sid, UserInformation> readUsers(DomainBindings& bindings,
                                                   const std::vector<platform::Sid>& sids);
// The same for long listings, with the two attributes that these show of a user; UTF-8.
struct DomainAccount {
    std::string domainFull, accountName;
};
std::map<platform::Sid, DomainAccount> readDomainAccounts(DomainBindings& bindings,
                                                          const std::vector<platform::Sid>& sids);
std::optional<UserInformation> readUser(DomainBindings& bindings, const platform::Sid& sid);

}  // namespace wsadmin
