#include "federation/schema_master.h"

#include "federation/consistency.h"
#include "federation/entry_attributes.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/pod_facts.h"
#include "federation/programs.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

constexpr std::chrono::milliseconds beforeRoleAttempt{1000};

Result<void> loggedFailure(const Failure& failure) {
    logError(L"%s", failure.text);
    return fail(failure);
}

void askForRole(platform::Platform& platform, bool seizes) {
    const std::wstring program = expanded(platform, L"%WINDIR%\\system32\\dsmgmt.exe");
    const std::wstring arguments =
        CORE::formatText(L"roles connections \"connect to server %s\" quit \"%s schema master\" quit quit",
                         instanceAddress(L"localhost"), seizes ? L"seize" : L"transfer");
    if (runProgram(platform, program, arguments) != 0)
        logWarning(L"Failed the command to transfer schema master");
}

// Whether the attempt has brought the role. An owner that cannot be read is nobody's.
bool ownsRole(platform::Platform& platform, const std::string& schema, std::wstring_view self,
              RoleAttempts& attempts) {
    if (attempts.asksForRole()) askForRole(platform, attempts.seizes());
    const auto owner = readText(platform, instancePath("localhost", schema), attribute::roleOwner);
    if (!owner) return false;
    if (attempts.changes(*owner)) logInfo(L"Schema master role has changed, reset retry attempts");
    if (CORE::wstr(*owner).findi(self) == CORE::wstr::npos) return false;
    logInfo(L"Schema master role belongs to this server");
    return true;
}

}  // namespace

Result<void> takeSchemaMaster(ServiceContext& service) {
    platform::Platform& platform = service.platform();
    const auto name = ownNetBiosName(platform);
    if (!name) return loggedFailure(name.error());
    const std::wstring self = L"CN=" + CORE::toWide(*name) + L"$";
    const auto schema = readText(platform, instancePath("localhost", rootEntry), attribute::schemaContext);
    if (!schema) return fail(schema.error());
    RoleAttempts attempts;
    while (!ownsRole(platform, CORE::toUtf8(*schema), self, attempts)) {
        if (attempts.exhausted()) return loggedFailure({.text = L"Schema master role is not transferred"});
        attempts.next();
        logInfo(L"Schema master role is not transferred");
        logVerbose(L"Will retry in a second (%d of %d)", attempts.number(), RoleAttempts::last);
        if (platform.clock->wait(beforeRoleAttempt, &service.stopping())) {
            logWarning(L"Interrupted for service shutdown");
            return fail(L"Interrupted for service shutdown");
        }
    }
    return {};
}

}  // namespace wsadmin::qrv
