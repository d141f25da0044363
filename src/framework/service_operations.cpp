#include "framework/service_operations.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "ldap/handlers.h"
#include "platform/module/module_log.h"

namespace wsadmin {

namespace {

constexpr wchar_t intervalKey[] = L"forestCheckInterval";

// A value that is there but is no number counts as 0, so that it is refused and not taken for the default.
int requestedMinutes(const CORE::PropertyBag& request) {
    return request.contains(intervalKey) ? request.get(intervalKey).toInt(0) : minimumForestCheckMinutes;
}

}  // namespace

CORE::PropertyBag Diag(ServiceContext& service, const CORE::PropertyBag&) {
    CORE::PropertyBag result;
    result.addBag(L"DOMAINHEALTH", getDomainHealth(service, {}));
    return result;
}

CORE::PropertyBag setServiceConfiguration(ServiceContext& service, const CORE::PropertyBag& request) {
    CORE::PropertyBag result;
    const int minutes = requestedMinutes(request);
    if (minutes < minimumForestCheckMinutes) {
        result.setError(1, CORE::formatText(L"forestCheckInterval must be a minimum of %d minutes",
                                            minimumForestCheckMinutes));
        return result;
    }
    constexpr std::int64_t longest = std::numeric_limits<int>::max();
    service.setMinimumDomainCheckInterval(static_cast<int>(std::min(std::int64_t{minutes} * 60, longest)));
    // The line names the smallest interval whatever the request gave; administrators' log searches rely on
    // it.
    logInfo(L"Domain configuration will be checked with a minimum interval of %d minutes",
            minimumForestCheckMinutes);
    return result;
}

std::wstring configurationFolder(const platform::Folders& folders, DataOwner owner) {
    using platform::Folder;
    if (owner == DataOwner::user) {
        if (auto folder = folders.get(Folder::localAppData)) return *folder + L"\\Talvex\\HDQ";
    }
    if (auto folder = folders.get(Folder::commonAppData)) return *folder + L"\\Talvex\\HDQ";
    if (auto folder = folders.get(Folder::programFiles)) return *folder + L"\\Talvex\\Talvex Vorn";

    logError(L"SHGetSpecialFolderPath FAILED");
    const auto windows = folders.windowsDirectory();
    const wchar_t drive = windows && !windows->empty() ? windows->front() : L'C';
    return drive + std::wstring(L":\\Program Files\\Talvex\\Talvex Vorn");
}

CORE::PropertyBag getAppdataLocation(ServiceContext& service, const CORE::PropertyBag&) {
    CORE::PropertyBag result;
    result.set(L"appdataLocation", configurationFolder(*service.platform().folders));
    return result;
}

}  // namespace wsadmin
