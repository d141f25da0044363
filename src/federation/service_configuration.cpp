#include "federation/service_configuration.h"

#include <algorithm>

#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::MachineService;
using platform::ServiceManager;
using platform::ServiceQueryFailure;
using platform::ServiceQueryStep;

constexpr wchar_t globalService[] = L"ADAM_TalvexHDQDSG";
constexpr wchar_t podService[] = L"ADAM_TalvexHDQDS";
constexpr wchar_t brokerService[] = L"wsbroker";

std::wstring listed(const std::vector<std::wstring>& names) {
    std::wstring text;
    for (const std::wstring& name : names) text += (text.empty() ? L"" : L", ") + name;
    return text;
}

Result<std::unique_ptr<MachineService>> openLogged(ServiceManager& manager, const std::wstring& name) {
    auto service = manager.openService(name);
    if (service) return service;
    if (service.error().code == platform::serviceDoesNotExist)
        logWarning(L"%s service not found", name);
    else
        logWarning(L"Failed to open %s service: %s", name, service.error().text);
    return service;
}

// `what` is queried: the description or the config of the service.
auto queryFailed(const std::wstring& name, const wchar_t* what, const ServiceQueryFailure& failure) {
    switch (failure.step) {
        case ServiceQueryStep::unexpectedSuccess:
            logWarning(L"Unexpected success querying %s for %s service", what, name);
            break;
        case ServiceQueryStep::memory:
            logWarning(L"Unable to allocate memory to query %s for %s service", what, name);
            break;
        case ServiceQueryStep::query:
            logWarning(L"Failed to query %s for %s service: %s", what, name, failure.cause.text);
            break;
    }
    return fail(failure.cause);
}

void alignDescriptions(ServiceManager& manager) {
    const auto global = queryServiceDescription(manager, globalService);
    const auto pod = queryServiceDescription(manager, podService);
    if (!global || !pod || pod->empty() || *pod == *global) return;
    logInfo(L"Set service description for %s", globalService);
    static_cast<void>(changeServiceDescription(manager, globalService, *pod));
}

void alignDependencies(ServiceManager& manager, bool enable) {
    const auto names = queryServiceDependencies(manager, brokerService);
    if (!names) return;
    const auto isGlobal = [](const std::wstring& name) { return CORE::equalFolded(name, globalService); };
    const bool present = std::ranges::any_of(*names, isGlobal);
    if (present == enable) return;
    std::vector<std::wstring> wanted = *names;
    if (enable) {
        logInfo(L"Add service dependency on %s", globalService);
        wanted.emplace_back(globalService);
    } else {
        logInfo(L"Remove service dependency on %s", globalService);
        std::erase_if(wanted, isGlobal);
    }
    static_cast<void>(changeServiceDependencies(manager, brokerService, wanted));
}

}  // namespace

Result<std::wstring> queryServiceDescription(ServiceManager& manager, const std::wstring& name) {
    const auto service = openLogged(manager, name);
    if (!service) return fail(service.error());
    auto description = (*service)->description();
    if (!description) return queryFailed(name, L"description", description.error());
    logVerbose(L"Obtained description for %s service: %s", name, *description);
    return std::move(*description);
}

Result<void> changeServiceDescription(ServiceManager& manager, const std::wstring& name,
                                      const std::wstring& description) {
    const auto service = openLogged(manager, name);
    if (!service) return fail(service.error());
    const auto changed = (*service)->setDescription(description);
    if (changed)
        logVerbose(L"Successfully changed %s service description to %s", name, description);
    else
        logWarning(L"Failed to change description for %s service: %s", name, changed.error().text);
    return changed;
}

Result<std::vector<std::wstring>> queryServiceDependencies(ServiceManager& manager,
                                                           const std::wstring& name) {
    const auto service = openLogged(manager, name);
    if (!service) return fail(service.error());
    auto names = (*service)->dependencies();
    if (!names) return queryFailed(name, L"config", names.error());
    if (names->empty())
        logVerbose(L"%s service has no dependencies", name);
    else
        logVerbose(L"%s service has %d dependencies: %s", name, names->size(), listed(*names));
    return std::move(*names);
}

Result<void> changeServiceDependencies(ServiceManager& manager, const std::wstring& name,
                                       const std::vector<std::wstring>& names) {
    const auto service = openLogged(manager, name);
    if (!service) return fail(service.error());
    const auto changed = (*service)->setDependencies(names);
    if (changed)
        logVerbose(L"Successfully changed %s service dependencies to %s", name, listed(names));
    else
        logWarning(L"Failed to change dependencies for %s service: %s", name, changed.error().text);
    return changed;
}

void configureGlobalService(platform::Platform& platform, bool enable) {
    constexpr int notSupported = 50;
    const auto manager = platform.services ? platform.services->open()
                                           : Result<std::unique_ptr<ServiceManager>>(
                                                 fail(notSupported, L"This machine has no service control"));
    if (!manager) {
        logWarning(L"Failed to open Service Control Manager: %s", manager.error().text);
        return;
    }
    alignDescriptions(**manager);
    alignDependencies(**manager, enable);
}

}  // namespace wsadmin::qrv
