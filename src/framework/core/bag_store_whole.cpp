// What concerns stores as a whole: copying, merging, and taking down with all that is nested.
#include <algorithm>

#include "framework/core/bag_store.h"

namespace CORE {

// For each entry of the other store, which one here it replaces.
struct BagStore::MergePlan {
    static constexpr std::uint32_t append = none;  // a target: none, it goes to the end

    std::vector<std::uint32_t> targets;
    std::vector<std::uint32_t> surplus;  // entries here whose names repeat less often over there, ascending
    std::size_t appended = 0;
    std::size_t newNames = 0;
};

BagStore::~BagStore() {
    // Stores below this one are chained up and taken down one after the other, each with no more nested in
    // it.
    BagStore* chain = nullptr;
    unchainNested(chain);
    while (chain != nullptr) {
        const std::unique_ptr<BagStore> next(chain);
        chain = next->doomed_;
        next->unchainNested(chain);
    }
}

void BagStore::unchainNested(BagStore*& chain) noexcept {
    for (BagEntry& entry : entries_) {
        if (!entry.isBag()) continue;
        if (BagStore* nested = entry.bag().store_.release()) {
            nested->doomed_ = chain;
            chain = nested;
        }
    }
}

std::unique_ptr<BagStore> BagStore::copyOf(const BagStore& source) {
    NestedCopies nested;
    std::unique_ptr<BagStore> copy = source.copyFlat(nested);
    copyNested(std::move(nested));
    return copy;
}

// Copies the entries; nested bags are left empty and noted.
std::vector<BagEntry> BagStore::copyEntries(NestedCopies& nested) const {
    std::vector<BagEntry> copies;
    copies.reserve(entries_.size());
    for (const BagEntry& entry : entries_) {
        if (!entry.isBag()) {
            copies.emplace_back(entry.name(), entry.asciiName(), entry.value());
            continue;
        }
        copies.emplace_back(entry.name(), entry.asciiName(), PropertyBag());
        if (entry.bag().store_) nested.emplace_back(entry.bag().store_.get(), &copies.back().bag());
    }
    return copies;
}

std::unique_ptr<BagStore> BagStore::copyFlat(NestedCopies& nested) const {
    auto copy = std::make_unique<BagStore>();
    copy->text_ = text_;
    copy->entries_ = copyEntries(nested);
    copy->garbage_ = garbage_;
    copy->unusual_ = unusual_;
    copy->tags_ = tags_;
    if (index_) copy->index_ = std::make_unique<BagIndex>(*index_);
    if (error_) copy->error_ = std::make_unique<Error>(*error_);
    return copy;
}

void BagStore::copyNested(NestedCopies nested) {
    while (!nested.empty()) {
        const auto [source, target] = nested.back();
        nested.pop_back();
        target->store_ = source->copyFlat(nested);
    }
}

void BagStore::merge(const BagStore& other) {
    if (entries_.empty()) return merge(std::move(*copyOf(other)));
    auto error = other.error_ ? std::make_unique<Error>(*other.error_) : nullptr;
    const MergePlan plan = planMerge(other);
    NestedCopies nested;
    std::vector<BagEntry> entries = other.copyEntries(nested);
    copyNested(std::move(nested));
    absorb(plan, other.text_, other.garbage_, std::move(entries));  // `other` may be gone now
    if (error) error_ = std::move(error);
}

void BagStore::merge(BagStore&& other) {
    if (entries_.empty()) {
        text_.swap(other.text_);
        entries_.swap(other.entries_);
        index_.swap(other.index_);
        std::swap(garbage_, other.garbage_);
        std::swap(unusual_, other.unusual_);
        std::swap(tags_, other.tags_);
    } else {
        const MergePlan plan = planMerge(other);
        absorb(plan, other.text_, other.garbage_, std::move(other.entries_));
    }
    if (other.error_) error_ = std::move(other.error_);
}

// Entries of one name are paired in order: the first there replaces the first here, and so on.
BagStore::MergePlan BagStore::planMerge(const BagStore& other) const {
    constexpr std::uint32_t unplanned = none - 1;
    MergePlan plan;
    plan.targets.assign(other.size(), unplanned);
    for (std::uint32_t at = 0; at < other.size(); ++at) {
        if (plan.targets[at] != unplanned) continue;
        const std::string_view name = other.name(at);
        std::uint32_t mine = find(name);
        if (mine == none) ++plan.newNames;
        for (std::uint32_t theirs = at; theirs != none; theirs = other.after(theirs, name)) {
            plan.targets[theirs] = mine;
            if (mine == MergePlan::append)
                ++plan.appended;
            else
                mine = after(mine, name);
        }
        for (; mine != none; mine = after(mine, name)) plan.surplus.push_back(mine);
    }
    std::sort(plan.surplus.begin(), plan.surplus.end());
    return plan;
}

void BagStore::absorb(const MergePlan& plan, const WipedText& text, std::uint32_t garbage,
                      std::vector<BagEntry> entries) {
    roomFor(plan.appended);
    if (index_) index_->reserveMore(plan.appended, plan.newNames);
    const std::uint32_t base =
        text_.append(text.size(), [&](char* to) { text.view().copy(to, text.size()); });
    garbage_ += garbage;
    for (std::size_t at = 0; at < entries.size(); ++at) {
        entries[at].shift(base);
        const std::uint32_t target = plan.targets[at];
        if (target == MergePlan::append) {
            entries_.push_back(std::move(entries[at]));
            noteNewest();
        } else {
            discardTextOf(entries_[target]);
            entries_[target] = std::move(entries[at]);
            tag(target);
        }
    }
    erase(plan.surplus);
    compactWhenWorthIt();
}

}  // namespace CORE
