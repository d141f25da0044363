#include "identity/entitlement.h"
#include "identity/handlers.h"

namespace wsadmin {

using CORE::PropertyBag;

PropertyBag getEntitledDesktops(ServiceContext& service, const PropertyBag& request) {
    return answer<Entitlement, &Entitlement::desktops>(service, request);
}

PropertyBag getEntitledMirapaks(ServiceContext& service, const PropertyBag& request) {
    return answer<Entitlement, &Entitlement::packages>(service, request);
}

PropertyBag getGlobalEntitledDesktops(ServiceContext& service, const PropertyBag& request) {
    return answer<Entitlement, &Entitlement::globalDesktops>(service, request);
}

PropertyBag getAdminRoles(ServiceContext& service, const PropertyBag& request) {
    return answer<Entitlement, &Entitlement::adminRoles>(service, request);
}

}  // namespace wsadmin
