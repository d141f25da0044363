// The programs of a lab's machine that make directory instances, load LDIF into them, move the schema master
// and remove them: adaminstall.exe, ldifde.exe, dsmgmt.exe and adamuninstall.exe.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/lab/lab_files.h"
#include "platform/lab/machine_file.h"
#include "platform/lab/services.h"

namespace wsadmin::platform::lab {

// What the programs work on.
struct InstanceMachine {
    std::shared_ptr<LabFiles> files;
    std::shared_ptr<LabServices> services;
    std::shared_ptr<Registry> registry;
    std::shared_ptr<LabNetwork> network;
    // Opens a directory for this machine, with LDIF for its first entries, and closes one by its name.
    std::function<Result<void>(DirectoryDescription, const std::string& ldif)> open;
    std::function<bool(const std::string& name)> close;
    // Whether a server of the network is this machine's instance of that name.
    std::function<bool(DirectoryServer& server, const std::string& name)> owns;
    std::shared_ptr<LdapClient> ldap;  // reaches the directories that LDIF is loaded into
};

// The exit code of one of these programs; nothing where it is none of them, or where the machine has no file
// of that path.
std::optional<int> runInstanceTool(InstanceMachine& machine, const std::wstring& program,
                                   const std::wstring& arguments);

}  // namespace wsadmin::platform::lab
