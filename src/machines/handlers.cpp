#include "machines/handlers.h"

#include "machines/desktop.h"
#include "machines/machine.h"
#include "machines/unentitled.h"

namespace wsadmin {

CORE::PropertyBag getMachineInfo(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Machine, &Machine::getMachineInfo>(service, request);
}

CORE::PropertyBag setVMOwnership(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Machine, &Machine::setVMOwnership>(service, request);
}

CORE::PropertyBag markMachineForSpaceReclamation(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Machine, &Machine::markMachineForSpaceReclamation>(service, request);
}

CORE::PropertyBag getMachineAgentInfo(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Machine, &Machine::getMachineAgentInfo>(service, request);
}

CORE::PropertyBag setMachineAgentInfo(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Machine, &Machine::setMachineAgentInfo>(service, request);
}

CORE::PropertyBag getUnentitledMachines(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Unentitled, &Unentitled::machines>(service, request);
}

CORE::PropertyBag getUnentitledPolicies(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Unentitled, &Unentitled::policies>(service, request);
}

CORE::PropertyBag setDefaultDesktop(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Desktop, &Desktop::setDefaultDesktop>(service, request);
}

}  // namespace wsadmin
