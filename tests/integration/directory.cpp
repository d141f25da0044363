#include "integration/directory.h"

#include <stdexcept>

#include "integration/command.h"
#include "integration/ldif.h"

namespace integration {

namespace {

constexpr char base[] = "DC=vdi,DC=talvex,DC=int";

constexpr char excludeList[] = "zre-AuthDomainExcludeList";
constexpr const char* domainLists[] = {excludeList, "zre-AuthDomainIncludeList",
                                       "zre-AuthDomainSearchExcludeList"};

// One of OpenLDAP's programs on the server that the variables of that prefix name.
std::vector<std::string> client(const std::string& program, const std::string& prefix,
                                const std::string& port, const std::string& user) {
    return {program, "-x", "-H", "ldap://" + environment((prefix + "_HOST").c_str()) + ":" + port,
            "-D",    user, "-w", environment((prefix + "_PASSWORD").c_str())};
}

std::vector<std::string> client(const std::string& program) {
    std::string user = environment("WS_TEST_LDAP_USER");
    if (const std::string domain = environment("WS_TEST_LDAP_DOMAIN"); !domain.empty()) user += "@" + domain;
    return client(program, "WS_TEST_LDAP", environment("WS_TEST_LDAP_PORT"), user);
}

std::vector<std::string> corpClient(const std::string& program) {
    return client(program, "WS_TEST_CORP", "389", environment("WS_TEST_CORP_USER"));
}

std::string outputOf(std::vector<std::string> command, const std::vector<std::string>& arguments) {
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Outcome outcome = run(command);
    if (outcome.status != 0) throw std::runtime_error(command.front() + ": " + outcome.errors);
    return outcome.output;
}

std::vector<std::string> readBack(std::vector<std::string> command, const std::string& dn,
                                  const std::string& attribute) {
    command.insert(command.end(), {"-LLL", "-s", "base", "-b", dn, "(objectClass=*)", attribute});
    const Outcome found = run(command);
    const auto values = ldifValues(found.output, dn, attribute);
    if (!values) throw std::runtime_error(dn + ": " + found.errors);
    return *values;
}

// A change that makes the attribute have this value alone, or without one removes it.
std::string replacement(const std::string& rdns, const std::string& attribute,
                        const std::string& value = {}) {
    std::string change = "dn: " + rdns + base + "\nchangetype: modify\nreplace: " + attribute + "\n";
    if (!value.empty()) change += attribute + ": " + value + "\n";
    return change + "\n";
}

// The names of the entries that a default desktop makes.
std::vector<std::string> defaultDesktops() {
    std::vector<std::string> command = client("ldapsearch");
    command.insert(command.end(), {"-LLL", "-o", "ldif-wrap=no", "-b", std::string("OU=Properties,") + base,
                                   "(objectClass=zre-DesktopApplication-a)", "1.1"});
    std::vector<std::string> names;
    std::istringstream lines(run(command).output);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("dn: ")) names.push_back(line.substr(4));
    return names;
}

std::string content(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

constexpr char machine[] = R"(
[machine]
netbios-name = "VCS1"
dns-name = "vcs1.corp.example"
role = "connection-server"

[[directory]]
name = "TalvexHDQ"
suffixes = ["dc=vdi,dc=talvex,dc=int"]
files = ["base.ldif", "pod.ldif"]

[[directory]]
name = "corp"
kind = "ad"
suffixes = ["dc=corp,dc=example"]
hosts = ["corp.example"]
ports = [389, 3268]
files = ["corp-base.ldif", "corp.ldif"]
)";

// What a new domain has of its own.
constexpr char corpBase[] = R"(dn: DC=corp,DC=example
objectClass: domainDNS
objectSid: S-1-5-21-2000-2000-2000

dn: CN=Users,DC=corp,DC=example
objectClass: container

dn: CN=Domain Users,CN=Users,DC=corp,DC=example
objectClass: group
sAMAccountName: Domain Users
objectSid: S-1-5-21-2000-2000-2000-513
groupType: -2147483646

dn: CN=Builtin,DC=corp,DC=example
objectClass: builtinDomain

dn: CN=Users,CN=Builtin,DC=corp,DC=example
objectClass: group
sAMAccountName: Users
objectSid: S-1-5-32-545
groupType: -2147483643
member: CN=Domain Users,CN=Users,DC=corp,DC=example

dn: OU=Domain Controllers,DC=corp,DC=example
objectClass: organizationalUnit

dn: CN=DC1,OU=Domain Controllers,DC=corp,DC=example
objectClass: computer
sAMAccountName: DC1$
objectSid: S-1-5-21-2000-2000-2000-1000
userAccountControl: 532480

dn: CN=System,DC=corp,DC=example
objectClass: container

dn: CN=Configuration,DC=corp,DC=example
objectClass: configuration

dn: CN=Partitions,CN=Configuration,DC=corp,DC=example
objectClass: crossRefContainer

dn: CN=CORP,CN=Partitions,CN=Configuration,DC=corp,DC=example
objectClass: crossRef
nCName: DC=corp,DC=example
dnsRoot: corp.example
nETBIOSName: CORP

)";

