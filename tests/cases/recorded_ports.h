// The ports of a platform, recorded, of which a test lets a call fail.
#pragma once

#include <nlohmann/json.hpp>

#include "support/counting_ports.h"

namespace wstest {

// But LDAP, the clock, GUIDs and accounts.
inline std::shared_ptr<PortCalls> recorded(Platform& machine,
                                           std::shared_ptr<PortCalls> calls = std::make_shared<PortCalls>()) {
    machine.directoryServices = std::make_shared<CountingDirectoryServices>(machine.directoryServices, calls);
    machine.names = std::make_shared<CountingNames>(machine.names, calls);
    machine.folders = std::make_shared<CountingFolders>(machine.folders, calls);
    machine.registry = std::make_shared<CountingRegistry>(machine.registry, calls);
    machine.processes = std::make_shared<CountingProcesses>(machine.processes, calls);
    machine.environment = std::make_shared<CountingEnvironment>(machine.environment, calls);
    machine.agents = std::make_shared<CountingAgents>(machine.agents, calls);
    machine.filtering = std::make_shared<CountingFiltering>(machine.filtering, calls);
    machine.firewall = std::make_shared<CountingFirewall>(machine.firewall, calls);
    machine.commands = std::make_shared<CountingCommands>(machine.commands, calls);
    machine.services = std::make_shared<CountingServiceControl>(machine.services, calls);
    machine.replication = std::make_shared<CountingReplication>(machine.replication, calls);
    machine.network = std::make_shared<CountingProbe>(machine.network, calls);
    machine.files = std::make_shared<CountingFiles>(machine.files, calls);
    return calls;
}

// {"call": PORT AND CALL, "at": n, "code": its failure}: the n-th of that name, the first without it.
inline PortFault faultOf(const nlohmann::ordered_json& row) {
    const std::string call = row.value("call", std::string());
    return {.call = call,
            .occurrence = row.value("at", 1),
            .code = row.value("code", call.starts_with("ads ") ? adsAccessDenied : 5)};
}

}  // namespace wstest
