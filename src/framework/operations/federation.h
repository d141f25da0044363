// Rows of the operations on the federation of pods and its global LDAP layer.
#pragma once

#include "federation/federation_keys.h"
#include "federation/qrvldap.h"
#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr Key outcomeResult[] = {key::lastError};

inline constexpr Key qrvLdapInfoResult[] = {
    {L"qrv-common", KeyType::bag, L"", L"the federation as a whole; a key that cannot be read is left out"},
    {L"qrv-common/guid", KeyType::text, L"", L"the federation's GUID"},
    {L"qrv-common/time-created", KeyType::text, L"", L"when it was made (UTC)"},
    {L"qrv-common/time-modified", KeyType::text, L"", L"when it was last changed (UTC)"},
    {L"qrv-sites", KeyType::bag, L"", L"the sites"},
    {L"qrv-sites/site", KeyType::bagList, L"", L"one for each site"},
    {L"qrv-sites/site/dn", KeyType::text, L"", L"distinguished name"},
    {L"qrv-sites/site/time-created", KeyType::text, L"", L"when it was made (UTC)"},
    {L"qrv-sites/site/time-modified", KeyType::text, L"", L"when it was last changed (UTC)"},
    {L"qrv-sites/site/display-name", KeyType::text, L"", L"name shown to people"},
    {L"qrv-pods", KeyType::bag, L"", L"the pods of these sites"},
    {L"qrv-pods/pod", KeyType::bagList, L"", L"one for each pod"},
    {L"qrv-pods/pod/dn", KeyType::text, L"", L"distinguished name"},
    {L"qrv-pods/pod/time-created", KeyType::text, L"", L"when it was made (UTC)"},
    {L"qrv-pods/pod/time-modified", KeyType::text, L"", L"when it was last changed (UTC)"},
    {L"qrv-pods/pod/display-name", KeyType::text, L"", L"name shown to people, which qrvLdapEject takes"},
    {L"qrv-pods/pod/site-display-name", KeyType::text, L"", L"display name of its site"},
    {L"qrv-endpoints", KeyType::bag, L"", L"the connection servers of these pods"},
    {L"qrv-endpoints/endpoint", KeyType::bagList, L"", L"one for each connection server"},
    {L"qrv-endpoints/endpoint/dn", KeyType::text, L"", L"distinguished name"},
    {L"qrv-endpoints/endpoint/time-created", KeyType::text, L"", L"when it was made (UTC)"},
    {L"qrv-endpoints/endpoint/time-modified", KeyType::text, L"", L"when it was last changed (UTC)"},
    {L"qrv-endpoints/endpoint/display-name", KeyType::text, L"", L"the server's name"},
    {L"qrv-endpoints/endpoint/pod-display-name", KeyType::text, L"", L"display name of its pod"},
    {L"qrv-endpoints/endpoint/site-display-name", KeyType::text, L"", L"display name of its site"},
    {L"qrv-endpoints/endpoint/url", KeyType::text, L"", L"where other pods reach it"},
};
inline constexpr Operation qrvLdapInfo{
    .name = L"qrvLdapInfo",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::info>,
    .text = L"Lists the sites, pods and connection servers of the federation.",
    .result = qrvLdapInfoResult,
};

inline constexpr Operation qrvLdapInit{
    .name = L"qrvLdapInit",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::init, OnFailure::keeps>,
    .changes = true,
    .text = L"Founds a federation with this pod as its first one, on this connection server.",
    .result = outcomeResult,
};

inline constexpr Operation qrvLdapUninit{
    .name = L"qrvLdapUninit",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::uninit>,
    .changes = true,
    .text = L"Dissolves a federation whose only pod is this one.",
};

inline constexpr Key qrvLdapJoinRequest[] = {key::sourceServer, key::sourceUser, key::sourcePassword};
inline constexpr Operation qrvLdapJoin{
    .name = L"qrvLdapJoin",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::join, OnFailure::keeps>,
    .changes = true,
    .text = L"Brings this pod into a federation, with this connection server as its first server there.",
    .request = qrvLdapJoinRequest,
    .result = outcomeResult,
    .example = L"servername=vcs1.corp.example sourceusername=\"CORP\\admin\" sourcepassword=@-",
};

inline constexpr Operation qrvLdapUnjoin{
    .name = L"qrvLdapUnjoin",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::unjoin>,
    .changes = true,
    .text = L"Takes this pod out of a federation that other pods keep.",
};

inline constexpr Key qrvLdapEjectRequest[] = {key::podName};
inline constexpr Operation qrvLdapEject{
    .name = L"qrvLdapEject",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::eject>,
    .changes = true,
    .text = L"Removes another pod, which cannot leave by itself, from the federation.",
    .request = qrvLdapEjectRequest,
    .example = L"podname=Cluster-POD2",
};

inline constexpr Operation qrvLdapCheckEnablement{
    .name = L"qrvLdapCheckEnablement",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::checkEnablement>,
    .changes = true,
    .text =
        L"Puts the services, the firewall and the administrators role right on a server of a federated pod.",
};

inline constexpr Key qrvLdapInstallReplicaRequest[] = {key::sourceServer};
inline constexpr Operation qrvLdapInstallReplica{
    .name = L"qrvLdapInstallReplica",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::installReplica>,
    .changes = true,
    .text = L"Brings this further connection server of a federated pod into the federation.",
    .request = qrvLdapInstallReplicaRequest,
    .example = L"servername=vcs1.corp.example",
};

inline constexpr Operation qrvLdapUninstallReplica{
    .name = L"qrvLdapUninstallReplica",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::uninstallReplica>,
    .changes = true,
    .text = L"Takes this connection server out of a federation that its pod has left.",
};

inline constexpr Key qrvLdapRemovePodEndpointRequest[] = {key::podEndpoint, key::podEndpointHost};
inline constexpr Operation qrvLdapRemovePodEndpoint{
    .name = L"qrvLdapRemovePodEndpoint",
    .shape = Shape::responseFilling,
    .run = answer<&Qrvldap::removePodEndpoint>,
    .changes = true,
    .text = L"Removes a connection server of this pod, which cannot leave by itself, from the federation.",
    .request = qrvLdapRemovePodEndpointRequest,
    .example = L"podEndpoint=VCS2 podEndpointFQHN=vcs2.corp.example",
};

}  // namespace wsadmin::row
