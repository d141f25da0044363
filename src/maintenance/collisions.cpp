#include "maintenance/collisions.h"

#include <atomic>
#include <functional>
#include <new>
#include <set>
#include <unordered_set>
#include <utility>

#include "ldap/layout.h"
#include "maintenance/collision_names.h"
#include "maintenance/maintenance_keys.h"
#include "platform/ldap/ldap_pages.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/lost_connection.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using namespace platform;

namespace {

constexpr int entriesOfAPage = 1000;

// Of references, since the process began: the summary of each request tells the totals.
struct Totals {
    std::atomic<int> collisionsFound{0}, collisionsResolved{0}, deletedFound{0}, deletedRemoved{0};
};
constinit Totals totals;

// A value that leads to a conflict entry or to a deleted one.
struct Reference {
    const std::string& entry;
    const std::string& attribute;
    const std::string& value;
    bool only;  // the attribute has no other value
};

// For the names of entries alone.
LdapSearch allBelow(std::string base) {
    return {
        .base = std::move(base), .filter = "objectClass=*", .attributes = {layout::attribute::objectClasses}};
}

std::string textFrom(const Dn& name, std::size_t component) {
    return dnToText(Dn(name.begin() + static_cast<std::ptrdiff_t>(component), name.end()));
}

// Linked attributes answer that the value is there as if it were an entry.
bool isPresent(int code) {
    return code == ldapAttributeOrValueExists || code == ldapAlreadyExists;
}

Result<std::string> schemaContext(LdapSession& session) {
    const auto root = session.search({.scope = LdapScope::base,
                                      .filter = "configurationNamingContext=*",
                                      .attributes = {"schemaNamingContext"}});
    if (!root) {
        logWarning(L"Unable to obtain schemaNamingConext DN (%s).", root.error().text);
        return fail(root.error());
    }
    std::string schema;
    if (!root->entries.empty()) schema = root->entries.front().first("schemaNamingContext");
    if (!schema.empty()) return schema;
    logWarning(L"Unable to obtain schemaNamingConext value");
    return fail(ldapFailure(ldapNoSuchAttribute));
}

// The attributes that refer to entries, named as their entries in the schema are. Back links are left out:
// the directory itself keeps them.
Result<std::vector<std::string>> referenceAttributes(LdapSession& session) {
    const auto schema = schemaContext(session);
    if (!schema) return fail(schema.error());
    const auto found = session.search({.base = *schema,
                                       .filter = "attributeSyntax=2.5.5.1",
                                       .attributes = {layout::attribute::cn, "linkID"}});
    if (!found) {
        logWarning(L"Unable to obtain DN names (%s).", found.error().text);
        return fail(found.error());
    }
    std::vector<std::string> names;
    for (const LdapEntry& type : found->entries) {
        const std::string_view name = type.first(layout::attribute::cn);
        const bool backLink = CORE::mstr(type.first("linkID")).toInt() % 2 != 0;
        if (!name.empty() && !backLink) names.emplace_back(name);
    }
    return names;
}

// One request. Its methods fail where nothing more can be asked of the directory; what a single entry or
// attribute refuses is logged and passed over. Those that answer a truth value tell whether something
// changed.
class Cleanup {
  public:
    Cleanup(LdapSession& session, bool resolving) : session_(session), resolving_(resolving) {}

    Result<void> run();

  private:
    using Each = std::function<Result<void>(LdapEntry&)>;
    Result<void> forEachEntry(LdapSearch search, const Each& each);
    Result<int> count(LdapSearch search, Leftover wanted);
    Result<int> countDeleted();

    Result<void> scanReferences();
    Result<void> scanHolders(const std::string& attribute);
    Result<void> examineAttribute(const std::string& entry, LdapAttribute attribute);
    Result<bool> removeDeleted(const Reference& reference);
    Result<bool> resolveCollision(const Reference& reference);
    // Gives the conflict entries that `name` leads through their clean names back, the one nearest to the
    // root first, up to one whose clean name is taken. `name` then has what was renamed.
    Result<bool> renameEntries(Dn& name, const Dn& clean);
    Result<bool> replaceReference(const Reference& reference, const std::string& value,
                                  const std::string& clean);

    Result<void> removeCollisionEntries();

