#include "platform/lab/content.h"

#include <algorithm>

#include "framework/core/corestring.h"
#include "platform/lab/changes.h"
#include "platform/lab/ldif.h"
#include "platform/lab/values.h"

namespace wsadmin::platform::lab {

namespace {

LdapEntry grouped(LdifRecord& record) {
    LdapEntry entry{record.dn, {}};
    for (auto& line : record.attributes) {
        auto at = entry.attributes.empty() || entry.attributes.back().name != line.name
                      ? std::find_if(entry.attributes.begin(), entry.attributes.end(),
                                     [folded = foldText(line.name)](const auto& has) {
                                         return equalFolded(has.name, folded);
                                     })
                      : std::prev(entry.attributes.end());
        if (at == entry.attributes.end()) at = entry.attributes.insert(at, LdapAttribute{line.name, {}});
        at->values.push_back(line.value);
    }
    return entry;
}

Result<void> apply(Store& store, LdifRecord& record) {
    if (record.kind == LdifRecord::Kind::remove || record.kind == LdifRecord::Kind::rename)
        store.resolved.clear();
    switch (record.kind) {
        case LdifRecord::Kind::content:
        case LdifRecord::Kind::add:
            if (const auto added = addEntry(store, grouped(record)); !added) return fail(added.error());
            return {};
        case LdifRecord::Kind::modify: {
            std::vector<LdapModification> changes;
            for (const auto& change : record.changes) changes.push_back(change.modification);
            return modifyEntry(store, record.dn, changes);
        }
        case LdifRecord::Kind::remove:
            return removeEntry(store, record.dn, record.wholeTree);
        case LdifRecord::Kind::rename:
            return renameEntry(store, record.dn, record.newRdn, record.newParent, record.deleteOldRdn);
    }
    return {};
}

// The line to blame for a failed record: the first whose value cannot be read, else the record's own.
int lineToBlame(Store& store, const LdifRecord& record) {
    ValueReader reader(store);
    for (const auto& line : record.attributes)
        if (!reader.read(store.schema.intern(line.name), line.value)) return line.line;
    for (const auto& change : record.changes)
        for (const auto& value : change.modification.values)
            if (!reader.key(store.schema.intern(change.modification.attribute), value)) return change.line;
    return record.line;
}

void writeEntry(const Store& store, NodeId id, std::string& out) {
    const Node& node = store.tree.at(id);
    writeLdifLine(out, "dn", store.tree.dnText(id));
    std::vector<std::string> classes;
    for (const auto value : node.entry.find(attrObjectClass)) classes.emplace_back(value);
    for (const auto& name : store.schema.withoutSuperiors(classes)) writeLdifLine(out, "objectClass", name);
    if (node.fixedGuid) writeLdifLine(out, "objectGUID", guidToText(node.guidBytes()));
    if (node.created != defaultCreated) writeLdifLine(out, "whenCreated", timeToText(node.created));
    if (node.changed != node.created) writeLdifLine(out, "whenChanged", timeToText(node.changed));
    if (node.deleted) writeLdifLine(out, "isDeleted", "TRUE");
    node.entry.forEach([&](AttributeId attribute, const PackedEntry::Values& values) {
        if (attribute == attrObjectClass) return;
        const auto& type = store.schema.attribute(attribute);
        for (const auto value : values)
            writeLdifLine(
                out, type.name,
                type.syntax == Syntax::dn ? store.referenceText(value) : readableValue(type.syntax, value));
    });
    out += '\n';
}

}  // namespace

void prepareContexts(Store& store) {
    store.loading = true;
    for (const auto& suffix : store.suffixes) {
        const bool domain = equalFolded(suffix.substr(0, 3), "dc=");
        const auto made = addEntry(store, {suffix, {{"objectClass", {domain ? "domainDNS" : "container"}}}});
        if (!made) continue;
        tombstonesOf(store, *made);
        store.tree.at(*made).generated = true;
    }
    store.loading = false;
}

Result<void> loadLdif(Store& store, std::string_view text, std::string_view file, std::uint16_t fileNumber) {
    store.loading = true;
    store.file = fileNumber;
    LdifReader reader(text, file);
    LdifRecord record;
    for (;;) {
        const auto more = reader.next(record);
        if (!more) return fail(more.error());
        if (!*more) break;
        if (const auto done = apply(store, record); !done)
            return fail(done.error().code, CORE::toWide(file) + L":" +
                                               std::to_wstring(lineToBlame(store, record)) + L": " +
                                               done.error().text);
    }
    store.loading = false;
    store.resolved.clear();
    return {};
}

void resolveReferences(Store& store) {
    if (store.dangling == 0) return;
    store.dangling = 0;
    store.indexes.forgetAll();
    for (NodeId id = 1; id < store.tree.size(); ++id) {
        Node& node = store.tree.at(id);
        bool dangles = false;
        node.entry.forEach([&](AttributeId attribute, const PackedEntry::Values& values) {
            if (store.schema.attribute(attribute).syntax == Syntax::dn)
                for (const auto value : values) dangles = dangles || !referenceTarget(value);
        });
        if (!dangles) continue;
        StoredEntry entry = node.entry.unpack();
        for (auto& attribute : entry)
            if (store.schema.attribute(attribute.id).syntax == Syntax::dn)
                for (auto& value : attribute.values)
                    if (!referenceTarget(value)) {
                        if (const auto target = store.resolve(danglingText(value)))
                            value = referenceValue(*target);
                        else
                            ++store.dangling;
                    }
        node.entry = PackedEntry(entry);
    }
    store.indexes.forgetAll();
}

std::string writeLdif(const Store& store, std::uint16_t fileNumber) {
    std::string out;
    std::vector<bool> written(store.tree.size());
    const auto belongs = [&](NodeId id) {
        const Node& node = store.tree.at(id);
        return id != rootNode && node.file == fileNumber && !node.gone && !node.generated;
    };
    // A moved entry can be older than the one it stands below now.
    const std::function<void(NodeId)> write = [&](NodeId id) {
        if (!belongs(id) || written[id]) return;
        written[id] = true;
        write(store.tree.at(id).parent);
        writeEntry(store, id, out);
    };
    for (NodeId id = 1; id < store.tree.size(); ++id) write(id);
    return out;
}

}  // namespace wsadmin::platform::lab
