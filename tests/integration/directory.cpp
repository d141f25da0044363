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

std::vector<std::string> client(const std::string& program) {
    std::string user = environment("WS_TEST_LDAP_USER");
    if (const std::string domain = environment("WS_TEST_LDAP_DOMAIN"); !domain.empty()) user += "@" + domain;
    return {program, "-x",
            "-H",    "ldap://" + environment("WS_TEST_LDAP_HOST") + ":" + environment("WS_TEST_LDAP_PORT"),
            "-D",    user,
            "-w",    environment("WS_TEST_LDAP_PASSWORD")};
}

// A change that makes the attribute have this value alone, or without one removes it.
std::string replacement(const std::string& rdns, const std::string& attribute,
                        const std::string& value = {}) {
    std::string change = "dn: " + rdns + base + "\nchangetype: modify\nreplace: " + attribute + "\n";
    if (!value.empty()) change += attribute + ": " + value + "\n";
    return change + "\n";
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
)";

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
    std::vector<std::string> command = client("ldapsearch");
    command.insert(command.end(), {"-LLL", "-s", "base", "-b", dn, "(objectClass=*)", attribute});
    const Outcome found = run(command);
    const auto values = ldifValues(found.output, dn, attribute);
    if (!values) throw std::runtime_error(dn + ": " + found.errors);
    return *values;
}

LabPod::LabPod(bool withPrincipals) {
    const std::string domain = "dn: " + std::string(base) + "\nobjectClass: domainDNS\n\n";
    const std::string principals =
        "dn: CN=ForeignSecurityPrincipals," + std::string(base) + "\nobjectClass: container\n\n";
    folder_.write("machine.toml", machine);
    folder_.write("base.ldif", withPrincipals ? domain + principals : domain);
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
