// A small directory of the lab for tests, made from LDIF text, on time that stands still.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "framework/core/corestring.h"
#include "platform/lab/lab_network.h"
#include "platform/lab/simulated_machine.h"

namespace wsadmin::platform {

template <class T>
int codeOf(const Result<T>& result) {
    return result ? static_cast<int>(ldapSuccess) : result.error().code;
}

namespace lab {

inline constexpr char testSuffix[] = "DC=t";
inline constexpr char testContent[] =
    "dn: CN=ForeignSecurityPrincipals,DC=t\n"
    "objectClass: container\n"
    "\n"
    "dn: OU=a,DC=t\n"
    "objectClass: organizationalUnit\n"
    "\n"
    "dn: CN=one,OU=a,DC=t\n"
    "objectClass: zre-PropertyObject\n"
    "zre-NameValuePair: a=1\n";

inline std::string failureText(const Failure& failure) {
    return CORE::toUtf8(failure.text);
}

// A directory with its server and network.
class TestDirectory {
  public:
    explicit TestDirectory(const std::string& content = testContent, DirectorySettings settings = {},
                           Faults faults = {}, std::vector<Account> accounts = {}) {
        settings.name = "LDAP";
        if (settings.suffixes.empty()) settings.suffixes = {testSuffix};
        settings.hostName = "LAB";
        settings.dnsHostName = "lab.example";
        auto directory = std::make_unique<Directory>(settings, *clock);
        loaded = directory->readContent(content, "test.ldif");
        directory->finish();
        server = std::make_shared<DirectoryServer>(std::move(directory), std::move(accounts),
                                                   std::move(faults), clock);
        network.listen({{"", "lab.example", "127.0.0.1"}, {389, 3268}, {636}}, server);
    }

    std::unique_ptr<LdapSession> bound() {
        auto session = network.open({}).value();
        EXPECT_TRUE(session->bind({}));
        return session;
    }

    std::shared_ptr<FixedClock> clock =
        std::make_shared<FixedClock>(timeFromText("20260101000000.0Z").value());
    Result<void> loaded;
    std::shared_ptr<DirectoryServer> server;
    LabNetwork network;
};

}  // namespace lab
}  // namespace wsadmin::platform
