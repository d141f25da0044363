// The entries of a directory in their hierarchy. An entry keeps its number for life, and a deleted one keeps
// it as a tombstone, so numbers can stand for names inside.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/lab/packed_entry.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform::lab {

using NodeId = std::uint32_t;
inline constexpr NodeId rootNode = 0;  // the root entry, above all naming contexts

using Guid = std::array<char, 16>;

struct Node {
    NodeId parent = rootNode;
    AttributeId rdnType = 0;
    std::string rdnValue;
    PackedEntry entry;  // without what the directory makes itself: the RDN's value, GUID, times
    Guid guid{};
    Seconds created{}, changed{};
    std::uint64_t usnCreated = 0, usnChanged = 0;
    std::uint16_t file = 0;         // which of the directory's files it is written to
    bool contextHead = false;       // the top entry of a naming context
    bool deleted = false;           // a tombstone, or the container of tombstones
    bool generated = false;         // made when the directory was opened; not written back
    bool gone = false;              // not even a tombstone
    bool fixedGuid = false;         // the GUID is not the one that the name gives
    NodeId newestChild = rootNode;  // the last one made or moved here; it may have left since
    std::unique_ptr<std::unordered_map<std::string, NodeId>> children;  // by key of the RDN

    std::string_view guidBytes() const noexcept { return {guid.data(), guid.size()}; }
};

// Whether a name is the other one, or stands below it; case does not count.
bool endsWith(const Dn& dn, const Dn& end);

class Tree {
  public:
    explicit Tree(Schema& schema) : schema_(schema) { nodes_.emplace_back(); }

    std::size_t size() const noexcept { return nodes_.size(); }  // numbers run from 0 to below this
    const Node& at(NodeId id) const { return nodes_[id]; }
    Node& at(NodeId id) { return nodes_[id]; }

    std::optional<NodeId> find(const Dn& dn) const;
    std::optional<NodeId> child(NodeId parent, const RdnPart& rdn) const;
    bool hasChildren(NodeId id) const { return nodes_[id].children && !nodes_[id].children->empty(); }
    std::vector<NodeId> childrenOf(NodeId id) const;  // in order of creation
    // The entry and all below it, parents first; naming contexts further down are left out.
    std::vector<NodeId> subtree(NodeId id) const;
    // Whether the entry is the base or below it within the same naming context.
    bool isWithin(NodeId id, NodeId base) const;
    const std::vector<NodeId>& contexts() const noexcept { return contexts_; }

    // The top entry of a naming context; its name may have several parts.
    NodeId addContext(const Dn& dn);
    NodeId add(NodeId parent, const RdnPart& rdn);
    void rename(NodeId id, NodeId newParent, const RdnPart& rdn);
    void drop(NodeId id);  // a leaf; it is gone

    NodeId contextOf(NodeId id) const;    // the top entry of its naming context
    std::string dnText(NodeId id) const;  // as AD writes it: types in upper case, no blanks

  private:
    std::string rdnKey(const RdnPart& rdn) const;
    std::string rdnText(AttributeId type, std::string_view value) const;
    void attach(NodeId id, NodeId parent, const RdnPart& rdn);
    void detach(NodeId id);

    Schema& schema_;
    std::deque<Node> nodes_;
    std::vector<NodeId> contexts_;
    struct TopContext {  // of a context that hangs on the root and whose name may have several parts
        NodeId id;
        Dn dn;
    };
    std::vector<TopContext> topContexts_;
};

}  // namespace wsadmin::platform::lab
