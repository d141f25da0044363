#include "platform/lab/instance_tools.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "framework/core/corestring.h"
#include "platform/lab/ldif.h"
#include "platform/lab/syntax.h"
#include "platform/text/command_line.h"

namespace wsadmin::platform::lab {

namespace {

using CORE::toUtf8;
using CORE::toWide;
using Arguments = std::vector<std::wstring>;

constexpr int failed = 1;
constexpr wchar_t resultsKey[] =
    L"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\ADAM_Installer_Results";

std::optional<std::uint16_t> portOf(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc{} || end != text.data() + text.size() || port == 0) return std::nullopt;
    return port;
}

// What follows the switch in its own argument ("/i:NAME"); nothing where it is not given.
std::optional<std::wstring> valueOf(const Arguments& arguments, std::wstring_view name) {
    for (const std::wstring& argument : arguments)
        if (CORE::equalFolded(argument.substr(0, name.size()), name)) return argument.substr(name.size());
    return std::nullopt;
}

// --- adaminstall.exe, adamuninstall.exe

// The results of the last run are gone, and those of this one stand there if it failed.
int told(InstanceMachine& machine, const std::wstring& prefix, const std::optional<std::wstring>& failure) {
    for (const auto* name : {L"ADAMInstallErrorCode", L"ADAMInstallErrorMessage", L"ADAMUninstallErrorCode",
                             L"ADAMUninstallErrorMessage"})
        static_cast<void>(machine.registry->remove(resultsKey, name));
    if (!failure) return 0;
    static_cast<void>(machine.registry->write(resultsKey, prefix + L"ErrorCode", std::uint32_t{failed}));
    static_cast<void>(machine.registry->write(resultsKey, prefix + L"ErrorMessage", *failure));
    return failed;
}

// The answers by their names in lower case. Lines before the section, and comments, are passed over.
std::map<std::string, std::string> answersIn(std::string_view text) {
    std::map<std::string, std::string> answers;
    bool inside = false;
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.starts_with('[')) inside = equalFolded(line, "[adaminstall]");
        const auto equals = line.find('=');
        if (!inside || line.starts_with(';') || equals == line.npos) continue;
        answers.emplace(foldText(line.substr(0, equals)), line.substr(equals + 1));
    }
    return answers;
}

// The roles of a new instance, in its configuration and in its partition.
std::string firstEntries(const std::string& configuration, const std::string& partition) {
    const auto entry = [](const std::string& dn, const char* objectClass) {
        return "dn: " + dn + "\nobjectClass: " + objectClass + "\n";
    };
    std::string ldif = entry("CN=ForeignSecurityPrincipals," + partition, "container") + "\n";
    for (const std::string& context : {configuration, partition}) {
        ldif += entry("CN=Roles," + context, "container") + "\n";
        for (const char* role : {"Administrators", "Readers", "Users"}) {
            ldif += entry("CN=" + std::string(role) + ",CN=Roles," + context, "group");
            const bool own = context == configuration && role == std::string_view("Administrators");
            ldif += own ? "member: <SID=S-1-5-32-544>\n\n" : "\n";
        }
    }
    return ldif;
}

struct Instance {
    std::string name, partition;
    std::wstring databaseFile;
    std::uint16_t port = 0, tlsPort = 0;
};

// What is wrong with the answers; the names of those that are missing come first.
Result<Instance> instanceOf(const std::map<std::string, std::string>& answers) {
    std::map<std::string_view, std::string> given;
    for (const char* name : {"InstallType", "NewApplicationPartitionToCreate", "InstanceName",
                             "LocalLDAPPortToListenOn", "LocalSSLPortToListenOn", "DataFilesPath"}) {
        const auto answer = answers.find(foldText(name));
        if (answer == answers.end() || answer->second.empty())
            return fail(toWide(name) + L" is missing in the answer file");
        given[name] = answer->second;
    }
    const auto port = portOf(given["LocalLDAPPortToListenOn"]), tls = portOf(given["LocalSSLPortToListenOn"]);
    if (!port || !tls) return fail(L"A port of the answer file is none");
    if (!equalFolded(given["InstallType"], "unique"))
        return fail(L"Invalid installation type specified in InstallType");
    return Instance{.name = given["InstanceName"],
                    .partition = given["NewApplicationPartitionToCreate"],
                    .databaseFile = toWide(given["DataFilesPath"]) + L"\\adamntds.dit",
                    .port = *port,
                    .tlsPort = *tls};
}

