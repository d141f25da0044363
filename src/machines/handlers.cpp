#include "machines/handlers.h"

#include "machines/machine.h"

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

}  // namespace wsadmin
