// The vocabulary of the configuration directory: naming context, containers, object classes and attributes,
// each written once. Container names carry the blanks and the case that the system writes; the directory
// ignores both.
#pragma once

#include <string>
#include <string_view>

namespace wsadmin::layout {

inline constexpr char namingContext[] = "dc=vdi,dc=talvex,dc=int";
// Of the federation's directory, which all pods share.
inline constexpr char globalNamingContext[] = "dc=vdiglobal,dc=talvex,dc=int";

namespace container {
inline constexpr char machines[] = "ou=Servers, ";
inline constexpr char desktops[] = "ou=Applications, ";
inline constexpr char policies[] = "ou=Policies, ";
inline constexpr char pools[] =
    ",OU=Server Groups,DC=vdi,DC=talvex,DC=int";  // follows "CN=" and the pool's identifier
inline constexpr char properties[] = "ou=Properties,";
inline constexpr char globalSettings[] = "cn=common,ou=global,ou=properties,";
inline constexpr char clientDefaults[] =
    "cn=Common,ou=Global,ou=Properties,";  // the same, as what concerns client devices writes it
inline constexpr char commonSettings[] =
    "CN=Common,OU=Global,OU=Properties,";  // the same, as a new federation writes it
inline constexpr char servers[] = "ou=Server,ou=Properties,";
inline constexpr char brokers[] = "ou=server,ou=properties,";  // the same, as the domain lists write it
inline constexpr char federatedServers[] = "ou=server,ou=qrv,ou=properties,";  // their part in a federation
inline constexpr char federatedPod[] = "cn=common,ou=global,ou=qrv,ou=properties,";  // the pod's part in it
inline constexpr char foreignPrincipals[] = "cn=ForeignSecurityPrincipals, ";
inline constexpr char principals[] =
    "cn=ForeignSecurityPrincipals,";  // the same, as its entries' names have it
inline constexpr char roles[] = "ou=groups,";
inline constexpr char folders[] = "ou=folders,";
inline constexpr char deletedObjects[] = "cn=Deleted Objects,";  // the tombstones
inline constexpr char entitlements[] = "OU=Entitlements,";       // of the federation's directory
}  // namespace container

namespace objectClass {
inline constexpr char desktop[] = "zre-DesktopApplication";
inline constexpr char package[] = "zre-MirapakApplication";
inline constexpr char packageGroup[] = "zre-MirapakApplicationGroup";
inline constexpr char globalAssignment[] = "zre-GlobalAssignment";
inline constexpr char adminRole[] = "zre-AdminRole";
}  // namespace objectClass

namespace attribute {
inline constexpr char cn[] = "cn";
inline constexpr char description[] = "description";
inline constexpr char distinguishedName[] = "distinguishedName";
inline constexpr char objectClasses[] = "objectClass";
inline constexpr char displayName[] = "zre-DisplayName";
inline constexpr char name[] = "name";
inline constexpr char member[] = "member";
inline constexpr char memberOfPool[] = "zre-MemberDNOf";
inline constexpr char poolType[] = "zre-ServerPoolType";
inline constexpr char ownerSid[] = "zre-SIDString";
inline constexpr char vmState[] = "zre-VmState";
inline constexpr char moid[] = "zre-MOID";
inline constexpr char ipHost[] = "ipHostNumber";
inline constexpr char ipHostOverride[] = "zre-ipHostNumberOverride";
inline constexpr char vmPath[] = "zre-VmPath";
inline constexpr char vmTemplate[] = "zre-VmTemplateName";
inline constexpr char vmCreated[] = "zre-VmCreated";
inline constexpr char offlineUser[] = "zre-mVDIOfflineUser";
inline constexpr char offlineState[] = "zre-mVDIOfflineState";
inline constexpr char nameValuePair[] = "zre-NameValuePair";
inline constexpr char origin[] = "zre-Origin";
inline constexpr char target[] = "zre-Target";
inline constexpr char managementServer[] = "zre-NDDN";
inline constexpr char managementUrl[] = "zre-NDURL";
inline constexpr char linkTarget[] = "zre-DN";  // of a policy link
inline constexpr char offlineAllowed[] = "zre-mVDIOfflineAllowed";
inline constexpr char offlineCacheLifetime[] = "zre-mVDIOfflineCacheLifetime";
inline constexpr char clientRollbackAllowed[] = "zre-mVDIClientRollbackAllowed";
inline constexpr char usbAllowed[] = "zre-AllowUSBAccess";
inline constexpr char mmrAllowed[] = "zre-AllowMMR";
inline constexpr char remoteAllowed[] = "zre-OnlineUsageAllowed";
inline constexpr char hostCardAcceleration[] = "zre-HostCardAcceleration";
inline constexpr char sparseStatus[] = "zre-SeSparseStatus";
inline constexpr char disabled[] = "zre-Disabled";
inline constexpr char adminFolder[] = "zre-AdminFolderDN";
inline constexpr char globalEntitlement[] = "zre-GlobalEntitlementDN";
inline constexpr char entitlementType[] = "zre-EntitlementType";
inline constexpr char clusterName[] = "zre-ClusterName";
inline constexpr char markedForDelete[] = "zre-MarkedForDelete";
inline constexpr char securityServer[] = "zre-HDQSecurityServer";
inline constexpr char connectionServerDn[] = "zre-ConnectionServerDN";
inline constexpr char dnsDomainName[] = "zre-DNSDomainName";
inline constexpr char includeList[] = "zre-AuthDomainIncludeList";
inline constexpr char excludeList[] = "zre-AuthDomainExcludeList";
inline constexpr char searchExcludeList[] = "zre-AuthDomainSearchExcludeList";
inline constexpr char clientAuthEnabled[] = "zre-ClientAuthEnabled";  // of a connection server, as is:
inline constexpr char clientAuthPasswordRequired[] = "zre-ClientAuthPasswordRequired";
inline constexpr char clientDefaultOu[] = "zre-ClientAuthDefaultOU";
inline constexpr char clientDefaultGroup[] = "zre-ClientAuthDefaultGroup";
inline constexpr char clientDefaultExpirePassword[] = "zre-ClientAuthDefaultExpirePassword";
inline constexpr char clientPrefix[] = "zre-ClientAuthPrefix";
inline constexpr char clientUser[] = "zre-WindowsUID";  // of a client's settings, as are:
inline constexpr char clientDomain[] = "zre-WindowsDomain";
inline constexpr char clientPassword[] = "zre-WindowsPassword";
}  // namespace attribute

// A container joined to the naming context, exactly as written.
inline std::string under(std::string_view container) {
    return std::string(container) + namingContext;
}
inline std::string underGlobal(std::string_view container) {
    return std::string(container) + globalNamingContext;
}
// The entry of a connection or security server; the name is escaped.
std::string serverEntry(std::string_view serverName);
// The entry of a broker, which is what the domain lists call a connection server; the name is escaped.
std::string brokerEntry(std::string_view serverName);
// The federation copy of a server's entry: its name in lower case, below "ou=qrv".
std::string federationCopy(std::string_view serverDn);

}  // namespace wsadmin::layout
