// Finding entries and showing them.
#pragma once

#include <vector>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

struct SearchLimits {
    bool showDeleted = false;
    bool allContexts = false;      // base "" stands above every naming context, as in a global catalogue
    std::size_t rangeSize = 1500;  // an attribute with more is shown in ranges
};

// The entries that a search finds, in order of creation. Fails with 32, 34 or 87.
Result<std::vector<NodeId>> findEntries(const Store& store, const LdapSearch& search,
                                        const SearchLimits& limits);

// Which attributes a search shows.
class Selection {
  public:
    Selection(const Store& store, const LdapSearch& search, std::size_t rangeSize);
    // Fails with 1 when a range begins past the last value.
    Result<LdapEntry> show(NodeId id) const;

  private:
    struct Wanted {
        AttributeId attribute;
        bool ranged = false;
        std::size_t from = 0;
        std::size_t count = 0;  // at most so many
    };
    void want(std::string_view name);
    void wantAll(NodeId id, std::vector<Wanted>& wanted) const;
    bool append(NodeId id, const Wanted& wanted, LdapEntry& entry) const;

    const Store& store_;
    LdapScope scope_;
    std::size_t rangeSize_;
    bool all_ = false;
    std::vector<Wanted> wanted_;
};

}  // namespace wsadmin::platform::lab
