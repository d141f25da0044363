// The address that the name of an IPsec rule of a pairing holds.
#pragma once

#include <string>
#include <string_view>

namespace wsadmin::ipsec {

struct RuleAddress {
    enum class Outcome {
        foreign,    // not a rule of this system
        noAddress,  // the name says nothing of an address
        otherForm,  // not in the form that addresses have there
        found
    };
    Outcome outcome = Outcome::foreign;
    std::wstring address{};  // where it is found
};

// An address is followed by at least one other character: one at the very end of a name is not found, so a
// main-mode rule never counts and the quick-mode rule, whose name has the channel behind the address, does.
// Letters of an IPv6 address are lower-case.
RuleAddress addressIn(std::wstring_view ruleName);

}  // namespace wsadmin::ipsec
