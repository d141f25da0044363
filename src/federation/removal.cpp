#include "federation/removal.h"

#include "federation/entry_attributes.h"
#include "federation/installation.h"
#include "federation/installer_results.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/programs.h"
#include "federation/steps.h"
#include "ldap/directory_query.h"
#include "ldap/layout.h"

namespace wsadmin::qrv {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds beforeForce{5000};

class Removal {
  public:
    explicit Removal(ServiceContext& service) : service_(service), platform_(service.platform()) {}

    Result<void> unconfigureMachine() {
        configureMachine(platform_, false);
        return {};
    }

    Result<void> uninstall() {
        const std::wstring program = expanded(platform_, L"%WINDIR%\\adam\\adamuninstall.exe");
        const std::wstring arguments = L"/i:" + std::wstring(instanceName) + L" /q";
        int status = runProgram(platform_, program, arguments);
        if (status != 0) {
            logWarning(L"Unable to cleanly uninstall global LDAP instance");
            logInstallerResults(platform_);
            logVerbose(L"First graceful uninstall attempt failed, will retry as a forced operation");
            if (platform_.clock->wait(beforeForce, &service_.stopping()))
                return fail(
                    L"Global LDAP instance uninstall command failed - interrupted for service shutdown");
            status = runProgram(platform_, program, arguments + L" /force");
        }
        if (status != 0)
            return fail(CORE::formatText(
                L"Global LDAP instance uninstall command failed - exit status %d (%s)", status,
                logInstallerResults(platform_).get(L"ADAMUninstallErrorMessage", L"failed")));
        logInfo(L"Global LDAP instance uninstall command completed successfully");
        return {};
    }

    // Looks for the entry that makes the layer's partition known to the pod's own directory, for the log.
    Result<void> findCrossReference() {
        const auto base =
            readText(platform_, localPath(platform_, rootEntry), attribute::configurationContext);
        if (!base) return fail(L"Failed to get the value of configurationNamingContext");
        const std::string filter =
            std::string("(&(objectClass=crossRef)(nCName=") + layout::globalNamingContext + "))";
        logVerbose(L"Crossref base = %s", *base);
        logVerbose(L"Filter = %s", filter);
        const auto search = platform_.directoryServices->openSearch(localPath(platform_, CORE::toUtf8(*base)),
                                                                    {}, platform::adsSecureAuthentication);
        if (!search) return fail(search.error());
        if (auto set = (*search)->setPreference(platform::SearchPreference::scope,
                                                static_cast<int>(QueryScope::subtree));
            !set)
            return set;
        const auto rows = readRows(**search, filter, {layout::attribute::distinguishedName});
        if (!rows) return fail(rows.error());
        for (const DirectoryRow& row : *rows)
            logVerbose(L"dn = %s", row.text(layout::attribute::distinguishedName));
        return {};
    }

  private:
    ServiceContext& service_;
    platform::Platform& platform_;
};

constexpr Step<Removal> removalSteps[] = {
    {.name = L"begin", .progress = 0},
    {.name = L"services and firewall", .progress = 30, .run = &Removal::unconfigureMachine},
    {.name = L"instance", .run = &Removal::uninstall},
    {.name = L"cross-reference", .progress = 90, .run = &Removal::findCrossReference},
    {.name = L"end", .progress = 100},
};

}  // namespace

Result<void> removeLayer(ServiceContext& service, RemovalSwitches switches) {
    Removal work(service);
    State state(service.platform());
    return runSteps<Removal>(work, switches.reportsProgress ? &state : nullptr, removalSteps);
}

}  // namespace wsadmin::qrv
