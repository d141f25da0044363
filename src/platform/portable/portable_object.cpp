#include "platform/portable/portable_object.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/ldap/ldap_pages.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {

namespace {

LdapModify modifyOf(PutOperation operation) {
    switch (operation) {
        case PutOperation::append:
            return LdapModify::add;
        case PutOperation::remove:
            return LdapModify::remove;
        default:
            return LdapModify::replace;
    }
}

LdapSearch baseSearch(std::string dn, std::vector<std::string> attributes) {
    return {.base = std::move(dn),
            .scope = LdapScope::base,
            .filter = "(objectClass=*)",
            .attributes = std::move(attributes)};
}

std::string mostSpecialClass(const std::vector<LdapAttribute>& attributes) {
    const LdapAttribute* classes = findValues(attributes, "objectClass");
    return classes ? classes->values.back() : std::string();
}

// The value of "unicodePwd": UTF-16, little end first, in quotation marks. Room for all of it is made first,
// so that no copy is left where the text grew or was short enough to stand in the object itself.
void appendPasswordValue(std::string& value, std::string_view password) {
    std::wstring wide = CORE::toWide(password);
    constexpr std::size_t mostBytesOfCharacter = 4, shortText = 32;
    value.reserve(shortText + mostBytesOfCharacter * (wide.size() + 2));
    const auto append = [&value](std::uint32_t unit) {
        value += static_cast<char>(unit & 0xff);
        value += static_cast<char>(unit >> 8 & 0xff);
    };
    append('"');
    for (const wchar_t c : wide) {
        const auto number = static_cast<std::uint32_t>(c);
        if (number < 0x10000) {
            append(number);
            continue;
        }
        append(0xd800 + ((number - 0x10000) >> 10));
        append(0xdc00 + ((number - 0x10000) & 0x3ff));
    }
    append('"');
    CORE::wipeMemory(wide.data(), wide.size() * sizeof(wchar_t));
}

}  // namespace

Result<LdapEntry> PortableObject::readEntry(const std::string& dn,
                                            std::vector<std::string> attributes) const {
    auto found = binding_.session->search(baseSearch(dn, std::move(attributes)));
    if (!found) return fail(binding_.failure(found.error()));
    if (found->entries.empty()) return fail(binding_.failure(ldapFailure(ldapNoSuchObject)));
    return std::move(found->entries.front());
}

Result<std::unique_ptr<DirectoryObject>> PortableObject::read(PortableBinding binding) {
    auto object = std::make_unique<PortableObject>(std::move(binding), std::string());
    auto entry = object->readEntry(object->dn(), {});
    if (!entry) return fail(entry.error());
    object->attributes_ = std::move(entry->attributes);
    object->className_ = mostSpecialClass(object->attributes_);
    if (!entry->dn.empty()) object->binding_.path.dn = std::move(entry->dn);  // as the directory spells it
    return object;
}

Result<void> PortableObject::reported(const Result<void>& done) const {
    if (!done) return fail(binding_.failure(done.error()));
    return {};
}

// --- reading

Result<std::vector<std::string>> PortableObject::wireValues(std::string_view name) {
    const auto put = std::ranges::find_if(changes_, [&](const LdapModification& change) {
        return change.operation == LdapModify::replace && CORE::equalFolded(change.attribute, name);
    });
    if (put != changes_.end()) return put->values;
    if (isNew_) return {};
    if (stale_) {
        auto entry = readEntry(dn(), {});
        if (!entry) return fail(entry.error());
        attributes_ = std::move(entry->attributes);
        stale_ = false;
    }
    const LdapAttribute* attribute = findValues(attributes_, name);
    if (!attribute) {
        // Constructed attributes come only when they are asked for by name.
        auto entry = readEntry(dn(), {std::string(name)});
        if (!entry) return fail(entry.error());
        std::ranges::move(entry->attributes, std::back_inserter(attributes_));
        attribute = findValues(attributes_, name);
        if (!attribute) return std::vector<std::string>{};
    }
    auto values = allValues(*binding_.session, dn(), *attribute);
    if (!values) return fail(binding_.failure(values.error()));
    return values;
}

Result<std::vector<DirectoryValue>> PortableObject::getEx(std::string_view name) {
    const auto wire = wireValues(name);
    if (!wire) return fail(wire.error());
    if (wire->empty()) return fail(adsFailure(adsPropertyNotFound));
    AttributeType type = AttributeType::text;
    if (!dn().empty()) {  // no schema lists what the root entry has
        if (auto loaded = binding_.types->load(*binding_.session, {std::string(name)}); !loaded)
            return fail(binding_.failure(loaded.error()));
        type = binding_.types->of(name);
        if (type == AttributeType::name) type = AttributeType::text;  // as an object's variant has it
    }
    std::vector<DirectoryValue> values;
    for (const std::string& value : *wire) values.push_back(typedValue(type, value));
    return values;
}

Result<DirectoryValue> PortableObject::get(std::string_view name) {
    auto values = getEx(name);
    if (!values) return fail(values.error());
    return std::move(values->front());
}

// --- changing

Result<void> PortableObject::put(std::string_view name, const DirectoryValue& value) {
    return putEx(PutOperation::update, name, {value});
}

Result<void> PortableObject::putEx(PutOperation operation, std::string_view name,
                                   const std::vector<DirectoryValue>& values) {
    const bool clears = operation == PutOperation::clear;
    if (name.empty() || clears != values.empty()) return fail(adsFailure(adsBadParameter));
    LdapModification change{.operation = modifyOf(operation), .attribute = std::string(name)};
    for (const DirectoryValue& value : values) change.values.push_back(directoryText(value));
    // What sets the whole attribute makes void what was put before.
    if (change.operation == LdapModify::replace)
        std::erase_if(changes_,
                      [&](const auto& earlier) { return CORE::equalFolded(earlier.attribute, name); });
    changes_.push_back(std::move(change));
    return {};
}

