#include "federation/operation_frame.h"

#include <mutex>

#include "federation/entry_attributes.h"
#include "federation/federation_keys.h"
#include "federation/federation_tree.h"
#include "federation/local_layer.h"
#include "federation/pod_servers.h"
#include "federation/removal.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

// Of the whole process: two operations on one instance would undo each other's work.
std::unique_lock<std::mutex> takeTurn() {
    static std::mutex turn;
    logDebug(L"Waiting for QRV state sync");
    std::unique_lock lock(turn, std::try_to_lock);
    if (!lock) {
        logVerbose(L"Contention on QRV state sync, waiting");
        lock.lock();
    }
    logDebug(L"Grabbed QRV state sync");
    return lock;
}

Result<void> requireRecentServers(platform::Platform& platform) {
    if (const auto recent = allServersAreRecent(platform); recent && *recent) return {};
    return fail(L"Not all connection servers are a sufficient version");
}

Result<void> requireFurther(platform::Platform& platform, Further further) {
    switch (further) {
        case Further::none:
            break;
        case Further::recentServers:
            return requireRecentServers(platform);
        case Further::severalPods:
            if (countPods(platform) <= 1) return fail(L"More than one pod entry required");
            break;
        case Further::onePod:
            if (countPods(platform) != 1) return fail(L"More than one pod entry exists");
            break;
    }
    return {};
}

Result<void> requireFlags(platform::Platform& platform, const std::optional<RequiredFlags>& required) {
    if (!required) return {};
    State state(platform);
    const auto server = state.flag(Member::server);
    const auto pod = server ? state.flag(Member::pod) : server;
    if (!server || !pod) return fail(L"Unable to read local ldap state flags");
    if (*server != required->server || *pod != required->pod) return fail(std::wstring(required->sentence));
    return {};
}

// The tests in their order; the first that fails counts.
Result<void> requirePreconditions(const ServiceContext& service, const OperationRule& rule) {
    platform::Platform& platform = service.platform();
    if (service.stopping().isSet()) return fail(L"The service is stopping");
    auto met = requireAdministrator(platform);
    if (met) met = requireLayer(platform, rule.layer);
    if (met) met = requireFurther(platform, rule.further);
    if (met) met = requireFlags(platform, rule.required);
    return met;
}

// The server's flag first, then the pod's; without the first there is no second.
Result<void> mark(State& state, Marks marks, int value) {
    if (marks == Marks::none) return {};
    if (const auto written = state.setFlag(Member::server, value); !written) return written;
    return marks == Marks::serverAndPod ? state.setFlag(Member::pod, value) : Result<void>();
}

// A switch that cannot be read counts as one that is off: what is left is then for an administrator to see.
bool cleansUp(const platform::Platform& platform, std::wstring_view cleanupSwitch) {
    const auto value = productValue(platform, cleanupSwitch, L"true");
    if (!value) logError(L"Unable to read %s: %s", cleanupSwitch, value.error().text);
    return value && CORE::wstr(*value).toBool(true);
}

// What follows a failure. A layer that may still be there keeps the flags pending.
void recover(ServiceContext& service, const OperationRule& rule, CORE::PropertyBag& answer) {
    platform::Platform& platform = service.platform();
    State state(platform);
    if (const auto code = rule.failure->tellsOutcome ? state.outcome() : Result<std::wstring>(fail(L""))) {
        logVerbose(L"Attaching error code %s to response", *code);
        answer.set(key::lastError.name, std::wstring_view(*code));
    }
    const auto left = layerExists(platform);
    if (left && *left && cleansUp(platform, rule.failure->cleanupSwitch)) {
        logWarning(L"Automatically cleaning up global LDAP layer");
        static_cast<void>(removeLayer(service, {}));
    }
    if (const auto still = layerExists(platform); !still || *still) return;
    // Each that can be reset is one less for an administrator.
    const auto server = state.setFlag(Member::server, disabled);
    const auto pod = rule.marks == Marks::serverAndPod ? state.setFlag(Member::pod, disabled) : server;
    if (!server || !pod) logError(L"Unable to write disabled flag");
}

}  // namespace

Result<void> requireAdministrator(const platform::Platform& platform) {
    if (platform.installation.administrator) return {};
    return fail(L"Insufficient local permissions");
}

Result<void> requireLayer(const platform::Platform& platform, Layer layer) {
    if (layer == Layer::notAsked) return {};
    const bool wanted = layer == Layer::mustExist;
    const auto exists = layerExists(platform);
    if (exists && *exists == wanted) return {};
    return fail(wanted ? L"Global LDAP layer does not exist" : L"Global LDAP layer already exists");
}

Result<void> runFramed(ServiceContext& service, const OperationRule& rule, CORE::PropertyBag& answer,
                       const std::function<Result<void>()>& body) {
    logInfo(L"QRV %s operation", rule.name);
    const auto turn = takeTurn();
    if (const auto met = requirePreconditions(service, rule); !met) {
        logWarning(L"%s", met.error().text);
        return met;
    }
    platform::Platform& platform = service.platform();
    State state(platform);
    auto done = mark(state, rule.marks, pending);
    done = done ? body() : Result<void>(fail(L"Unable to write pending flag"));
    if (!done) {
        if (rule.failure) recover(service, rule, answer);
        return done;
    }
    if (rule.touchesGroups) touchAdministratorGroups(platform);
    if (mark(state, rule.marks, rule.final)) return {};
    return fail(rule.final == enabled ? L"Unable to write enabled flag" : L"Unable to write disabled flag");
}

}  // namespace wsadmin::qrv
