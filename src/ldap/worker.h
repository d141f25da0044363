// The base of all workers: one object per request, with the service, the request, the result, a session to
// the configuration directory that is opened when it is first wanted, and the domains. Around its methods the
// dispatcher holds a DirectoryThread.
#pragma once

#include <memory>

#include "framework/core/property_bag.h"
#include "ldap/domain_bindings.h"
#include "ldap/operation_request.h"
#include "ldap/service_context.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// What becomes of the result that a method had begun when it fails.
enum class OnFailure { empties, keeps };

class Worker {
  public:
    Worker(ServiceContext& service, const Request& request)
        : service_(service), request_(request), domains_(service) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // What the request is answered with: the result, or the failure as error 1, with the directory's code
    // under "ldaperr" where the session could not be opened. The worker is left without a result.
    CORE::PropertyBag answerWith(const Result<void>& done, OnFailure collected);

  protected:
    ~Worker() = default;

    ServiceContext& service() const { return service_; }
    const Request& request() const { return request_; }
    CORE::PropertyBag& result() { return result_; }

    DomainBindings& domains() { return domains_; }

    // The session, opened by the first call; never null. Its failure carries the directory's code.
    Result<platform::LdapSession*> directory();

  private:
    ServiceContext& service_;
    const Request& request_;
    CORE::PropertyBag result_;
    std::unique_ptr<platform::LdapSession> session_;
    DomainBindings domains_;
};

// Runs one request and fills the response; true where the response then carries no error.
using Handler = bool (*)(ServiceContext& service, const Request& request, CORE::PropertyBag& response);

template <class W>
W workerOf(Result<void> (W::*)());  // for decltype alone

// The handler that a row names: answer<&Common::setClusterName> builds the worker, runs the method and turns
// what it returns into the response.
template <auto method, OnFailure collected = OnFailure::empties>
bool answer(ServiceContext& service, const Request& request, CORE::PropertyBag& response) {
    using W = decltype(workerOf(method));
    W worker(service, request);
    response &= worker.answerWith((worker.*method)(), collected);
    return response.getError() == 0;
}

}  // namespace wsadmin
