// A service context on any platform, for tests of workers.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "framework/core/threads.h"
#include "ldap/connection_mgr.h"
#include "ldap/domain.h"
#include "ldap/worker.h"
#include "netsec/ipsec_rules_manager.h"

namespace wstest {

class TestService : public wsadmin::ServiceContext {
  public:
    explicit TestService(std::shared_ptr<wsadmin::platform::Platform> platform)
        : platform_(std::move(platform)) {}

    wsadmin::platform::Platform& platform() const override { return *platform_; }
    const CORE::coreevent& stopping() const override { return stopping_; }
    CORE::PropertyBag configuration() const override { return configurationBag; }
    bool startThread(std::wstring name, std::function<void()> function) override {
        return threads_.start(name, std::move(function));
    }
    CORE::refptr<wsadmin::ConnectionMgr> connections() const override { return pool; }
    CORE::refptr<wsadmin::Domain> domain() const override { return domainMap; }
    CORE::refptr<wsadmin::IPsecRulesManager> ipsecRules() const override { return {}; }
    void setMinimumDomainCheckInterval(int seconds) override { minimumCheckInterval = seconds; }

    void stop() { stopping_.set(); }

    CORE::PropertyBag configurationBag;
    int minimumCheckInterval = 900;
    CORE::refptr<wsadmin::ConnectionMgr> pool;
    CORE::refptr<wsadmin::Domain> domainMap;

  private:
    std::shared_ptr<wsadmin::platform::Platform> platform_;
    CORE::coreevent stopping_;
    CORE::ThreadGroup threads_{L"test"};
};

// What one worker's method answers to a request, as the row's handler does:
// ask<&Common::setClusterName>(service, bag).
template <auto method, wsadmin::OnFailure collected = wsadmin::OnFailure::empties>
CORE::PropertyBag ask(wsadmin::ServiceContext& service, const CORE::PropertyBag& request = {}) {
    CORE::PropertyBag response;
    wsadmin::answer<method, collected>(service, wsadmin::Request(request), response);
    return response;
}

}  // namespace wstest
