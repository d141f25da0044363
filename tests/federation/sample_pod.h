// The sample lab's pod, whose first federation the tests found, on a clock that takes no time.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/lab/lab_platform.h"
#include "platform/portable/portable_directory.h"
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

struct SamplePod {
    explicit SamplePod(const std::string& folder) : machine(openedLab(folder)), service(machine) {}

    // What the pod's directory has of its part in a federation.
    std::string stored(const std::string& entry, const std::string& attribute) const {
        const auto session = machine->ldap->open({}).value();
        EXPECT_TRUE(session->bind({}));
        const auto found = session->search({.base = entry + ",ou=qrv,ou=properties,dc=vdi,dc=talvex,dc=int",
                                            .scope = wsadmin::platform::LdapScope::base,
                                            .filter = "(objectClass=*)"});
        return std::string(found.value().entries.at(0).first(attribute));
    }
    std::string ofServer(const std::string& attribute) const {
        return stored("cn=VCS1,ou=server", attribute);
    }
    // Of the server and of the pod.
    std::string flags() const {
        return ofServer("zre-QuorinEnabled") + " " + stored("cn=common,ou=global", "zre-QuorinEnabled");
    }

    std::shared_ptr<wsadmin::platform::Platform> machine;
    TestService service;
};

}  // namespace wstest
