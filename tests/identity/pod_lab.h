// A pod and its people's directory, made in a temporary lab, with everything that goes to the directories
// counted.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "identity/requests.h"
#include "platform/platform.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ldap.h"
#include "support/known_domains.h"
#include "support/temp_folder.h"
#include "support/test_service.h"

namespace wstest {

// What the files of the lab say beyond what every pod has.
struct PodContent {
    std::string pod{};
    std::string corp{};
};

class PodLab {
  public:
    explicit PodLab(const PodContent& content) {
        folder_.write("pod.ldif",
                      "dn: CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int\n"
                      "objectClass: container\n\ndn: OU=Groups,DC=vdi,DC=talvex,DC=int\n"
                      "objectClass: organizationalUnit\n\n" +
                          content.pod);
        folder_.write("corp.ldif", content.corp);
        folder_.write("machine.toml", R"([machine]
netbios-name = "VCS1"
[[directory]]
suffixes = ["dc=vdi,dc=talvex,dc=int"]
files = ["pod.ldif"]
[[directory]]
suffixes = ["dc=corp,dc=example"]
files = ["corp.ldif"]
kind = "ad"
hosts = ["corp.example"]
ports = [389, 3268]
)");
        CORE::PropertyBag startup;
        startup.set(wsadmin::platform::labFolderKey, folder_.path().wstring());
        auto made = wsadmin::platform::createPlatform(startup);
        if (!made) throw std::runtime_error(CORE::toUtf8(made.error().text));
        platform = *made;
        platform->ldap = std::make_shared<CountingLdapClient>(platform->ldap, counts);
        platform->directoryServices =
            wsadmin::platform::makePortableDirectoryServices(platform->ldap, "corp.example");
        service = std::make_unique<TestService>(platform);
    }

    std::shared_ptr<PortCalls> counts = std::make_shared<PortCalls>();
    std::shared_ptr<wsadmin::platform::Platform> platform;
    std::unique_ptr<TestService> service;

  private:
    TempFolder folder_;
};

// The same with the people's domain CORP known. One at a time.
struct PeopleLab : PodLab {
    using PodLab::PodLab;
    KnownDomains known{*service, {{L"CORP", L"corp.example"}}};
};

}  // namespace wstest
