// The limits of waiting for a directory and of what it may send: a server that stalls, dribbles or never ends
// must not hold a request, its memory or the end of the service.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/ldap_session.h"

namespace wsadmin::platform {

using SteadyTime = std::chrono::steady_clock::time_point;

// One wait for a server.
struct LdapWait {
    SteadyTime until;         // of the whole wait, whatever comes meanwhile
    std::uint64_t bytes = 0;  // that may come meanwhile, where the adapter sees them
    bool ofChange = false;    // for the outcome of a change that was sent
};

// Ends the waits of a client when the service stops. Any thread.
class LdapStop {
  public:
    void set() noexcept;
    // Fails when the wait is over: 88 after a stop, 85 when its time is up.
    Result<void> check(const LdapWait& wait) const;

  private:
    std::atomic<SteadyTime::rep> stoppedAt_{0};  // 0: not yet
};

// How long to wait before the stop is looked at again: less when little is left of the wait.
std::chrono::milliseconds nextSlice(const LdapWait& wait) noexcept;

// Calls `poll` with slices of the wait until it has something or fails; it answers a Result of an optional.
template <class Poll>
auto pollUntil(const LdapWait& wait, const LdapStop& stop, Poll poll) -> decltype(poll(nextSlice(wait))) {
    while (true) {
        if (auto more = stop.check(wait); !more) return fail(more.error());
        if (auto found = poll(nextSlice(wait)); !found || *found) return found;
    }
}

// What is left of the limits of one search. A limit that strikes is a failure with a sentence that names the
// limit's key in the configuration file.
class LdapAllowance {
  public:
    explicit LdapAllowance(const LdapLimits& limits, const LdapSpent& spent = {})
        : limits_(limits), spent_(spent) {}
    Result<void> take(const LdapEntry& entry);
    Result<void> take(std::uint64_t bytes);  // of one entry, value or message without an entry
    Result<void> wait(std::chrono::steady_clock::duration time);
    std::chrono::milliseconds timeLeft() const noexcept;
    const LdapSpent& spent() const noexcept { return spent_; }

  private:
    LdapLimits limits_;
    LdapSpent spent_;
};

}  // namespace wsadmin::platform
