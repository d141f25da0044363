// The handlers of this folder's operations, as the operation table names them.
#pragma once

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

CORE::PropertyBag setClusterName(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag deleteConnectionServerEntry(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag checkLdapConnectivity(ServiceContext& service, const CORE::PropertyBag& request);

}  // namespace wsadmin
