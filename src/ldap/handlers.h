// The handlers of this folder's operations, as the operation table names them.
#pragma once

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

CORE::PropertyBag getDomainHealth(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getDomainType(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getNetBiosName(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag loadDomainConfig(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag saveDomainConfig(ServiceContext& service, const CORE::PropertyBag& request);

}  // namespace wsadmin
