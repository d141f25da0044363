// The request keys of the operations on accounts and on entitlements.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key username{L"username", KeyType::text, L"",
                              L"the account as DOMAIN\\user, user@domain or a bare name"};
// Of updateSingleUserFSP, which refuses a request without it.
inline constexpr Key fspUsername{L"username", KeyType::text, L"", username.text, Required::yes};

inline constexpr Key upn{L"upn", KeyType::text, L"", L"the user principal name", Required::yes};

inline constexpr Key userDn{L"dn", KeyType::text, L"",
                            L"required unless SID is given; the user's distinguished name",
                            Required::depends};
inline constexpr Key userSid{L"SID", KeyType::text, L"", L"the user's SID; saves the look-up of dn"};

// A logon's groups.
inline constexpr Key tokenUserSid{L"includeUserSID", KeyType::boolean, L"false",
                                  L"give the user's own SID as one more groupSID"};
inline constexpr Key fallbackUserSid{L"SID", KeyType::text, L"",
                                     L"the user's SID, for includeUserSID when the logon does not tell it"};

inline constexpr Key entitledSids{
    L"sid", KeyType::textList, L"",
    L"the SIDs of the user and of the user's groups, as getUserTokenGroups gives them"};

// A user's context: the user is named in one of four ways.
inline constexpr Key contextUpns{L"upn", KeyType::textList, L"",
                                 L"the user by user principal name; the first way that is given counts"};
inline constexpr Key contextSubject{L"subjectDN", KeyType::text, L"",
                                    L"the user by the subject of a certificate"};
inline constexpr Key contextIssuer{L"issuerDN", KeyType::text, L"",
                                   L"with subjectDN: the certificate's issuer"};
inline constexpr Key contextDn{L"dn", KeyType::text, L"", L"the user by distinguished name"};
inline constexpr Key contextSid{L"SID", KeyType::text, L"",
                                L"required unless the user is named in another way; the user by SID",
                                Required::depends};
inline constexpr Key contextUserSid{L"includeUserSID", KeyType::boolean, L"false",
                                    L"give the user as one more group"};
inline constexpr Key listGroupNames{L"listNames", KeyType::boolean, L"false",
                                    L"give the names of the groups too"};

inline constexpr Key adminSids{
    L"sid", KeyType::textList, L"",
    L"the SIDs of the principal and of its groups; without any, the account that the configuration "
    L"directory is bound with, or else who the process is"};
inline constexpr Key adminPermissions{L"permission", KeyType::textList, L"",
                                      L"the permissions asked for, one of which is enough; Full always is"};

}  // namespace wsadmin::key
