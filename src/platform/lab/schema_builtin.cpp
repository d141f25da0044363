// The schema that every directory of a lab has, in the form of a schema file.
#include "platform/lab/schema.h"

namespace wsadmin::platform::lab {

const char* const builtInSchema = R"(
# Kept, made or looked at by the directory itself, in the order of KnownAttribute.
attribute objectClass string multi
attribute distinguishedName dn single
attribute name string single
attribute objectGUID guid single
attribute whenCreated time single
attribute whenChanged time single
attribute uSNCreated int64 single
attribute uSNChanged int64 single
attribute isDeleted bool single
attribute lastKnownParent dn single
attribute objectSid sid single
attribute member dn multi link 2
attribute currentTime time single
attribute highestCommittedUSN int64 single
attribute tokenGroups sid multi
attribute msDS-User-Account-Control-Computed int single
attribute userAccountControl int single
attribute primaryGroupID int single
attribute groupType int single
attribute pwdLastSet int64 single
attribute lockoutTime int64 single
attribute lockoutDuration int64 single
attribute sAMAccountName string single
attribute userPrincipalName string single
attribute unicodePwd octets single hidden
# Of directories in general.
attribute memberOf dn multi link 3
attribute cn string single
attribute ou string multi
attribute dc string single
attribute description string multi
attribute displayName string single
attribute givenName string single
attribute sn string single
attribute mail string single
attribute url string multi
attribute info string single
attribute ipHostNumber string multi
attribute dNSHostName string single
attribute manager dn single link 42
attribute directReports dn multi link 43
attribute seeAlso dn multi
attribute managedBy dn single link 72
attribute managedObjects dn multi link 73
attribute instanceType int single
attribute systemFlags int single
attribute nTMixedDomain int single
attribute isCriticalSystemObject bool single
attribute fSMORoleOwner dn single
attribute msDS-Behavior-Version int single
attribute nCName dn single
attribute dnsRoot string multi
attribute nETBIOSName string single
attribute flatName string single
attribute trustPartner string single
attribute trustDirection int single
attribute trustType int single
attribute trustAttributes int single
attribute uPNSuffixes string multi
attribute options int single
attribute userPassword octets multi hidden
attribute repsFrom string multi hidden
attribute repsTo string multi hidden
# Of accounts.
attribute sAMAccountType int single
attribute objectCategory dn single
attribute servicePrincipalName string multi
attribute accountExpires int64 single
attribute badPwdCount int single
attribute lastLogon int64 single
attribute lastLogonTimestamp int64 single
attribute logonHours octets single
attribute clearTextPassword octets single hidden
attribute altSecurityIdentities string multi
attribute sIDHistory sid multi
attribute msDS-UserAccountDisabled bool single
# Of the schema.
attribute attributeSyntax string single
attribute lDAPDisplayName string single
attribute linkID int single
attribute isSingleValued bool single
attribute oMSyntax int single
attribute subClassOf string single
attribute objectClassCategory int single
# Of a pod and of the federation layer.
attribute zre-DisplayName string single
attribute zre-MemberDNOf dn single
attribute zre-SIDString string single
attribute zre-VmState string single
attribute zre-MOID string single
attribute zre-ipHostNumberOverride string single
attribute zre-VmPath string single
attribute zre-VmTemplateName string single
attribute zre-VmCreated string single
attribute zre-mVDIOfflineUser string single
attribute zre-mVDIOfflineState string single
attribute zre-SeSparseStatus string single
attribute zre-NDDN dn single
attribute zre-ServerPoolType int single
attribute zre-Disabled int single
attribute zre-NDURL string single
attribute zre-Servers dn multi
attribute zre-Target dn single
attribute zre-AdminFolderDN dn single
attribute zre-NameValuePair string multi
attribute zre-Origin dn single
attribute zre-AdminRolePermissions string multi
attribute zre-GlobalEntitlementDN dn single
attribute zre-EntitlementType int single
attribute zre-AllowMMR int single
attribute zre-AllowUSBAccess int single
attribute zre-HostCardAcceleration int single
attribute zre-OnlineUsageAllowed int single
attribute zre-mVDIOfflineAllowed int single
attribute zre-mVDIOfflineCacheLifetime int single
attribute zre-mVDIClientRollbackAllowed int single
attribute zre-DN dn single
attribute zre-HDQSecurityServer int single
attribute zre-ConnectionServerDN dn single
attribute zre-ClientAuthEnabled int single
attribute zre-ClientAuthPasswordRequired int single
attribute zre-QuorinEnabled int single
attribute zre-QuorinEnabledPercent int single
attribute zre-QuorinLastError string single
attribute zre-VornVersionNumber int single
attribute zre-MarkedForDelete int single
attribute zre-ClusterName string single
attribute zre-AuthDomainIncludeList string multi
attribute zre-AuthDomainExcludeList string multi
attribute zre-AuthDomainSearchExcludeList string multi
attribute zre-DNSDomainName string single
attribute zre-ClientAuthDefaultOU string single
attribute zre-ClientAuthDefaultGroup string single
attribute zre-ClientAuthDefaultExpirePassword string single
attribute zre-ClientAuthPrefix string multi
attribute zre-WindowsUID string single
attribute zre-WindowsDomain string single
attribute zre-WindowsPassword string single
attribute zre-GUID string single
attribute zre-SiteDN dn single
attribute zre-URL string single
attribute zre-TouchTime time single
# Classes, each after its superior.
class top -
class container top
class organizationalUnit top
class domain top
class domainDNS domain
class person top
class organizationalPerson person
class user organizationalPerson
class computer user
class group top
class contact organizationalPerson
class foreignSecurityPrincipal top
class lostAndFound top
class configuration top
class dMD top
class attributeSchema top
class classSchema top
class crossRef top
class crossRefContainer top
class trustedDomain top
class sitesContainer top
class site top
class serversContainer top
class server top
class nTDSDSA top
class zre-VM top
class zre-PM top
class zre-ServerPool top
class zre-Nodarium top
class zre-DesktopApplication top
auxiliary zre-DesktopApplication-a top
class zre-MirapakApplication top
class zre-MirapakApplicationGroup top
class zre-AdminRole top
class zre-GlobalAssignment top
class zre-GlobalEntitlement top
class zre-PolicyObject top
class zre-HDQPolicyObject zre-PolicyObject
class zre-mVDIPolicyObject zre-PolicyObject
class zre-policyLinkObject top
class zre-PropertyObject top
class zre-HDQProperties zre-PropertyObject
class zre-Prop top
auxiliary zre-ClientAuthSettings-a top
auxiliary zre-NameValuePairs top
auxiliary zre-NameValuePairs-a top
class zre-PodProperties top
class zre-PodEndpoint top
class zre-SiteProperties top
class zre-GlobalProperties top
)";

}  // namespace wsadmin::platform::lab
