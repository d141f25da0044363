#include "platform/lab/selection.h"

#include <algorithm>
#include <charconv>

#include "platform/lab/constructed.h"
#include "platform/lab/matcher.h"

namespace wsadmin::platform::lab {

namespace {

// The entries in a search's scope, without looking at the filter.
std::vector<NodeId> entriesInScope(const Tree& tree, NodeId base, LdapScope scope) {
    if (scope == LdapScope::base) return {base};
    if (scope == LdapScope::subtree) return tree.subtree(base);
    auto ids = tree.childrenOf(base);
    std::erase_if(ids, [&](NodeId id) { return tree.at(id).contextHead; });
    return ids;
}

bool inScope(const Tree& tree, NodeId id, NodeId base, LdapScope scope) {
    if (scope == LdapScope::base) return id == base;
    if (scope == LdapScope::subtree) return tree.isWithin(id, base);
    return id != base && tree.at(id).parent == base && !tree.at(id).contextHead;
}

void findBelow(const Store& store, NodeId base, const LdapSearch& search, const Matcher& matcher,
               bool showDeleted, std::vector<NodeId>& found) {
    const auto visible = [&](NodeId id) {
        const Node& node = store.tree.at(id);
        return !node.gone && (showDeleted || !node.deleted);
    };
    const auto candidates = search.scope == LdapScope::base ? std::nullopt : matcher.candidates();
    if (candidates) {
        for (const NodeId id : *candidates)
            if (visible(id) && inScope(store.tree, id, base, search.scope) && matcher.matches(id))
                found.push_back(id);
        return;
    }
    for (const NodeId id : entriesInScope(store.tree, base, search.scope))
        if (visible(id) && matcher.matches(id)) found.push_back(id);
}

std::optional<std::size_t> bound(std::string_view text) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

Result<std::vector<NodeId>> findEntries(const Store& store, const LdapSearch& search,
                                        const SearchLimits& limits) {
    const auto filter = parseFilter(search.filter);
    if (!filter) return fail(filter.error());
    const auto base = store.resolve(search.base);
    if (!base) return fail(base.error());
    const Matcher matcher(store, *filter);
    std::vector<NodeId> found;
    if (*base != rootNode) {
        if (store.tree.at(*base).deleted && !limits.showDeleted)
            return fail(ldapNoSuchObject, L"the base is deleted");
        findBelow(store, *base, search, matcher, limits.showDeleted, found);
    } else {
        if (search.scope == LdapScope::base) {
            if (matcher.matches(rootNode)) found.push_back(rootNode);
            return found;
        }
        if (!limits.allContexts || search.scope != LdapScope::subtree)
            return fail(ldapNoSuchObject, L"only a global catalogue is searched from the root");
        for (const NodeId context : store.tree.contexts())
            findBelow(store, context, search, matcher, limits.showDeleted, found);
    }
    std::sort(found.begin(), found.end());
    return found;
}

Selection::Selection(const Store& store, const LdapSearch& search, std::size_t rangeSize)
    : store_(store), scope_(search.scope), rangeSize_(rangeSize), all_(search.attributes.empty()) {
    for (const auto& name : search.attributes) {
        if (name == "*")
            all_ = true;
        else
            want(name);
    }
}

// Names that nobody knows, and options other than a well-formed range, are passed over.
void Selection::want(std::string_view name) {
    const auto option = name.find(';');
    const auto attribute = store_.schema.find(name.substr(0, option));
    if (!attribute || store_.schema.attribute(*attribute).hidden) return;
    Wanted wanted{*attribute, false, 0, rangeSize_};
    constexpr std::string_view rangeOption = ";range=";
    if (option != name.npos && equalFolded(name.substr(option, rangeOption.size()), rangeOption)) {
        const auto range = name.substr(option + rangeOption.size());
        const auto dash = range.find('-');
        const auto from = bound(range.substr(0, dash));
        if (dash == range.npos || !from) return;
        const auto to = range.substr(dash + 1) == "*" ? std::optional(*from + rangeSize_ - 1)
                                                      : bound(range.substr(dash + 1));
        if (!to || *to < *from) return;
        wanted = {*attribute, true, *from, std::min(*to - *from + 1, rangeSize_)};
    }
    const bool known = std::any_of(wanted_.begin(), wanted_.end(), [&](const Wanted& has) {
        return has.attribute == wanted.attribute && has.ranged == wanted.ranged && has.from == wanted.from;
    });
    if (!known) wanted_.push_back(wanted);
}

void Selection::wantAll(NodeId id, std::vector<Wanted>& wanted) const {
    const auto add = [&](AttributeId attribute) {
        const bool known = std::any_of(wanted.begin(), wanted.end(),
                                       [&](const Wanted& has) { return has.attribute == attribute; });
        if (!known && !store_.schema.attribute(attribute).hidden)
            wanted.push_back({attribute, false, 0, rangeSize_});
    };
    const Node& node = store_.tree.at(id);
    if (id == rootNode) {
        node.entry.forEach([&](AttributeId attribute, const PackedEntry::Values&) { add(attribute); });
        add(attrCurrentTime);
        add(attrHighestUsn);
        return;
    }
    add(attrObjectClass);
    add(node.rdnType);
    node.entry.forEach([&](AttributeId attribute, const PackedEntry::Values&) { add(attribute); });
    for (const AttributeId own : {attrDistinguishedName, attrName, attrObjectGuid, attrWhenCreated,
                                  attrWhenChanged, attrUsnCreated, attrUsnChanged, attrIsDeleted})
        add(own);
    for (AttributeId attribute = 0; attribute < store_.schema.attributeCount(); ++attribute)
        if (store_.schema.attribute(attribute).backLink()) add(attribute);
}

Result<LdapEntry> Selection::show(NodeId id) const {
    LdapEntry entry;
    entry.dn = store_.tree.dnText(id);
    auto wanted = wanted_;
    if (all_) wantAll(id, wanted);
    for (const auto& one : wanted)
        if (!append(id, one, entry))
            return fail(ldapOperationsError, L"the range begins past the last value");
    return entry;
}

bool Selection::append(NodeId id, const Wanted& wanted, LdapEntry& entry) const {
    const auto& type = store_.schema.attribute(wanted.attribute);
    LdapAttribute attribute{type.name, {}};
    std::size_t at = 0;
    const auto take = [&](std::string_view value) {
        if (at >= wanted.from && at - wanted.from < wanted.count)
            attribute.values.push_back(type.syntax == Syntax::dn ? store_.referenceText(value)
                                                                 : std::string(value));
        ++at;
    };
    store_.forEachValue(id, wanted.attribute, take);
    if (at == 0 && store_.constructs) forEachConstructed(store_, id, wanted.attribute, scope_, take);
    if (at == 0) return true;
    if (attribute.values.empty()) return false;
    const auto end = wanted.from + attribute.values.size();
    if (wanted.ranged || end < at)
        attribute.name +=
            ";range=" + std::to_string(wanted.from) + "-" + (end < at ? std::to_string(end - 1) : "*");
    entry.attributes.push_back(std::move(attribute));
    return true;
}

}  // namespace wsadmin::platform::lab
