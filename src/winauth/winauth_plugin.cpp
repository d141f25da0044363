#include "winauth/winauth_plugin.h"

#include "winauth/winauth_service.h"

namespace wsadmin {

bool winauth_plugin::initialise() {
    if (winauth_service::current()) return true;
    const auto service = CORE::refptr<winauth_service>::adopt(new winauth_service(parameters()));
    winauth_service::setCurrent(service);
    service->registerWorker(threads());
    return true;
}

void winauth_plugin::cleanup() {
    const auto service = winauth_service::current();
    if (!service) return;
    service->unregisterWorker();
    service->stop();
    service->endWaiting();
    winauth_service::setCurrent({});
}

}  // namespace wsadmin
