// machine.toml: all of a lab beside the contents of its directories.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/installation.h"
#include "platform/lab/directory_server.h"
#include "platform/lab/network_policy.h"
#include "platform/local_machine.h"

namespace wsadmin::platform::lab {

struct ProgramRule {
    std::wstring program;    // patterns with * and ?, compared without regard to case
    std::wstring arguments;  // of all arguments joined by blanks
    int exitCode = 0;
    std::string output;
    std::chrono::milliseconds duration{0};
};

struct DirectoryDescription {
    DirectorySettings settings;  // without the machine's names
    std::vector<std::string> files, schemaFiles;
    LabNetwork::Address address;  // no hosts: this machine
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
    std::vector<RegistryKey> registry;
    std::vector<ProgramRule> programs;
    std::vector<DirectoryDescription> directories;
};

// The failure's text is "file:line: what is wrong".
Result<MachineDescription> readMachineFile(std::string_view text, std::string_view file);
// The file's text with these keys in place of its registry, or with this in place of its firewall and its
// IPsec; everything else stays as it was written.
std::string replaceRegistry(std::string_view text, const std::vector<RegistryKey>& registry);
std::string replacePolicy(std::string_view text, const NetworkPolicy& policy);

}  // namespace wsadmin::platform::lab
