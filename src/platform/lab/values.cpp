#include "platform/lab/values.h"

#include <algorithm>
#include <unordered_set>

#include "framework/core/corestring.h"
#include "platform/lab/changes.h"
#include "platform/lab/domain_accounts.h"

namespace wsadmin::platform::lab {

namespace {

using Keys = std::unordered_set<std::string>;

std::vector<std::string>& valuesOf(StoredEntry& entry, AttributeId id) {
    const auto found =
        std::find_if(entry.begin(), entry.end(), [&](const auto& has) { return has.id == id; });
    if (found != entry.end()) return found->values;
    return entry.emplace_back(StoredAttribute{id, {}}).values;
}

// The keys of values that are there, to see whether a new one is among them.
class Present {
  public:
    Present(const Store& store, AttributeId id, const std::vector<std::string>& values, std::size_t added) {
        if (values.empty() && added == 1) return;  // nothing can be there twice
        for (const auto& value : values) insert(store.keyOf(id, value));
        used_ = true;
    }
    bool used() const noexcept { return used_; }
    // False when it is there already.
    bool insert(std::string key) { return keys_.insert(std::move(key)).second; }

  private:
    bool used_ = false;
    Keys keys_;
};

std::wstring named(const Store& store, AttributeId id) {
    return CORE::toWide(store.schema.attribute(id).name);
}

Result<void> addValues(Store& store, ValueReader& reader, AttributeId id, std::vector<std::string>& values,
                       const std::vector<std::string>& added, std::vector<ValueChange>& log) {
    const auto& type = store.schema.attribute(id);
    Present present(store, id, values, added.size());
    for (const auto& value : added) {
        auto stored = reader.read(id, value);
        if (!stored) return fail(stored.error());
        if (present.used() && !present.insert(store.keyOf(id, *stored)))
            return fail(type.forwardLink() ? ldapAlreadyExists : ldapAttributeOrValueExists,
                        named(store, id) + L" has the value \"" + CORE::toWide(value) + L"\" already");
        log.push_back({true, id, *stored});
        values.push_back(std::move(*stored));
    }
    return {};
}

Result<void> removeValues(Store& store, const ValueReader& reader, AttributeId id,
                          std::vector<std::string>& values, const std::vector<std::string>& removed,
                          std::vector<ValueChange>& log) {
    const int absent =
        store.schema.attribute(id).forwardLink() ? ldapUnwillingToPerform : ldapNoSuchAttribute;
    Keys keys;
    for (const auto& value : removed) {
        const auto key = reader.key(id, value);
        if (!key) return fail(key.error());
        keys.insert(*key);
    }
    std::erase_if(values, [&](const std::string& value) {
        if (keys.erase(store.keyOf(id, value)) == 0) return false;
        log.push_back({false, id, value});
        return true;
    });
    if (!keys.empty()) return fail(absent, named(store, id) + L" does not have that value");
    return {};
}

Result<void> checkChangeable(const Store& store, AttributeId id) {
    if (id == attrName) return fail(ldapNotAllowedOnRdn, L"the name is changed by renaming");
    if (id == attrDistinguishedName || (id >= attrObjectGuid && id <= attrIsDeleted))
        return fail(ldapConstraintViolation, named(store, id) + L" is kept by the directory");
    if (store.schema.attribute(id).backLink())
        return fail(ldapUnwillingToPerform, named(store, id) + L" is the back link of another attribute");
    return {};
}

}  // namespace

ValueReader::~ValueReader() {
    for (const NodeId id : made_) {
        store_.indexes.entryRemoved(store_, id);
        store_.tree.drop(id);
    }
}

std::wstring ValueReader::complaint(AttributeId attribute, std::string_view value) const {
    return named(store_, attribute) + L": \"" + CORE::toWide(value) + L"\" is no value of syntax " +
           CORE::toWide(syntaxName(store_.schema.attribute(attribute).syntax));
}

Result<std::string> ValueReader::read(AttributeId attribute, std::string_view value) {
    const auto syntax = store_.schema.attribute(attribute).syntax;
    if (syntax == Syntax::dn) return readName(attribute, value);
    if (attribute == attrUnicodePwd && !store_.loading) return sentPassword(value);
    auto stored = storedValue(syntax, value);
    if (!stored || value.empty()) return fail(ldapInvalidSyntax, complaint(attribute, value));
    return *stored;
}

Result<std::string> ValueReader::readName(AttributeId attribute, std::string_view value) {
    if (store_.loading)
        if (const auto known = store_.resolved.find(std::string(value)); known != store_.resolved.end())
            return referenceValue(known->second);
    auto target = store_.resolve(value);
    if (store_.loading && target && store_.resolved.size() < 10000) store_.resolved.emplace(value, *target);
    if (!target && target.error().code == ldapNoSuchObject && equalFolded(value.substr(0, 5), "<sid=")) {
        target = makeForeignPrincipal(value);
        if (!target) return fail(target.error());
    }
    if (target && !store_.loading && store_.tree.at(*target).deleted)
        return fail(ldapConstraintViolation, named(store_, attribute) + L" cannot refer to a deleted entry");
    if (target) return referenceValue(*target);
    if (target.error().code == ldapInvalidDnSyntax)
        return fail(ldapInvalidDnSyntax, complaint(attribute, value));
    if (store_.loading && value.front() != '<') {  // perhaps it comes further down
        ++store_.dangling;
        return danglingValue(value);
    }
    const bool link = store_.schema.attribute(attribute).forwardLink();
    return fail(
        link ? ldapNoSuchObject : ldapConstraintViolation,
        named(store_, attribute) + L" refers to \"" + CORE::toWide(value) + L"\", which does not exist");
}

Result<std::string> ValueReader::key(AttributeId attribute, std::string_view value) const {
    const auto syntax = store_.schema.attribute(attribute).syntax;
    if (syntax != Syntax::dn) {
        const auto stored = storedValue(syntax, value);
        if (!stored) return fail(ldapInvalidSyntax, complaint(attribute, value));
        return matchKey(syntax, *stored);
    }
    const auto target = store_.resolve(value);
    if (target) return referenceValue(*target);
    if (target.error().code == ldapInvalidDnSyntax)
        return fail(ldapInvalidDnSyntax, complaint(attribute, value));
    return store_.keyOf(attribute, danglingValue(value));
}

Result<NodeId> ValueReader::makeForeignPrincipal(std::string_view name) {
    const auto sid = Sid::parse(name.substr(5, name.size() - 6)).value();  // the name was found to be one
    const auto container = store_.resolve("CN=ForeignSecurityPrincipals," + store_.suffixes.front());
    if (!container)
        return fail(ldapNoSuchObject,
                    CORE::toWide(name) + L" needs the container CN=ForeignSecurityPrincipals");
    const LdapEntry principal{"CN=" + sid.text() + "," + store_.tree.dnText(*container),
                              {{"objectClass", {"foreignSecurityPrincipal"}}, {"objectSid", {sid.bytes()}}}};
    const bool loading = std::exchange(store_.loading, true);
    const auto made = addEntry(store_, principal);
    store_.loading = loading;
    if (made && !loading) store_.tree.at(*made).created = store_.tree.at(*made).changed = store_.now();
    if (made) made_.push_back(*made);
    return made;
}

Result<void> applyModification(Store& store, ValueReader& reader, StoredEntry& entry,
                               const LdapModification& change, std::vector<ValueChange>& log) {
    const auto id = store.schema.intern(change.attribute.substr(0, change.attribute.find(';')));
    const auto& type = store.schema.attribute(id);
    if (auto allowed = checkChangeable(store, id); !allowed) return allowed;
    auto& values = valuesOf(entry, id);
    Result<void> done;
    switch (change.operation) {
        case LdapModify::add:
            if (change.values.empty()) return fail(ldapConstraintViolation, L"nothing is given to add");
            done = addValues(store, reader, id, values, change.values, log);
            if (done && type.single && values.size() > 1)
                return fail(ldapAttributeOrValueExists, named(store, id) + L" takes one value only");
            break;
        case LdapModify::remove:
            if (change.values.empty() && values.empty())
                return fail(ldapNoSuchAttribute, L"there is no " + named(store, id) + L" to delete");
            if (!change.values.empty()) {
                done = removeValues(store, reader, id, values, change.values, log);
                break;
            }
            [[fallthrough]];
        case LdapModify::replace:
            for (const auto& value : values) log.push_back({false, id, value});
            values.clear();
            if (change.operation == LdapModify::replace)
                done = addValues(store, reader, id, values, change.values, log);
            if (!done && done.error().code == ldapAlreadyExists)
                return fail(ldapAttributeOrValueExists, done.error().text);
            if (done && type.single && values.size() > 1)
                return fail(ldapConstraintViolation, named(store, id) + L" takes one value only");
            break;
    }
    return done;
}

}  // namespace wsadmin::platform::lab
