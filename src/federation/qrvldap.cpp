#include "federation/qrvldap.h"

#include <utility>

#include "federation/administrators_role.h"
#include "federation/federation_keys.h"
#include "federation/federation_tree.h"
#include "federation/first_pod.h"
#include "federation/installation.h"
#include "federation/operation_frame.h"
#include "federation/pod_entries.h"
#include "federation/replica.h"
#include "platform/module/module_log.h"

namespace wsadmin {

Result<void> Qrvldap::info() {
    platform::Platform& platform = service().platform();
    auto met = qrv::requireAdministrator(platform);
    if (met) met = qrv::requireLayer(platform, qrv::Layer::mustExist);
    if (!met) {
        logWarning(L"%s", met.error().text);
        return met;
    }
    auto tree = qrv::readFederation(platform);
    if (!tree) return fail(tree.error());
    result().addBag(L"qrv-common", std::move(tree->common));
    result().addBag(L"qrv-sites", std::move(tree->sites));
    result().addBag(L"qrv-pods", std::move(tree->pods));
    result().addBag(L"qrv-endpoints", std::move(tree->endpoints));
    return {};
}

Result<void> Qrvldap::init() {
    return qrv::runFramed(service(), qrv::rule::init, result(),
                          [this] { return qrv::installFirstPod(service()); });
}

Result<void> Qrvldap::join() {
    const qrv::SourceServer source{.host = std::string(request().utf8(key::sourceServer)),
                                   .account = {.user = request().text(key::sourceUser).str(),
                                               .password = request().text(key::sourcePassword).str()}};
    return qrv::runFramed(service(), qrv::rule::join, result(),
                          [&] { return qrv::installReplica(service(), source); });
}

Result<void> Qrvldap::installReplica() {
    const qrv::SourceServer source{.host = std::string(request().utf8(key::sourceServer))};
    return qrv::runFramed(service(), qrv::rule::installReplica, result(),
                          [&] { return qrv::installReplica(service(), source); });
}

Result<void> Qrvldap::unjoin() {
    return removeFramed(qrv::rule::unjoin, {.removesPodEntries = true, .reportsProgress = true});
}

Result<void> Qrvldap::uninit() {
    return removeFramed(qrv::rule::uninit, {.reportsProgress = true});
}

Result<void> Qrvldap::uninstallReplica() {
    return removeFramed(qrv::rule::uninstallReplica, {.reportsProgress = true});
}

Result<void> Qrvldap::removeFramed(const qrv::OperationRule& rule, qrv::RemovalSwitches switches) {
    return qrv::runFramed(service(), rule, result(), [&] { return qrv::removeLayer(service(), switches); });
}

Result<void> Qrvldap::eject() {
    return qrv::runFramed(service(), qrv::rule::eject, result(), [this] {
        return qrv::ejectPod(service().platform(), request().text(key::podName).str());
    });
}

Result<void> Qrvldap::removePodEndpoint() {
    return qrv::runFramed(service(), qrv::rule::removePodEndpoint, result(), [this] {
        return qrv::removeEndpoint(service().platform(), request().text(key::podEndpoint).str(),
                                   request().text(key::podEndpointHost).str());
    });
}

Result<void> Qrvldap::checkEnablement() {
    return qrv::runFramed(service(), qrv::rule::checkEnablement, result(), [this] {
        qrv::configureMachine(service().platform(), true);
        return qrv::updateAdministratorsRole(service().platform());
    });
}

}  // namespace wsadmin
