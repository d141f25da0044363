#include "netsec/rule_names.h"

#include <algorithm>

#include "framework/core/corestring.h"

namespace wsadmin::ipsec {

namespace {

constexpr std::wstring_view ownPrefix = L"Talvex Vorn Security Server";

// The address that the text begins with, of IPv4 or else of IPv6; nothing where no character follows it.
std::wstring_view addressBefore(std::wstring_view text) {
    for (const std::wstring_view digits : {L"1234567890.", L"1234567890abcdef:"}) {
        const auto end = text.find_first_not_of(digits);
        if (end == text.npos) break;
        if (end > 0) return text.substr(0, end);
    }
    return {};
}

}  // namespace

RuleAddress addressIn(std::wstring_view ruleName) {
    using Outcome = RuleAddress::Outcome;
    constexpr std::wstring_view before = L"with ";
    if (!CORE::equalFolded(ruleName.substr(0, ownPrefix.size()), ownPrefix)) return {};
    const auto place = ruleName.find(before, std::min(ownPrefix.size(), ruleName.size()));
    if (place == ruleName.npos) return {Outcome::noAddress};
    const auto address = addressBefore(ruleName.substr(place + before.size()));
    if (address.empty()) return {Outcome::otherForm};
    return {Outcome::found, std::wstring(address)};
}

}  // namespace wsadmin::ipsec