    LdapSession& session_;
    const bool resolving_;
    // The former names of renamed entries: pages that were read before still hold them.
    std::unordered_set<std::string> renamed_;
};

Result<void> Cleanup::run() {
    const auto collisions = count(allBelow(layout::namingContext), Leftover::collision);
    if (!collisions) return fail(collisions.error());
    const auto deleted = countDeleted();
    if (!deleted) return fail(deleted.error());
    if (*collisions + *deleted > 0)
        if (auto scanned = scanReferences(); !scanned) return scanned;
    if (*collisions > 0 && resolving_)
        if (auto removed = removeCollisionEntries(); !removed) return removed;
    const CollisionCounts counts{
        .collisions = resolving_ ? totals.collisionsResolved : totals.collisionsFound,
        .deleted = resolving_ ? totals.deletedRemoved : totals.deletedFound,
        .collisionEntries = *collisions};
    for (const std::wstring& line : collisionSummary(counts, resolving_)) logInfo(L"%s", line);
    return {};
}

Result<void> Cleanup::forEachEntry(LdapSearch search, const Each& each) {
    LdapPages pages(session_, std::move(search), entriesOfAPage);
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(more.error().cause);
        if (!*more) return {};
        for (LdapEntry& entry : page)
            if (auto done = each(entry); !done) return done;
    }
}

Result<int> Cleanup::count(LdapSearch search, Leftover wanted) {
    int number = 0;
    const auto counted = forEachEntry(std::move(search), [&](const LdapEntry& entry) -> Result<void> {
        number += leftoverOf(entry.dn) == wanted;
        return {};
    });
    if (!counted) return fail(counted.error());
    return number;
}

// A directory without the container of deleted entries has none.
Result<int> Cleanup::countDeleted() {
    LdapSearch search = allBelow(layout::under(layout::container::deletedObjects));
    search.controls = {{.oid = controls::showDeleted, .critical = true}};
    auto number = count(std::move(search), Leftover::deletion);
    if (!number && number.error().code == ldapNoSuchObject) return 0;
    return number;
}

Result<void> Cleanup::scanReferences() {
    const auto attributes = referenceAttributes(session_);
    if (!attributes) return fail(attributes.error());
    for (const std::string& attribute : *attributes)
        if (auto scanned = scanHolders(attribute); !scanned) return scanned;
    return {};
}

// An attribute that cannot be searched for is passed over: directories refuse that for some that they
// construct.
Result<void> Cleanup::scanHolders(const std::string& attribute) {
    Result<void> lost;
    const Each examineEntry = [&](LdapEntry& entry) {
        for (LdapAttribute& values : entry.attributes)
            if (lost = examineAttribute(entry.dn, std::move(values)); !lost) break;
        return lost;
    };
    const auto scanned = forEachEntry({.base = layout::namingContext,
                                       .filter = "(" + escapeFilterValue(attribute) + "=*)",
                                       .attributes = {attribute}},
                                      examineEntry);
    if (scanned || !lost) return lost;
    const Failure& why = scanned.error();
    logWarning(L"Search failed.\n");
    logDebug(L"Failed to search - %s %s (%d).", attribute, why.text, why.code);
    if (isConnectionLost(why.code)) return scanned;
    return {};
}

// Where a range of values was changed the ranges after it have moved, so the reading starts over.
Result<void> Cleanup::examineAttribute(const std::string& entry, LdapAttribute attribute) {
    const std::string name(withoutRange(attribute.name));
    const auto unreadable = [&](const Failure& why) -> Result<void> {
        logError(L"Failed to read %s of %s - %s (%d).", name, entry, why.text, why.code);
        if (isConnectionLost(why.code)) return fail(why);
        return {};
    };
    const LdapLimits limits = session_.limits();
    std::set<std::string> examined;  // once each: otherwise a value that cannot be changed would come again
    LdapAllowance ofExamined(limits), ofReading(limits);
    for (std::size_t first = 0;;) {
        const auto last = isLastRange(attribute, first);
        if (!last) return unreadable(last.error());
        const bool only = attribute.values.size() == 1 && attribute.name == name;
        bool changed = false;
        for (const std::string& value : attribute.values) {
            const Leftover leftover = leftoverOf(value);
            if (leftover == Leftover::none || !examined.insert(value).second) continue;
            if (auto ok = ofExamined.take(value.size()); !ok) return unreadable(ok.error());
            const Reference reference{entry, name, value, only};
            const auto done =
                leftover == Leftover::deletion ? removeDeleted(reference) : resolveCollision(reference);
            if (!done) return fail(done.error());
            changed = changed || *done;
        }
        if (*last) return {};
        for (const std::string& value : attribute.values)
            if (auto ok = ofReading.take(value.size()); !ok) return unreadable(ok.error());
        first += attribute.values.size();
        if (changed) {
            first = 0;
            ofReading = LdapAllowance(limits, {.time = ofReading.spent().time});
        }
        auto more = readRange(session_, entry, name, first, ofReading);
        if (!more && more.error().code == ldapNoSuchAttribute) return {};  // no value is left
        if (!more) return unreadable(more.error());
        attribute = std::move(*more);
    }
}

