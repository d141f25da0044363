// The base of all workers: one object per request, with the service, the request, the result, and a session
// to the configuration directory that is opened when it is first wanted.
#pragma once

#include <memory>
#include <string>

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"
#include "platform/ldap_session.h"

namespace wsadmin {

class Worker {
  public:
    Worker(ServiceContext& service, const CORE::PropertyBag& request)
        : service_(service), request_(request) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // What the request is answered with; the worker is left without one.
    CORE::PropertyBag takeResult() { return std::move(result_); }

  protected:
    ~Worker() = default;

    ServiceContext& service() const { return service_; }
    const CORE::PropertyBag& request() const { return request_; }
    CORE::PropertyBag& result() { return result_; }

    // The session, or null after its failure was put into the result ("ldaperr" and the sentence).
    platform::LdapSession* directory();
    // The same without a word in the result: for operations that answer nothing when there is no directory.
    Result<platform::LdapSession*> tryDirectory();

    void fail(std::wstring_view sentence) { result_.setError(1, sentence); }

  private:
    ServiceContext& service_;
    const CORE::PropertyBag& request_;
    CORE::PropertyBag result_;
    std::unique_ptr<platform::LdapSession> session_;
};

// A handler of the result-bag shape: builds the worker, runs one method, moves its result out.
template <class W, void (W::*method)()>
CORE::PropertyBag answer(ServiceContext& service, const CORE::PropertyBag& request) {
    W worker(service, request);
    (worker.*method)();
    return worker.takeResult();
}

}  // namespace wsadmin
