// Look-up of entries by value. An attribute is indexed when it is first asked for, and kept from then on. The
// index answers with too many rather than too few entries; who asks compares the values.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "framework/core/corelock.h"
#include "platform/lab/tree.h"

namespace wsadmin::platform::lab {

class Store;

class Indexes {
  public:
    // Entries that may hold the value with that key, in order of creation. Any number of threads may ask at
    // once while nobody changes the store.
    std::vector<NodeId> candidates(const Store& store, AttributeId attribute, std::string_view key) const;
    // Entries that refer to this one by any attribute.
    std::vector<NodeId> referrers(const Store& store, NodeId target) const;

    // The store calls these with every change, under its exclusive lock.
    void valueAdded(const Store& store, NodeId id, AttributeId attribute, std::string_view stored);
    void valueRemoved(const Store& store, NodeId id, AttributeId attribute, std::string_view stored);
    void entryAdded(const Store& store, NodeId id) { entryChanged(store, id, true); }
    void entryRemoved(const Store& store, NodeId id) { entryChanged(store, id, false); }  // before it goes
    void forgetAll();  // built anew when asked

  private:
    // From hash of key to entries, in order of number; an entry stands there once for each of its values. All
    // attributes of DN syntax share one index.
    using Buckets = std::unordered_map<std::size_t, std::vector<NodeId>>;

    void build(const Store& store, AttributeId slot, Buckets& buckets) const;
    void entryChanged(const Store& store, NodeId id, bool added);
    static void insert(Buckets& buckets, std::size_t hash, NodeId id);
    static void erase(Buckets& buckets, std::size_t hash, NodeId id);
    std::vector<NodeId> lookUp(const Store& store, AttributeId slot, std::string_view key) const;

    mutable CORE::SharedMutex mutex_;  // for building while others read
    mutable std::unordered_map<AttributeId, Buckets> slots_;
};

}  // namespace wsadmin::platform::lab
