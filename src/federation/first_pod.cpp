#include "federation/first_pod.h"

#include "federation/installation.h"
#include "federation/names.h"
#include "federation/steps.h"

namespace wsadmin::qrv {

namespace {

using I = Installation;

constexpr std::wstring_view noFile =
    L"Unable to install global LDAP instance - unable to create temporary file";
constexpr std::wstring_view noAnswers =
    L"Unable to install global LDAP instance - unable to open temporary file";
constexpr std::wstring_view noInstallPath =
    L"Unable to install global LDAP instance - cannot find install path";
constexpr std::wstring_view notEnabled =
    L"Unable to install global LDAP instance - unable to do final enable";

// clang-format off
constexpr Step<Installation> firstPodSteps[] = {
    {.name = L"answer file",          .progress = 0,   .run = &I::makeFile,            .sentence = noFile,        .outcome = outcome::fileSystem},
    {.name = L"answers",                               .run = &I::writeAnswers,        .sentence = noAnswers,     .outcome = outcome::fileSystem},
    {.name = L"programs",                              .run = &I::findPrograms,                                   .outcome = outcome::fileSystem},
    {.name = L"instance",                              .run = &I::runInstaller,                                   .outcome = outcome::error},
    {.name = L"services, firewall",   .progress = 30,  .run = &I::configure},
    {.name = L"install path",                          .run = &I::findInstallPath,     .sentence = noInstallPath, .outcome = outcome::fileSystem},
    {.name = L"configuration",                         .run = &I::importConfiguration,                            .outcome = outcome::data},
    {.name = L"cross-reference file", .announcement = L"Loading crossref data",
                                                       .run = &I::makeFile,            .sentence = noFile,        .outcome = outcome::fileSystem},
    {.name = L"cross-reference",                       .run = &I::writeCrossReference,                            .outcome = outcome::data},
    {.name = L"its import",                            .run = &I::importFile,                                     .outcome = outcome::data},
    {.name = L"administrators role",  .progress = 40,  .run = &I::updateRole,                                     .outcome = outcome::data},
    {.name = L"schema",               .progress = 50,  .run = &I::importSchema,                                   .outcome = outcome::schema},
    {.name = L"starter data file",    .progress = 80,  .announcement = L"Loading starter data",
                                                       .run = &I::makeFile,            .sentence = noFile,        .outcome = outcome::fileSystem},
    {.name = L"starter data",                          .run = &I::writeStarterData,                               .outcome = outcome::fileSystem},
    {.name = L"its import",                            .run = &I::importFile,                                     .outcome = outcome::data},
    {.name = L"membership file",                       .run = &I::makeFile,            .sentence = noFile,        .outcome = outcome::data},
    {.name = L"role membership",                       .run = &I::writeRoleMembership,                            .outcome = outcome::data},
    {.name = L"its import",                            .run = &I::importFile,                                     .outcome = outcome::data},
    {.name = L"endpoint",                              .run = &I::enableOwnEndpoint,   .sentence = notEnabled,    .outcome = outcome::data},
    {.name = L"end",                  .progress = 100,                                                            .outcome = outcome::ok},
};
// clang-format on

}  // namespace

Result<void> installFirstPod(ServiceContext& service) {
    Installation work(service);
    State state(service.platform());
    return runSteps<Installation>(work, &state, firstPodSteps);
}

}  // namespace wsadmin::qrv
