// The steps that installations of the global layer are made of. A step's failure carries its sentence, unless
// the list of steps that it stands in has one.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "federation/installation_texts.h"
#include "federation/steps.h"
#include "ldap/service_context.h"

namespace wsadmin::qrv {

// The services, and the firewall's rule for other pods. Outcomes are logged only.
void configureMachine(platform::Platform& platform, bool enable);

class Installation {
  public:
    explicit Installation(ServiceContext& service) : service_(service), platform_(service.platform()) {}

    Result<void> makeFile();  // a temporary one, which the next steps write and use
    Result<void> configure();
    Result<void> findInstallPath();
    Result<void> importConfiguration();
    Result<void> writeCrossReference();
    Result<void> importFile();
    Result<void> updateRole();
    Result<void> importSchema();
    Result<void> writeStarterData();
    Result<void> writeRoleMembership();

  protected:
    ServiceContext& service() const { return service_; }
    platform::Platform& platform() const { return platform_; }

    // Failure: the sentence, with the first path that is missing.
    Result<void> require(std::span<const std::wstring_view> programs, std::wstring_view sentence);
    AnswersOfMachine answersOfMachine() const;
    Result<void> writeAnswers(const CORE::secretstring& answers);
    // With the answers that were written. `success` is logged.
    Result<void> runInstaller(std::wstring_view success);

  private:
    // Failure: the sentence and the file's path, unless it is empty.
    Result<void> write(std::string_view text, std::wstring_view sentence);

    ServiceContext& service_;
    platform::Platform& platform_;
    std::wstring file_;        // the temporary file
    std::wstring ldifFolder_;  // of the product's files, with a separator at its end
};

// From the install path to the administrators role: what every new instance gets before its schema.
std::span<const Step<Installation>> configurationSteps();

inline constexpr std::wstring_view installer = L"%WINDIR%\\adam\\adaminstall.exe";
inline constexpr std::wstring_view noTemporaryFile =
    L"Unable to install global LDAP instance - unable to create temporary file";

}  // namespace wsadmin::qrv
