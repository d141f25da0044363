#include "identity/admin_permission.h"
#include "identity/entitlement.h"
#include "identity/foreign_principals.h"
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

PropertyBag checkAdminPermission(ServiceContext& service, const PropertyBag& request) {
    return answer<AdminPermission, &AdminPermission::check>(service, request);
}

PropertyBag updateAllUserFSPs(ServiceContext& service, const PropertyBag& request) {
    return answer<ForeignPrincipals, &ForeignPrincipals::updateAll>(service, request);
}

PropertyBag updateSingleUserFSP(ServiceContext& service, const PropertyBag& request) {
    return answer<ForeignPrincipals, &ForeignPrincipals::updateSingle>(service, request);
}

}  // namespace wsadmin
