// The workers that a domain map asks: an authentication service that names the domains, and an administration
// worker without filter lists. One pair at a time.
#pragma once

#include "support/framework_worker.h"

namespace wstest {

class DomainWorkers {
  public:
    // Short names to DNS names; the first is the primary domain. An error instead is what the service
    // answers.
    explicit DomainWorkers(CORE::PropertyBag names)
        : winauth_(L"winauth",
                   [names = std::move(names)](std::wstring_view operation, const CORE::PropertyBag&,
                                              CORE::PropertyBag& response) {
                       if (operation == L"getTrustedDomains") answer(names, response);
                       return true;
                   }) {}

  private:
    static void answer(const CORE::PropertyBag& names, CORE::PropertyBag& response) {
        if (names.getError()) return response.setError(names.getErrorText());
        response.set(L"primaryDomain", names.get(0));
        response.addBag(L"dnsBag", names);
        response.addBag(L"trustInformationBag", CORE::PropertyBag());
    }
    FrameworkWorker<0> winauth_;
    FrameworkWorker<1> admin_{L"ws_admin",
                              [](std::wstring_view, const CORE::PropertyBag&, CORE::PropertyBag& response) {
                                  response.set(L"effectiveList", L"unlimited");
                                  return true;
                              }};
};

inline CORE::PropertyBag domainNames(const std::vector<std::pair<const wchar_t*, const wchar_t*>>& names) {
    CORE::PropertyBag bag;
    for (const auto& [shortName, dnsName] : names) bag.set(shortName, std::wstring_view(dnsName));
    return bag;
}

}  // namespace wstest
