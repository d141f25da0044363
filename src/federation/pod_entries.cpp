#include "federation/pod_entries.h"

#include "federation/federation_tree.h"
#include "federation/installation_texts.h"
#include "federation/local_layer.h"
#include "federation/pod_facts.h"
#include "federation/replication_entry.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

void removeTree(platform::Platform& platform, const std::string& dn) {
    const std::string path = globalPath(platform, dn);
    const auto entry = platform.directoryServices->openObject(path, {}, platform::adsSecureAuthentication);
    if (!entry) {
        logWarning(L"Failed to get LDAP object %s (%ld)", path, entry.error().code);
        return;
    }
    if (const auto done = (*entry)->deleteObject(); !done)
        logWarning(L"Failed to delete LDAP object %s (%ld)", path, done.error().code);
}

Result<void> refuse(const std::wstring& sentence) {
    logWarning(L"%s", sentence);
    return fail(sentence);
}

}  // namespace

void removePodEntries(platform::Platform& platform, std::string_view podGuid) {
    removeTree(platform, podEntry(podGuid));
    removeTree(platform, podGroups(podGuid));
}

Result<void> ejectPod(platform::Platform& platform, const std::wstring& displayName) {
    const std::string podGuid = CORE::toUtf8(podShownAs(platform, displayName));
    if (podGuid.empty()) return refuse(L"POD \"" + displayName + L"\" not found");
    const auto own = ownPodGuid(platform);
    if (!own) return refuse(own.error().text);
    if (CORE::equalFolded(podGuid, *own)) return refuse(L"POD Eject cannot be performed on the local POD");
    removePodEntries(platform, podGuid);
    return {};
}

Result<void> removeEndpoint(platform::Platform& platform, const std::wstring& name,
                            const std::wstring& hostName) {
    if (name.empty()) return refuse(L"POD Endpoint \"\" not found");
    if (hostName.empty()) return refuse(L"POD Endpoint FQHN \"\" not found");
    const auto podGuid = ownPodGuid(platform);
    if (!podGuid) return refuse(podGuid.error().text);
    const ReplicatingServer server{.netBiosName = CORE::toUtf8(name), .hostName = CORE::toUtf8(hostName)};
    removeTree(platform, "cn=" + platform::escapeDnValue(server.netBiosName) + "," + podEntry(*podGuid));
    if (removeStaleEntry(platform, {.host = loopbackInUrl(platform)}, server)) return {};
    return refuse(L"Failed to remove the replication entry of POD Endpoint \"" + name + L"\"");
}

}  // namespace wsadmin::qrv
