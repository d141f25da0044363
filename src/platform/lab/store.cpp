#include "platform/lab/store.h"

#include <algorithm>

#include "framework/core/corestring.h"

namespace wsadmin::platform::lab {

namespace {

constexpr char referenceMark = '\1';
constexpr char danglingMark = '\2';

// "<SID=...>" and the like: what stands behind the equals sign, or nothing.
std::optional<std::string_view> bracketed(std::string_view name, std::string_view lowerKind) {
    const auto length = lowerKind.size() + 2;
    if (name.size() <= length || name.front() != '<' || name.back() != '>' || name[length - 1] != '=')
        return std::nullopt;
    if (!equalFolded(name.substr(1, lowerKind.size()), lowerKind)) return std::nullopt;
    return name.substr(length, name.size() - length - 1);
}

Failure noObject(std::string_view name) {
    return {ldapNoSuchObject, L"there is no entry \"" + CORE::toWide(name) + L"\""};
}

}  // namespace

std::string referenceValue(NodeId target) {
    std::string value(1, referenceMark);
    for (int shift = 0; shift < 32; shift += 8) value += static_cast<char>(target >> shift & 0xff);
    return value;
}

std::string danglingValue(std::string_view text) {
    return danglingMark + std::string(text);
}

std::optional<NodeId> referenceTarget(std::string_view stored) {
    if (stored.size() != 5 || stored[0] != referenceMark) return std::nullopt;
    NodeId target = 0;
    for (std::size_t i = 4; i > 0; --i) target = target << 8 | static_cast<unsigned char>(stored[i]);
    return target;
}

std::string_view danglingText(std::string_view stored) {
    return stored.substr(1);
}

void Store::addContext(const std::string& name) {
    suffixes.push_back(name);
    contexts.push_back(parseDn(name).value_or(Dn()));
}

Result<NodeId> Store::resolve(std::string_view name) const {
    if (!name.empty() && name.front() == '<') {
        std::optional<NodeId> found;
        if (const auto sid = bracketed(name, "sid"); sid && Sid::parse(*sid))
            found = findBySid(*sid);
        else if (const auto guid = bracketed(name, "guid"); guid && guidFromText(*guid))
            found = findByGuid(*guidFromText(*guid));
        else
            return fail(ldapInvalidDnSyntax, L"\"" + CORE::toWide(name) + L"\" is no name");
        if (found) return *found;
        return fail(noObject(name));
    }
    const auto dn = parseDn(name);
    if (!dn) return fail(ldapInvalidDnSyntax, L"\"" + CORE::toWide(name) + L"\" is no name");
    if (const auto found = tree.find(*dn)) return *found;
    return fail(noObject(name));
}

std::optional<NodeId> Store::findBySid(std::string_view sidText) const {
    const auto sid = Sid::parse(sidText);
    if (!sid) return std::nullopt;
    for (const NodeId id : indexes.candidates(*this, attrObjectSid, sid->bytes()))
        if (!tree.at(id).deleted && has(id, attrObjectSid, sid->bytes())) return id;
    return std::nullopt;
}

std::optional<NodeId> Store::findByGuid(std::string_view binary) const {
    for (const NodeId id : indexes.candidates(*this, attrObjectGuid, binary))
        if (tree.at(id).guidBytes() == binary) return id;
    return std::nullopt;
}

std::string Store::referenceText(std::string_view stored) const {
    if (const auto target = referenceTarget(stored)) return tree.dnText(*target);
    return std::string(danglingText(stored));
}

std::string Store::keyOf(AttributeId attribute, std::string_view stored) const {
    if (schema.attribute(attribute).syntax != Syntax::dn)
        return matchKey(schema.attribute(attribute).syntax, stored);
    if (referenceTarget(stored)) return std::string(stored);
    const auto text = danglingText(stored);
    return danglingValue(dnKey(text).value_or(std::string(text)));
}

void Store::forEachValue(NodeId id, AttributeId attribute,
                         const std::function<void(std::string_view)>& each) const {
    const Node& node = tree.at(id);
    if (id == rootNode) {
        if (attribute == attrCurrentTime) each(timeToText(now()));
        if (attribute == attrHighestUsn) each(std::to_string(usn));
        for (const auto value : node.entry.find(attribute)) each(value);
        return;
    }
    switch (attribute) {
        case attrDistinguishedName:
            return each(referenceValue(id));
        case attrName:
            return each(node.rdnValue);
        case attrObjectGuid:
            return each(node.guidBytes());
        case attrWhenCreated:
            return each(timeToText(node.created));
        case attrWhenChanged:
            return each(timeToText(node.changed));
        case attrUsnCreated:
            return each(std::to_string(node.usnCreated));
        case attrUsnChanged:
            return each(std::to_string(node.usnChanged));
        case attrIsDeleted:
            if (node.deleted) each("TRUE");
            return;
        default:
            break;
    }
    if (schema.attribute(attribute).backLink()) {
        const auto forward = schema.forwardOf(attribute);
        if (!forward) return;
        const auto self = referenceValue(id);
        for (const NodeId referrer : indexes.referrers(*this, id))
            if (has(referrer, *forward, self)) each(referenceValue(referrer));
        return;
    }
    if (node.rdnType == attribute) each(node.rdnValue);
    for (const auto value : node.entry.find(attribute)) each(value);
}

bool Store::has(NodeId id, AttributeId attribute, std::string_view key) const {
    const auto syntax = schema.attribute(attribute).syntax;
    bool found = false;
    if (syntax != Syntax::dn) {
        forEachValue(id, attribute,
                     [&](std::string_view value) { found = found || sameValue(syntax, value, key); });
        return found;
    }
    // A reference is compared as it is; only what dangles has many spellings.
    forEachValue(id, attribute, [&](std::string_view value) {
        found = found || value == key || (value[0] == danglingMark && keyOf(attribute, value) == key);
    });
    return found;
}

}  // namespace wsadmin::platform::lab
