// A lab's pod, whose first federation the tests found, on a clock that takes no time.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "platform/lab/lab_platform.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ports.h"
#include "support/manual_clock.h"
#include "support/test_service.h"

namespace wstest {

inline std::shared_ptr<wsadmin::platform::Platform> openedLab(const std::string& folder) {
    using namespace wsadmin::platform;
    auto opened = lab::openLab(folder, lab::Changes::dropped);
    if (!opened) throw std::runtime_error(CORE::toUtf8(opened.error().text));
    const std::shared_ptr<Platform> machine = *opened;
    machine->save = nullptr;
    machine->directoryServices = makePortableDirectoryServices(machine->ldap, "corp.example");
    machine->clock = std::make_shared<ManualClock>();
    return machine;
}

// Records the calls of the ports of which a test lets one fail.
inline std::shared_ptr<PortCalls> recorded(Platform& machine, std::shared_ptr<PortCalls> calls = {}) {
    if (!calls) calls = std::make_shared<PortCalls>();
    machine.files = std::make_shared<CountingFiles>(machine.files, calls);
    machine.processes = std::make_shared<CountingProcesses>(machine.processes, calls);
    machine.registry = std::make_shared<CountingRegistry>(machine.registry, calls);
    machine.names = std::make_shared<CountingNames>(machine.names, calls);
    machine.directoryServices = std::make_shared<CountingDirectoryServices>(machine.directoryServices, calls);
    machine.commands = std::make_shared<CountingCommands>(machine.commands, calls);
    machine.services = std::make_shared<CountingServiceControl>(machine.services, calls);
    machine.replication = std::make_shared<CountingReplication>(machine.replication, calls);
    machine.network = std::make_shared<CountingProbe>(machine.network, calls);
    return calls;
}

inline PortFault faultOf(const nlohmann::ordered_json& row) {
    const std::string call = row.value("call", std::string());
    return {.call = call,
            .occurrence = row.value("at", 1),
            .code = row.value("code", call.starts_with("ads ") ? adsAccessDenied : 5)};
}

// What the pod's directory has of its part in a federation: "cn=VCS1,ou=server", or "cn=common,ou=global" for
// the pod.
inline std::string storedIn(const Platform& machine, const std::string& entry, const std::string& attribute) {
    const auto session = machine.ldap->open({}).value();
    EXPECT_TRUE(session->bind({}));
    const auto found = session->search({.base = entry + ",ou=qrv,ou=properties,dc=vdi,dc=talvex,dc=int",
                                        .scope = LdapScope::base,
                                        .filter = "(objectClass=*)"});
    return std::string(found.value().entries.at(0).first(attribute));
}
inline std::string storedOf(const Platform& machine, const std::string& server,
                            const std::string& attribute) {
    return storedIn(machine, "cn=" + server + ",ou=server", attribute);
}
// Of the server and of its pod.
inline std::string flagsOf(const Platform& machine, const std::string& server) {
    return storedOf(machine, server, "zre-QuorinEnabled") + " " +
           storedIn(machine, "cn=common,ou=global", "zre-QuorinEnabled");
}

struct SamplePod {
    explicit SamplePod(const std::string& folder) : machine(openedLab(folder)), service(machine) {}
    std::string ofServer(const std::string& attribute) const { return storedOf(*machine, "VCS1", attribute); }
    std::string flags() const { return flagsOf(*machine, "VCS1"); }

    std::shared_ptr<wsadmin::platform::Platform> machine;
    TestService service;
};

}  // namespace wstest
