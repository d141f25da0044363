#include "platform/lab/changes.h"

#include <algorithm>

#include "framework/core/corestring.h"
#include "platform/lab/constructed.h"
#include "platform/lab/domain_accounts.h"
#include "platform/lab/values.h"

namespace wsadmin::platform::lab {

namespace {

std::uint64_t fnv(std::string_view text, std::uint64_t hash) {
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
    return hash;
}

// What an add brings beside ordinary attributes.
struct OwnAttributes {
    std::optional<Guid> guid;
    std::optional<Seconds> created, changed;
    bool deleted = false;
};

Guid toGuid(std::string_view bytes) {
    Guid guid;
    std::copy(bytes.begin(), bytes.end(), guid.begin());
    return guid;
}

// Files may set what the directory keeps itself; clients may name some of it without effect.
Result<bool> readOwnAttribute(const Store& store, AttributeId id, const LdapAttribute& attribute,
                              OwnAttributes& own) {
    const auto& type = store.schema.attribute(id);
    if (type.backLink() || (id == attrObjectGuid && !store.loading)) {
        if (store.loading) return true;
        return fail(ldapUnwillingToPerform, CORE::toWide(type.name) + L" is kept by the directory");
    }
    if (id < attrDistinguishedName || id > attrIsDeleted) return false;
    if (!store.loading || attribute.values.empty()) return true;
    const auto stored = storedValue(type.syntax, attribute.values.front());
    if (!stored)
        return fail(ldapInvalidSyntax, CORE::toWide(type.name) + L": " + inQuotes(attribute.values.front()) +
                                           L" is no value of syntax " +
                                           CORE::toWide(syntaxName(type.syntax)));
    if (id == attrObjectGuid) own.guid = toGuid(*stored);
    if (id == attrWhenCreated) own.created = timeFromText(*stored);
    if (id == attrWhenChanged) own.changed = timeFromText(*stored);
    if (id == attrIsDeleted) own.deleted = *stored == "TRUE";
    return true;
}

// The RDN's value is part of the name and is not stored a second time.
Result<void> takeOutRdn(const Store& store, const RdnPart& rdn, AttributeId type,
                        std::vector<std::string>& values) {
    const auto before = values.size();
    const auto folded = foldText(rdn.value);
    std::erase_if(values, [&](const std::string& value) { return equalFolded(value, folded); });
    if (before > 0 && values.size() == before)
        return fail(ldapNamingViolation, CORE::toWide(rdn.type) + L" is not what the name says");
    if (store.schema.attribute(type).single && !values.empty())
        return fail(ldapConstraintViolation, CORE::toWide(rdn.type) + L" takes one value only");
    return {};
}

Result<void> checkClasses(Store& store, StoredEntry& entry) {
    const auto classes =
        std::find_if(entry.begin(), entry.end(), [](const auto& has) { return has.id == attrObjectClass; });
    if (classes == entry.end() || classes->values.empty())
        return fail(ldapObjectClassViolation, L"the entry has no objectClass");
    classes->values = store.schema.withSuperiors(classes->values);
    const bool foreign = std::any_of(classes->values.begin(), classes->values.end(), [](const auto& name) {
        return equalFolded(name, "foreignsecurityprincipal");
    });
    if (foreign && !store.loading)
        return fail(ldapUnwillingToPerform,
                    L"foreign security principals are made by adding <SID=...> to an attribute");
    return {};
}

Result<StoredEntry> readEntry(Store& store, ValueReader& reader, const LdapEntry& given, const RdnPart& rdn,
                              OwnAttributes& own) {
    StoredEntry entry;
    const AttributeId rdnType = store.schema.intern(rdn.type);
    std::vector<ValueChange> log;
    for (const auto& attribute : given.attributes) {
        const auto id =
            store.schema.intern(std::string_view(attribute.name).substr(0, attribute.name.find(';')));
        const auto isOwn = readOwnAttribute(store, id, attribute, own);
        if (!isOwn) return fail(isOwn.error());
        if (*isOwn) continue;
        auto values = attribute.values;
        if (id == rdnType)
            if (const auto taken = takeOutRdn(store, rdn, id, values); !taken) return fail(taken.error());
        if (store.schema.attribute(id).single && values.size() > 1)
            return fail(ldapConstraintViolation, CORE::toWide(attribute.name) + L" takes one value only");
        if (values.empty()) continue;
        if (const auto done =
                applyModification(store, reader, entry, {LdapModify::add, attribute.name, values}, log);
            !done)
            return fail(done.error());
    }
    if (const auto checked = checkClasses(store, entry); !checked) return fail(checked.error());
    return entry;
}

struct Place {
    Dn dn;
    bool context = false;
    NodeId parent = rootNode;
    std::optional<NodeId> generated;  // a file says more of an entry that was made beforehand
};

Result<Place> placeFor(const Store& store, const std::string& name) {
    const auto dn = parseDn(name);
    if (!dn || dn->empty() || dn->front().size() != 1 || dn->front().front().value.empty())
        return fail(ldapInvalidDnSyntax, inQuotes(name) + L" is no name of an entry");
    const bool context = std::any_of(store.contexts.begin(), store.contexts.end(), [&](const Dn& known) {
        return known.size() == dn->size() && endsWith(*dn, known);
    });
    auto parent = store.tree.find(Dn(dn->begin() + 1, dn->end()));
    const auto there = context  ? store.tree.find(*dn)
                       : parent ? store.tree.child(*parent, dn->front().front())
                                : parent;
    if (there) {
        if (!store.loading || !store.tree.at(*there).generated)
            return fail(ldapAlreadyExists, inQuotes(name) + L" is there already");
        return Place{*dn, store.tree.at(*there).contextHead, store.tree.at(*there).parent, there};
    }
    if (context) return Place{*dn, true, rootNode, {}};
    if (!parent || *parent == rootNode || (store.tree.at(*parent).deleted && !store.loading))
        return fail(ldapNoSuchObject, L"the entry above " + inQuotes(name) + L" does not exist");
    return Place{*dn, false, *parent, {}};
}

// A file says that an entry which was made beforehand is deleted.
void dropGenerated(Store& store, const OwnAttributes& own) {
    if (!own.deleted || !own.guid) return;
    const auto made = store.findByGuid({own.guid->data(), own.guid->size()});
    if (!made || !store.tree.at(*made).generated || store.tree.at(*made).deleted) return;
    auto doomed = store.tree.subtree(*made);
    std::ranges::reverse(doomed);
    for (const NodeId id : doomed) {
        store.indexes.entryRemoved(store, id);
        store.tree.drop(id);
    }
    store.resolved.clear();
}

// The derived GUID, or when an entry has it (a tombstone of the same name), the next one.
Guid freshGuid(const Store& store, const std::string& key) {
    Guid guid = derivedGuid(key);
    for (unsigned attempt = 1; !store.loading && store.findByGuid({guid.data(), guid.size()}); ++attempt)
        guid = derivedGuid(key, attempt);
    return guid;
}

// An entry's own links go with it, and so do the links of others to it.
void cutLinks(Store& store, NodeId id) {
    const auto self = referenceValue(id);
    for (const NodeId referrer : store.indexes.referrers(store, id)) {
        Node& node = store.tree.at(referrer);
        StoredEntry entry = node.entry.unpack();
        bool changed = false;
        for (auto& attribute : entry)
            if (store.schema.attribute(attribute.id).forwardLink() &&
                std::erase(attribute.values, self) > 0) {
                store.indexes.valueRemoved(store, referrer, attribute.id, self);
                changed = true;
            }
        if (!changed) continue;
        node.entry = PackedEntry(entry);
        store.changedFiles.insert(node.file);
    }
}

// Deleted entries keep little more than what they were.
bool keptByTombstones(AttributeId id) {
    return id == attrObjectClass || id == attrObjectSid || id == attrSamAccountName;
}

void bury(Store& store, NodeId id, NodeId tombstones) {
    Node& node = store.tree.at(id);
    cutLinks(store, id);
    store.indexes.entryRemoved(store, id);
    StoredEntry entry = node.entry.unpack();
    std::erase_if(entry, [](const auto& attribute) { return !keptByTombstones(attribute.id); });
    entry.push_back({attrLastKnownParent, {referenceValue(node.parent)}});
    const RdnPart rdn{store.schema.attribute(node.rdnType).name,
                      node.rdnValue + "\nDEL:" + guidToText(node.guidBytes())};
    node.entry = PackedEntry(entry);
    node.deleted = true;
    node.generated = false;
    node.fixedGuid = true;  // it came from the name before
    store.tree.rename(id, tombstones, rdn);
    store.indexes.entryAdded(store, id);
    touch(store, id);
}

Result<NodeId> resolveLiving(const Store& store, const std::string& name) {
    const auto id = store.resolve(name);
    if (!id) return id;
    if (*id == rootNode) return fail(ldapUnwillingToPerform, L"the root entry cannot be changed");
    if (store.tree.at(*id).deleted && !store.loading)
        return fail(ldapNoSuchObject, inQuotes(name) + L" is deleted");
    return id;
}

// An entry keeps its structural classes for life.
Result<void> checkClassChange(Store& store, const PackedEntry& before, StoredEntry& after) {
    if (const auto checked = checkClasses(store, after); !checked) return checked;
    const auto& now = std::find_if(after.begin(), after.end(), [](const auto& has) {
                          return has.id == attrObjectClass;
                      })->values;
    for (const auto had : before.find(attrObjectClass)) {
        const auto folded = foldText(had);
        const bool kept =
            std::any_of(now.begin(), now.end(), [&](const auto& has) { return equalFolded(has, folded); });
        if (!kept && !store.schema.auxiliary(had))
            return fail(ldapObjectClassViolation, L"the class " + inQuotes(had) + L" must stay");
    }
    return {};
}

}  // namespace

Guid derivedGuid(std::string key, unsigned attempt) {
    if (attempt > 0) key += '#' + std::to_string(attempt);
    std::uint64_t high = fnv(key, 0xcbf29ce484222325ULL), low = fnv(key, high ^ 0x9e3779b97f4a7c15ULL);
    Guid guid;
    for (std::size_t i = 0; i < 8; ++i, high >>= 8, low >>= 8) {
        guid[i] = static_cast<char>(high & 0xff);
        guid[i + 8] = static_cast<char>(low & 0xff);
    }
    guid[7] = static_cast<char>((guid[7] & 0x0f) | 0x80);  // a GUID of the free version 8
    guid[8] = static_cast<char>((guid[8] & 0x3f) | 0x80);
    return guid;
}

std::uint16_t fileForChild(const Store& store, NodeId parent) {
    if (store.loading) return store.file;
    const Node& newest = store.tree.at(store.tree.at(parent).newestChild);
    const bool sibling = newest.parent == parent && !newest.gone && !newest.generated;
    return sibling ? newest.file : store.tree.at(parent).file;
}

NodeId tombstonesOf(Store& store, NodeId id) {
    const NodeId context = store.tree.contextOf(id);
    const RdnPart rdn{"CN", "Deleted Objects"};
    if (const auto there = store.tree.child(context, rdn)) return *there;
    const bool loading = std::exchange(store.loading, true);
    const auto made = addEntry(store, {"CN=Deleted Objects," + store.tree.dnText(context),
                                       {{"objectClass", {"container"}}, {"isDeleted", {"TRUE"}}}});
    store.loading = loading;
    store.tree.at(made.value()).generated = true;
    return *made;
}

void touch(Store& store, NodeId id) {
    Node& node = store.tree.at(id);
    node.usnChanged = ++store.usn;
    if (store.loading) return;
    node.changed = store.now();
    node.generated = false;
    store.changedFiles.insert(node.file);
}

Result<NodeId> addEntry(Store& store, const LdapEntry& given) {
    const auto place = placeFor(store, given.dn);
    if (!place) return fail(place.error());
    const RdnPart& rdn = place->dn.front().front();
    ValueReader reader(store);
    OwnAttributes own;
    auto entry = readEntry(store, reader, given, rdn, own);
    if (!entry) return fail(entry.error());
    if (store.constructs && !store.loading)
        if (auto completed = completeAccount(store, place->parent, *entry); !completed)
            return fail(completed.error());
    reader.keep();
    dropGenerated(store, own);
    const auto file = place->context ? store.file : fileForChild(store, place->parent);
    if (place->generated) store.indexes.entryRemoved(store, *place->generated);
    const NodeId id = place->generated ? *place->generated
                      : place->context ? store.tree.addContext(place->dn)
                                       : store.tree.add(place->parent, rdn);
    Node& node = store.tree.at(id);
    node.generated = false;
    node.entry = PackedEntry(*entry);
    node.file = file;
    const auto key = dnKey(place->dn);
    node.guid = own.guid ? *own.guid : freshGuid(store, key);
    node.fixedGuid = (own.guid || !store.loading) && node.guid != derivedGuid(key);
    node.created = own.created.value_or(store.loading ? defaultCreated : store.now());
    node.changed = own.changed.value_or(node.created);
    node.deleted = own.deleted || (place->generated && node.deleted);
    touch(store, id);
    node.usnCreated = node.usnChanged;
    store.indexes.entryAdded(store, id);
    return id;
}

Result<void> modifyEntry(Store& store, const std::string& name,
                         const std::vector<LdapModification>& changes) {
    const auto id = resolveLiving(store, name);
    if (!id) return fail(id.error());
    ValueReader reader(store);
    StoredEntry entry = store.tree.at(*id).entry.unpack();
    std::vector<ValueChange> log;
    for (const auto& change : changes) {
        if (store.isRdnAttribute(*id, store.schema.intern(change.attribute)))
            return fail(ldapNotAllowedOnRdn, L"the name is changed by renaming");
        if (const auto done = applyModification(store, reader, entry, change, log); !done) return done;
    }
    const auto changed = [&log](AttributeId attribute) {
        return std::ranges::find(log, attribute, &ValueChange::attribute) != log.end();
    };
    if (store.constructs && !store.loading && changed(attrUnicodePwd))
        if (const auto dated = applyModification(
                store, reader, entry, {LdapModify::replace, "pwdLastSet", {std::to_string(ticksNow(store))}},
                log);
            !dated)
            return dated;
    const bool classes = changed(attrObjectClass);
    if (classes)
        if (const auto checked = checkClassChange(store, store.tree.at(*id).entry, entry); !checked)
            return checked;
    reader.keep();
    if (classes) store.indexes.entryRemoved(store, *id);
    store.tree.at(*id).entry = PackedEntry(entry);
    if (classes)
        store.indexes.entryAdded(store, *id);
    else
        for (const auto& one : log)
            one.added ? store.indexes.valueAdded(store, *id, one.attribute, one.stored)
                      : store.indexes.valueRemoved(store, *id, one.attribute, one.stored);
    touch(store, *id);
    return {};
}

Result<void> removeEntry(Store& store, const std::string& name, bool wholeTree) {
    const auto id = resolveLiving(store, name);
    if (!id) return fail(id.error());
    const NodeId tombstones = tombstonesOf(store, *id);
    if (store.tree.at(*id).contextHead || *id == tombstones)
        return fail(ldapUnwillingToPerform, inQuotes(name) + L" cannot be deleted");
    if (store.tree.hasChildren(*id) && !wholeTree)
        return fail(ldapNotAllowedOnNonLeaf, inQuotes(name) + L" has entries below it");
    auto doomed = store.tree.subtree(*id);
    std::ranges::reverse(doomed);
    for (const NodeId one : doomed) bury(store, one, tombstones);
    return {};
}

Result<void> renameEntry(Store& store, const std::string& name, const std::string& newRdn,
                         const std::string& newParent, bool deleteOldRdn) {
    const auto id = resolveLiving(store, name);
    if (!id) return fail(id.error());
    const Node& node = store.tree.at(*id);
    const auto rdn = parseDn(newRdn);
    if (!rdn || rdn->size() != 1 || rdn->front().size() != 1 || rdn->front().front().value.empty())
        return fail(ldapInvalidDnSyntax, inQuotes(newRdn) + L" is no name of one part");
    const RdnPart& part = rdn->front().front();
    if (node.contextHead || *id == tombstonesOf(store, *id))
        return fail(ldapUnwillingToPerform, inQuotes(name) + L" cannot be renamed");
    if (!deleteOldRdn) return fail(ldapUnwillingToPerform, L"the old name cannot be kept");
    if (store.schema.find(part.type) != node.rdnType)
        return fail(ldapNamingViolation, L"the type of the name cannot be changed");
    const auto parent = newParent.empty() ? Result<NodeId>(node.parent) : resolveLiving(store, newParent);
    if (!parent) return fail(parent.error());
    if (store.tree.isWithin(*parent, *id))
        return fail(ldapUnwillingToPerform, L"an entry cannot be moved below itself");
    if (const auto taken = store.tree.child(*parent, part); taken && *taken != *id)
        return fail(ldapAlreadyExists, inQuotes(newRdn) + L" is there already");
    for (const NodeId below : store.tree.subtree(*id)) {
        store.tree.at(below).fixedGuid = true;  // it stays what the first name gave
        store.changedFiles.insert(store.tree.at(below).file);
    }
    store.indexes.entryRemoved(store, *id);
    store.tree.rename(*id, *parent, part);
    store.indexes.entryAdded(store, *id);
    touch(store, *id);
    return {};
}

}  // namespace wsadmin::platform::lab
