#include "machines/machine_listing.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "identity/sid_search.h"

namespace wsadmin {

using platform::LdapEntry;

void MachineListing::add(std::vector<LdapEntry> page) {
    for (const LdapEntry& machine : page)
        if (const auto owner = full_ ? ownerOf(machine) : std::nullopt;
            owner && owners_.try_emplace(*owner).second)
            unknown_.push_back(*owner);
    std::ranges::move(page, std::back_inserter(waiting_));
    if (!mayWait()) renderWaiting();
}

// Later pages have few owners that earlier ones had not. How many machines wait for more of them grows with
// the list, so that the look-ups do not become more with every page.
bool MachineListing::mayWait() const noexcept {
    constexpr std::size_t ownersAtOnce = 4 * sidsAtOnce, alwaysWait = 2000, shareOfList = 8;
    return !unknown_.empty() && unknown_.size() < ownersAtOnce &&
           waiting_.size() < std::max(alwaysWait, list_.size() / shareOfList);
}

void MachineListing::renderWaiting() {
    if (!unknown_.empty())
        for (auto& [sid, account] : readDomainAccounts(service_, unknown_)) owners_[sid] = std::move(account);
    unknown_.clear();
    for (const LdapEntry& machine : waiting_)
        list_.addBag(L"machine-entry", full_ ? renderFull(machine, owners_) : renderBrief(machine));
    waiting_.clear();
}

CORE::PropertyBag MachineListing::finish() {
    renderWaiting();
    return std::move(list_);
}

}  // namespace wsadmin
