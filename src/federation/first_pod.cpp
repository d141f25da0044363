#include "federation/first_pod.h"

#include <array>

#include "federation/endpoint.h"
#include "federation/installation.h"
#include "federation/names.h"
#include "federation/programs.h"

namespace wsadmin::qrv {

namespace {

class FirstPod : public Installation {
  public:
    using Installation::Installation;

    Result<void> findPrograms() {
        return require(std::array{installer, ldifTool}, L"Unable to install global LDAP instance - ");
    }
    Result<void> writeFirstAnswers() { return writeAnswers(answerFile(answersOfMachine())); }
    Result<void> install() {
        return runInstaller(L"Global LDAP instance create command completed successfully");
    }
    Result<void> enableOwnEndpoint() { return enableEndpoint(service(), {.host = "localhost"}); }
};

using F = FirstPod;

constexpr std::wstring_view noFirstAnswers =
    L"Unable to install global LDAP instance - unable to open temporary file";
constexpr std::wstring_view notFirstEnabled =
    L"Unable to install global LDAP instance - unable to do final enable";

// clang-format off
constexpr Step<FirstPod> firstPodInstance[] = {
    {.name = L"answer file",          .progress = 0,   .run = &F::makeFile,            .sentence = noTemporaryFile, .outcome = outcome::fileSystem},
    {.name = L"answers",                               .run = &F::writeFirstAnswers,   .sentence = noFirstAnswers,  .outcome = outcome::fileSystem},
    {.name = L"programs",                              .run = &F::findPrograms,                                     .outcome = outcome::fileSystem},
    {.name = L"instance",                              .run = &F::install,                                          .outcome = outcome::error},
    {.name = L"services, firewall",   .progress = 30,  .run = &F::configure},
};
// Between them the configuration's steps.
constexpr Step<FirstPod> firstPodContent[] = {
    {.name = L"schema",               .progress = 50,  .run = &F::importSchema,                                     .outcome = outcome::schema},
    {.name = L"starter data file",    .progress = 80,  .announcement = L"Loading starter data",
                                                       .run = &F::makeFile,            .sentence = noTemporaryFile, .outcome = outcome::fileSystem},
    {.name = L"starter data",                          .run = &F::writeStarterData,                                 .outcome = outcome::fileSystem},
    {.name = L"its import",                            .run = &F::importFile,                                       .outcome = outcome::data},
    {.name = L"membership file",                       .run = &F::makeFile,            .sentence = noTemporaryFile, .outcome = outcome::data},
    {.name = L"role membership",                       .run = &F::writeRoleMembership,                              .outcome = outcome::data},
    {.name = L"its import",                            .run = &F::importFile,                                       .outcome = outcome::data},
    {.name = L"endpoint",                              .run = &F::enableOwnEndpoint,   .sentence = notFirstEnabled, .outcome = outcome::data},
    {.name = L"end",                  .progress = 100,                                                              .outcome = outcome::ok},
};
// clang-format on

}  // namespace

Result<void> installFirstPod(ServiceContext& service) {
    FirstPod work(service);
    State state(service.platform());
    auto done = runSteps<FirstPod>(work, &state, firstPodInstance);
    if (done) done = runSteps<Installation>(work, &state, configurationSteps());
    if (done) done = runSteps<FirstPod>(work, &state, firstPodContent);
    return done;
}

}  // namespace wsadmin::qrv
