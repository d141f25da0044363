// The configuration file: how the directories that the system asks for are really reached.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/installation.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

// How a connection to a host and port is redirected.
struct DirectoryRoute {
    std::string askedHost;                   // empty: this server
    std::optional<std::uint16_t> askedPort;  // nothing: any
    std::string host;
    // Nothing: as it was asked for.
    std::optional<std::uint16_t> port;
    std::optional<std::chrono::milliseconds> connectTimeout;
    std::optional<std::chrono::milliseconds> operationTimeout;
    bool tls = false;
    StartTls startTls = StartTls::leavingTheMachine;
    bool passwordInClear = false;
    bool verifyCertificate = true;
    std::string caFile;
    LdapLimits limits;
    // Credentials in place of the identity of the process; nullopt: the identity of the process.
    std::optional<LdapCredentials> credentials;
};

enum class DirectoryServicesKind { automatic, adsi, portable };

// This server's own directories, by the ports that they are asked for on.
inline constexpr std::uint16_t configurationDirectoryPort = 389;
inline constexpr std::uint16_t globalDirectoryPort = 22389;

struct Configuration {
    std::vector<DirectoryRoute> routes;
    std::string defaultDomain;   // empty: the machine's own
    std::string processAccount;  // empty: unknown
    std::string dataFolder;      // of all users' data; empty: the machine's own
    Installation installation;
    CORE::PropertyBag startup;
    GivenProcess process;
    DirectoryServicesKind directoryServices = DirectoryServicesKind::automatic;
    std::vector<std::wstring>
        warnings;  // of secrets that others can read and certificates that nobody checks
};

// The failure's text is "file:line: what is wrong".
Result<Configuration> readConfiguration(const std::filesystem::path& file);

}  // namespace wsadmin::platform
