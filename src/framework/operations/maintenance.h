// Rows of the operations that keep the configuration directory in order.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "maintenance/backup_protection.h"
#include "maintenance/collisions.h"
#include "maintenance/common.h"
#include "maintenance/cserver.h"
#include "maintenance/maintenance_keys.h"

namespace wsadmin::row {

inline constexpr Key showAndResolveLDAPCollisionsRequest[] = {key::resolveCollisions};
inline constexpr Operation showAndResolveLDAPCollisions{
    .name = L"showAndResolveLDAPCollisions",
    .run = answer<&Collisions::showAndResolveLDAPCollisions>,
    .changes = true,
    .text =
        L"Finds what replication conflicts and deletions left behind in the configuration directory and, "
        L"when asked, repairs it; the findings are in the log alone, at level info.",
    .request = showAndResolveLDAPCollisionsRequest,
    .example = L"resolveCollisions=true",
};

inline constexpr Key encodeBackupProtectionItemsRequest[] = {key::passwordDigest};
inline constexpr Key encodeBackupProtectionItemsResult[] = {
    {L"keyK1PubBase64", KeyType::text, L"", L"RSA public key, DER in Base64"},
    {L"keyK1PriBase64", KeyType::text, L"", L"RSA private key, DER encrypted under the password, in Base64"},
    {L"saltBase64", KeyType::text, L"", L"salt that goes with the password, in Base64"},
};
inline constexpr Operation encodeBackupProtectionItems{
    .name = L"encodeBackupProtectionItems",
    .run = answer<&BackupProtection::encodeBackupProtectionItems>,
    .text = L"Makes a new key pair that protects a backup by a password.",
    .request = encodeBackupProtectionItemsRequest,
    .result = encodeBackupProtectionItemsResult,
    .example = L"pwdSHA256Base64=@digest.txt",
};

inline constexpr Key setClusterNameRequest[] = {
    key::clusterName,
};
inline constexpr Operation setClusterName{
    .name = L"setClusterName",
    .run = answer<&Common::setClusterName>,
    .changes = true,
    .text = L"Names the cluster that this pod's connection servers form.",
    .request = setClusterNameRequest,
    .result = changeResult,
    .example = L"clustername=\"Head Office\"",
};

inline constexpr Key deleteConnectionServerEntryRequest[] = {
    key::serverName,
};
inline constexpr Operation deleteConnectionServerEntry{
    .name = L"deleteConnectionServerEntry",
    .run = answer<&CServer::deleteConnectionServerEntry>,
    .changes = true,
    .text = L"Schedules a server's entry for removal, unless security servers are paired with the server.",
    .request = deleteConnectionServerEntryRequest,
    .result = changeResult,
    .example = L"servername=VCS3",
};

inline constexpr Key checkLdapConnectivityResult[] = {
    {L"result", KeyType::text, L"", L"ok or failed; left out when the directory could not be opened at all"},
    {L"searchbase", KeyType::text, L"", L"when failed: the entry asked for"},
    {L"ldaperr", KeyType::integer, L"", L"when failed: the LDAP result code"},
};
inline constexpr Operation checkLdapConnectivity{
    .name = L"checkLdapConnectivity",
    .run = answer<&Common::checkLdapConnectivity>,
    .text = L"Tests that the configuration directory answers.",
    .result = checkLdapConnectivityResult,
};

}  // namespace wsadmin::row
