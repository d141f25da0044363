#include "identity/handlers.h"

#include "identity/group.h"

namespace wsadmin {

CORE::PropertyBag usernameToSID(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Group, &Group::usernameToSID>(service, request);
}

CORE::PropertyBag upnToSid(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Group, &Group::upnToSid>(service, request);
}

CORE::PropertyBag getUserInformation(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Group, &Group::getUserInformation>(service, request);
}

CORE::PropertyBag getUserTokenGroups(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Group, &Group::getUserTokenGroups>(service, request);
}

CORE::PropertyBag getEntitlementGroups(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Group, &Group::getEntitlementGroups>(service, request);
}

CORE::PropertyBag getUserContext(ServiceContext& service, const CORE::PropertyBag& request) {
    return answer<Group, &Group::getUserContext>(service, request);
}

}  // namespace wsadmin
