#include "platform/lab/replicated.h"

#include <algorithm>

#include "platform/lab/changes.h"
#include "platform/lab/content.h"

namespace wsadmin::platform::lab {

namespace {

bool isPrivate(std::string_view attribute) {
    return attribute == repsFromAttribute || attribute == repsToAttribute;
}

// Of a generated entry: others have made the same, unless it stands for this directory alone.
bool standsForServer(const Store& store, NodeId id) {
    return store.has(id, attrObjectClass, "server") || store.has(id, attrObjectClass, "ntdsdsa");
}

bool isReplicated(const Store& store, NodeId id) {
    const Node& node = store.tree.at(id);
    if (node.gone || (node.generated && !standsForServer(store, id))) return false;
    // The container of the tombstones is none.
    return !node.deleted || store.tree.at(node.parent).deleted;
}

std::size_t depthOf(const Store& store, NodeId id) {
    std::size_t depth = 0;
    for (; id != rootNode; id = store.tree.at(id).parent) ++depth;
    return depth;
}

// In order, so that equal entries look the same.
std::vector<LdapAttribute> shownValues(const Store& store, NodeId id) {
    std::vector<LdapAttribute> attributes;
    store.tree.at(id).entry.forEach([&](AttributeId attribute, const PackedEntry::Values& values) {
        const auto& type = store.schema.attribute(attribute);
        if (isPrivate(type.name)) return;
        LdapAttribute& one = attributes.emplace_back(LdapAttribute{type.name, {}});
        for (const auto value : values)
            one.values.push_back(type.syntax == Syntax::dn ? store.referenceText(value)
                                                           : readableValue(type.syntax, value));
        std::ranges::sort(one.values);
    });
    std::ranges::sort(attributes, {}, &LdapAttribute::name);
    return attributes;
}

ReplicatedEntry replicatedEntry(const Store& store, NodeId id) {
    const Node& node = store.tree.at(id);
    return {.entry = {store.tree.dnText(id), shownValues(store, id)},
            .guid = node.guid,
            .deleted = node.deleted,
            .created = node.created,
            .changed = node.changed};
}

// The entry has changed by somebody else's hand: it is written to the file with the times of that change.
void noteTaken(Store& store, NodeId id, const ReplicatedEntry& taken) {
    Node& node = store.tree.at(id);
    node.generated = false;
    node.created = taken.created;
    node.changed = taken.changed;
    store.changedFiles.insert(node.file);
}

std::optional<NodeId> parentOf(const Store& store, const Dn& dn) {
    return store.tree.find(Dn(dn.begin() + 1, dn.end()));
}

void addTaken(Store& store, const ReplicatedEntry& taken, const Dn& dn) {
    const auto parent = parentOf(store, dn);
    if (!parent) return;
    store.loading = false;
    store.file = fileForChild(store, *parent);
    store.loading = true;
    LdapEntry entry = taken.entry;
    entry.attributes.push_back({"objectGUID", {guidToText({taken.guid.data(), taken.guid.size()})}});
    if (const auto added = addEntry(store, entry)) noteTaken(store, *added, taken);
}

// What makes the second of the first.
std::vector<LdapModification> differences(const std::vector<LdapAttribute>& now,
                                          const std::vector<LdapAttribute>& wanted) {
    std::vector<LdapModification> changes;
    const auto named = [](const std::vector<LdapAttribute>& list, const std::string& name) {
        return std::ranges::find(list, name, &LdapAttribute::name);
    };
    for (const LdapAttribute& one : now)
        if (named(wanted, one.name) == wanted.end()) changes.push_back({LdapModify::replace, one.name, {}});
    for (const LdapAttribute& one : wanted)
        if (const auto had = named(now, one.name); had == now.end() || had->values != one.values)
            changes.push_back({LdapModify::replace, one.name, one.values});
    return changes;
}

void adoptGuid(Store& store, NodeId id, const Guid& guid) {
    Node& node = store.tree.at(id);
    if (node.guid == guid) return;
    store.indexes.entryRemoved(store, id);
    node.guid = guid;
    node.fixedGuid = true;
    store.indexes.entryAdded(store, id);
    touch(store, id);
}

void moveTaken(Store& store, NodeId id, const Dn& dn) {
    const auto parent = parentOf(store, dn);
    const RdnPart& rdn = dn.front().front();
    store.resolved.clear();
    if (parent)
        static_cast<void>(renameEntry(store, store.tree.dnText(id), rdn.type + "=" + escapeDnValue(rdn.value),
                                      store.tree.dnText(*parent), true));
}

void changeTaken(Store& store, NodeId id, const ReplicatedEntry& taken, const Dn& dn) {
    const auto before = store.usn;
    adoptGuid(store, id, taken.guid);
    if (!sameDn(store.tree.dnText(id), taken.entry.dn)) moveTaken(store, id, dn);
    if (const auto changes = differences(shownValues(store, id), taken.entry.attributes); !changes.empty())
        static_cast<void>(modifyEntry(store, store.tree.dnText(id), changes));
    if (store.usn != before) noteTaken(store, id, taken);
}

void takeLiving(Store& store, const ReplicatedEntry& taken, Meeting meeting) {
    const auto dn = parseDn(taken.entry.dn);
    if (!dn || dn->empty()) return;
    auto own = store.findByGuid({taken.guid.data(), taken.guid.size()});
    if (own && store.tree.at(*own).deleted) return;
    if (!own) own = store.tree.find(*dn);
    if (!own) return addTaken(store, taken, *dn);
    const Node& node = store.tree.at(*own);
    const bool newer = meeting == Meeting::first && !node.generated && node.changed > taken.changed;
    if (!newer) changeTaken(store, *own, taken, *dn);
}

void takeDeleted(Store& store, const ReplicatedEntry& taken) {
    const auto own = store.findByGuid({taken.guid.data(), taken.guid.size()});
    if (own && !store.tree.at(*own).deleted)
        static_cast<void>(removeEntry(store, store.tree.dnText(*own), true));
}

}  // namespace

std::vector<ReplicationLink> linksOf(const Store& store) {
    std::vector<ReplicationLink> links;
    const auto attribute = store.schema.find(repsFromAttribute);
    for (const NodeId context : store.tree.contexts())
        for (const auto source : store.tree.at(context).entry.find(attribute.value()))
            links.push_back({store.tree.dnText(context), std::string(source)});
    return links;
}

ReplicatedChanges changesAfter(const Store& store, NodeId context, std::uint64_t usn) {
    ReplicatedChanges changes{.usn = store.usn, .entries = {}};
    std::vector<std::pair<std::size_t, NodeId>> ids;
    for (NodeId id = 1; id < store.tree.size(); ++id)
        if (store.tree.at(id).usnChanged > usn && isReplicated(store, id) &&
            store.tree.contextOf(id) == context)
            ids.emplace_back(depthOf(store, id), id);
    std::ranges::sort(ids);
    for (const auto& [depth, id] : ids) changes.entries.push_back(replicatedEntry(store, id));
    return changes;
}

// Deletions come last: an entry that was made anew under the name of a deleted one has taken its place by
// then.
void takeOver(Store& store, const ReplicatedChanges& changes, Meeting meeting) {
    if (changes.entries.empty()) return;
    store.loading = true;
    for (const ReplicatedEntry& one : changes.entries)
        if (!one.deleted) takeLiving(store, one, meeting);
    store.loading = false;
    store.resolved.clear();
    // Also what came from another naming context earlier.
    if (store.dangling > 0) resolveReferences(store);
    for (const ReplicatedEntry& one : changes.entries)
        if (one.deleted) takeDeleted(store, one);
}

}  // namespace wsadmin::platform::lab