Result<bool> Cleanup::removeDeleted(const Reference& reference) {
    const auto& [entry, attribute, value, only] = reference;
    ++totals.deletedFound;
    logInfo(L"Entry %ws contains deleted reference %ws: %ws", entry, attribute, value);
    if (!resolving_) return false;
    const auto removed = session_.modify(entry, {{LdapModify::remove, attribute, {value}}});
    if (removed) {
        logInfo(L"Entry %ws reference %ws: %ws deleted", entry, attribute, value);
        ++totals.deletedRemoved;
        return true;
    }
    logWarning(L"Failed to remove attr in entry %S with %S (%S).", entry, value, removed.error().text);
    if (isConnectionLost(removed.error().code)) return fail(removed.error());
    return false;
}

Result<bool> Cleanup::resolveCollision(const Reference& reference) {
    const auto& [entry, attribute, value, only] = reference;
    ++totals.collisionsFound;
    Dn name, clean;
    try {
        name = parseDn(value).value();
        clean = cleanName(name);
    } catch (const std::bad_alloc&) {
        logWarning(L"Memory allocation failed during collision reference removal.");
        return false;
    }
    logInfo(L"Entry %ws contains %ws: %ws", entry, attribute, value);
    if (!resolving_) return false;
    const auto renamed = renameEntries(name, clean);
    if (!renamed) return fail(renamed.error());
    const std::string now = dnToText(name), wanted = dnToText(clean);
    if (now != wanted) {
        const auto replaced = replaceReference(reference, now, wanted);
        if (!replaced) return fail(replaced.error());
        return *renamed || *replaced;
    }
    if (!*renamed) logInfo(L"Entry %ws resolved with %ws: %ws", entry, attribute, wanted);
    ++totals.collisionsResolved;
    return *renamed;
}

Result<bool> Cleanup::renameEntries(Dn& name, const Dn& clean) {
    bool changed = false;
    for (std::size_t i = name.size(); i-- > 0;) {
        const std::string rdn = dnToText({clean[i]});
        if (rdn == dnToText({name[i]})) continue;
        const std::string from = textFrom(name, i);
        if (!renamed_.contains(from)) {
            const auto renamed = session_.rename(from, rdn, {}, true);
            if (!renamed && isConnectionLost(renamed.error().code)) return fail(renamed.error());
            if (!renamed) return changed;
            logInfo(L"MODRDN from %ws to %ws successful", from, textFrom(clean, i));
            renamed_.insert(from);
            changed = true;
        }
        name[i] = clean[i];
    }
    return changed;
}

// The entry that has the clean name is the one to refer to. The conflict entry itself goes in the end.
Result<bool> Cleanup::replaceReference(const Reference& reference, const std::string& value,
                                       const std::string& clean) {
    const auto& [entry, attribute, unused, only] = reference;
    const LdapModification removal{LdapModify::remove, attribute, {value}};
    const LdapModification addition{LdapModify::add, attribute, {clean}};
    // A single-valued attribute takes no second value, so that an only one is exchanged in one modification.
    const auto added =
        only ? session_.modify(entry, {removal, addition}) : session_.modify(entry, {addition});
    if (!added && !isPresent(added.error().code)) {
        logWarning(L"Failed to update entry %S with %S (%S).", entry, clean, added.error().text);
        if (isConnectionLost(added.error().code)) return fail(added.error());
    }
    const auto removed = only && added ? Result<void>() : session_.modify(entry, {removal});
    if (!removed) {
        logInfo(L"Failed to remove attr in entry %S with %S (%S).", entry, value, removed.error().text);
        if (isConnectionLost(removed.error().code)) return fail(removed.error());
    }
    logInfo(L"Entry %ws resolved with %ws: %ws", entry, attribute, clean);
    ++totals.collisionsResolved;
    return added || removed;
}

Result<void> Cleanup::removeCollisionEntries() {
    return forEachEntry(allBelow(layout::namingContext), [this](const LdapEntry& entry) -> Result<void> {
        if (leftoverOf(entry.dn) != Leftover::collision) return {};
        const auto removed = session_.remove(entry.dn, {{.oid = controls::treeDelete, .critical = true}});
        if (removed) {
            logInfo(L"Collision entry %ws deleted", entry.dn);
            return {};
        }
        const Failure& why = removed.error();
        if (isConnectionLost(why.code)) return fail(why);
        // An entry below a conflict entry was deleted with it.
        if (why.code != ldapNoSuchObject)
            logWarning(L"Failed to delete collision entry %s - %s (%d).", entry.dn, why.text, why.code);
        return {};
    });
}

}  // namespace

Result<void> Collisions::showAndResolveLDAPCollisions() {
    const auto session = directory();
    if (!session) return {};
    const auto done = Cleanup(**session, request().boolean(key::resolveCollisions)).run();
    if (!done)
        logError(L"The examination of collisions ended early - %s (%d).", done.error().text,
                 done.error().code);
    return {};
}

}  // namespace wsadmin
