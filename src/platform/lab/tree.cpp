#include "platform/lab/tree.h"

#include <algorithm>

#include "framework/core/ascii.h"

namespace wsadmin::platform::lab {

namespace {

// AD spells the short types of names in upper case and the others as its schema does.
std::string typeText(const std::string& name) {
    return name.size() <= 2 ? CORE::asciiUpper(name) : name;
}

}  // namespace

bool endsWith(const Dn& dn, const Dn& end) {
    if (end.size() > dn.size()) return false;
    return std::equal(end.rbegin(), end.rend(), dn.rbegin(), [](const Rdn& a, const Rdn& b) {
        return a.size() == 1 && b.size() == 1 && equalFolded(a[0].type, foldText(b[0].type)) &&
               equalFolded(a[0].value, foldText(b[0].value));
    });
}

std::string Tree::rdnKey(const RdnPart& rdn) const {
    return foldText(rdn.type) + '=' + foldText(rdn.value);
}

std::string Tree::rdnText(AttributeId type, std::string_view value) const {
    return typeText(schema_.attribute(type).name) + '=' + escapeDnValue(value);
}

std::optional<NodeId> Tree::find(const Dn& dn) const {
    if (dn.empty()) return rootNode;
    for (const auto& context : topContexts_) {
        if (!endsWith(dn, context.dn)) continue;
        const auto above = dn.size() - context.dn.size();
        std::optional<NodeId> at = context.id;
        for (std::size_t i = above; at && i-- > 0;) {
            if (dn[i].size() != 1) return std::nullopt;
            at = child(*at, dn[i].front());
        }
        if (at) return at;
    }
    return std::nullopt;
}

std::optional<NodeId> Tree::child(NodeId parent, const RdnPart& rdn) const {
    const auto& children = nodes_[parent].children;
    if (!children) return std::nullopt;
    const auto found = children->find(rdnKey(rdn));
    if (found == children->end()) return std::nullopt;
    return found->second;
}

std::vector<NodeId> Tree::childrenOf(NodeId id) const {
    std::vector<NodeId> result;
    if (const auto& children = nodes_[id].children) {
        result.reserve(children->size());
        for (const auto& [key, child] : *children) result.push_back(child);
        std::sort(result.begin(), result.end());
    }
    return result;
}

std::vector<NodeId> Tree::subtree(NodeId id) const {
    std::vector<NodeId> result = {id};
    for (std::size_t at = 0; at < result.size(); ++at)
        for (const NodeId child : childrenOf(result[at]))
            if (!nodes_[child].contextHead) result.push_back(child);
    return result;
}

bool Tree::isWithin(NodeId id, NodeId base) const {
    while (id != base) {
        if (id == rootNode || nodes_[id].contextHead) return false;
        id = nodes_[id].parent;
    }
    return true;
}

NodeId Tree::addContext(const Dn& dn) {
    const auto parent = dn.size() > 1 ? find(Dn(dn.begin() + 1, dn.end())) : std::nullopt;
    NodeId id = 0;
    if (parent) {
        id = add(*parent, dn.front().front());
    } else {
        id = static_cast<NodeId>(nodes_.size());
        nodes_.emplace_back();
        nodes_[id].rdnType = schema_.intern(dn.front().front().type);
        nodes_[id].rdnValue = dn.front().front().value;
        topContexts_.push_back({id, dn});
    }
    nodes_[id].contextHead = true;
    contexts_.push_back(id);
    return id;
}

NodeId Tree::add(NodeId parent, const RdnPart& rdn) {
    const auto id = static_cast<NodeId>(nodes_.size());
    nodes_.emplace_back();
    attach(id, parent, rdn);
    return id;
}

void Tree::attach(NodeId id, NodeId parent, const RdnPart& rdn) {
    Node& node = nodes_[id];
    node.parent = parent;
    node.rdnType = schema_.intern(rdn.type);
    node.rdnValue = rdn.value;
    auto& children = nodes_[parent].children;
    if (!children) children = std::make_unique<std::unordered_map<std::string, NodeId>>();
    children->emplace(rdnKey(rdn), id);
    nodes_[parent].newestChild = id;
}

void Tree::detach(NodeId id) {
    const Node& node = nodes_[id];
    auto& children = nodes_[node.parent].children;
    children->erase(rdnKey({schema_.attribute(node.rdnType).name, node.rdnValue}));
    if (children->empty()) children.reset();
}

void Tree::rename(NodeId id, NodeId newParent, const RdnPart& rdn) {
    detach(id);
    attach(id, newParent, rdn);
}

void Tree::drop(NodeId id) {
    detach(id);
    nodes_[id].gone = true;
    nodes_[id].entry = PackedEntry();
}

NodeId Tree::contextOf(NodeId id) const {
    while (id != rootNode && !nodes_[id].contextHead) id = nodes_[id].parent;
    return id;
}

std::string Tree::dnText(NodeId id) const {
    std::string text;
    while (id != rootNode) {
        const Node& node = nodes_[id];
        if (!text.empty()) text += ',';
        text += rdnText(node.rdnType, node.rdnValue);
        if (node.parent == rootNode) {
            const auto context = std::find_if(topContexts_.begin(), topContexts_.end(),
                                              [&](const TopContext& top) { return top.id == id; });
            for (std::size_t i = 1; i < context->dn.size(); ++i) {
                const auto& [type, value] = context->dn[i].front();
                text += ',' + typeText(type) + '=' + escapeDnValue(value);
            }
        }
        id = node.parent;
    }
    return text;
}

}  // namespace wsadmin::platform::lab
