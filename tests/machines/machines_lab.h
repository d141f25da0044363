// A pod with machines, pools and desktops, and the people who use them.
#pragma once

#include "identity/pod_lab.h"

namespace wstest {

inline const std::string podBase = "DC=vdi,DC=talvex,DC=int";

// "name: value" lines.
using Attributes = std::vector<std::pair<std::string, std::string>>;

inline std::string record(const std::string& dn, const Attributes& attributes) {
    std::string text = "dn: " + dn + "\n";
    for (const auto& [name, value] : attributes) text += name + ": " + value + "\n";
    return text + "\n";
}

inline std::string machineDn(const std::string& cn) {
    return "CN=" + cn + ",OU=Servers," + podBase;
}
inline std::string poolDn(const std::string& name) {
    return "CN=" + name + ",OU=Server Groups," + podBase;
}

inline std::string machine(const std::string& name, const std::string& pool, const std::string& owner = {},
                           Attributes more = {}) {
    Attributes all = {{"objectClass", "zre-VM"}, {"zre-DisplayName", name}};
    if (!pool.empty()) all.emplace_back("zre-MemberDNOf", poolDn(pool));
    if (!owner.empty()) all.emplace_back("zre-SIDString", owner);
    all.insert(all.end(), more.begin(), more.end());
    return record(machineDn(name), all);
}

inline std::string poolRecord(const std::string& name, int type, const std::string& server = {}) {
    Attributes all = {{"objectClass", "zre-ServerPool"}, {"zre-ServerPoolType", std::to_string(type)}};
    if (!server.empty()) all.emplace_back("zre-NDDN", server);
    return record(poolDn(name), all);
}

inline std::string desktop(const std::string& name, const std::string& pool,
                           const std::vector<std::string>& members) {
    Attributes all = {{"objectClass", "zre-DesktopApplication"},
                      {"zre-DisplayName", "Desktop " + name},
                      {"zre-Servers", poolDn(pool)}};
    for (const std::string& sid : members) all.emplace_back("member", "<SID=" + sid + ">");
    return record("CN=" + name + ",OU=Applications," + podBase, all);
}

inline std::string person(const std::string& name, int rid, Attributes more = {}) {
    Attributes all = {{"objectClass", "user"},
                      {"sAMAccountName", name},
                      {"objectSid", sidOf(rid)},
                      {"userAccountControl", "512"}};
    all.insert(all.end(), more.begin(), more.end());
    return record("CN=" + name + ",DC=corp,DC=example", all);
}

inline std::string group(const std::string& name, int rid, const std::vector<std::string>& members) {
    Attributes all = {{"objectClass", "group"},
                      {"sAMAccountName", name},
                      {"objectSid", sidOf(rid)},
                      {"groupType", "-2147483646"}};
    for (const std::string& member : members)
        all.emplace_back("member", "CN=" + member + ",DC=corp,DC=example");
    return record("CN=" + name + ",DC=corp,DC=example", all);
}

// Alice (1001) and Bob (1002) alone, Carol (1003) in Sales (1101), which is in Staff (1102). Pool "sales" has
// owners, "shared" has none.
inline PodContent officeWith(const std::string& pod) {
    std::string containers;
    for (const char* name :
         {"OU=Servers", "OU=Server Groups", "OU=Policies", "OU=Properties", "OU=Nodarium,OU=Properties"})
        containers += PodLab::container(std::string(name) + "," + podBase);
    const std::string server = "CN=nd1,OU=Nodarium,OU=Properties," + podBase;
    return {
        .pod = containers +
               record(server, {{"objectClass", "zre-Nodarium"}, {"zre-NDURL", "https://nd1.example/sdk"}}) +
               poolRecord("sales", 1, server) + poolRecord("shared", 2) + pod,
        .corp = person("alice", 1001) + person("bob", 1002) + person("carol", 1003) +
                group("Sales", 1101, {"carol"}) + group("Staff", 1102, {"Sales"})};
}

// The answer in one line, or "! " and its sentence.
inline std::string textOf(const CORE::PropertyBag& answer) {
    if (answer.getError()) return "! " + CORE::toUtf8(answer.getErrorText());
    return CORE::toUtf8(answer.flattenForDisplay());
}

inline CORE::PropertyBag bagOf(const Attributes& keys) {
    CORE::PropertyBag bag;
    for (const auto& [key, value] : keys) bag.addUtf8(key, value);
    return bag;
}

// The values of an attribute as the directory has them.
inline std::string storedValues(PodLab& lab, const std::string& dn, const std::string& attribute) {
    auto session = lab.platform->ldap->open({.host = {}, .port = 389});
    if (!session || !(*session)->bind({})) return "!";
    const auto found = (*session)->search({.base = dn,
                                           .scope = wsadmin::platform::LdapScope::base,
                                           .filter = "(objectClass=*)",
                                           .attributes = {attribute}});
    if (!found || found->entries.empty()) return "!";
    std::string text;
    for (const std::string& value : found->entries.front().all(attribute))
        text += (text.empty() ? "" : "|") + value;
    return text;
}

}  // namespace wstest
