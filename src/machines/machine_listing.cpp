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
            pendingOwners_.push_back(*owner);
    std::ranges::move(page, std::back_inserter(buffer_));
    if (!shouldBuffer()) flush();
}

// Owner look-ups are batched across pages. Later pages bring few new owners, so the buffer may grow with the
// list, and the number of look-ups does not grow with the number of pages.
bool MachineListing::shouldBuffer() const noexcept {
    constexpr std::size_t ownersPerFlush = 4 * sidsPerSearch, minimumBuffer = 2000, listShare = 8;
    return !pendingOwners_.empty() && pendingOwners_.size() < ownersPerFlush &&
           buffer_.size() < std::max(minimumBuffer, list_.size() / listShare);
}

void MachineListing::flush() {
    if (!pendingOwners_.empty())
        for (auto& [sid, account] : readDomainAccounts(domains_, pendingOwners_))
            owners_[sid] = std::move(account);
    pendingOwners_.clear();
    for (const LdapEntry& machine : buffer_)
        list_.addBag(L"machine-entry", full_ ? renderFull(machine, owners_) : renderBrief(machine));
    buffer_.clear();
}

CORE::PropertyBag MachineListing::finish() {
    flush();
    return std::move(list_);
}

}  // namespace wsadmin
