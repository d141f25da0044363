// Rows of the operations on the federation of pods and its global LDAP layer.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr KeyInfo outcomeCode{
    L"QuorinLastError", L"text", L"",
    L"with an error: the code of the step that failed, such as QRV_OP_NO_PERMISSION"};
inline constexpr KeyInfo outcomeResult[] = {outcomeCode};

inline constexpr KeyInfo qrvLdapInfoResult[] = {
    {L"qrv-common", L"bag", L"", L"the federation as a whole; a key that cannot be read is left out"},
    {L"qrv-common/guid", L"text", L"", L"the federation's GUID"},
    {L"qrv-common/time-created", L"text", L"", L"when it was made (UTC)"},
    {L"qrv-common/time-modified", L"text", L"", L"when it was last changed (UTC)"},
    {L"qrv-sites", L"bag", L"", L"the sites"},
    {L"qrv-sites/site", L"bag list", L"", L"one for each site"},
    {L"qrv-sites/site/dn", L"text", L"", L"distinguished name"},
    {L"qrv-sites/site/time-created", L"text", L"", L"when it was made (UTC)"},
    {L"qrv-sites/site/time-modified", L"text", L"", L"when it was last changed (UTC)"},
    {L"qrv-sites/site/display-name", L"text", L"", L"name shown to people"},
    {L"qrv-pods", L"bag", L"", L"the pods of these sites"},
    {L"qrv-pods/pod", L"bag list", L"", L"one for each pod"},
    {L"qrv-pods/pod/dn", L"text", L"", L"distinguished name"},
    {L"qrv-pods/pod/time-created", L"text", L"", L"when it was made (UTC)"},
    {L"qrv-pods/pod/time-modified", L"text", L"", L"when it was last changed (UTC)"},
    {L"qrv-pods/pod/display-name", L"text", L"", L"name shown to people, which qrvLdapEject takes"},
    {L"qrv-pods/pod/site-display-name", L"text", L"", L"display name of its site"},
    {L"qrv-endpoints", L"bag", L"", L"the connection servers of these pods"},
    {L"qrv-endpoints/endpoint", L"bag list", L"", L"one for each connection server"},
    {L"qrv-endpoints/endpoint/dn", L"text", L"", L"distinguished name"},
    {L"qrv-endpoints/endpoint/time-created", L"text", L"", L"when it was made (UTC)"},
    {L"qrv-endpoints/endpoint/time-modified", L"text", L"", L"when it was last changed (UTC)"},
    {L"qrv-endpoints/endpoint/display-name", L"text", L"", L"the server's name"},
    {L"qrv-endpoints/endpoint/pod-display-name", L"text", L"", L"display name of its pod"},
    {L"qrv-endpoints/endpoint/site-display-name", L"text", L"", L"display name of its site"},
    {L"qrv-endpoints/endpoint/url", L"text", L"", L"where other pods reach it"},
};
inline constexpr Operation qrvLdapInfo{
    .name = L"qrvLdapInfo",
    .shape = Shape::responseFilling,
    .text = L"Lists the sites, pods and connection servers of the federation.",
    .result = qrvLdapInfoResult,
};

inline constexpr Operation qrvLdapInit{
    .name = L"qrvLdapInit",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Founds a federation with this pod as its first one, on this connection server.",
    .result = outcomeResult,
};

inline constexpr Operation qrvLdapUninit{
    .name = L"qrvLdapUninit",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Dissolves a federation whose only pod is this one.",
};

inline constexpr KeyInfo qrvLdapJoinRequest[] = {
    {L"servername", L"text", L"", L"required; a connection server that is in the federation already"},
    {L"sourceusername", L"text", L"", L"an account that may administer it, as DOMAIN\\user"},
    {L"sourcepassword", L"secret", L"", L"that account's password, encrypted by the host's security manager"},
};
inline constexpr Operation qrvLdapJoin{
    .name = L"qrvLdapJoin",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Brings this pod into a federation, with this connection server as its first server there.",
    .request = qrvLdapJoinRequest,
    .result = outcomeResult,
    .example = L"servername=vcsa.corp.example sourceusername=\"CORP\\alice\" sourcepassword=@-",
};

inline constexpr Operation qrvLdapUnjoin{
    .name = L"qrvLdapUnjoin",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Takes this pod out of a federation that other pods keep.",
};

inline constexpr KeyInfo qrvLdapEjectRequest[] = {
    {L"podname", L"text", L"", L"required; display name of the pod, as qrvLdapInfo lists it"},
};
inline constexpr Operation qrvLdapEject{
    .name = L"qrvLdapEject",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Removes another pod, which cannot leave by itself, from the federation.",
    .request = qrvLdapEjectRequest,
    .example = L"podname=Cluster-POD2",
};

inline constexpr Operation qrvLdapCheckEnablement{
    .name = L"qrvLdapCheckEnablement",
    .shape = Shape::responseFilling,
    .changes = true,
    .text =
        L"Puts the services, the firewall and the administrators role right on a server of a federated pod.",
};

inline constexpr KeyInfo qrvLdapInstallReplicaRequest[] = {
    {L"servername", L"text", L"", L"required; a connection server that is in the federation already"},
};
inline constexpr Operation qrvLdapInstallReplica{
    .name = L"qrvLdapInstallReplica",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Brings this further connection server of a federated pod into the federation.",
    .request = qrvLdapInstallReplicaRequest,
    .example = L"servername=vcs1.corp.example",
};

inline constexpr Operation qrvLdapUninstallReplica{
    .name = L"qrvLdapUninstallReplica",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Takes this connection server out of a federation that its pod has left.",
};

inline constexpr KeyInfo qrvLdapRemovePodEndpointRequest[] = {
    {L"podEndpoint", L"text", L"", L"required; the connection server's name, as qrvLdapInfo lists it"},
    {L"podEndpointFQHN", L"text", L"", L"required; its fully qualified host name"},
};
inline constexpr Operation qrvLdapRemovePodEndpoint{
    .name = L"qrvLdapRemovePodEndpoint",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Removes a connection server of this pod, which cannot leave by itself, from the federation.",
    .request = qrvLdapRemovePodEndpointRequest,
    .example = L"podEndpoint=VCS2 podEndpointFQHN=vcs2.corp.example",
};

}  // namespace wsadmin::row
