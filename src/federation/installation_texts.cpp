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
    return "CN=" + string(name) + ", " + podGroups(podGuid);
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

// The lines of an answer file. What would end a line, or the file, is written as "#".
class Answers {
  public:
    Answers& add(std::string_view name, std::string_view value) {
        constexpr std::string_view breaks("\0\r\n", 3);
        text_.append(name).append("=");
        for (;;) {
            const auto end = value.find_first_of(breaks);
            text_.append(value.substr(0, end));
            if (end == value.npos) break;
            text_.append("#");
            value.remove_prefix(end + 1);
        }
        text_.append("\n");
        return *this;
    }
    // What follows in all of them.
    Answers& addMachine(const AnswersOfMachine& machine) {
        return add("Administrator", machine.administrators)
            .add("LocalLDAPPortToListenOn", toUtf8(ldapPort))
            .add("LocalSSLPortToListenOn", toUtf8(tlsPort))
            .add("DataFilesPath", machine.dataFolder)
            .add("LogFilesPath", machine.dataFolder);
    }
    Answers& addInstance() {
        return add("ShowOrHideProgressGUI", "Hide").add("InstanceName", toUtf8(instanceName));
    }
    CORE::secretstring take() { return std::move(text_); }

  private:
    CORE::secretstring text_{"[ADAMInstall]\n"};
};

}  // namespace

CORE::secretstring answerFile(const AnswersOfMachine& machine) {
    return Answers()
        .add("InstallType", "Unique")
        .add("NewApplicationPartitionToCreate", globalNamingContext)
        .addInstance()
        .addMachine(machine)
        .take();
}

CORE::secretstring replicaAnswerFile(const AnswersOfMachine& machine, std::string_view source,
                                     const platform::DirectoryCredentials& account) {
    Answers answers;
    answers.add("InstallType", "Replica")
        .add("ApplicationPartitionsToReplicate", globalNamingContext)
        .add("SourceLDAPPort", toUtf8(ldapPort))
        .addInstance()
        .add("SourceServer", source);
    if (!account.user.empty())
        answers.add("SourceUserName", account.user).add("SourcePassword", account.password.view());
    return answers.addMachine(machine).take();
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

string podGroups(std::string_view podGuid) {
    return "OU=" + escapeDnValue(podGuid) + ",OU=Pod,OU=Groups," + globalNamingContext;
}

string endpointEntry(std::string_view netBiosName, std::string_view podGuid) {
    return "CN=" + escapeDnValue(netBiosName) + ",CN=" + escapeDnValue(podGuid) + "," +
           layout::underGlobal(pods);
}

}  // namespace wsadmin::qrv
