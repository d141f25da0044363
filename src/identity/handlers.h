// The handlers of this folder's operations, as the operation table names them.
#pragma once

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

CORE::PropertyBag usernameToSID(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag upnToSid(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getUserInformation(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getUserTokenGroups(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getEntitlementGroups(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getUserContext(ServiceContext& service, const CORE::PropertyBag& request);

CORE::PropertyBag getEntitledDesktops(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getEntitledMirapaks(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getGlobalEntitledDesktops(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getAdminRoles(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag checkAdminPermission(ServiceContext& service, const CORE::PropertyBag& request);

CORE::PropertyBag updateSingleUserFSP(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag updateAllUserFSPs(ServiceContext& service, const CORE::PropertyBag& request);

}  // namespace wsadmin
