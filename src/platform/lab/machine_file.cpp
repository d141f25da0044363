#include "platform/lab/machine_file.h"

#include <algorithm>
#include <limits>
#include <set>

#include "framework/core/corestring.h"
#include "platform/text/toml_machine.h"

namespace wsadmin::platform::lab {

namespace {

using Section = TomlSection;
using Wrong = TomlMistake;

void readMachine(Section& section, MachineDescription& machine) {
    section.text("netbios-name", machine.netBiosName);
    section.text("dns-name", machine.dnsName);
    readInstallation(section, machine.installation);
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

void readProgram(Section& section, MachineDescription& machine) {
    ProgramRule rule;
    rule.arguments = L"*";
    section.text("name", rule.program);
    section.text("arguments", rule.arguments);
    section.number("exit-code", rule.exitCode, INT32_MIN, INT32_MAX);
    section.text("output", rule.output);
    section.milliseconds("duration", rule.duration);
    if (rule.program.empty()) section.wrong("name", "a program needs a name");
    machine.programs.push_back(std::move(rule));
}

void optionalNumber(Section& section, std::string_view key, std::optional<int>& into) {
    int value = 0;
    section.number(key, value, 0, INT32_MAX);
    if (section.raw().get(key)) into = value;
}

void readFaults(Section& section, Faults& faults) {
    section.flag("refuse-connections", faults.refuseConnections);
    section.flag("refuse-binds", faults.refuseBinds);
    section.flag("refuse-page-cookies", faults.refusePageCookies);
    section.milliseconds("slow", faults.slow);
    optionalNumber(section, "die-after-operations", faults.dieAfterOperations);
    optionalNumber(section, "die-after-pages", faults.dieAfterPages);
    section.tables("fail", [&](Section& one) {
        FailOrder order;
        tomlChoice<std::string>(one, "operation", order.operation,
                                {{"bind", "bind"},
                                 {"search", "search"},
                                 {"add", "add"},
                                 {"modify", "modify"},
                                 {"delete", "delete"},
                                 {"rename", "rename"}});
        if (order.operation.empty()) one.wrong("operation", "a failure needs an operation");
        one.number("code", order.code, 1, 118);
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

bool isRegistryHeader(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with('[')) return false;
    line.remove_prefix(1);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return line.starts_with("registry") && line.size() > 8 &&
           std::string_view(" \t.]").find(line[8]) != line.npos;
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
        readStartup(top, machine.startup);
        top.table("clock", [&](Section& section) { readClock(section, machine); });
        top.table("folders", [&](Section& section) { readFolders(section, machine); });
        if (const auto* registry = top.find("registry")) readRegistry(*registry, machine);
        top.tables("program", [&](Section& section) { readProgram(section, machine); });
        top.tables("directory", [&](Section& section) { readDirectory(section, machine); });
    });
    if (!read) return fail(read.error());
    return machine;
}

std::string replaceRegistry(std::string_view text, const std::vector<RegistryKey>& registry) {
    std::string kept;
    std::optional<std::size_t> place;
    bool inside = false;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size() - 1);
        const auto line = text.substr(at, end + 1 - at);
        const auto first = line.find_first_not_of(" \t");
        if (first != line.npos && line[first] == '[') inside = isRegistryHeader(line);
        if (inside && !place) place = kept.size();
        if (!inside) kept += line;
        at = end + 1;
    }
    std::ostringstream written;
    written << toml::toml_formatter(registryTable(registry)) << "\n";
    if (place && *place < kept.size()) written << "\n";
    if (!place) kept += "\n";
    return kept.insert(place.value_or(kept.size()), written.str());
}

}  // namespace wsadmin::platform::lab
