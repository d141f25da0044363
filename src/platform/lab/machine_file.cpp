#include "platform/lab/machine_file.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <set>

#include "framework/core/corestring.h"
#include "platform/text/network_address.h"
#include "platform/text/toml_machine.h"

namespace wsadmin::platform::lab {

namespace {

using Section = TomlSection;
using Wrong = TomlMistake;

void readMachine(Section& section, MachineDescription& machine) {
    section.text("netbios-name", machine.netBiosName);
    section.text("dns-name", machine.dnsName);
    readInstallation(section, machine.installation);
    readFirstGuid(section, machine.process);
    section.text("account", machine.account);
}

void readClock(Section& section, MachineDescription& machine) {
    std::string now;
    section.text("now", now);
    if (!section.raw().get("now")) return;
    // "2026-01-01T00:00:00Z" is a directory's time with other punctuation.
    std::string digits;
    std::copy_if(now.begin(), now.end(), std::back_inserter(digits),
                 [](char c) { return c >= '0' && c <= '9'; });
    machine.fixedTime = timeFromText(digits + ".0Z");
    if (now.size() != 20 || !machine.fixedTime || now[10] != 'T' || now[19] != 'Z')
        section.wrong("now", "clock.now is a time such as \"2026-01-01T00:00:00Z\", not \"" + now + "\"");
}

void readFolders(Section& section, MachineDescription& machine) {
    section.text("common-app-data", machine.folders[Folder::commonAppData]);
    section.text("local-app-data", machine.folders[Folder::localAppData]);
    section.text("program-files", machine.folders[Folder::programFiles]);
    section.text("windows", machine.windowsDirectory);
    section.text("temporary", machine.temporaryFolder);
}

// Paths are the file's own, so this table has no list of known ones.
void readFiles(Section& top, MachineDescription& machine) {
    const auto* node = top.find("files");
    if (!node) return;
    if (!node->is_table()) throw Wrong{tomlLine(*node), "files is a table, [files]"};
    for (const auto& [path, value] : *node->as_table()) {
        if (!value.is_string())
            throw Wrong{tomlLine(value), "a file is named by the file of the lab that holds it, or by \"\""};
        machine.files.push_back({.path = CORE::toWide(path.str()),
                                 .source = value.as_string()->get(),
                                 .content = {},
                                 .line = static_cast<int>(tomlLine(value))});
    }
}

void readService(Section& section, MachineDescription& machine) {
    LabService service;
    std::vector<std::string> dependencies;
    section.text("name", service.name);
    section.text("description", service.description);
    section.texts("depends-on", dependencies);
    for (const std::string& name : dependencies) service.dependencies.push_back(CORE::toWide(name));
    if (service.name.empty()) section.wrong("name", "a service needs a name");
    machine.services.push_back(std::move(service));
}

RegistryData registryData(const toml::node& node) {
    if (const auto* text = node.as_string()) return CORE::toWide(text->get());
    if (node.is_integer())
        return static_cast<std::uint32_t>(Section::numberOf(node, "a registry number", 0, UINT32_MAX));
    if (const auto* list = node.as_array()) {
        std::vector<std::wstring> texts;
        for (const auto& item : *list) {
            if (!item.is_string()) throw Wrong{tomlLine(item), "a registry list holds texts only"};
            texts.push_back(CORE::toWide(item.as_string()->get()));
        }
        return texts;
    }
    if (const auto* table = node.as_table();
        table && table->size() == 1 && table->get("hex") && table->get("hex")->is_string()) {
        const std::string digits = table->get("hex")->as_string()->get();
        std::vector<std::uint8_t> bytes;
        for (std::size_t i = 0; i < digits.size(); i += 2) {
            unsigned byte = 0;
            const auto [end, error] =
                std::from_chars(digits.data() + i, digits.data() + std::min(i + 2, digits.size()), byte, 16);
            if (error != std::errc{} || end != digits.data() + i + 2)
                throw Wrong{tomlLine(node), "hex holds pairs of digits"};
            bytes.push_back(static_cast<std::uint8_t>(byte));
        }
        return bytes;
    }
    throw Wrong{tomlLine(node), "a registry value is a text, a number, a list of texts or { hex = \"...\" }"};
}

// Key names are the file's own, so this section has no list of known ones.
void readRegistry(const toml::node& node, MachineDescription& machine) {
    if (!node.is_table()) throw Wrong{tomlLine(node), "registry is written as [registry.'HKLM\\...']"};
    for (const auto& [key, values] : *node.as_table()) {
        if (!values.is_table() || values.as_table()->is_inline())
            throw Wrong{tomlLine(values), "registry keys are tables, [registry.'HKLM\\...']"};
        RegistryKey entry{CORE::toWide(key.str()), {}};
        if (!entry.key.starts_with(L"HKLM\\") && !entry.key.starts_with(L"HKCU\\"))
            throw Wrong{tomlLine(values), "a registry key begins with HKLM\\ or HKCU\\"};
        for (const auto& [name, value] : *values.as_table())
            entry.values.emplace_back(CORE::toWide(name.str()), registryData(value));
        machine.registry.push_back(std::move(entry));
    }
}

void readFirewallRule(Section& section, NetworkPolicy& policy) {
    LabFirewallRule rule;
    section.text("name", rule.name);
    section.flag("enabled", rule.enabled);
    section.text("local-ip", rule.localIp);
    section.text("remote-ip", rule.remoteIp);
    section.text("local-port", rule.localPort);
    section.text("protocol", rule.protocol);
    if (rule.name.empty()) section.wrong("name", "a firewall rule needs a name");
    policy.firewallRules.push_back(std::move(rule));
}

void readFirewall(Section& section, NetworkPolicy& policy) {
    std::vector<std::string> active;
    section.texts("active-profiles", active);
    if (section.raw().contains("active-profiles")) policy.activeProfiles = 0;
    for (const std::string& name : active) {
        const auto known = std::ranges::find(labProfiles, name, &LabProfile::name);
        if (known == std::end(labProfiles))
            section.wrong("active-profiles", "a profile is domain, private or public, not \"" + name + "\"");
        policy.activeProfiles |= known->bit;
    }
    for (const LabProfile& profile : labProfiles) {
        bool on = true;
        section.flag(profile.name, on);
        if (!on) policy.enabledProfiles &= ~profile.bit;
    }
    section.tables("rule", [&](Section& rule) { readFirewallRule(rule, policy); });
}

void readIpsecRule(Section& section, std::vector<LabIpsecRule>& rules) {
    LabIpsecRule rule;
    section.text("name", rule.name);
    section.text("endpoint1", rule.endpoint1);
    section.text("endpoint2", rule.endpoint2);
    section.text("port1", rule.port1);
    section.text("port2", rule.port2);
    section.text("action", rule.action);
    if (rule.name.empty()) section.wrong("name", "a rule of IPsec needs a name");
    rules.push_back(std::move(rule));
}

void readIpsecPeer(Section& section, NetworkPolicy& policy) {
    LabPeer peer;
    section.text("address", peer.address);
    peer.seenAs = peer.address;
    section.text("seen-as", peer.seenAs);
    for (const auto* key : {"address", "seen-as"})
        if (!isIpAddress(key == std::string_view("address") ? peer.address : peer.seenAs))
            section.wrong(key, "a peer's " + std::string(key) + " is an IPv4 or IPv6 address");
    policy.peers.push_back(std::move(peer));
}

void readIpsec(Section& section, NetworkPolicy& policy) {
    section.tables("main-mode", [&](Section& rule) { readIpsecRule(rule, policy.mainMode); });
    section.tables("quick-mode", [&](Section& rule) { readIpsecRule(rule, policy.quickMode); });
    section.tables("peer", [&](Section& peer) { readIpsecPeer(peer, policy); });
}

void readUnreachable(Section& section, MachineDescription& machine) {
    UnreachableHost host;
    section.text("host", host.name);
    tomlChoice<ProbeOutcome>(section, "meets", host.meets,
                             {{"host-unreachable", ProbeOutcome::hostUnreachable},
                              {"refused", ProbeOutcome::refused},
                              {"timed-out", ProbeOutcome::timedOut},
                              {"name-not-resolved", ProbeOutcome::nameNotResolved},
                              {"socket-error", ProbeOutcome::socketError},
                              {"other-failure", ProbeOutcome::otherFailure}});
    if (host.name.empty()) section.wrong("host", "a host needs a name");
    machine.unreachable.push_back(std::move(host));
}

void readProgram(Section& section, MachineDescription& machine) {
    ProgramRule rule;
    rule.arguments = L"*";
    section.text("name", rule.program);
    section.text("arguments", rule.arguments);
    section.number("exit-code", rule.exitCode, INT32_MIN, INT32_MAX);
    section.milliseconds("duration", rule.duration);
    if (rule.program.empty()) section.wrong("name", "a program needs a name");
    machine.programs.push_back(std::move(rule));
}

void optionalNumber(Section& section, std::string_view key, std::optional<int>& into) {
    int value = 0;
    section.number(key, value, 0, INT32_MAX);
    if (section.raw().get(key)) into = value;
}

// The codes of replication are the system's.
void readFailOrder(Section& section, FailOrder& order) {
    std::vector<std::pair<std::string_view, std::string>> operations;
    const auto add = [&](std::initializer_list<const char*> names) {
        for (const char* name : names) operations.emplace_back(name, name);
        return operations.size();
    };
    const std::size_t ofLdap = add({"bind", "search", "add", "modify", "delete", "rename"});
    add({"replica-bind", "pending", "topology", "reference", "link", "sync", "sync-all", "sync-event",
         "replicate"});
    tomlChoice<std::string>(section, "operation", order.operation, operations);
    if (order.operation.empty()) section.wrong("operation", "a failure needs an operation");
    operations.resize(ofLdap);
    const bool isLdap =
        std::ranges::any_of(operations, [&](const auto& known) { return known.second == order.operation; });
    if (!isLdap) order.code = serverUnavailable;
    section.number("code", order.code, 1, isLdap ? 118 : 65535);
}

void readFaults(Section& section, Faults& faults) {
    section.flag("refuse-connections", faults.refuseConnections);
    section.flag("refuse-binds", faults.refuseBinds);
    section.flag("refuse-page-cookies", faults.refusePageCookies);
    section.milliseconds("slow", faults.slow);
    optionalNumber(section, "die-after-operations", faults.dieAfterOperations);
    optionalNumber(section, "die-after-pages", faults.dieAfterPages);
    section.number("pending-operations", faults.pendingOperations, 0, INT32_MAX);
    section.texts("role-takers", faults.roleTakers);
    section.tables("fail", [&](Section& one) {
        FailOrder order;
        readFailOrder(one, order);
        one.text("dn", order.dn);
        one.number("skip", order.skip, 0, INT32_MAX);
        optionalNumber(one, "times", order.times);
        if (!order.dn.empty() && !parseDn(order.dn))
            one.wrong("dn", "\"" + order.dn + "\" is no name of an entry");
        faults.fail.push_back(std::move(order));
    });
}

void readAccount(Section& section, std::vector<Account>& accounts) {
    Account account;
    std::string password;
    section.text("name", account.name);
    section.text("domain", account.domain);
    section.text("dns-domain", account.dnsDomain);
    section.text("password", password);
    account.password = CORE::secretstring(password);
    CORE::wipeMemory(password.data(), password.size());
    if (account.name.empty()) section.wrong("name", "an account needs a name");
    accounts.push_back(std::move(account));
}

void readDirectory(Section& section, MachineDescription& machine) {
    DirectoryDescription directory;
    directory.line = static_cast<int>(section.line());
    directory.settings.name = "LDAP";
    directory.address.ports = {389};
    section.text("name", directory.settings.name);
    section.texts("suffixes", directory.settings.suffixes);
    section.texts("files", directory.files);
    section.texts("schema", directory.schemaFiles);
    section.texts("hosts", directory.address.hosts);
    section.texts("replicas-on", directory.replicasOn);
    section.ports("ports", directory.address.ports);
    section.ports("tls-ports", directory.address.tlsPorts);
    tomlChoice<bool>(section, "kind", directory.settings.activeDirectory, {{"lds", false}, {"ad", true}});
    section.number("page-size", directory.settings.pageSize, 1, 1000000);
    section.number("range-size", directory.settings.rangeSize, 1, 1000000);
    section.tables("account", [&](Section& account) { readAccount(account, directory.accounts); });
    section.table("faults", [&](Section& faults) { readFaults(faults, directory.faults); });
    if (directory.settings.suffixes.empty())
        section.wrong("suffixes", "a directory needs suffixes = [\"dc=...\"]");
    for (const auto& suffix : directory.settings.suffixes) {
        const auto dn = parseDn(suffix);
        const bool plain = dn && !dn->empty() && std::all_of(dn->begin(), dn->end(), [](const Rdn& rdn) {
                               return rdn.size() == 1;
                           });
        if (!plain) section.wrong("suffixes", "\"" + suffix + "\" is no name of a naming context");
    }
    machine.directories.push_back(std::move(directory));
}

void readAgentLog(Section& section, AgentDescription& agent) {
    AgentLog log;
    section.text("name", log.name);
    log.path = "C:\\ProgramData\\Talvex\\logs\\" + log.name;
    section.text("path", log.path);
    section.text("text", log.content);
    if (log.name.empty()) section.wrong("name", "a log needs a name");
    agent.logs.push_back(std::move(log));
}

void readAgentFaults(Section& section, AgentFaults& faults) {
    section.flag("refuse-connections", faults.refuseConnections);
    section.texts("fail", faults.failing);
    optionalNumber(section, "break-after-bytes", faults.breakAfterBytes);
    for (const std::string& operation : faults.failing)
        if (!isAgentOperation(operation))
            section.wrong("fail", "an agent has no operation \"" + operation + "\"");
}

void readAgent(Section& section, MachineDescription& machine) {
    AgentDescription agent;
    section.text("address", agent.address);
    section.secret("ticket", agent.ticket);
    section.text("version", agent.version);
    section.text("log-level", agent.logLevel);
    section.text("bundle", agent.bundle);
    section.tables("log", [&](Section& log) { readAgentLog(log, agent); });
    section.table("faults", [&](Section& faults) { readAgentFaults(faults, agent.faults); });
    if (agent.address.empty()) section.wrong("address", "an agent needs an address");
    if (agent.ticket.view().empty()) section.wrong("ticket", "an agent needs a ticket");
    if (std::ranges::find(machine.agents, agent.address, &AgentDescription::address) != machine.agents.end())
        section.wrong("address", "another agent is reached at " + agent.address);
    machine.agents.push_back(std::move(agent));
}

// Whether the line begins a table below one of these names, or a list of such tables.
bool isHeaderOf(std::string_view line, const std::vector<std::string_view>& names) {
    const auto skip = [&line](std::string_view what) {
        line.remove_prefix(std::min(line.find_first_not_of(what), line.size()));
    };
    skip(" \t");
    if (!line.starts_with('[')) return false;
    skip("[");
    skip(" \t");
    return std::ranges::any_of(names, [&](std::string_view name) {
        return line.starts_with(name) && line.size() > name.size() &&
               std::string_view(" \t.]").find(line[name.size()]) != line.npos;
    });
}

// "[[directory]]" itself, and not a table of one.
bool isTopDirectory(std::string_view line) {
    std::string bare(line.substr(0, line.find('#')));
    std::erase_if(bare, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    return bare == "[[directory]]";
}

struct CutText {
    std::string kept;
    std::optional<std::size_t> place;  // where the first that is left out stood
};

// The text without some of its tables. `leavesOut` is asked with the header of each, and whether the one
// before it is left out.
CutText withoutTables(std::string_view text,
                      const std::function<bool(std::string_view header, bool before)>& leavesOut) {
    CutText cut;
    bool inside = false;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size() - 1);
        const auto line = text.substr(at, end + 1 - at);
        const auto first = line.find_first_not_of(" \t");
        if (first != line.npos && line[first] == '[') inside = leavesOut(line, inside);
        if (inside && !cut.place) cut.place = cut.kept.size();
        if (!inside) cut.kept += line;
        at = end + 1;
    }
    return cut;
}

// The file's text with the tables in place of those that it has of their names. An empty one is left out: it
// would be written as a key, of whatever table stands before it.
std::string replaceTables(std::string_view text, const std::vector<std::string_view>& names,
                          const toml::table& tables) {
    auto [kept, place] =
        withoutTables(text, [&](std::string_view header, bool) { return isHeaderOf(header, names); });
    toml::table filled = tables;
    for (const std::string_view name : names)
        if (const auto list = filled[name]; list.is_array() && list.as_array()->empty()) filled.erase(name);
    if (filled.empty()) return kept;
    std::ostringstream written;
    written << toml::toml_formatter(filled) << "\n";
    if (place && *place < kept.size()) written << "\n";
    if (!place) kept += "\n";
    return kept.insert(place.value_or(kept.size()), written.str());
}

toml::array ipsecRules(const std::vector<LabIpsecRule>& rules) {
    toml::array list;
    for (const LabIpsecRule& rule : rules)
        list.push_back(toml::table{{"name", rule.name},
                                   {"endpoint1", rule.endpoint1},
                                   {"endpoint2", rule.endpoint2},
                                   {"port1", rule.port1},
                                   {"port2", rule.port2},
                                   {"action", rule.action}});
    return list;
}

toml::table firewallTable(const NetworkPolicy& policy) {
    toml::table firewall;
    toml::array active;
    for (const LabProfile& profile : labProfiles) {
        if (policy.activeProfiles & profile.bit) active.push_back(profile.name);
        firewall.insert(profile.name, (policy.enabledProfiles & profile.bit) != 0);
    }
    firewall.insert("active-profiles", std::move(active));
    toml::array rules;
    for (const LabFirewallRule& rule : policy.firewallRules)
        rules.push_back(toml::table{{"name", rule.name},
                                    {"enabled", rule.enabled},
                                    {"local-ip", rule.localIp},
                                    {"remote-ip", rule.remoteIp},
                                    {"local-port", rule.localPort},
                                    {"protocol", rule.protocol}});
    if (!rules.empty()) firewall.insert("rule", std::move(rules));
    return firewall;
}

toml::table ipsecTable(const NetworkPolicy& policy) {
    toml::table ipsec;
    const auto put = [&ipsec](std::string_view name, toml::array list) {
        if (!list.empty()) ipsec.insert(name, std::move(list));
    };
    put("main-mode", ipsecRules(policy.mainMode));
    put("quick-mode", ipsecRules(policy.quickMode));
    toml::array peers;
    for (const LabPeer& peer : policy.peers)
        peers.push_back(toml::table{{"address", peer.address}, {"seen-as", peer.seenAs}});
    put("peer", std::move(peers));
    return ipsec;
}

toml::table registryTable(const std::vector<RegistryKey>& registry) {
    toml::table keys;
    for (const auto& [key, values] : registry) {
        toml::table table;
        for (const auto& [name, data] : values) {
            const auto put = [&, &to = name](auto&& value) {
                table.insert_or_assign(CORE::toUtf8(to), std::forward<decltype(value)>(value));
            };
            if (const auto* number = std::get_if<std::uint32_t>(&data))
                put(static_cast<std::int64_t>(*number));
            else if (const auto* text = std::get_if<std::wstring>(&data))
                put(CORE::toUtf8(*text));
            else if (const auto* texts = std::get_if<std::vector<std::wstring>>(&data)) {
                toml::array list;
                for (const auto& one : *texts) list.push_back(CORE::toUtf8(one));
                put(std::move(list));
            } else if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&data)) {
                std::string hex;
                for (const auto byte : *bytes)
                    hex += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
                toml::table wrapped{{"hex", hex}};
                wrapped.is_inline(true);
                put(std::move(wrapped));
            }
        }
        keys.insert_or_assign(CORE::toUtf8(key), std::move(table));
    }
    return toml::table{{"registry", std::move(keys)}};
}

}  // namespace

