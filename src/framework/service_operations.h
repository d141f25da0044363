// The operations of the service itself: those that no worker owns.
#pragma once

#include <string>

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

inline constexpr int minimumForestCheckMinutes = 15;

CORE::PropertyBag Diag(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag setServiceConfiguration(ServiceContext& service, const CORE::PropertyBag& request);
CORE::PropertyBag getAppdataLocation(ServiceContext& service, const CORE::PropertyBag& request);

enum class DataOwner { machine, user };

// The folder of the system's own files, in the system's spelling with backslashes. There is always an answer:
// what the platform cannot tell is replaced by its usual place, and that is logged.
std::wstring configurationFolder(const platform::Folders& folders, DataOwner owner = DataOwner::machine);

}  // namespace wsadmin
