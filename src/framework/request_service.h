// The service as one request sees it: what stops the service stops the request, and so does a sender who
// gives the request up.
#pragma once

#include <utility>

#include "ldap/service_context.h"

namespace wsadmin {

class RequestService final : public ServiceContext {
  public:
    // `service` outlives the object.
    explicit RequestService(ServiceContext& service)
        : service_(service), whenServiceStops_(service.stopping(), [this] { cancel(); }) {}

    // Any thread. Waits of the request end, and fail.
    void cancel() { stopping_.set(); }

    platform::Platform& platform() const override { return service_.platform(); }
    const CORE::coreevent& stopping() const override { return stopping_; }
    CORE::PropertyBag configuration() const override { return service_.configuration(); }
    // The function may outlive the request: it must not hold this object.
    [[nodiscard]] bool startThread(std::wstring name, std::function<void()> function) override {
        return service_.startThread(std::move(name), std::move(function));
    }
    CORE::refptr<ConnectionMgr> connections() const override { return service_.connections(); }
    CORE::refptr<Domain> domain() const override { return service_.domain(); }
    CORE::refptr<IPsecRulesManager> ipsecRules() const override { return service_.ipsecRules(); }
    void setMinimumDomainCheckInterval(int seconds) override {
        service_.setMinimumDomainCheckInterval(seconds);
    }

  private:
    ServiceContext& service_;
    CORE::coreevent stopping_;
    CORE::eventcallback whenServiceStops_;
};

}  // namespace wsadmin
