#include "federation/removal.h"

#include "federation/consistency.h"
#include "federation/entry_attributes.h"
#include "federation/installation.h"
#include "federation/installer_results.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/pod_entries.h"
#include "federation/pod_facts.h"
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
    Removal(ServiceContext& service, RemovalSwitches switches)
        : service_(service), platform_(service.platform()), switches_(switches) {}

    bool removesPod() const { return switches_.removesPodEntries; }

    // Without the pod's GUID, too, the groups replicate again.
    Result<void> removePod() {
        const auto podGuid = ownPodGuid(platform_);
        if (podGuid)
            removePodEntries(platform_, *podGuid);
        else
            logWarning(L"%s", podGuid.error().text);
        touchAdministratorGroups(platform_);
        return {};
    }

    Result<void> sendChanges() {
        if (!forceConsistencyBeforeRemoval(service_))
            logError(
                L"Unable to ensure removal of the current pod entry, uninstall will continue but phantom "
                L"data may be left behind. An eject operation may be needed to clean up the entries.");
        return {};
    }

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

    // The layer is gone, whatever the look-up says.
    Result<void> lookUp() {
        crossReference_ = findCrossReference();
        return {};
    }
    Result<void> outcome() { return crossReference_; }

  private:
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

    ServiceContext& service_;
    platform::Platform& platform_;
    RemovalSwitches switches_;
    Result<void> crossReference_;
};

constexpr Step<Removal> removalSteps[] = {
    {.name = L"begin", .progress = 0},
    {.name = L"pod's entries", .run = &Removal::removePod, .when = &Removal::removesPod},
    {.name = L"pod's entries are gone", .progress = 20, .when = &Removal::removesPod},
    {.name = L"consistency", .run = &Removal::sendChanges},
    {.name = L"services and firewall", .progress = 30, .run = &Removal::unconfigureMachine},
    {.name = L"instance", .run = &Removal::uninstall},
    {.name = L"cross-reference", .progress = 90, .run = &Removal::lookUp},
    {.name = L"end", .progress = 100, .run = &Removal::outcome},
};

}  // namespace

Result<void> removeLayer(ServiceContext& service, RemovalSwitches switches) {
    Removal work(service, switches);
    State state(service.platform());
    return runSteps<Removal>(work, switches.reportsProgress ? &state : nullptr, removalSteps);
}

}  // namespace wsadmin::qrv
