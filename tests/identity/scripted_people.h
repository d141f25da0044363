// A service whose domains and accounts a test scripts: the own domain CORP, LAB of the same forest, PARTNER
// of another one, and OLD without a DNS name.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "identity/requests.h"
#include "ldap/domain_bindings.h"
#include "platform/platform.h"
#include "support/known_domains.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/scripted_accounts.h"
#include "support/scripted_directory_services.h"
#include "support/test_service.h"

namespace wstest {

using Asked = ScriptedDirectoryServices::Asked;
using Answer = ScriptedDirectoryServices::Answer;

class ScriptedPeople {
  public:
    static constexpr const char *corp = "LDAP://corp.example", *catalogue = "GC://forest",
                                *partner = "LDAP://partner.example";

    ScriptedPeople() {
        const auto forest = [](const char* root) {
            return ScriptedDirectoryServices::Object{
                .attributes = {{"RootDomainNamingContext", std::string(root)}}};
        };
        directories->objects = {{"LDAP://corp.example/rootDSE", forest("DC=corp,DC=example")},
                                {"LDAP://lab.corp.example/rootDSE", forest("DC=corp,DC=example")},
                                {"LDAP://partner.example/rootDSE", forest("DC=partner,DC=example")},
                                {"GC:", {.children = {catalogue}}}};
        directories->onSearch = [this](const Asked& asked) {
            searches.push_back(asked);
            return answer(asked);
        };
        platform->directoryServices = directories;
        platform->clock = clock;
        platform->accounts = accounts;
        known_.emplace(service, KnownDomains::Names{{L"CORP", L"corp.example"},
                                                    {L"LAB", L"lab.corp.example"},
                                                    {L"OLD", L""},
                                                    {L"PARTNER", L"partner.example"}});
    }

    // Every binding and every token was given back.
    void expectAllGivenBack() {
        const LogCapture log(CORE::logWarning);  // where the pool says what it misses
        known_->close();
        EXPECT_EQ(log.lines(), std::vector<LogLine>());
        EXPECT_EQ(directories->live, 0);
        EXPECT_EQ(accounts->tokensOpen, 0);
    }

    std::function<Answer(const Asked&)> answer = [](const Asked&) { return Answer{}; };
    std::vector<Asked> searches;
    std::shared_ptr<ScriptedDirectoryServices> directories = std::make_shared<ScriptedDirectoryServices>();
    std::shared_ptr<ScriptedAccounts> accounts = std::make_shared<ScriptedAccounts>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<Platform> platform = std::make_shared<Platform>();
    TestService service{platform};
    DomainBindings domains{service};  // of one request

  private:
    std::optional<KnownDomains> known_;
};

inline DirectoryValue sidValue(int number) {
    return DirectoryBytes{Sid::parse(sidOf(number)).value().bytes()};
}

}  // namespace wstest
