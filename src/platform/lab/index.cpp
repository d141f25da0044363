#include "platform/lab/index.h"

#include <algorithm>
#include <mutex>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

namespace {

// Where the references of all attributes of DN syntax stand.
constexpr AttributeId referenceSlot = attrDistinguishedName;

AttributeId slotOf(const Store& store, AttributeId attribute) {
    return store.schema.attribute(attribute).syntax == Syntax::dn ? referenceSlot : attribute;
}

std::size_t hashOf(std::string_view key) {
    return std::hash<std::string_view>()(key);
}

// Every value of an entry that belongs into the slot.
template <class Each>
void forEachIndexed(const Store& store, NodeId id, AttributeId slot, Each each) {
    const Node& node = store.tree.at(id);
    if (slot == referenceSlot) {
        node.entry.forEach([&](AttributeId attribute, const PackedEntry::Values& values) {
            if (store.schema.attribute(attribute).syntax != Syntax::dn) return;
            for (const auto value : values) each(attribute, value);
        });
        return;
    }
    store.forEachValue(id, slot, [&](std::string_view value) { each(slot, value); });
}

}  // namespace

void Indexes::insert(Buckets& buckets, std::size_t hash, NodeId id) {
    auto& bucket = buckets[hash];
    bucket.insert(std::upper_bound(bucket.begin(), bucket.end(), id), id);
}

void Indexes::erase(Buckets& buckets, std::size_t hash, NodeId id) {
    const auto bucket = buckets.find(hash);
    if (bucket == buckets.end()) return;
    const auto at = std::lower_bound(bucket->second.begin(), bucket->second.end(), id);
    if (at != bucket->second.end() && *at == id) bucket->second.erase(at);
    if (bucket->second.empty()) buckets.erase(bucket);
}

void Indexes::build(const Store& store, AttributeId slot, Buckets& buckets) const {
    for (NodeId id = 1; id < store.tree.size(); ++id)
        if (!store.tree.at(id).gone)
            forEachIndexed(store, id, slot, [&](AttributeId attribute, std::string_view value) {
                buckets[hashOf(store.keyOf(attribute, value))].push_back(id);
            });
}

std::vector<NodeId> Indexes::lookUp(const Store& store, AttributeId slot, std::string_view key) const {
    const auto hash = hashOf(key);
    const auto answer = [&](const Buckets& buckets) {
        const auto bucket = buckets.find(hash);
        std::vector<NodeId> ids;
        if (bucket != buckets.end())
            std::unique_copy(bucket->second.begin(), bucket->second.end(), std::back_inserter(ids));
        return ids;
    };
    {
        const std::shared_lock reading(mutex_);
        if (const auto found = slots_.find(slot); found != slots_.end()) return answer(found->second);
    }
    const std::unique_lock building(mutex_);
    const auto [at, missing] = slots_.try_emplace(slot);
    if (missing) build(store, slot, at->second);
    return answer(at->second);
}

std::vector<NodeId> Indexes::candidates(const Store& store, AttributeId attribute,
                                        std::string_view key) const {
    return lookUp(store, slotOf(store, attribute), key);
}

std::vector<NodeId> Indexes::referrers(const Store& store, NodeId target) const {
    return lookUp(store, referenceSlot, referenceValue(target));
}

void Indexes::valueAdded(const Store& store, NodeId id, AttributeId attribute, std::string_view stored) {
    const auto slot = slots_.find(slotOf(store, attribute));
    if (slot != slots_.end()) insert(slot->second, hashOf(store.keyOf(attribute, stored)), id);
}

void Indexes::valueRemoved(const Store& store, NodeId id, AttributeId attribute, std::string_view stored) {
    const auto slot = slots_.find(slotOf(store, attribute));
    if (slot != slots_.end()) erase(slot->second, hashOf(store.keyOf(attribute, stored)), id);
}

void Indexes::entryChanged(const Store& store, NodeId id, bool added) {
    for (auto& [slot, buckets] : slots_)
        forEachIndexed(store, id, slot, [&, &into = buckets](AttributeId attribute, std::string_view value) {
            const auto hash = hashOf(store.keyOf(attribute, value));
            added ? insert(into, hash, id) : erase(into, hash, id);
        });
}

void Indexes::forgetAll() {
    slots_.clear();
}

}  // namespace wsadmin::platform::lab
