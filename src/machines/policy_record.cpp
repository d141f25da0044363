#include "machines/policy_record.h"

#include <string_view>

#include "ldap/layout.h"

namespace wsadmin {

namespace {

namespace attribute = layout::attribute;

struct Setting {
    const wchar_t* key;
    const char* attribute;
};

constexpr Setting texts[] = {
    {L"display-name", attribute::displayName},
    {L"description", attribute::description},
    {L"name", attribute::name},
};

// A setting without a value is inherited.
constexpr Setting permissions[] = {
    {L"offline-allowed", attribute::offlineAllowed},
    {L"client-rollback-allowed", attribute::clientRollbackAllowed},
    {L"usb-allowed", attribute::usbAllowed},
    {L"mmr-allowed", attribute::mmrAllowed},
    {L"remote-allowed", attribute::remoteAllowed},
    {L"hostcard-acceleration", attribute::hostCardAcceleration},
};

std::string_view permission(std::string_view value) {
    if (value.empty()) return "Inherit";
    return value == "0" ? "Deny" : "Allow";
}

std::string_view state(std::string_view disabled) {
    if (disabled.empty()) return "Not Set";
    return disabled == "0" ? "Enabled" : "Disabled";
}

}  // namespace

std::vector<std::string> policyAttributes() {
    std::vector<std::string> names = {attribute::disabled, attribute::offlineCacheLifetime};
    for (const Setting& one : texts) names.emplace_back(one.attribute);
    for (const Setting& one : permissions) names.emplace_back(one.attribute);
    return names;
}

CORE::PropertyBag renderPolicy(const platform::LdapEntry& policy) {
    CORE::PropertyBag bag;
    for (const Setting& one : texts) bag.add(one.key, policy.first(one.attribute));
    bag.add(L"state", state(policy.first(attribute::disabled)));
    for (const Setting& one : permissions) {
        bag.add(one.key, permission(policy.first(one.attribute)));
        if (one.attribute == attribute::clientRollbackAllowed)  // its place in the record
            bag.add(L"offline-cache-lifetime", policy.first(attribute::offlineCacheLifetime));
    }
    return bag;
}

}  // namespace wsadmin
