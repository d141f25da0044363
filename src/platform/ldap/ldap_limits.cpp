#include "platform/ldap/ldap_limits.h"

#include <algorithm>

#include "framework/core/format.h"

namespace wsadmin::platform {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr milliseconds stopInterval{50};  // between two looks at the stop
constexpr std::chrono::seconds changeGrace{1};

std::uint64_t sizeOf(const LdapEntry& entry) noexcept {
    std::uint64_t size = entry.dn.size();
    for (const LdapAttribute& attribute : entry.attributes) {
        size += attribute.name.size();
        for (const std::string& value : attribute.values) size += value.size();
    }
    return size;
}

}  // namespace

void LdapStop::set() noexcept {
    SteadyTime::rep never = 0;
    stoppedAt_.compare_exchange_strong(never, steady_clock::now().time_since_epoch().count());
}

Result<void> LdapStop::check(const LdapWait& wait) const {
    const auto now = steady_clock::now();
    if (const auto at = stoppedAt_.load(); at != 0) {
        const SteadyTime stopped{steady_clock::duration(at)};
        if (!wait.ofChange || now >= stopped + changeGrace)
            return fail(ldapUserCancelled, L"The service is stopping");
    }
    if (now >= wait.until) return fail(ldapFailure(ldapTimeout));
    return {};
}

milliseconds nextSlice(const LdapWait& wait) noexcept {
    const auto left = duration_cast<milliseconds>(wait.until - steady_clock::now());
    return std::clamp(left, milliseconds(1), stopInterval);
}

Result<void> LdapAllowance::take(const LdapEntry& entry) {
    return take(sizeOf(entry));
}

Result<void> LdapAllowance::take(std::uint64_t bytes) {
    spent_.bytes += bytes;
    if (++spent_.entries > limits_.entries)
        return fail(ldapResultsTooLarge,
                    CORE::formatText(L"The directory's answer has more than %u entries (max-entries)",
                                     limits_.entries));
    if (spent_.bytes > limits_.bytes)
        return fail(
            ldapResultsTooLarge,
            CORE::formatText(L"The directory's answer has more than %u bytes (max-bytes)", limits_.bytes));
    return {};
}

Result<void> LdapAllowance::wait(steady_clock::duration time) {
    spent_.time += time;
    if (spent_.time < limits_.time) return {};
    return fail(ldapTimeout,
                CORE::formatText(L"The directory's answer takes longer than %d ms (search-timeout)",
                                 limits_.time.count()));
}

milliseconds LdapAllowance::timeLeft() const noexcept {
    return limits_.time - duration_cast<milliseconds>(spent_.time);
}

}  // namespace wsadmin::platform
