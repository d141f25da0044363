#include "platform/ldap/ldap_ranges.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "platform/ldap/ldap_limits.h"

namespace wsadmin::platform {

namespace {

constexpr std::string_view rangeOption = ";range=";

// Where the option of a range begins; the name's length where it has none.
std::size_t optionOf(std::string_view name) {
    return std::min(name.find(';'), name.size());
}

bool isRange(std::string_view name) {
    return CORE::equalFolded(name.substr(optionOf(name)).substr(0, rangeOption.size()), rangeOption);
}

// The first value that "member;range=0-1499" does not give; nothing after the last range ("-*").
std::optional<std::size_t> nextOfRange(std::string_view name) {
    if (!isRange(name)) return std::nullopt;
    const auto number = name.substr(name.rfind('-') + 1);
    std::size_t last = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), last);
    if (error != std::errc{} || end != number.data() + number.size()) return std::nullopt;
    return last + 1;
}

}  // namespace

const LdapAttribute* findValues(const std::vector<LdapAttribute>& attributes,
                                std::string_view name) noexcept {
    const auto found = std::ranges::find_if(attributes, [name](const LdapAttribute& attribute) {
        const std::string_view own = attribute.name;
        return !attribute.values.empty() &&
               (CORE::equalFolded(own, name) ||
                (isRange(own) && CORE::equalFolded(own.substr(0, optionOf(own)), name)));
    });
    return found == attributes.end() ? nullptr : &*found;
}

Result<std::vector<std::string>> allValues(LdapSession& session, const std::string& dn,
                                           const LdapAttribute& attribute) {
    std::vector<std::string> values = attribute.values;
    const std::string name = attribute.name.substr(0, optionOf(attribute.name));
    LdapAllowance allowance(session.limits());
    for (auto next = nextOfRange(attribute.name); next;) {
        const auto asked = std::chrono::steady_clock::now();
        const auto found =
            session.search({.base = dn,
                            .scope = LdapScope::base,
                            .filter = "(objectClass=*)",
                            .attributes = {name + std::string(rangeOption) + std::to_string(*next) + "-*"}});
        if (!found) return fail(found.error());
        if (auto ok = allowance.wait(std::chrono::steady_clock::now() - asked); !ok) return fail(ok.error());
        if (found->entries.empty()) return fail(ldapFailure(ldapNoSuchObject));
        const LdapAttribute* more = findValues(found->entries.front().attributes, name);
        if (!more) break;
        for (const std::string& value : more->values)
            if (auto ok = allowance.take(value.size()); !ok) return fail(ok.error());
        values.insert(values.end(), more->values.begin(), more->values.end());
        const auto following = nextOfRange(more->name);
        // A server that gives the same range again would be asked for ever.
        if (following && *following <= *next) return fail(ldapFailure(ldapDecodingError));
        next = following;
    }
    return values;
}

}  // namespace wsadmin::platform
