// Directory services by ADSI: what its searches and objects share.
#pragma once

#include <atomic>
#include <memory>

#include "platform/directory_services.h"
#include "platform/windows/com.h"
// After the platform's base headers:
#include <iads.h>
// After iads.h:
#include <adserr.h>
#include <adshlp.h>

namespace wsadmin::platform::windows {

inline constexpr int adsResultsTooLarge = static_cast<int>(0x80072038);

// The failure for a code, with what the provider said last on this thread.
Failure adsFailure(HRESULT code);
// Calls ADSI. What the provider said of an earlier call is cleared before: a failure without a text of its
// own would show that one.
template <class Call>
Result<HRESULT> callAds(Call call) {
    ADsSetLastError(ERROR_SUCCESS, nullptr, nullptr);
    const HRESULT hr = call();
    if (FAILED(hr)) return fail(adsFailure(hr));
    return hr;
}
// A refusal of our own: the provider was not asked, so what it said last does not belong here.
Failure adsRefusal(int code);

// Keeps the multithreaded apartment alive, so that every thread may call what was opened on another.
class Apartment {
  public:
    Apartment() { CoIncrementMTAUsage(&cookie_); }
    ~Apartment() {
        if (cookie_) CoDecrementMTAUsage(cookie_);
    }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;

  private:
    CO_MTA_USAGE_COOKIE cookie_ = nullptr;
};

std::shared_ptr<DirectorySearch> makeAdsSearch(std::shared_ptr<Apartment> apartment,
                                               UniqueCom<IDirectorySearch> search);
std::unique_ptr<DirectoryObject> makeAdsObject(std::shared_ptr<Apartment> apartment, UniqueCom<IADs> object);

}  // namespace wsadmin::platform::windows
