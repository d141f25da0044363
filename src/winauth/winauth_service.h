// The worker "winauth": says which domains are trusted, from what the domains' own directories tell.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "framework/core/coreref.h"
#include "framework/core/service.h"
#include "platform/platform.h"

namespace wsadmin {

class winauth_service : public CORE::service {
  public:
    // The platform that the parameters choose is made for the first request that needs it.
    explicit winauth_service(CORE::PropertyBag parameters);

    // The module's one service, null while there is none. Any thread.
    static CORE::refptr<winauth_service> current();
    static void setCurrent(CORE::refptr<winauth_service> service);
    void registerWorker(CORE::ThreadGroup& threads);  // the service must be the current one

    // The two operations. Any thread. `givenUp` is set when nobody waits for the answer any more, before
    // endWaiting is called.
    CORE::PropertyBag getTrustedDomains(const CORE::PropertyBag& request, const std::atomic<bool>& givenUp);
    CORE::PropertyBag setDomainConfig(const CORE::PropertyBag& request, const std::atomic<bool>& givenUp);
    // Ends what requests wait for; later ones work on a platform made anew.
    void endWaiting();

  private:
    Result<std::shared_ptr<platform::Platform>> platform();

    const CORE::PropertyBag parameters_;
    std::mutex mutex_;  // guards what follows
    std::shared_ptr<platform::Platform> platform_;
    CORE::PropertyBag domainConfiguration_;
};

}  // namespace wsadmin
