// Walking through what the filtering engine enumerates.
#pragma once

#include "framework/core/corelock.h"
#include "platform/filtering_engine.h"

namespace wsadmin::ipsec {

enum class Walk { on, nextBatch, end };

constexpr std::size_t mostEntries = 1'000'000;  // of an enumeration that does not end
constexpr int walkStopped = 1223;               // cancelled
constexpr int walkTooLong = 234;                // more data

// Calls batch(count) for each batch and each(entry) for each entry until that answers `end`; nextBatch skips
// the rest of the batch. A batch of fewer entries than asked for is the last one.
template <class Entry, class Batch, class Each>
Result<void> walk(platform::FilteringEntries<Entry>& entries, const CORE::coreevent& stopping, Batch batch,
                  Each each) {
    std::size_t seen = 0;
    while (!stopping.isSet()) {
        const auto found = entries.next();
        if (!found) return fail(found.error());
        batch(found->size());
        seen += found->size();
        for (const Entry& entry : *found) {
            const Walk next = each(entry);
            if (next == Walk::end) return {};
            if (next == Walk::nextBatch) break;
        }
        if (found->size() < platform::filteringBatch) return {};
        if (seen >= mostEntries) return fail(walkTooLong, L"The enumeration does not end");
    }
    return fail(walkStopped, L"The service is stopping");
}

}  // namespace wsadmin::ipsec