Result<MachineDescription> readMachineFile(std::string_view text, std::string_view file) {
    MachineDescription machine;
    machine.folders = {{Folder::commonAppData, L"C:\\ProgramData"},
                       {Folder::localAppData, L"C:\\Users\\Service\\AppData\\Local"},
                       {Folder::programFiles, L"C:\\Program Files"}};
    const auto read = readToml(text, file, [&](Section& top) {
        top.table("machine", [&](Section& section) { readMachine(section, machine); });
        readEnvironment(top, machine.process);
        readStartup(top, machine.startup);
        top.table("clock", [&](Section& section) { readClock(section, machine); });
        top.table("folders", [&](Section& section) { readFolders(section, machine); });
        if (const auto* registry = top.find("registry")) readRegistry(*registry, machine);
        top.table("firewall", [&](Section& section) { readFirewall(section, machine.policy); });
        top.table("ipsec", [&](Section& section) { readIpsec(section, machine.policy); });
        readFiles(top, machine);
        top.tables("service", [&](Section& section) { readService(section, machine); });
        top.tables("program", [&](Section& section) { readProgram(section, machine); });
        top.tables("unreachable", [&](Section& section) { readUnreachable(section, machine); });
        top.tables("agent", [&](Section& section) { readAgent(section, machine); });
        top.tables("directory", [&](Section& section) { readDirectory(section, machine); });
    });
    if (!read) return fail(read.error());
    return machine;
}

