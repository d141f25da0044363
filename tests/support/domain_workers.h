// The workers that a domain map asks: an authentication service that names the domains, and an administration
// worker without filter lists. One pair at a time.
#pragma once

#include "support/framework_worker.h"

namespace wstest {

class DomainWorkers {
  public:
    // Short names to DNS names; the first is the primary domain.
    explicit DomainWorkers(CORE::PropertyBag names)
        : winauth_(L"winauth", [names = std::move(names)](auto operation, const auto&, auto& response) {
              if (operation != L"getTrustedDomains") return true;
              response.set(L"primaryDomain", names.get(0));
              response.addBag(L"dnsBag", names);
              response.addBag(L"trustInformationBag", CORE::PropertyBag());
              return true;
          }) {}

  private:
    FrameworkWorker<0> winauth_;
    FrameworkWorker<1> admin_{L"ws_admin", [](auto, const auto&, auto& response) {
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
