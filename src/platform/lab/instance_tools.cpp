#include "platform/lab/instance_tools.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "framework/core/corestring.h"
#include "platform/lab/lab_replication.h"
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
    bool replica = false;
};

using Answers = std::map<std::string, std::string>;

std::string answerIn(const Answers& answers, std::string_view name) {
    const auto answer = answers.find(foldText(name));
    return answer == answers.end() ? std::string() : answer->second;
}

// What is wrong with the answers; the names of those that are missing come first.
Result<Instance> instanceOf(const Answers& answers) {
    const std::string type = answerIn(answers, "InstallType");
    const bool replica = equalFolded(type, "replica");
    const char* partition = replica ? "ApplicationPartitionsToReplicate" : "NewApplicationPartitionToCreate";
    for (const char* name : {"InstallType", partition, "InstanceName", "LocalLDAPPortToListenOn",
                             "LocalSSLPortToListenOn", "DataFilesPath"})
        if (answerIn(answers, name).empty()) return fail(toWide(name) + L" is missing in the answer file");
    const auto port = portOf(answerIn(answers, "LocalLDAPPortToListenOn")),
               tls = portOf(answerIn(answers, "LocalSSLPortToListenOn"));
    if (!port || !tls) return fail(L"A port of the answer file is none");
    if (!replica && !equalFolded(type, "unique"))
        return fail(L"Invalid installation type specified in InstallType");
    return Instance{.name = answerIn(answers, "InstanceName"),
                    .partition = answerIn(answers, partition),
                    .databaseFile = toWide(answerIn(answers, "DataFilesPath")) + L"\\adamntds.dit",
                    .port = *port,
                    .tlsPort = *tls,
                    .replica = replica};
}

// The server that a replica is made of.
Result<std::shared_ptr<DirectoryServer>> sourceOf(InstanceMachine& machine, const Answers& answers,
                                                  const Instance& instance) {
    const std::string address = answerIn(answers, "SourceServer") + ":" + answerIn(answers, "SourceLDAPPort");
    machine.network->settle();
    auto source = machine.network->at(address);
    if (!source || !source->reachable())
        return fail(L"The source server " + toWide(address) + L" cannot be contacted");
    LdapCredentials account;
    account.user = answerIn(answers, "SourceUserName");
    account.password = CORE::secretstring(answerIn(answers, "SourcePassword"));
    if (!source->admits(account)) return fail(L"The source server refuses the account");
    const DirectorySettings& settings = source->directory().settings();
    if (settings.activeDirectory || !sameDn(settings.suffixes.front(), instance.partition))
        return fail(L"The source server does not hold " + toWide(instance.partition));
    return source;
}

// The source knows the new server by its name, and the new one takes over all that the source has.
Result<void> fillReplica(InstanceMachine& machine, DirectoryServer& source, DirectoryServer& replica) {
    const Directory& own = replica.directory();
    const std::string server = valueIn(own, "", "serverName"), settings = valueIn(own, "", "dsServiceName");
    auto added = source.directory().add(
        {server, {{"objectClass", {"server"}}, {"dNSHostName", {own.settings().dnsHostName}}}});
    if (added) added = source.directory().add({settings, {{"objectClass", {"nTDSDSA"}}, {"options", {"1"}}}});
    if (!added) return fail(L"The source server knows a server of this name already");
    const std::string configuration = configurationContextOf(own.settings());
    for (const std::string& context :
         {configuration, "CN=Schema," + configuration, own.settings().suffixes.front()})
        machine.network->pull(replica, source, context);
    return {};
}

Result<void> makeDirectory(InstanceMachine& machine, const Answers& answers, const Instance& instance) {
    std::shared_ptr<DirectoryServer> source;
    DirectoryDescription made;
    DirectorySettings& settings = made.settings;
    settings.name = instance.name;
    settings.suffixes = {instance.partition};
    made.address = {.hosts = {}, .ports = {instance.port}, .tlsPorts = {instance.tlsPort}};
    std::string ldif;
    if (instance.replica) {
        const auto found = sourceOf(machine, answers, instance);
        if (!found) return fail(found.error());
        source = *found;
        settings.suffixes = source->directory().settings().suffixes;
    } else {
        ldif = firstEntries(configurationContextOf(settings), instance.partition);
    }
    // The accounts are the domain's, which all its directories know.
    if (const auto known = source ? source : machine.network->at("localhost:389"))
        made.accounts = known->accounts();
    if (const auto opened = machine.open(std::move(made), ldif); !opened) return opened;
    const auto replica = machine.network->at("localhost:" + std::to_string(instance.port));
    if (!source || !replica) return {};
    auto filled = fillReplica(machine, *source, *replica);
    if (!filled) machine.close(instance.name);
    return filled;
}

Result<void> makeInstance(InstanceMachine& machine, const std::string& answerFile) {
    const Answers answers = answersIn(answerFile);
    const auto instance = instanceOf(answers);
    if (!instance) return fail(instance.error());
    if (auto made = makeDirectory(machine, answers, *instance); !made) return made;
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

// The first of the other servers that can be reached learns that this one is gone, and replicates it.
void signOff(InstanceMachine& machine, const std::string& name) {
    machine.network->settle();
    const auto servers = machine.network->servers();
    const auto own = std::ranges::find_if(servers, [&](const auto& one) { return machine.owns(*one, name); });
    if (own == servers.end()) return;
    const std::string server = valueIn((*own)->directory(), "", "serverName");
    for (const auto& one : servers)
        if (one != *own && one->reachable() && one->directory().remove(server, true)) return;
}

int uninstall(InstanceMachine& machine, const Arguments& arguments) {
    const std::wstring name = valueOf(arguments, L"/i:").value_or(L"");
    if (std::ranges::find(arguments, L"/force") == arguments.end()) signOff(machine, toUtf8(name));
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
    const auto session = machine.ldap->open(import->server);
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
    machine.network->settle();
    const auto found = machine.network->at(toUtf8(server->substr(connect.size())));
    if (!found || !found->reachable()) return failed;
    Directory& directory = found->directory();
    const std::string self = valueIn(directory, "", "dsServiceName");
    const auto taker = found->nextRoleTaker();
    const std::string owner = taker ? "CN=NTDS Settings,CN=" + *taker + "$" + directory.settings().name +
                                          self.substr(self.find(",CN=Servers,"))
                                    : self;
    return directory.modify(valueIn(directory, "", "schemaNamingContext"),
                            {{LdapModify::replace, "fSMORoleOwner", {owner}}})
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
