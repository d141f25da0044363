#include "federation/qrvldap.h"

#include <utility>

#include "federation/administrators_role.h"
#include "federation/federation_tree.h"
#include "federation/first_pod.h"
#include "federation/installation.h"
#include "federation/operation_frame.h"
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

Result<void> Qrvldap::checkEnablement() {
    return qrv::runFramed(service(), qrv::rule::checkEnablement, result(), [this] {
        qrv::configureMachine(service().platform(), true);
        return qrv::updateAdministratorsRole(service().platform());
    });
}

}  // namespace wsadmin
