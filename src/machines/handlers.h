// The handlers of this folder's operations, as the operation table names them.
#pragma once

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

CORE::PropertyBag getMachineInfo(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag setVMOwnership(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag markMachineForSpaceReclamation(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getMachineAgentInfo(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag setMachineAgentInfo(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getUnentitledMachines(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getUnentitledPolicies(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag setDefaultDesktop(ServiceContext& service, const CORE::PropertyBag& request);

}  // namespace wsadmin
