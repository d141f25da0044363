// The long-lived service of the module: owns what requests share and the worker name "ws_admin". Its last
// user, be it the module or a running request, destroys it.
#pragma once

#include <memory>

#include "framework/core/coreref.h"
#include "framework/core/service.h"
#include "ldap/connection_mgr.h"
#include "ldap/domain.h"
#include "ldap/service_context.h"
#include "netsec/ipsec_rules_manager.h"

namespace wsadmin {

class ws_admin_service : public CORE::service, public ServiceContext {
  public:
    // Makes the pool and the domain map, which starts its checks unless the parameters say otherwise.
    // `threads` counts the service's threads and outlives it.
    ws_admin_service(const CORE::PropertyBag& parameters, std::shared_ptr<platform::Platform> platform,
                     CORE::ThreadGroup& threads);
    // Saves what the platform keeps in files; a failure is logged.
    ~ws_admin_service() override;

    // The module's one service, null while there is none. Any thread.
    static CORE::refptr<ws_admin_service> current();
    static void setCurrent(CORE::refptr<ws_admin_service> service);

    // Ends waiting, for directories too, and what the domain map does. Requests that run go on, and fail
    // where they would wait.
    void shutDown();
    // Makes the worker known to the framework. The service must be the current one: the factory binds to
    // that.
    void registerWorker();

    platform::Platform& platform() const override { return *platform_; }
    const CORE::coreevent& stopping() const override { return *stopEvent(); }
    CORE::PropertyBag configuration() const override { return configuration_; }
    // The thread holds a reference to the service as long as it runs.
    [[nodiscard]] bool startThread(std::wstring name, std::function<void()> function) override;
    CORE::refptr<ConnectionMgr> connections() const override { return connections_; }
    CORE::refptr<Domain> domain() const override { return domain_; }
    CORE::refptr<IPsecRulesManager> ipsecRules() const override { return ipsecRules_; }
    void setMinimumDomainCheckInterval(int seconds) override;

  private:
    CORE::PropertyBag configuration_;  // the parameters as they stood when the service was built
    std::shared_ptr<platform::Platform> platform_;
    CORE::ThreadGroup& threads_;
    CORE::refptr<ConnectionMgr> connections_;
    CORE::refptr<Domain> domain_;
    CORE::refptr<IPsecRulesManager> ipsecRules_;
};

}  // namespace wsadmin
