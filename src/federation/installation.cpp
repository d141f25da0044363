#include "federation/installation.h"

#include "federation/administrators_role.h"
#include "federation/installer_results.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/pod_facts.h"
#include "federation/programs.h"
#include "federation/service_configuration.h"
#include "netsec/inter_pod_rule.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

constexpr std::wstring_view serviceFolder = L"%WINDIR%\\adam\\";

// In the order in which they build on each other.
constexpr const wchar_t* serviceSchema[] = {L"MS-User.ldf", L"MS-UserProxy.ldf", L"MS-InetOrgPerson.ldf",
                                            L"MS-AdamSchemaW2K3.ldf"};
constexpr const wchar_t* productSchema[] = {L"vdiSchemaPreReqs.ldf", L"vdiSchemaGlobal.ldf"};

constexpr wchar_t unwrittenStarterData[] =
    L"Unable to generate starter data - unable to open temporary file - ";

constexpr std::wstring_view noInstallPath =
    L"Unable to install global LDAP instance - cannot find install path";

using I = Installation;
// clang-format off
constexpr Step<Installation> layerConfiguration[] = {
    {.name = L"install path",                          .run = &I::findInstallPath,     .sentence = noInstallPath,   .outcome = outcome::fileSystem},
    {.name = L"configuration",                         .run = &I::importConfiguration,                              .outcome = outcome::data},
    {.name = L"cross-reference file", .announcement = L"Loading crossref data",
                                                       .run = &I::makeFile,            .sentence = noTemporaryFile, .outcome = outcome::fileSystem},
    {.name = L"cross-reference",                       .run = &I::writeCrossReference,                              .outcome = outcome::data},
    {.name = L"its import",                            .run = &I::importFile,                                       .outcome = outcome::data},
    {.name = L"administrators role",  .progress = 40,  .run = &I::updateRole,                                       .outcome = outcome::data},
};
// clang-format on

}  // namespace

std::span<const Step<Installation>> configurationSteps() {
    return layerConfiguration;
}

void configureMachine(platform::Platform& platform, bool enable) {
    configureGlobalService(platform, enable);
    switchInterPodRule(enable);
}

Result<void> Installation::require(std::span<const std::wstring_view> programs, std::wstring_view sentence) {
    for (const std::wstring_view program : programs) {
        const std::wstring path = expanded(platform_, program);
        if (!fileExists(platform_, path).value_or(false))
            return fail(std::wstring(sentence) + path + L" not found");
    }
    return {};
}

Result<void> Installation::makeFile() {
    auto file = makeTempFile(platform_);
    if (!file) return fail(file.error());
    file_ = std::move(*file);
    return {};
}

Result<void> Installation::write(std::string_view text, std::wstring_view sentence) {
    const auto written = platform_.files->write(file_, text);
    if (written) return {};
    logWarning(L"Unable to write %s: %s", file_, written.error().text);
    return fail(std::wstring(sentence) + file_);
}

AnswersOfMachine Installation::answersOfMachine() const {
    return {.administrators = CORE::toUtf8(administratorsGroup(platform_)),
            .dataFolder = CORE::toUtf8(dataFolder(platform_))};
}

Result<void> Installation::writeAnswers(const CORE::secretstring& answers) {
    return write(answers.view(), {});
}

Result<void> Installation::runInstaller(std::wstring_view success) {
    const int status =
        runProgram(platform_, expanded(platform_, installer), L"/answer:\"" + file_ + L"\" /quiet");
    if (status != 0)
        return fail(
            CORE::formatText(L"Global LDAP instance create command failed - exit status %d (%s)", status,
                             logInstallerResults(platform_).get(L"ADAMInstallErrorMessage", L"failed")));
    logInfo(L"%s", success);
    return {};
}

Result<void> Installation::configure() {
    configureMachine(platform_, true);
    return {};
}

Result<void> Installation::findInstallPath() {
    const auto path = productValue(platform_, L"ServerInstallPath");
    if (!path) return fail(path.error());
    if (path->empty()) return fail(L"The install path is not known");
    ldifFolder_ = *path + L"LDAP\\ldif\\";
    return {};
}

Result<void> Installation::importConfiguration() {
    return importLdif(platform_, ldifFolder_ + L"VDIConfig.ldf");
}

Result<void> Installation::writeCrossReference() {
    const auto guid = platform_.guids->next();
    if (!guid) return fail(guid.error());
    return write(crossReference(CORE::toUtf8(*guid), globalAddress(platform_)),
                 L"Unable to generate crossref data - unable to open temporary file - ");
}

Result<void> Installation::importFile() {
    return importLdif(platform_, file_);
}

Result<void> Installation::updateRole() {
    return updateAdministratorsRole(platform_);
}

Result<void> Installation::importSchema() {
    const std::wstring folder = expanded(platform_, serviceFolder);
    for (const wchar_t* file : serviceSchema)
        if (const auto done = importLdif(platform_, folder + file); !done) return done;
    for (const wchar_t* file : productSchema)
        if (const auto done = importLdif(platform_, ldifFolder_ + file); !done) return done;
    return {};
}

Result<void> Installation::writeStarterData() {
    const auto name = ownNetBiosName(platform_);
    if (!name) return fail(name.error());
    const auto host = ownHostName(platform_);
    if (!host) return fail(host.error());
    const auto podGuid = ownPodGuid(platform_);
    if (!podGuid) return fail(podGuid.error());
    const auto podName = ownPodName(platform_);
    if (!podName) return fail(podName.error());
    const auto federationGuid = platform_.guids->next();
    if (!federationGuid) return fail(federationGuid.error());
    return write(starterData({.netBiosName = *name,
                              .hostName = *host,
                              .podGuid = *podGuid,
                              .podName = *podName,
                              .federationGuid = CORE::toUtf8(*federationGuid)}),
                 unwrittenStarterData);
}

Result<void> Installation::writeRoleMembership() {
    const auto podGuid = ownPodGuid(platform_);
    if (!podGuid) return fail(podGuid.error());
    return write(roleMembership(*podGuid), unwrittenStarterData);
}

}  // namespace wsadmin::qrv
