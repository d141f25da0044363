// The request keys of this folder's operations.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

// clientAuthConfig
inline constexpr Key clientOperation{L"operation", KeyType::text, L"",
                                     L"add, update, remove, setdefaults, enableServer or disableServer",
                                     Required::yes};
inline constexpr Key clientId{
    L"clientid", KeyType::text, L"",
    L"required for add, update and remove; aa:cc:ff:11:33:99, cm-aa:cc:ff:11:33:99, custom-<name> or another "
    L"accepted prefix and a name, 20 characters at most",
    Required::depends};
inline constexpr Key clientDomain{
    L"domain", KeyType::text, L"",
    L"required for add, update and remove; the domain of the account, by its DNS or NetBIOS name",
    Required::depends};
inline constexpr Key clientGroup{
    L"group", KeyType::text, L"null",
    L"with add and setdefaults: logon name of the group to join, empty for none; null stands for not given"};
inline constexpr Key clientOu{
    L"ou", KeyType::text, L"null",
    L"with add and setdefaults: DN of the organisational unit to make accounts in; null stands for not "
    L"given, and without a default accounts are made in CN=Users of their domain"};
inline constexpr Key generatesPassword{
    L"genpassword", KeyType::boolean, L"false",
    L"with add and update: make up a password, which is weak; it replaces a given one"};
inline constexpr Key clientPassword{L"password", KeyType::secret, L"", L"with add and update: the password"};
inline constexpr Key expirePassword{
    L"expirepassword", KeyType::boolean, L"",
    L"with add and setdefaults: whether the password expires; without it, add takes the default setting"};
inline constexpr Key clientDescription{
    L"description", KeyType::text, L"null",
    L"with add and update: the account's description; null stands for not given"};
inline constexpr Key forcesRemoval{L"force", KeyType::boolean, L"false",
                                   L"with remove only: go on when the account cannot be found or deleted"};
inline constexpr Key switchedServer{L"server", KeyType::text, L"",
                                    L"required for enableServer and disableServer; the connection server",
                                    Required::depends};
inline constexpr Key requiresPassword{
    L"requirepassword", KeyType::boolean, L"false",
    L"with enableServer and disableServer: whether client devices must give a password"};

// clientAuthRemoveAll
inline constexpr Key forcesAllRemovals{L"force", KeyType::boolean, L"false",
                                       L"go on when an account cannot be found or deleted"};

}  // namespace wsadmin::key
