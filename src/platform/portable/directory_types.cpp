#include "platform/portable/directory_types.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>
#include <utility>

#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {

namespace {

std::string keyOf(std::string_view name) {
    CORE::mstr text(name.substr(0, name.find(';')));  // "member;range=0-1499" is of member's type
    text.toLower();
    return text.str();
}

AttributeType typeOfSyntax(std::string_view syntax) {
    static constexpr std::array<std::pair<std::string_view, AttributeType>, 8> syntaxes = {{
        {"2.5.5.1", AttributeType::name},
        {"2.5.5.8", AttributeType::boolean},
        {"2.5.5.9", AttributeType::integer},
        {"2.5.5.10", AttributeType::bytes},
        {"2.5.5.11", AttributeType::time},
        {"2.5.5.15", AttributeType::bytes},  // a security descriptor
        {"2.5.5.16", AttributeType::largeInteger},
        {"2.5.5.17", AttributeType::bytes},  // a SID
    }};
    const auto* const found =
        std::ranges::find(syntaxes, syntax, &std::pair<std::string_view, AttributeType>::first);
    return found == syntaxes.end() ? AttributeType::text : found->second;
}

template <class Number>
std::optional<Number> numberOf(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// "20150301123045.0Z"; the zone is UTC.
std::optional<DirectoryTime> timeOf(std::string_view text) {
    using namespace std::chrono;
    constexpr std::size_t digits = 14;
    if (text.size() <= digits || text.find_first_not_of("0123456789") != digits || text.back() != 'Z')
        return std::nullopt;
    const auto number = [text](std::size_t from, std::size_t count) {
        return *numberOf<int>(text.substr(from, count));
    };
    const auto part = [&](std::size_t from) { return number(from, 2); };
    const year_month_day date{year{number(0, 4)}, month{static_cast<unsigned>(part(4))},
                              day{static_cast<unsigned>(part(6))}};
    if (!date.ok() || part(8) > 23 || part(10) > 59 || part(12) > 59) return std::nullopt;
    const auto time = sys_days{date} + hours{part(8)} + minutes{part(10)} + seconds{part(12)};
    return DirectoryTime{sys_seconds{time}.time_since_epoch().count()};
}

DirectoryValue untyped(const std::string& wire) {
    if (CORE::isValidUtf8(wire)) return wire;
    return DirectoryBytes{wire};
}

template <class T>
DirectoryValue orUntyped(const std::optional<T>& value, const std::string& wire) {
    if (value) return *value;
    return untyped(wire);
}

std::optional<bool> flagOf(std::string_view wire) {
    if (wire == "TRUE") return true;
    if (wire == "FALSE") return false;
    return std::nullopt;
}

}  // namespace

DirectoryValue typedValue(AttributeType type, const std::string& wire) {
    switch (type) {
        case AttributeType::integer:
            return orUntyped(numberOf<std::int32_t>(wire), wire);
        case AttributeType::largeInteger:
            return orUntyped(numberOf<std::int64_t>(wire), wire);
        case AttributeType::boolean:
            return orUntyped(flagOf(wire), wire);
        case AttributeType::time:
            return orUntyped(timeOf(wire), wire);
        case AttributeType::bytes:
            return DirectoryBytes{wire};
        case AttributeType::name:
            return DirectoryName{wire};
        case AttributeType::text:
            break;
    }
    return untyped(wire);
}

std::vector<std::string> AttributeTypes::missing(const std::vector<std::string>& names) const {
    std::vector<std::string> unknown;
    const std::lock_guard hold(mutex_);
    for (const std::string& name : names) {
        std::string key = keyOf(name);
        if (!types_.contains(key) && std::ranges::find(unknown, key) == unknown.end())
            unknown.push_back(std::move(key));
    }
    return unknown;
}

Result<void> AttributeTypes::load(LdapSession& session, const std::vector<std::string>& names) {
    const std::vector<std::string> unknown = missing(names);
    if (unknown.empty()) return {};
    const auto root = session.search({.base = "",
                                      .scope = LdapScope::base,
                                      .filter = "(objectClass=*)",
                                      .attributes = {"schemaNamingContext"}});
    if (!root) return fail(root.error());
    const std::string schemaDn(root->entries.empty() ? ""
                                                     : root->entries.front().first("schemaNamingContext"));
    LdapSearchResult found;
    if (!schemaDn.empty()) {
        std::string filter = "(|";
        for (const std::string& name : unknown) filter += filterTerm("lDAPDisplayName", name);
        auto schema = session.search({.base = schemaDn,
                                      .scope = LdapScope::oneLevel,
                                      .filter = filter + ")",
                                      .attributes = {"lDAPDisplayName", "attributeSyntax"}});
        if (!schema) return fail(schema.error());
        found = std::move(*schema);
    }
    const std::lock_guard hold(mutex_);
    for (const std::string& name : unknown) types_.try_emplace(name, AttributeType::text);
    for (const LdapEntry& entry : found.entries)
        types_[keyOf(entry.first("lDAPDisplayName"))] = typeOfSyntax(entry.first("attributeSyntax"));
    return {};
}

AttributeType AttributeTypes::of(std::string_view name) const {
    const std::lock_guard hold(mutex_);
    const auto type = types_.find(keyOf(name));
    return type == types_.end() ? AttributeType::text : type->second;
}

}  // namespace wsadmin::platform
