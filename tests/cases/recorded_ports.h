// The ports of a platform, recorded, of which a test lets a call fail.
#pragma once

#include <nlohmann/json.hpp>

#include "support/counting_ports.h"

namespace wstest {

template <class Counting, class Port>
void record(std::shared_ptr<Port>& port, const std::shared_ptr<PortCalls>& calls) {
    const auto counting = std::make_shared<Counting>();
    counting->stand(std::exchange(port, counting), calls);
}
// But LDAP, the clock, GUIDs and accounts.
inline std::shared_ptr<PortCalls> recorded(Platform& machine,
                                           std::shared_ptr<PortCalls> calls = std::make_shared<PortCalls>()) {
    record<CountingDirectoryServices>(machine.directoryServices, calls);
    record<CountingNames>(machine.names, calls);
    record<CountingFolders>(machine.folders, calls);
    record<CountingRegistry>(machine.registry, calls);
    record<CountingProcesses>(machine.processes, calls);
    record<CountingEnvironment>(machine.environment, calls);
    record<CountingAgents>(machine.agents, calls);
    record<CountingFiltering>(machine.filtering, calls);
    record<CountingFirewall>(machine.firewall, calls);
    record<CountingCommands>(machine.commands, calls);
    record<CountingServiceControl>(machine.services, calls);
    record<CountingReplication>(machine.replication, calls);
    record<CountingProbe>(machine.network, calls);
    record<CountingFiles>(machine.files, calls);
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
