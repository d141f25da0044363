#include "maintenance/handlers.h"

#include "ldap/worker.h"
#include "maintenance/common.h"
#include "maintenance/cserver.h"

namespace wsadmin {

CORE::PropertyBag setClusterName(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Common, &Common::setClusterName>(service, request);
}

CORE::PropertyBag checkLdapConnectivity(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Common, &Common::checkLdapConnectivity>(service, request);
}

CORE::PropertyBag deleteConnectionServerEntry(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<CServer, &CServer::deleteConnectionServerEntry>(service, request);
}

}  // namespace wsadmin
