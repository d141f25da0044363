// A pod with its federation layer and its people's directory, made in a temporary lab, with everything that
// goes to the directories counted.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "identity/requests.h"
#include "platform/platform.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ldap.h"
#include "support/domain_workers.h"
#include "support/temp_folder.h"
#include "support/test_service.h"

namespace wstest {

// What the files of the lab say beyond what every pod has.
struct PodContent {
    std::string pod{};
    std::string federation{};
    std::string corp{};
    std::string corpKeys{};  // of its [[directory]]
    std::string machine{};   // keys of [machine]
    std::string podFaults{};
    std::string federationFaults{};
    std::string corpFaults{};
};

class PodLab {
  public:
    explicit PodLab(const PodContent& content) {
        folder_.write("pod.ldif",
                      container("DC=vdi,DC=talvex,DC=int", "domainDNS") +
                          container("CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int", "container") +
                          container("OU=Groups,DC=vdi,DC=talvex,DC=int") +
                          container("OU=Applications,DC=vdi,DC=talvex,DC=int") + content.pod);
        folder_.write(
            "federation.ldif",
            container("DC=vdiglobal,DC=talvex,DC=int", "domainDNS") +
                container("CN=ForeignSecurityPrincipals,DC=vdiglobal,DC=talvex,DC=int", "container") +
                container("OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int") + content.federation);
        folder_.write("corp.ldif", container("DC=corp,DC=example", "domainDNS") + content.corp);
        folder_.write(
            "machine.toml",
            "[machine]\nnetbios-name = \"VCS1\"\ndns-name = \"vcs1.corp.example\"\n" + content.machine +
                directory("dc=vdi,dc=talvex,dc=int", "pod", content.podFaults) +
                directory("dc=vdiglobal,dc=talvex,dc=int", "federation", content.federationFaults,
                          "ports = [22389]\n") +
                directory("dc=corp,dc=example", "corp", content.corpFaults,
                          "kind = \"ad\"\nhosts = [\"corp.example\", \"corp\"]\nports = [389, 3268]\n" +
                              content.corpKeys));
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

    static std::string container(const std::string& dn,
                                 const std::string& objectClass = "organizationalUnit") {
        return "dn: " + dn + "\nobjectClass: " + objectClass + "\n\n";
    }

    std::shared_ptr<LdapCounts> counts = std::make_shared<LdapCounts>();
    std::shared_ptr<wsadmin::platform::Platform> platform;
    std::unique_ptr<TestService> service;

  private:
    static std::string directory(const std::string& suffix, const std::string& name,
                                 const std::string& faults, const std::string& keys = {}) {
        return "[[directory]]\nsuffixes = [\"" + suffix + "\"]\nfiles = [\"" + name + ".ldif\"]\n" + keys +
               (faults.empty() ? "" : "[directory.faults]\n" + faults + "\n");
    }
    TempFolder folder_;
};

// The same with a domain map and a pool of bindings, which know the people's domain CORP. One at a time.
class PeopleLab : public PodLab {
  public:
    explicit PeopleLab(const PodContent& content) : PodLab(content) {
        const wsadmin::DirectoryAccess access{platform->directoryServices, platform->clock};
        service->pool =
            CORE::refptr<wsadmin::ConnectionMgr>::adopt(new wsadmin::ConnectionMgr(access, threads_));
        service->domainMap =
            CORE::refptr<wsadmin::Domain>::adopt(new wsadmin::Domain(access, threads_, false));
    }
    ~PeopleLab() { closeBindings(); }
    PeopleLab(const PeopleLab&) = delete;
    PeopleLab& operator=(const PeopleLab&) = delete;

    // What is open afterwards, somebody forgot.
    void closeBindings() {
        if (service->pool) service->pool->StopTimerWithWait();
        service->domainMap = {};
        service->pool = {};
    }

  private:
    DomainWorkers workers_{domainNames({{L"CORP", L"corp.example"}})};
    CORE::ThreadGroup threads_{L"people"};
};

}  // namespace wstest