Result<void> makeInstance(InstanceMachine& machine, const std::string& answerFile) {
    const auto instance = instanceOf(answersIn(answerFile));
    if (!instance) return fail(instance.error());
    DirectorySettings settings;
    settings.name = instance->name;
    settings.suffixes = {instance->partition};
    const std::string ldif = firstEntries(configurationContextOf(settings), instance->partition);
    const LabNetwork::Address address{
        .hosts = {}, .ports = {instance->port}, .tlsPorts = {instance->tlsPort}};
    if (const auto opened = machine.open(std::move(settings), address, ldif); !opened) return opened;
    machine.files->make(instance->databaseFile);
    machine.services->change([&](std::vector<LabService>& services) {
        services.push_back({.name = L"ADAM_" + toWide(instance->name)});
        return true;
    });
    return {};
}

int install(InstanceMachine& machine, const Arguments& arguments) {
    const auto path = valueOf(arguments, L"/answer:");
    const auto answers = path ? machine.files->read(*path) : std::nullopt;
    const auto made =
        answers ? makeInstance(machine, *answers) : Result<void>(fail(L"The answer file cannot be opened"));
    return told(machine, L"ADAMInstall", made ? std::nullopt : std::optional(made.error().text));
}

int uninstall(InstanceMachine& machine, const Arguments& arguments) {
    const std::wstring name = valueOf(arguments, L"/i:").value_or(L"");
    const std::wstring service = L"ADAM_" + name;
    const bool there = machine.services->change([&](std::vector<LabService>& services) {
        return std::erase_if(services,
                             [&](const LabService& one) { return CORE::equalFolded(one.name, service); }) > 0;
    });
    if (!machine.close(toUtf8(name)) && !there)
        return told(machine, L"ADAMUninstall", L"There is no instance named \"" + name + L"\"");
    machine.files->removeEnding(L"\\" + name + L"\\adamntds.dit");
    return told(machine, L"ADAMUninstall", std::nullopt);
}

// --- ldifde.exe

struct Import {
    std::string text;
    LdapEndpoint server;
    std::string from, to;  // a text that is replaced in names and values; empty: none
    bool goesOn = false;   // after an entry that the directory refuses
};

// Nothing where the arguments are none that import a file.
std::optional<Import> importOf(const InstanceMachine& machine, const Arguments& arguments) {
    Import import;
    bool imports = false;
    for (auto at = arguments.begin(); at != arguments.end(); ++at) {
        const auto next = [&] { return std::next(at) == arguments.end() ? std::wstring() : *++at; };
        if (*at == L"-i") {
            imports = true;
        } else if (*at == L"-z") {
            import.goesOn = true;
        } else if (*at == L"-f") {
            const auto text = machine.files->read(next());
            if (!text) return std::nullopt;
            import.text = *text;
        } else if (*at == L"-s") {
            import.server.host = toUtf8(next());
        } else if (*at == L"-t") {
            const auto port = portOf(toUtf8(next()));
            if (!port) return std::nullopt;
            import.server.port = *port;
        } else if (*at == L"-c") {
            import.from = toUtf8(next());
            import.to = toUtf8(next());
        } else {
            return std::nullopt;
        }
    }
    return imports ? std::optional(std::move(import)) : std::nullopt;
}

Result<std::string> rootValue(LdapSession& session, const std::string& attribute) {
    const auto root = session.search(
        {.base = "", .scope = LdapScope::base, .filter = "(objectClass=*)", .attributes = {attribute}});
    if (!root) return fail(root.error());
    return root->entries.empty() ? std::string() : std::string(root->entries.front().first(attribute));
}

// Every place of the text, whatever its case.
void replaceIn(std::string& text, const Import& import) {
    if (import.from.empty()) return;
    const std::string folded = foldText(import.from);
    for (std::size_t at = 0; at + import.from.size() <= text.size();) {
        if (!equalFolded(std::string_view(text).substr(at, import.from.size()), folded)) {
            ++at;
            continue;
        }
        text.replace(at, import.from.size(), import.to);
        at += import.to.size();
    }
}

