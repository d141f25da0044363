#include "identity/entitlement_records.h"

#include <algorithm>
#include <iterator>

#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::DirectoryName;
using platform::Dn;
namespace attribute = layout::attribute;

namespace {

std::string textOf(const DirectoryRow& row, std::string_view name) {
    const auto* const value = row.first<std::string>(name);
    return value ? *value : std::string();
}

std::string folderOf(const DirectoryRow& row, std::string_view name, std::string_view container,
                     std::string fallback) {
    const auto* const value = row.first<DirectoryName>(name);
    if (!value) return fallback;
    std::string path = directoryFolder(value->dn, layout::under(container));
    return path.empty() ? fallback : path;
}

bool disabledIn(const DirectoryRow& row) {
    const auto* const value = row.first<std::int32_t>(attribute::disabled);
    return value && *value == 1;
}

std::string packageTypeOf(const DirectoryRow& row) {
    const auto& classes = row.all(attribute::objectClasses);
    const auto isOf = [&classes](std::string_view wanted) {
        return std::ranges::any_of(classes, [wanted](const platform::DirectoryValue& value) {
            const auto* const text = std::get_if<std::string>(&value);
            return text && CORE::equalFolded(*text, wanted);
        });
    };
    if (isOf(layout::objectClass::package)) return "Mirapak Application";
    if (isOf(layout::objectClass::packageGroup)) return "Mirapak Application Group";
    return {};
}

void setStatus(PropertyBag& bag, bool disabled) {
    bag.set(L"status", disabled ? L"disabled" : L"enabled");
}

// The path of the entry's names from the root down, without the first `count` of them.
std::string pathBelow(const Dn& dn, std::size_t count) {
    std::string path;
    for (auto rdn = std::next(dn.rbegin(), static_cast<std::ptrdiff_t>(count)); rdn != dn.rend(); ++rdn) {
        path += '/';
        for (const platform::RdnPart& part : *rdn) {
            if (&part != &rdn->front()) path += '+';
            for (const char character : part.value)
                path += character == '/' ? std::string("\\/") : std::string(1, character);
        }
    }
    return path.empty() ? "/" : path;
}

bool isBelow(const Dn& dn, const Dn& container) {
    if (dn.size() < container.size()) return false;
    const Dn end(std::prev(dn.end(), static_cast<std::ptrdiff_t>(container.size())), dn.end());
    return platform::dnKey(end) == platform::dnKey(container);
}

}  // namespace

const std::vector<std::string>& entitlementAttributes() {
    static const std::vector<std::string> names = {attribute::cn, attribute::displayName, attribute::disabled,
                                                   attribute::description, attribute::adminFolder};
    return names;
}

const std::vector<std::string>& packageAttributes() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all = entitlementAttributes();
        all.emplace_back(attribute::objectClasses);
        return all;
    }();
    return names;
}

const std::vector<std::string>& globalEntitlementAttributes() {
    static const std::vector<std::string> names = {attribute::displayName, attribute::description,
                                                   attribute::disabled, attribute::entitlementType};
    return names;
}

const std::vector<std::string>& adminRoleAttributes() {
    static const std::vector<std::string> names = {attribute::cn, attribute::distinguishedName,
                                                   attribute::description, attribute::disabled};
    return names;
}

EntitlementRecord entitlementOf(const DirectoryRow& row) {
    return {.cn = textOf(row, attribute::cn),
            .displayName = textOf(row, attribute::displayName),
            .description = textOf(row, attribute::description),
            .folder = folderOf(row, attribute::adminFolder, layout::container::folders, "/"),
            .disabled = disabledIn(row),
            .packageType = packageTypeOf(row)};
}

GlobalEntitlementRecord globalEntitlementOf(const DirectoryRow& row) {
    GlobalEntitlementRecord record{.displayName = textOf(row, attribute::displayName),
                                   .description = textOf(row, attribute::description),
                                   .disabled = disabledIn(row),
                                   .type = {}};
    if (const auto* const type = row.first<std::int32_t>(attribute::entitlementType)) record.type = *type;
    return record;
}

AdminRoleRecord adminRoleOf(const DirectoryRow& row) {
    return {.cn = textOf(row, attribute::cn),
            .displayName = folderOf(row, attribute::distinguishedName, layout::container::roles, {}),
            .description = textOf(row, attribute::description),
            .disabled = disabledIn(row)};
}

PropertyBag render(const EntitlementRecord& record) {
    PropertyBag bag;
    bag.set(L"cn", record.cn);
    bag.set(L"display-name", record.displayName);
    bag.set(L"description", record.description);
    bag.set(L"folder", record.folder);
    setStatus(bag, record.disabled);
    if (!record.packageType.empty()) bag.set(L"MirapakType", record.packageType);
    return bag;
}

PropertyBag render(const GlobalEntitlementRecord& record) {
    PropertyBag bag;
    bag.set(L"display-name", record.displayName);
    bag.set(L"description", record.description);
    setStatus(bag, record.disabled);
    // Compatibility: clients read the default type under this misspelt key.
    if (!record.type)
        bag.set(L"etitlement-type", L"floating");
    else
        bag.set(L"entitlement-type", *record.type == 1 ? L"dedicated" : L"floating");
    return bag;
}

PropertyBag render(const AdminRoleRecord& record) {
    PropertyBag bag;
    bag.set(L"cn", record.cn);
    bag.set(L"display-name", record.displayName);
    bag.set(L"description", record.description);
    setStatus(bag, record.disabled);
    return bag;
}

std::string directoryFolder(std::string_view dn, std::string_view container) {
    const auto name = platform::parseDn(dn);
    if (!name) return {};
    for (const std::string_view root : {container, std::string_view(layout::namingContext)}) {
        const auto above = platform::parseDn(root);
        if (above && isBelow(*name, *above)) return pathBelow(*name, above->size());
    }
    return pathBelow(*name, 0);
}

}  // namespace wsadmin
