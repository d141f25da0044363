// The bundle of everything that the machine and its network can do, handed to the service when it is built.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/core/plugin_api.h"
#include "framework/core/property_bag.h"
#include "platform/account_authority.h"
#include "platform/agent_channels.h"
#include "platform/clock.h"
#include "platform/directory_services.h"
#include "platform/files.h"
#include "platform/filtering_engine.h"
#include "platform/firewall_policy.h"
#include "platform/installation.h"
#include "platform/ldap_session.h"
#include "platform/local_machine.h"
#include "platform/network_probe.h"
#include "platform/replication.h"
#include "platform/result.h"
#include "platform/service_control.h"

namespace wsadmin::platform {

struct Platform {
    std::shared_ptr<LdapClient> ldap;
    std::shared_ptr<DirectoryServices> directoryServices;
    std::shared_ptr<ComputerNames> names;
    std::shared_ptr<Environment> environment;
    std::shared_ptr<Guids> guids;
    std::shared_ptr<Folders> folders;
    std::shared_ptr<Files> files;
    std::shared_ptr<Registry> registry;
    std::shared_ptr<Processes> processes;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<NetworkProbe> network;
    // Null where the machine has no account database of its own: accounts are then looked up in the
    // directories.
    std::shared_ptr<AccountAuthority> accounts;
    std::shared_ptr<AgentChannels> agents;
    // Null where the system has no such thing.
    std::shared_ptr<FilteringPlatform> filtering;
    std::shared_ptr<Firewall> firewall;
    std::shared_ptr<CommandInterpreter> commands;
    std::shared_ptr<ServiceControl> services;
    std::shared_ptr<Replication> replication;

    Installation installation;
    // Start-up parameters of the lab or the configuration file.
    CORE::PropertyBag startup;

    // Without an authority: the account that the process is assumed to run as. Empty: unknown.
    std::wstring processAccount;
    // The account that the configuration directory is bound with. Empty: the identity of the process.
    std::wstring directoryAccount;

    // What is unsafe in the configuration, for the log of the module that owns the service.
    std::vector<std::wstring> warnings;

    // Writes changes back where the platform keeps them in files (a lab that was opened to be saved); else
    // nothing.
    std::function<Result<void>()> save;
};

// Keys of the start-up bag that choose the platform.
inline constexpr const wchar_t* labFolderKey = CORE::startupLabFolder;
inline constexpr const wchar_t* labMachineKey = CORE::startupLabMachine;
inline constexpr const wchar_t* labSaveKey = CORE::startupLabSave;
inline constexpr const wchar_t* configurationKey = CORE::startupConfiguration;

// Makes the platform that the start-up bag asks for. The failure's text names file, line and what is wrong.
Result<std::shared_ptr<Platform>> createPlatform(const CORE::PropertyBag& startup);

}  // namespace wsadmin::platform
