// All that a worker sees of the service.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/core/corelock.h"
#include "framework/core/coreref.h"
#include "framework/core/property_bag.h"
#include "platform/platform.h"

namespace wsadmin {

class ConnectionMgr;
class Domain;
class IPsecRulesManager;

class ServiceContext {
  public:
    virtual ~ServiceContext() = default;

    virtual platform::Platform& platform() const = 0;
    virtual const CORE::coreevent& stopping() const = 0;  // set when the service stops
    virtual CORE::PropertyBag configuration() const = 0;  // a copy of the start-up bag
    // Runs the function on a framework thread that the module's exit waits for.
    [[nodiscard]] virtual bool startThread(std::wstring name, std::function<void()> function) = 0;
    // The pool of directory bindings, and the map of domains. Each is null on a platform without directory
    // services, or when there was no memory for it.
    virtual CORE::refptr<ConnectionMgr> connections() const = 0;
    virtual CORE::refptr<Domain> domain() const = 0;
    // The monitor of the pairing rules; null when there was no memory for it.
    virtual CORE::refptr<IPsecRulesManager> ipsecRules() const = 0;
    // How old the domain map may get, in seconds.
    virtual void setMinimumDomainCheckInterval(int seconds) = 0;
};

}  // namespace wsadmin