Result<void> addRecord(LdapSession& session, const LdifRecord& record, const Import& import) {
    LdapEntry entry{record.dn, {}};
    for (const LdifLine& line : record.attributes) {
        const auto same = std::ranges::find_if(entry.attributes, [&](const LdapAttribute& has) {
            return CORE::equalFolded(has.name, line.name);
        });
        LdapAttribute& attribute = same == entry.attributes.end()
                                       ? entry.attributes.emplace_back(LdapAttribute{line.name, {}})
                                       : *same;
        replaceIn(attribute.values.emplace_back(line.value), import);
    }
    return session.add(entry);
}

Result<void> applyRecord(LdapSession& session, LdifRecord record, const Import& import) {
    replaceIn(record.dn, import);
    switch (record.kind) {
        case LdifRecord::Kind::content:
        case LdifRecord::Kind::add:
            return addRecord(session, record, import);
        case LdifRecord::Kind::remove:
            return session.remove(record.dn);
        case LdifRecord::Kind::rename:
            replaceIn(record.newParent, import);
            return session.rename(record.dn, record.newRdn, record.newParent, record.deleteOldRdn);
        case LdifRecord::Kind::modify:
            break;
    }
    std::vector<LdapModification> changes;
    for (LdifChange& change : record.changes) {
        for (std::string& value : change.modification.values) replaceIn(value, import);
        changes.push_back(std::move(change.modification));
    }
    return session.modify(record.dn, changes);
}

// Refused entries end an import that does not go on; text that is no LDIF, and a server that is gone, end
// any.
int load(InstanceMachine& machine, const Arguments& arguments) {
    auto import = importOf(machine, arguments);
    if (!import) return failed;
    const auto session = machine.network->open(import->server);
    if (!session || !(*session)->bind({})) return failed;
    if (import->to.starts_with('#')) {
        const auto value = rootValue(**session, import->to.substr(1));
        if (!value || value->empty()) return failed;
        import->to = *value;
    }
    LdifReader reader(import->text, "LDIF");
    LdifRecord record;
    for (;;) {
        const auto more = reader.next(record);
        if (!more) return failed;
        if (!*more) return 0;
        const auto done = applyRecord(**session, std::move(record), *import);
        if (!done && (!import->goesOn || done.error().code == ldapServerDown)) return failed;
    }
}

// --- dsmgmt.exe

// "roles connections "connect to server HOST:PORT" quit "transfer schema master" quit quit"
int manageRoles(InstanceMachine& machine, const Arguments& arguments) {
    constexpr std::wstring_view connect = L"connect to server ";
    const auto server = std::ranges::find_if(
        arguments, [&](const std::wstring& argument) { return argument.starts_with(connect); });
    const bool moves = std::ranges::any_of(arguments, [](const std::wstring& argument) {
        return argument == L"transfer schema master" || argument == L"seize schema master";
    });
    if (server == arguments.end() || !moves) return failed;
    const std::string address = toUtf8(server->substr(connect.size()));
    const auto port = portOf(address.substr(address.rfind(':') + 1));
    if (!port) return failed;
    const auto session =
        machine.network->open({.host = address.substr(0, address.rfind(':')), .port = *port});
    if (!session || !(*session)->bind({})) return failed;
    const auto schema = rootValue(**session, "schemaNamingContext");
    const auto self = rootValue(**session, "dsServiceName");
    if (!schema || !self) return failed;
    return (*session)->modify(
               *schema, {{.operation = LdapModify::replace, .attribute = "fSMORoleOwner", .values = {*self}}})
               ? 0
               : failed;
}

struct Tool {
    std::wstring_view file;
    int (*run)(InstanceMachine& machine, const Arguments& arguments);
};
constexpr Tool tools[] = {{L"\\adam\\adaminstall.exe", install},
                          {L"\\adam\\adamuninstall.exe", uninstall},
                          {L"\\system32\\ldifde.exe", load},
                          {L"\\system32\\dsmgmt.exe", manageRoles}};

}  // namespace

std::optional<int> runInstanceTool(InstanceMachine& machine, const std::wstring& program,
                                   const std::wstring& arguments) {
    if (!machine.files->read(program)) return std::nullopt;
    for (const auto& [file, run] : tools)
        if (program.size() > file.size() &&
            CORE::equalFolded(program.substr(program.size() - file.size()), file))
            return run(machine, splitArguments(arguments));
    return std::nullopt;
}

}  // namespace wsadmin::platform::lab
