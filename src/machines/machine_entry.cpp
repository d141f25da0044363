#include "machines/machine_entry.h"

#include <string_view>

#include "ldap/layout.h"
#include "machines/pool.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::LdapEntry;

namespace {

namespace attribute = layout::attribute;

struct Column {
    const wchar_t* key;
    const char* attribute;
};

// In the order of the listing, after the owner.
constexpr Column columns[] = {
    {L"id", attribute::name},
    {L"state", attribute::vmState},
    {L"moid", attribute::moid},
    {L"ipHost", attribute::ipHost},
    {L"ipHostOverride", attribute::ipHostOverride},
    {L"vmpath", attribute::vmPath},
    {L"template", attribute::vmTemplate},
    {L"created", attribute::vmCreated},
};

void add(PropertyBag& bag, const wchar_t* key, const LdapEntry& machine, const char* name) {
    bag.add(key, machine.first(name));
}

void addBrief(PropertyBag& bag, const LdapEntry& machine) {
    if (!machine.dn.empty()) bag.add(L"dn", std::string_view(machine.dn));
    add(bag, L"machine-name", machine, attribute::displayName);
}

// An entry is sized in advance, without much slack: a listing has very many of them.
constexpr std::size_t otherEntries = 8;
std::size_t textBytes(const LdapEntry& machine) {
    constexpr std::size_t namesAndOwner = 220;
    std::size_t bytes = machine.dn.size() + namesAndOwner;
    for (const platform::LdapAttribute& attribute : machine.attributes)
        if (!attribute.values.empty()) bytes += attribute.values.front().size();
    return bytes;
}

}  // namespace

std::vector<std::string> briefAttributes() {
    return {attribute::displayName};
}

std::vector<std::string> fullAttributes() {
    std::vector<std::string> names = {attribute::displayName, attribute::ownerSid, attribute::memberOfPool,
                                      attribute::offlineUser};
    for (const Column& column : columns) names.emplace_back(column.attribute);
    return names;
}

std::optional<platform::Sid> ownerOf(const LdapEntry& machine) {
    return platform::Sid::parse(machine.first(attribute::ownerSid));
}

PropertyBag renderBrief(const LdapEntry& machine) {
    PropertyBag bag;
    addBrief(bag, machine);
    return bag;
}

PropertyBag renderFull(const LdapEntry& machine, const MachineOwners& owners) {
    PropertyBag bag;
    bag.reserve(std::size(columns) + otherEntries, textBytes(machine));
    addBrief(bag, machine);
    add(bag, L"assigned-user-sid", machine, attribute::ownerSid);
    const auto sid = ownerOf(machine);
    if (const auto owner = sid ? owners.find(*sid) : owners.end(); owner != owners.end()) {
        const auto& [domain, account] = owner->second;
        if (!domain.empty()) bag.add(L"assigned-user-domain", std::string_view(domain));
        if (!account.empty()) bag.add(L"assigned-user-account-name", std::string_view(account));
    }
    for (const Column& column : columns) add(bag, column.key, machine, column.attribute);
    if (const std::string_view pool = machine.first(attribute::memberOfPool); !pool.empty()) {
        bag.add(L"pool-dn", pool);
        bag.add(L"pool-name", std::string_view(poolName(pool)));
    }
    bag.add(L"local-status", machine.first(attribute::offlineUser).empty() ? L"remote" : L"local");
    return bag;
}

PropertyBag renderAddresses(const LdapEntry& machine) {
    PropertyBag bag;
    add(bag, L"machine-name", machine, attribute::displayName);
    add(bag, L"ipHost", machine, attribute::ipHost);
    add(bag, L"ipHostOverride", machine, attribute::ipHostOverride);
    return bag;
}

}  // namespace wsadmin