// The same people as on a server, which counts their identifiers up itself and puts users into a group.
std::string withIdentifiers(const std::string& ldif) {
    std::string text;
    int rid = 1102;
    std::istringstream lines(ldif);
    for (std::string line; std::getline(lines, line);) {
        text += line + "\n";
        if (line == "objectClass: user") text += "primaryGroupID: 513\n";
        if (line == "objectClass: user" || line == "objectClass: group")
            text += "objectSid: S-1-5-21-2000-2000-2000-" + std::to_string(rid++) + "\n";
    }
    return text;
}

}  // namespace

ServerPod::ServerPod() {
    const std::string mark = "zre-MarkedForDelete";
    std::string changes =
        replacement("CN=Common,OU=Global,OU=Properties,", "zre-ClusterName", "Cluster-POD1") +
        replacement("CN=VCS3,OU=Server,OU=QRV,OU=Properties,", mark);
    for (const char* name : {"VCS1", "VCS2", "VCS3", "VCS4", "VCS (5)*"}) {
        const std::string entry = "CN=" + std::string(name) + ",OU=Server,OU=Properties,";
        changes += replacement(entry, mark);
        for (const char* list : domainLists) changes += replacement(entry, list);
    }
    for (const char* list : domainLists)
        changes +=
            replacement("CN=Common,OU=Global,OU=Properties,", list, list == excludeList ? "old.example" : "");

    const auto machine = [&changes](const std::string& name, const std::string& owner = {}) {
        const std::string entry = "CN=" + name + ",OU=Servers,";
        changes += replacement(entry, "zre-SIDString", owner);
        for (const char* set : {"zre-SeSparseStatus", "zre-ipHostNumberOverride"})
            changes += replacement(entry, set);
    };
    machine("vm-auto-01", "S-1-5-21-2000-2000-2000-1103");
    machine("vm-auto-02");
    for (const std::string& assignment : defaultDesktops())
        changes += "dn: " + assignment + "\nchangetype: delete\n\n";

    const wstest::TempFolder folder;
    std::vector<std::string> command = client("ldapmodify");
    command.insert(command.end(), {"-f", folder.write("changes.ldif", changes)});
    const Outcome changed = run(command);
    if (changed.status != 0) throw std::runtime_error("the pod cannot be put back: " + changed.errors);
}

std::vector<std::string> ServerPod::options() const {
    return {"--config", environment("WS_TEST_CONFIG")};
}

std::vector<std::string> ServerPod::values(const std::string& dn, const std::string& attribute) const {
    return readBack(client("ldapsearch"), dn, attribute);
}

std::vector<std::string> corpValues(const std::string& dn, const std::string& attribute) {
    return readBack(corpClient("ldapsearch"), dn, attribute);
}

std::string onPod(const std::string& program, const std::vector<std::string>& arguments) {
    return outputOf(client(program), arguments);
}

std::string onCorp(const std::string& program, const std::vector<std::string>& arguments) {
    return outputOf(corpClient(program), arguments);
}

std::string sidText(const std::string& bytes) {
    const auto byte = [&bytes](std::size_t at) {
        return std::uint32_t{static_cast<unsigned char>(bytes.at(at))};
    };
    std::string text = "S-1-" + std::to_string(byte(7));
    for (std::size_t at = 8; at < bytes.size(); at += 4)
        text += "-" + std::to_string(byte(at) | byte(at + 1) << 8 | byte(at + 2) << 16 | byte(at + 3) << 24);
    return text;
}

LabPod::LabPod(bool withPrincipals) {
    const std::string domain = "dn: " + std::string(base) + "\nobjectClass: domainDNS\n\n";
    const std::string principals =
        "dn: CN=ForeignSecurityPrincipals," + std::string(base) + "\nobjectClass: container\n\n";
    folder_.write("machine.toml", machine);
    folder_.write("base.ldif", withPrincipals ? domain + principals : domain);
    folder_.write("corp-base.ldif", corpBase);
    folder_.write("corp.ldif", withIdentifiers(content(WS_SOURCE_DIR "/tests/servers/corp.ldif")));
    // Its members stand in the container.
    folder_.write("pod.ldif", withPrincipals ? content(WS_SOURCE_DIR "/tests/servers/pod.ldif") : "");
}

std::vector<std::string> LabPod::options() const {
    return {"--save", "--lab", folder_.path().string()};
}

std::vector<std::string> LabPod::values(const std::string& dn, const std::string& attribute) const {
    const auto values = ldifValues(folder_.read("pod.ldif"), dn, attribute);
    if (!values) throw std::runtime_error(dn + " is not in the lab's files");
    return *values;
}

std::unique_ptr<Pod> makePod(Place place) {
    if (place == Place::server) return std::make_unique<ServerPod>();
    return std::make_unique<LabPod>();
}

}  // namespace integration
