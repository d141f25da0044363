#include "federation/endpoint.h"

#include "federation/entry_attributes.h"
#include "federation/installation_texts.h"
#include "federation/local_layer.h"
#include "federation/pod_facts.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::DirectoryCredentials;

constexpr int mostAttempts = 180;
constexpr std::chrono::milliseconds beforeAttempt{5000};

struct Endpoint {
    std::string dn;
    std::string local;   // its path on this server
    std::string remote;  // and on the other one
};

// Whether the endpoint is enabled here, and there too.
bool isEnabledThere(platform::Platform& platform, const Endpoint& endpoint,
                    const DirectoryCredentials& credentials) {
    if (!writeText(platform, endpoint.local, endpoint.dn, layout::attribute::disabled, "0", credentials))
        return false;
    const auto value = readText(platform, endpoint.remote, layout::attribute::disabled, credentials);
    return value && *value == L"0";
}

}  // namespace

Result<void> enableEndpoint(ServiceContext& service, const std::string& server,
                            const DirectoryCredentials& credentials) {
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
    const std::string port = CORE::toUtf8(ldapPort), place = "/" + platform::escapeSlashes(dn);
    const Endpoint endpoint{.dn = dn,
                            .local = "LDAP://localhost:" + port + place,
                            .remote = "LDAP://" + server + ":" + port + place};
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (platform.clock->wait(beforeAttempt, &service.stopping())) {
            logWarning(L"Interrupted for service shutdown");
            return fail(L"Interrupted for service shutdown");
        }
        if (isEnabledThere(platform, endpoint, credentials)) {
            logVerbose(L"Server entry is no longer disabled, continuing");
            return {};
        }
        logVerbose(L"Server entry is still disabled, will retry");
    }
    return failed(L"Timed out waiting for attribute replication");
}

}  // namespace wsadmin::qrv
