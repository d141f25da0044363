// machine.toml: all of a lab beside the contents of its directories.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/installation.h"
#include "platform/lab/agents.h"
#include "platform/lab/lab_files.h"
#include "platform/lab/lab_network.h"
#include "platform/lab/network_policy.h"
#include "platform/lab/services.h"
#include "platform/local_machine.h"

namespace wsadmin::platform::lab {

struct ProgramRule {
    std::wstring program;    // patterns with * and ?, compared without regard to case
    std::wstring arguments;  // of all arguments as one text
    int exitCode = 0;
    std::chrono::milliseconds duration{0};
};

// A host to which no connection of this machine comes about.
struct UnreachableHost {
    std::string name;
    ProbeOutcome meets = ProbeOutcome::timedOut;
};

struct DirectoryDescription {
    DirectorySettings settings;  // without the machine's names
    std::vector<std::string> files, schemaFiles;
    LabNetwork::Address address;          // no hosts: this machine, and
    std::vector<std::string> replicasOn;  // those of these names
    std::vector<Account> accounts;
    Faults faults;
    int line = 0;
};

struct RegistryKey {
    std::wstring key;
    std::vector<std::pair<std::wstring, RegistryData>> values;
};

struct MachineDescription {
    std::wstring netBiosName = L"LAB", dnsName = L"lab.example";
    Installation installation{CORE::InstType::connectionServer, CORE::coreosver::newest, true, false};
    GivenProcess process;
    NetworkPolicy policy;
    CORE::PropertyBag startup;
    std::wstring account;  // that the process is taken to run as; empty: nobody knows
    std::optional<std::chrono::sys_seconds> fixedTime;
    std::map<Folder, std::wstring> folders;  // empty: cannot be obtained
    std::wstring windowsDirectory = L"C:\\Windows";
    std::wstring temporaryFolder = L"C:\\Windows\\Temp";
    std::vector<LabFile> files;  // without their content
    std::vector<LabService> services;
    std::vector<RegistryKey> registry;
    std::vector<ProgramRule> programs;
    std::vector<UnreachableHost> unreachable;
    std::vector<DirectoryDescription> directories;
    std::vector<AgentDescription> agents;
};

// The failure's text is "file:line: what is wrong".
Result<MachineDescription> readMachineFile(std::string_view text, std::string_view file);
// The file's text with these in place of what it says of them; everything else stays as it was written.
std::string replaceRegistry(std::string_view text, const std::vector<RegistryKey>& registry);
std::string replacePolicy(std::string_view text, const NetworkPolicy& policy);
std::string replaceServices(std::string_view text, const std::vector<LabService>& services);
std::string replaceFiles(std::string_view text, const std::vector<LabFile>& files);
// The file's text with one more directory, and without the one of that name.
std::string withDirectory(std::string_view text, const DirectoryDescription& directory);
std::string withoutDirectory(std::string_view text, std::string_view name);

}  // namespace wsadmin::platform::lab
