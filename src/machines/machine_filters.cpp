#include "machines/machine_filters.h"

#include <vector>

#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

namespace {

std::vector<std::string> termsOf(const MachineCriteria& criteria) {
    std::vector<std::string> terms;
    if (criteria.name) terms.push_back(platform::filterTerm(layout::attribute::displayName, *criteria.name));
    if (criteria.owner)
        terms.push_back(platform::filterTerm(layout::attribute::ownerSid, criteria.owner->text()));
    if (criteria.pool)
        terms.push_back(platform::filterTerm(layout::attribute::memberOfPool, poolDn(*criteria.pool)));
    return terms;
}

std::string joined(const std::vector<std::string>& terms) {
    std::string text;
    for (const std::string& term : terms) text += term;
    return text;
}

}  // namespace

std::string poolDn(std::string_view pool) {
    return "CN=" + platform::escapeDnValue(pool) + layout::container::pools;
}

std::string machineFilter(const MachineCriteria& criteria) {
    const auto terms = termsOf(criteria);
    if (terms.empty()) return anyMachine;
    const bool group = terms.size() > 1;
    return "(&" + std::string(anyMachine) + (group ? "(&" : "") + joined(terms) + (group ? "))" : ")");
}

std::string poolMachineFilter(const MachineCriteria& criteria) {
    return "(&" + std::string(anyMachine) + joined(termsOf(criteria)) + ")";
}

std::string virtualMachineFilter(std::string_view name, std::string_view pool) {
    return "(&(objectclass=zre-VM)" + platform::filterTerm(layout::attribute::displayName, name) +
           platform::filterTerm(layout::attribute::memberOfPool, poolDn(pool)) + ")";
}

}  // namespace wsadmin
