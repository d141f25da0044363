#include "platform/lab/domain_accounts.h"

#include <algorithm>

namespace wsadmin::platform::lab {

namespace {

constexpr std::string_view userClass = "user", computerClass = "computer";
constexpr std::int64_t disabledFlag = 0x2;

const std::vector<std::string>* givenValues(const StoredEntry& entry, AttributeId id) {
    const auto found = std::ranges::find(entry, id, &StoredAttribute::id);
    return found == entry.end() || found->values.empty() ? nullptr : &found->values;
}

bool hasClass(const StoredEntry& entry, std::string_view name) {
    const auto* classes = givenValues(entry, attrObjectClass);
    return classes &&
           std::ranges::any_of(*classes, [&](const std::string& one) { return equalFolded(one, name); });
}

void give(StoredEntry& entry, AttributeId id, std::string value) {
    if (!givenValues(entry, id)) entry.push_back({id, {std::move(value)}});
}

std::optional<Sid> entrySid(const Store& store, NodeId id) {
    for (const auto value : store.tree.at(id).entry.find(attrObjectSid)) return Sid::fromBytes(value);
    return std::nullopt;
}

// The next SID of the domain: tombstones keep theirs, so none is given twice.
std::optional<Sid> nextSid(const Store& store, NodeId context) {
    const auto domain = entrySid(store, context);
    if (!domain) return std::nullopt;
    std::uint32_t last = 999;  // below it are the accounts that every domain has
    for (NodeId id = 1; id < store.tree.size(); ++id) {
        const auto sid = entrySid(store, id);
        if (!sid || *sid == *domain || sid->domain() != *domain) continue;
        const std::string text = sid->text();
        last = std::max(last, CORE::mstr(text.substr(text.rfind('-') + 1)).toUInt());
    }
    return Sid::parse(domain->text() + "-" + std::to_string(last + 1));
}

// A living entry that has the value and is accepted.
template <class Accepts>
std::optional<NodeId> holderOf(const Store& store, AttributeId attribute, std::string_view value,
                               Accepts accepts) {
    const std::string key = matchKey(Syntax::text, value);
    for (const NodeId id : store.indexes.candidates(store, attribute, key))
        if (!store.tree.at(id).deleted && store.has(id, attribute, key) && accepts(id)) return id;
    return std::nullopt;
}

// Whether the name is that of the account's domain: the DNS name, or the one that its partition says.
bool isDomainOf(const Store& store, NodeId account, std::string_view name) {
    const NodeId context = store.tree.contextOf(account);
    if (CORE::equalFolded(name, dnsDomainOf(store.tree.dnText(context)))) return true;
    const auto shortName = store.schema.find("nETBIOSName"), partition = store.schema.find("nCName");
    const auto isPartition = [&](NodeId crossRef) {
        return partition && store.has(crossRef, *partition, referenceValue(context));
    };
    return shortName && holderOf(store, *shortName, name, isPartition);
}

std::optional<NodeId> accountNamed(const Store& store, const LdapCredentials& credentials) {
    const std::string& user = credentials.user;
    if (const auto dn = parseDn(user); dn && !dn->empty()) {
        const auto entry = store.resolve(user);
        return entry && !store.tree.at(*entry).deleted ? std::optional(*entry) : std::nullopt;
    }
    std::string name = user, domain = credentials.domain;
    if (const auto slash = user.find('\\'); slash != user.npos) {
        domain = user.substr(0, slash);
        name = user.substr(slash + 1);
    } else if (const auto at = user.rfind('@'); at != user.npos) {
        if (const auto named = holderOf(store, attrUserPrincipalName, user, [](NodeId) { return true; }))
            return named;
        domain = user.substr(at + 1);
        name = user.substr(0, at);
    }
    return holderOf(store, attrSamAccountName, name,
                    [&](NodeId account) { return domain.empty() || isDomainOf(store, account, domain); });
}

}  // namespace

Result<void> completeAccount(Store& store, NodeId parent, StoredEntry& entry) {
    const NodeId domain = store.tree.contextOf(parent);
    const auto isThere = [&](NodeId account) { return store.tree.contextOf(account) == domain; };
    if (const auto* name = givenValues(entry, attrSamAccountName))
        if (holderOf(store, attrSamAccountName, name->front(), isThere))
            return fail(ldapAlreadyExists, L"the domain has an account of that name already");
    if (!hasClass(entry, userClass) || hasClass(entry, computerClass)) return {};
    if (const auto sid = nextSid(store, domain)) give(entry, attrObjectSid, sid->bytes());
    give(entry, attrUserAccountControl, "546");  // normal, disabled, and no password is required
    give(entry, attrPrimaryGroupId, "513");      // the domain's users
    give(entry, attrPwdLastSet, "0");
    if (const auto category = store.resolve("CN=Person,CN=Schema,CN=Configuration," + store.suffixes.front()))
        give(entry, store.schema.intern("objectCategory"), referenceValue(*category));
    return {};
}

Result<std::string> sentPassword(std::string_view sent) {
    const auto refused = [] {
        return fail(ldapUnwillingToPerform, L"unicodePwd takes UTF-16 in quotation marks");
    };
    if (sent.size() % 2 != 0) return refused();
    std::wstring text;
    for (std::size_t at = 0; at < sent.size(); at += 2) {
        const auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(sent[at + i]) & 0xff; };
        const std::uint32_t unit = byte(0) | byte(1) << 8;
        const bool pair = unit >= 0xdc00 && unit < 0xe000 && !text.empty() && sizeof(wchar_t) > 2;
        if (pair)
            text.back() = static_cast<wchar_t>(
                0x10000 + ((static_cast<std::uint32_t>(text.back()) & 0x3ff) << 10) + (unit & 0x3ff));
        else
            text += static_cast<wchar_t>(unit);
    }
    if (text.size() < 2 || text.front() != L'"' || text.back() != L'"') return refused();
    return CORE::toUtf8(std::wstring_view(text).substr(1, text.size() - 2));
}

std::optional<bool> admitsAccount(const Store& store, const LdapCredentials& credentials) {
    const auto account = accountNamed(store, credentials);
    if (!account) return std::nullopt;
    const PackedEntry& entry = store.tree.at(*account).entry;
    const auto passwords = entry.find(attrUnicodePwd);
    if (passwords.empty()) return std::nullopt;
    for (const auto control : entry.find(attrUserAccountControl))
        if ((CORE::mstr(control).toInt() & disabledFlag) != 0) return false;
    return *passwords.begin() == credentials.password.view();
}

}  // namespace wsadmin::platform::lab
