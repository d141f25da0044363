#include "platform/ldap/ldap_ranges.h"

#include <algorithm>
#include <charconv>
#include <iterator>

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
bool isRangeOf(std::string_view range, std::string_view name) {
    return isRange(range) && CORE::equalFolded(range.substr(0, optionOf(range)), name);
}

std::optional<std::size_t> numberOf(std::string_view text) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

}  // namespace

const LdapAttribute* findValues(const std::vector<LdapAttribute>& attributes,
                                std::string_view name) noexcept {
    const auto found = std::ranges::find_if(attributes, [name](const LdapAttribute& attribute) {
        const std::string_view own = attribute.name;
        return !attribute.values.empty() && (CORE::equalFolded(own, name) || isRangeOf(own, name));
    });
    return found == attributes.end() ? nullptr : &*found;
}

std::optional<ValueRange> valueRange(std::string_view name) {
    if (!isRange(name)) return ValueRange();
    const auto range = name.substr(optionOf(name) + rangeOption.size());
    const auto dash = range.find('-');
    if (dash == std::string_view::npos) return std::nullopt;
    const auto first = numberOf(range.substr(0, dash)), end = numberOf(range.substr(dash + 1));
    const bool last = range.substr(dash) == "-*";
    if (!first || (!last && (!end || *end < *first))) return std::nullopt;
    return ValueRange{*first, last};
}

Result<bool> isLastRange(const LdapAttribute& range, std::size_t first) {
    const auto stated = valueRange(range.name);
    if (stated && stated->first == first && (stated->last || !range.values.empty())) return stated->last;
    return fail(ldapDecodingError, L"The directory gives ranges of values that do not join");
}

std::string_view withoutRange(std::string_view name) noexcept {
    return isRange(name) ? name.substr(0, optionOf(name)) : name;
}

Result<LdapAttribute> readRange(LdapSession& session, const std::string& dn, const std::string& attribute,
                                std::size_t first, LdapAllowance& allowance) {
    const auto asked = std::chrono::steady_clock::now();
    auto found =
        session.search({.base = dn,
                        .scope = LdapScope::base,
                        .filter = "(objectClass=*)",
                        .attributes = {attribute + std::string(rangeOption) + std::to_string(first) + "-*"},
                        .spent = allowance.spent()});
    if (!found) return fail(found.error());
    if (auto ok = allowance.wait(std::chrono::steady_clock::now() - asked); !ok) return fail(ok.error());
    if (found->entries.empty()) return fail(ldapFailure(ldapNoSuchObject));
    auto& attributes = found->entries.front().attributes;
    const auto range = std::ranges::find_if(
        attributes, [&](const LdapAttribute& each) { return isRangeOf(each.name, attribute); });
    if (range == attributes.end()) return fail(ldapFailure(ldapNoSuchAttribute));
    return std::move(*range);
}

Result<std::vector<std::string>> allValues(LdapSession& session, const std::string& dn,
                                           const LdapAttribute& attribute) {
    const std::string name(withoutRange(attribute.name));
    std::vector<std::string> values;
    LdapAllowance allowance(session.limits());
    for (LdapAttribute part = attribute;;) {
        const auto last = isLastRange(part, values.size());
        if (!last) return fail(last.error());
        for (const std::string& value : part.values)
            if (auto ok = allowance.take(value.size()); !ok) return fail(ok.error());
        std::ranges::move(part.values, std::back_inserter(values));
        if (*last) return values;
        auto more = readRange(session, dn, name, values.size(), allowance);
        if (!more) return fail(more.error());
        part = std::move(*more);
    }
}

}  // namespace wsadmin::platform
