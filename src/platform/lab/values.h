// Turning the values that clients and files give into stored ones, and combining them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

// One change of a directory under way: takes back what it made on the side unless it is kept.
class ValueReader {
  public:
    explicit ValueReader(Store& store) : store_(store) {}
    ~ValueReader();
    ValueReader(const ValueReader&) = delete;
    ValueReader& operator=(const ValueReader&) = delete;
    void keep() noexcept { made_.clear(); }

    // The stored form. A "<SID=...>" that nobody has makes its foreign security principal.
    Result<std::string> read(AttributeId attribute, std::string_view value);
    // The key of a value that is to be found, not stored.
    Result<std::string> key(AttributeId attribute, std::string_view value) const;

  private:
    Result<std::string> readName(AttributeId attribute, std::string_view value);
    Result<NodeId> makeForeignPrincipal(std::string_view name);
    std::wstring complaint(AttributeId attribute, std::string_view value) const;

    Store& store_;
    std::vector<NodeId> made_;
};

// What a modification did to an entry, for the indexes.
struct ValueChange {
    bool added;
    AttributeId attribute;
    std::string stored;
};

// Applies one modification to an entry in memory.
Result<void> applyModification(Store& store, ValueReader& reader, StoredEntry& entry,
                               const LdapModification& change, std::vector<ValueChange>& log);

}  // namespace wsadmin::platform::lab
