#include "winauth/winauth_service.h"

#include <array>
#include <string_view>
#include <utility>

#include "platform/module/module_log.h"
#include "winauth/known_domains.h"

namespace wsadmin {

using CORE::PropertyBag;

namespace {

CORE::CurrentService<winauth_service>& module() {
    static CORE::CurrentService<winauth_service> current;
    return current;
}

constexpr int errorNotImplemented = 120;

using Method = PropertyBag (winauth_service::*)(const PropertyBag& request, const std::atomic<bool>& givenUp);
constexpr std::array<std::pair<std::wstring_view, Method>, 2> operations = {
    {{L"getTrustedDomains", &winauth_service::getTrustedDomains},
     {L"setDomainConfig", &winauth_service::setDomainConfig}}};

class Operation : public CORE::serviceOperation {
  public:
    explicit Operation(CORE::refptr<winauth_service> service) : service_(std::move(service)) {}

    bool MessageHandler(const wchar_t* operation, const PropertyBag& request,
                        PropertyBag& response) override {
        for (const auto& [name, method] : operations) {
            if (!CORE::equalFolded(name, operation)) continue;
            response &= (service_.get()->*method)(request, givenUp_);
            return true;
        }
        response.setError(errorNotImplemented);
        return false;
    }
    void AbortHandler() override {
        givenUp_ = true;
        service_->endWaiting();
    }

  private:
    CORE::refptr<winauth_service> service_;
    std::atomic<bool> givenUp_{false};
};

CORE::WorkItem* makeOperation() {
    auto service = winauth_service::current();
    return service ? new Operation(std::move(service)) : nullptr;
}

}  // namespace

winauth_service::winauth_service(PropertyBag parameters)
    : CORE::service(false), parameters_(std::move(parameters)) {}

CORE::refptr<winauth_service> winauth_service::current() {
    return module().get();
}

void winauth_service::setCurrent(CORE::refptr<winauth_service> service) {
    module().set(std::move(service));
}

void winauth_service::registerWorker(CORE::ThreadGroup& threads) {
    service::registerWorker(makeOperation, L"winauth", L"Domains and their trusts", true, false, false, true,
                            &threads);
}

Result<std::shared_ptr<platform::Platform>> winauth_service::platform() {
    const std::lock_guard hold(mutex_);
    if (platform_) return platform_;
    PropertyBag parameters = parameters_;
    parameters.setBool(platform::labSaveKey, false);  // the lab's files are written by whoever changes them
    auto made = platform::createPlatform(parameters);
    if (made) platform_ = *made;
    return made;
}

void winauth_service::endWaiting() {
    std::shared_ptr<platform::Platform> abandoned;
    {
        const std::lock_guard hold(mutex_);
        std::swap(abandoned, platform_);
    }
    if (abandoned && abandoned->ldap) abandoned->ldap->stop();
}

PropertyBag winauth_service::getTrustedDomains(const PropertyBag& request, const std::atomic<bool>& givenUp) {
    PropertyBag result;
    const auto machine = platform();
    if (!machine) {
        result.setError(machine.error().text);
        return result;
    }
    if (givenUp) {
        result.setError(L"The request was given up");
        return result;
    }
    platform::DirectoryServices& services = *(*machine)->directoryServices;
    const platform::DirectoryThread thread(services);
    const std::string domain(request.utf8(L"initialDomain"));
    auto known = readKnownDomains(services, domain);
    if (!known) {
        logWarning(L"%s (%d)", known.error().text, known.error().code);
        result.setError(known.error().text);
        return result;
    }
    // The lists limit the domains of this server. What another domain trusts is asked to learn the kind of
    // its trust.
    if (domain.empty()) {
        const std::lock_guard hold(mutex_);
        filterDomains(*known, domainConfiguration_);
    }
    return renderKnownDomains(*known);
}

PropertyBag winauth_service::setDomainConfig(const PropertyBag& request, const std::atomic<bool>&) {
    const std::lock_guard hold(mutex_);
    domainConfiguration_ = request;
    return {};
}

}  // namespace wsadmin
