#include "federation/endpoint.h"

#include "federation/entry_attributes.h"
#include "federation/installation_texts.h"
#include "federation/local_layer.h"
#include "federation/pod_facts.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

constexpr int mostAttempts = 180;
constexpr std::chrono::milliseconds beforeAttempt{5000};

Result<void> enableHere(platform::Platform& platform, const std::string& dn, const SourceAccount& account) {
    const auto credentials = credentialsOf(account);
    if (!credentials) return fail(credentials.error());
    return writeText(platform, instancePath("localhost", dn), dn, layout::attribute::disabled, "0",
                     *credentials);
}

// Whether the endpoint is enabled here, and there too.
bool isEnabledThere(platform::Platform& platform, const std::string& dn, const SourceServer& server) {
    if (!enableHere(platform, dn, server.account)) return false;
    const auto value = readEntry(platform, server, dn, layout::attribute::disabled);
    return value && *value == L"0";
}

}  // namespace

Result<void> enableEndpoint(ServiceContext& service, const SourceServer& server) {
    platform::Platform& platform = service.platform();
    const auto failed = [](std::wstring text) {
        logError(L"%s", text);
        return fail(std::move(text));
    };
    const auto name = ownNetBiosName(platform);
    if (!name) return failed(name.error().text);
    const auto podGuid = ownPodGuid(platform);
    if (!podGuid) return failed(podGuid.error().text);
    const std::string dn = endpointEntry(*name, *podGuid);
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (platform.clock->wait(beforeAttempt, &service.stopping())) {
            logWarning(L"Interrupted for service shutdown");
            return fail(L"Interrupted for service shutdown");
        }
        if (isEnabledThere(platform, dn, server)) {
            logVerbose(L"Server entry is no longer disabled, continuing");
            return {};
        }
        logVerbose(L"Server entry is still disabled, will retry");
    }
    return failed(L"Timed out waiting for attribute replication");
}

}  // namespace wsadmin::qrv
