// The steps that installations of the global layer are made of. A step's failure carries its sentence, unless
// the list of steps that it stands in has one.
#pragma once

#include <string>
#include <string_view>

#include "ldap/service_context.h"

namespace wsadmin::qrv {

// The services, and the firewall's rule for other pods. Outcomes are logged only.
void configureMachine(platform::Platform& platform, bool enable);

class Installation {
  public:
    explicit Installation(ServiceContext& service) : service_(service), platform_(service.platform()) {}

    Result<void> findPrograms();
    Result<void> makeFile();  // a temporary one, which the next steps write and use
    Result<void> writeAnswers();
    Result<void> runInstaller();
    Result<void> configure();
    Result<void> findInstallPath();
    Result<void> importConfiguration();
    Result<void> writeCrossReference();
    Result<void> importFile();
    Result<void> updateRole();
    Result<void> importSchema();
    Result<void> writeStarterData();
    Result<void> writeRoleMembership();
    Result<void> enableOwnEndpoint();

  private:
    // Failure: the sentence and the file's path, unless it is empty.
    Result<void> write(std::string_view text, std::wstring_view sentence);

    ServiceContext& service_;
    platform::Platform& platform_;
    std::wstring file_;        // the temporary file
    std::wstring ldifFolder_;  // of the product's files, with a separator at its end
};

}  // namespace wsadmin::qrv