// A new entry is its class and what was put.
LdapEntry PortableObject::newEntry() const {
    LdapEntry entry{dn(), {{"objectClass", {className_}}}};
    for (const LdapModification& change : changes_) {
        if (change.values.empty() || change.operation == LdapModify::remove) continue;
        const auto same = std::ranges::find_if(
            entry.attributes, [&](const auto& has) { return CORE::equalFolded(has.name, change.attribute); });
        if (same == entry.attributes.end())
            entry.attributes.push_back({change.attribute, change.values});
        else
            std::ranges::copy(change.values, std::back_inserter(same->values));
    }
    return entry;
}

Result<void> PortableObject::setInfo() {
    if (!isNew_ && changes_.empty()) return {};
    const auto done = isNew_ ? binding_.session->add(newEntry()) : binding_.session->modify(dn(), changes_);
    if (!done) return reported(done);
    changes_.clear();
    isNew_ = false;
    stale_ = true;
    return {};
}

// --- the tree

// One name below this entry; more than one would reach deeper.
Result<std::string> PortableObject::childDn(std::string_view rdn) const {
    const auto name = parseDn(rdn);
    if (!name || name->size() != 1 || dn().empty()) return fail(adsFailure(adsBadPathName));
    return std::string(rdn) + "," + dn();
}

Result<std::unique_ptr<DirectoryObject>> PortableObject::create(std::string_view objectClass,
                                                                std::string_view rdn) {
    auto name = childDn(rdn);
    if (!name) return fail(name.error());
    if (objectClass.empty()) return fail(adsFailure(adsBadParameter));
    PortableBinding child = binding_;
    child.path.dn = std::move(*name);
    auto object = std::make_unique<PortableObject>(std::move(child), std::string(objectClass));
    object->isNew_ = true;
    return object;
}

Result<void> PortableObject::deleteObject() {
    return reported(
        binding_.session->remove(dn(), {{.oid = controls::treeDelete, .value = {}, .critical = true}}));
}

Result<void> PortableObject::removeChild(std::string_view objectClass, std::string_view rdn) {
    const auto name = childDn(rdn);
    if (!name) return fail(name.error());
    const auto entry = readEntry(*name, {"objectClass"});
    if (!entry) return fail(entry.error());
    if (!CORE::equalFolded(mostSpecialClass(entry->attributes), objectClass))
        return fail(binding_.failure(ldapFailure(ldapNoSuchObject)));
    return reported(binding_.session->remove(*name));
}

Result<void> PortableObject::moveHere(std::string_view path, std::string_view newRdn) {
    const auto from = parseDirectoryPath(path);
    const auto name = from ? parseDn(from->dn) : std::nullopt;
    if (!name || name->empty()) return fail(adsFailure(adsBadPathName));
    // Of another server it would be another entry of that name.
    const bool sameServer =
        CORE::equalFolded(from->server, binding_.path.server) && from->port == binding_.path.port;
    if (!sameServer) return fail(binding_.failure(ldapFailure(ldapAffectsMultipleDsas)));
    const std::string rdn = newRdn.empty() ? dnToText({name->front()}) : std::string(newRdn);
    if (auto checked = childDn(rdn); !checked) return fail(checked.error());
    return reported(binding_.session->rename(from->dn, rdn, dn(), true));
}

Result<std::vector<std::string>> PortableObject::children() {
    std::vector<std::string> paths;
    if (binding_.path.globalCatalog && dn().empty()) {
        // The root of the catalogue has one child: the forest, by the server that answered for it.
        DirectoryPath forest = binding_.path;
        forest.server = binding_.endpoint.host;
        paths.push_back(directoryPathText(forest));
        return paths;
    }
    LdapPages pages(*binding_.session, {.base = dn(),
                                        .scope = LdapScope::oneLevel,
                                        .filter = "(objectClass=*)",
                                        .attributes = {"objectClass"}});
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(binding_.failure(more.error().cause));
        if (!*more) return paths;
        for (const LdapEntry& child : page) paths.push_back(directoryPathText(binding_.pathTo(child.dn)));
    }
}

// --- accounts

Result<void> PortableObject::setPassword(const CORE::secretstring& password) {
    const auto session = binding_.confidentialSession();
    if (!session) return fail(session.error());
    std::vector<LdapModification> changes(1);
    changes.front().attribute = "unicodePwd";
    std::string& value = changes.front().values.emplace_back();
    appendPasswordValue(value, password.view());
    const auto set = (*session)->modify(dn(), changes);
    CORE::wipeMemory(value.data(), value.size());
    return reported(set);
}

Result<void> PortableObject::putAccountDisabled(bool disabled) {
    constexpr std::string_view attribute = "userAccountControl";
    constexpr std::int32_t disabledFlag = 0x2;
    const auto control = get(attribute);
    if (!control) return fail(control.error());
    const auto* flags = std::get_if<std::int32_t>(&*control);
    if (!flags) return fail(adsFailure(adsUnspecified));
    return put(attribute, disabled ? *flags | disabledFlag : *flags & ~disabledFlag);
}

Result<void> PortableObject::addMember(std::string_view path) {
    const auto member = parseDirectoryPath(path);
    if (!member || member->dn.empty()) return fail(adsFailure(adsBadPathName));
    return reported(binding_.session->modify(
        dn(), {{.operation = LdapModify::add, .attribute = "member", .values = {member->dn}}}));
}

}  // namespace wsadmin::platform
