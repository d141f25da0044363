#include "federation/installation_texts.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/ldif_text.h"

namespace wsadmin::qrv {

namespace {

using CORE::toUtf8;
using layout::globalNamingContext;
using platform::escapeDnValue;
using std::string;

constexpr std::string_view unit = "organizationalUnit", unitInLowerCase = "organizationalunit";
constexpr std::string_view firstSite =
    "cn=Default-First-Site,OU=Site,OU=Properties,dc=vdiglobal,dc=talvex,dc=int";

using Line = std::pair<std::string_view, string>;

string linesOf(std::initializer_list<Line> lines) {
    string text;
    for (const auto& [name, value] : lines) text += platform::ldifLine(name, value) + "\n";
    return text;
}

// An entry with the empty line behind it.
string entryOf(std::initializer_list<Line> lines) {
    return linesOf(lines) + "\n";
}

// A container below the naming context: "ou=Pod,ou=Properties,". The pod's own ones are written with
// "objectclass" in lower case, the first ones are not; directories see no difference.
string container(const string& rdns, const string& name) {
    return entryOf({{"dn", rdns + globalNamingContext},
                    {"objectClass", string(unit)},
                    {"objectClass", "top"},
                    {"ou", name}});
}
string laterContainer(const string& rdns, const string& name) {
    return entryOf({{"dn", rdns + globalNamingContext},
                    {"objectclass", string(unitInLowerCase)},
                    {"objectClass", "top"},
                    {"ou", name}});
}

string containers() {
    return container("ou=Properties,", "Properties") + container("ou=Global,ou=Properties,", "Global") +
           container("ou=Pod,ou=Properties,", "Pod") + container("ou=Site,ou=Properties,", "Site") +
           container("ou=Entitlements,", "Entitlements") + laterContainer("OU=Assignments,", "Assignments") +
           laterContainer("OU=Application Icons,", "Application Icons") +
           laterContainer("OU=Site,OU=Assignments,", "Site") +
           laterContainer("OU=POD,OU=Assignments,", "POD");
}

string settings(const Installed& installed) {
    return entryOf({{"dn", layout::underGlobal(federationEntry)},
                    {"objectClass", "zre-GlobalProperties"},
                    {"objectClass", "top"},
                    {"cn", "Common"},
                    {attribute::guid, installed.federationGuid}}) +
           entryOf({{"dn", string(firstSite)},
                    {"objectClass", "zre-SiteProperties"},
                    {"cn", "Default-First-Site"},
                    {layout::attribute::displayName, "Default First Site"}});
}

string podAndEndpoint(const Installed& installed) {
    return entryOf({{"dn", podEntry(installed.podGuid)},
                    {"objectClass", "zre-PodProperties"},
                    {"objectClass", "top"},
                    {"cn", installed.podGuid},
                    {layout::attribute::displayName, installed.podName},
                    {attribute::siteDn, string(firstSite)}}) +
           entryOf({{"dn", "cn=" + escapeDnValue(installed.netBiosName) + "," + podEntry(installed.podGuid)},
                    {"objectClass", "zre-PodEndpoint"},
                    {"cn", installed.netBiosName},
                    {layout::attribute::disabled, "1"},
                    {attribute::url, "https://" + installed.hostName + ":8472/"}});
}

string podGroup(const char* name, std::string_view podGuid) {
    return "CN=" + string(name) + ", OU=" + escapeDnValue(podGuid) + ",OU=Pod,OU=Groups," +
           globalNamingContext;
}

string groups(const string& podGuid) {
    string text = laterContainer("OU=Groups,", "Groups") + laterContainer("OU=Pod,OU=Groups,", "Pod") +
                  laterContainer("OU=" + escapeDnValue(podGuid) + ",OU=Pod,OU=Groups,", podGuid);
    for (const char* name : administratorGroups)
        text += entryOf({{"dn", podGroup(name, podGuid)}, {"objectclass", "group"}});
    return text;
}

string membership(const string& role, const char* group, std::string_view podGuid) {
    return linesOf({{"dn", "CN=" + role + ",CN=Roles,DC=vdiglobal,DC=talvex,DC=int"},
                    {"changetype", "modify"},
                    {"add", layout::attribute::member},
                    {layout::attribute::member, podGroup(group, podGuid)}}) +
           "-\n";
}

// A value of the answer file, which ends with its line.
string sanitised(std::string_view value) {
    string text(value);
    std::ranges::replace_if(
        text, [](char c) { return c == '\0' || c == '\r' || c == '\n'; }, '#');
    return text;
}

}  // namespace

string answerFile(std::string_view administrators, std::string_view dataFolder) {
    const string folder = sanitised(dataFolder);
    return "[ADAMInstall]\n"
           "InstallType=Unique\n"
           "NewApplicationPartitionToCreate=" +
           string(globalNamingContext) +
           "\n"
           "ShowOrHideProgressGUI=Hide\n"
           "InstanceName=" +
           toUtf8(instanceName) + "\nAdministrator=" + sanitised(administrators) +
           "\nLocalLDAPPortToListenOn=" + toUtf8(ldapPort) + "\nLocalSSLPortToListenOn=" + toUtf8(tlsPort) +
           "\nDataFilesPath=" + folder + "\nLogFilesPath=" + folder + "\n";
}

string crossReference(std::string_view guid, std::string_view address) {
    return entryOf({{"dn", "cn=" + escapeDnValue(guid) + ",cn=partitions,cn=Configuration,DC=X"},
                    {"objectclass", "crossRef"},
                    {"cn", string(guid)},
                    {"nCName", globalNamingContext},
                    {"dnsRoot", string(address)}});
}

string starterData(const Installed& installed) {
    return containers() + settings(installed) + podAndEndpoint(installed) + groups(installed.podGuid);
}

string roleMembership(std::string_view podGuid) {
    return membership("Administrators", administratorGroups[0], podGuid) + "\n" +
           membership("Readers", administratorGroups[1], podGuid);
}

string podEntry(std::string_view podGuid) {
    return "cn=" + escapeDnValue(podGuid) + "," + layout::underGlobal(pods);
}

string endpointEntry(std::string_view netBiosName, std::string_view podGuid) {
    return "CN=" + escapeDnValue(netBiosName) + ",CN=" + escapeDnValue(podGuid) + "," +
           layout::underGlobal(pods);
}

}  // namespace wsadmin::qrv
