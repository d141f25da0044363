#include "framework/ws_admin_service.h"

#include <new>
#include <utility>

#include "framework/ws_admin_operation.h"
#include "platform/module/topic_log.h"
#include "platform/startup.h"

namespace wsadmin {

namespace {

CORE::CurrentService<ws_admin_service>& module() {
    static CORE::CurrentService<ws_admin_service> current;
    return current;
}

// Null when the module is on its way out: the framework then has no worker.
CORE::WorkItem* makeOperation() {
    auto service = ws_admin_service::current();
    return service ? new ws_admin_operation(std::move(service)) : nullptr;
}

// Null without memory for it: the service works on without that part, and every use of it asks.
template <class T, class... Args>
CORE::refptr<T> makePart(Args&&... args) {
    try {
        return CORE::refptr<T>::adopt(new T(std::forward<Args>(args)...));
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace

ws_admin_service::ws_admin_service(const CORE::PropertyBag& parameters,
                                   std::shared_ptr<platform::Platform> platform, CORE::ThreadGroup& threads)
    : CORE::service(true), platform_(std::move(platform)), threads_(threads) {
    configuration_ &= parameters;
    if (platform_->directoryServices) {
        const DirectoryAccess access{platform_->directoryServices, platform_->clock};
        connections_ = makePart<ConnectionMgr>(access, threads_);
        const bool initiateChecks = configuration_.getBool(platform::startup::initiateDomainChecks, true);
        domain_ = makePart<Domain>(access, threads_, initiateChecks);
    }
    const std::chrono::seconds checkInterval(
        configuration_.getInt(platform::startup::ipsecRuleCheckInterval, IPsecRulesManager::defaultInterval));
    ipsecRules_ = makePart<IPsecRulesManager>(platform_, threads_, checkInterval);
}

ws_admin_service::~ws_admin_service() {
    if (ipsecRules_) ipsecRules_->stop();
    domain_.reset();
    connections_.reset();
    ipsecRules_.reset();
    if (!platform_->save) return;
    if (const auto saved = platform_->save(); !saved)
        logSavingError(L"Failed to save changes - %s (%d)", saved.error().text, saved.error().code);
}

CORE::refptr<ws_admin_service> ws_admin_service::current() {
    return module().get();
}

void ws_admin_service::setCurrent(CORE::refptr<ws_admin_service> service) {
    module().set(std::move(service));
}

void ws_admin_service::registerWorker() {
    service::registerWorker(makeOperation, L"ws_admin", L"LDAP Admin Utility", true, false, false, true,
                            &threads_);
}

void ws_admin_service::shutDown() {
    stop();
    if (ipsecRules_) ipsecRules_->stop();
    if (domain_) domain_->stop();
    if (platform_->ldap) platform_->ldap->stop();
}

void ws_admin_service::setMinimumDomainCheckInterval(int seconds) {
    if (domain_) domain_->setMinimumCheckInterval(seconds);
}

bool ws_admin_service::startThread(std::wstring name, std::function<void()> function) {
    return threads_.start(
        name, [self = CORE::refptr<ws_admin_service>::share(this), run = std::move(function)] { run(); });
}

}  // namespace wsadmin
