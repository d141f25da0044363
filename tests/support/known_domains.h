// The domain map and the pool of bindings of a test's service, and the workers that the map asks: an
// authentication service that names the domains, and an administration worker without filter lists.
#pragma once

#include "platform/platform.h"
#include "support/framework_worker.h"
#include "support/test_service.h"

namespace wstest {

// As long as it lives; one at a time.
class KnownDomains {
  public:
    using Names = std::vector<std::pair<const wchar_t*, const wchar_t*>>;

    // Short names to DNS names; the first is the primary domain.
    KnownDomains(TestService& service, const Names& names)
        : service_(service), winauth_(L"winauth", [names](auto operation, const auto&, auto& response) {
              if (operation != L"getTrustedDomains") return true;
              CORE::PropertyBag bag;
              for (const auto& [shortName, dnsName] : names) bag.set(shortName, std::wstring_view(dnsName));
              response.set(L"primaryDomain", bag.get(0));
              response.addBag(L"dnsBag", bag);
              response.addBag(L"trustInformationBag", CORE::PropertyBag());
              return true;
          }) {
        const auto& platform = service.platform();
        const wsadmin::DirectoryAccess access{platform.directoryServices, platform.clock};
        service.pool =
            CORE::refptr<wsadmin::ConnectionMgr>::adopt(new wsadmin::ConnectionMgr(access, threads_));
        service.domainMap =
            CORE::refptr<wsadmin::Domain>::adopt(new wsadmin::Domain(access, threads_, false));
    }
    ~KnownDomains() { close(); }
    KnownDomains(const KnownDomains&) = delete;
    KnownDomains& operator=(const KnownDomains&) = delete;

    // What is open afterwards, somebody forgot.
    void close() {
        if (service_.pool) service_.pool->StopTimerWithWait();
        service_.domainMap = {};
        service_.pool = {};
    }

  private:
    TestService& service_;
    CORE::ThreadGroup threads_{L"people"};
    FrameworkWorker<0> winauth_;
    FrameworkWorker<1> admin_{L"ws_admin", [](auto, const auto&, auto& response) {
                                  response.set(L"effectiveList", L"unlimited");
                                  return true;
                              }};
};

}  // namespace wstest