std::string replaceRegistry(std::string_view text, const std::vector<RegistryKey>& registry) {
    return replaceTables(text, {"registry"}, registryTable(registry));
}

std::string replacePolicy(std::string_view text, const NetworkPolicy& policy) {
    return replaceTables(text, {"firewall", "ipsec"},
                         toml::table{{"firewall", firewallTable(policy)}, {"ipsec", ipsecTable(policy)}});
}

std::string replaceServices(std::string_view text, const std::vector<LabService>& services) {
    toml::array list;
    for (const LabService& service : services) {
        toml::array dependencies;
        for (const std::wstring& name : service.dependencies) dependencies.push_back(CORE::toUtf8(name));
        list.push_back(toml::table{{"name", CORE::toUtf8(service.name)},
                                   {"description", CORE::toUtf8(service.description)},
                                   {"depends-on", std::move(dependencies)}});
    }
    return replaceTables(text, {"service"}, toml::table{{"service", std::move(list)}});
}

std::string replaceFiles(std::string_view text, const std::vector<LabFile>& files) {
    toml::table table;
    for (const LabFile& file : files) table.insert_or_assign(CORE::toUtf8(file.path), file.source);
    return replaceTables(text, {"files"}, toml::table{{"files", std::move(table)}});
}

std::string withDirectory(std::string_view text, const DirectoryDescription& directory) {
    const auto listOf = [](const auto& values) {
        toml::array list;
        for (const auto& value : values) list.push_back(value);
        return list;
    };
    toml::table table{{"name", directory.settings.name},
                      {"suffixes", listOf(directory.settings.suffixes)},
                      {"ports", listOf(directory.address.ports)},
                      {"tls-ports", listOf(directory.address.tlsPorts)},
                      {"files", listOf(directory.files)}};
    toml::array accounts;
    for (const Account& one : directory.accounts)
        accounts.push_back(toml::table{{"name", one.name},
                                       {"domain", one.domain},
                                       {"dns-domain", one.dnsDomain},
                                       {"password", one.password.view()}});
    if (!accounts.empty()) table.insert("account", std::move(accounts));
    std::ostringstream written;
    written << text << "\n"
            << toml::toml_formatter(toml::table{{"directory", toml::array{std::move(table)}}}) << "\n";
    return written.str();
}

std::string withoutDirectory(std::string_view text, std::string_view name) {
    const toml::table table = toml::parse(text);  // it was read before
    const auto* directories = table["directory"].as_array();
    if (!directories) return std::string(text);
    std::size_t number = 0;  // of the directories whose header was met
    return withoutTables(text,
                         [&](std::string_view header, bool before) {
                             if (!isTopDirectory(header)) return before && isHeaderOf(header, {"directory"});
                             const auto* one = directories->get(number++);
                             return one && (*one->as_table())["name"].value_or(std::string_view()) == name;
                         })
        .kept;
}

}  // namespace wsadmin::platform::lab
