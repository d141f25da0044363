#include "framework/core/ascii.h"
#include "platform/ldap_session.h"

#include <algorithm>
#include <utility>

namespace wsadmin::platform {

namespace {

// As the Windows LDAP client words them (ldap_err2string), spellings and gaps included: the texts stand in
// answers.
constexpr std::pair<int, const wchar_t*> resultTexts[] = {
    {0, L"Success"},
    {1, L"Operations Error"},
    {2, L"Protocol Error"},
    {3, L"Time Limit Exceeded"},
    {4, L"Size Limit Exceeded"},
    {5, L"Compare False"},
    {6, L"Compare True"},
    {7, L"Authentication Method Not Supported"},
    {8, L"Strong Authentication Required"},
    {9, L"Referral (v2)"},
    {10, L"Referral"},
    {11, L"Administration Limit Exceeded"},
    {12, L"Unavailable Critical Extension"},
    {13, L"Confidentiality Required"},
    {16, L"No Such Attribute"},
    {17, L"Undefined Type"},
    {18, L"Inappropriate Matching"},
    {19, L"Constraint Violation"},
    {20, L"Attribute Or Value Exists"},
    {21, L"Invalid Syntax"},
    {32, L"No Such Object"},
    {33, L"Alias Problem"},
    {34, L"Invalid DN Syntax"},
    {35, L"Is Leaf"},
    {36, L"Alias Dereference Problem"},
    {48, L"Inappropriate Authentication"},
    {49, L"Invalid Credentials"},
    {50, L"Insufficient Rights"},
    {51, L"Busy"},
    {52, L"Unavailable"},
    {53, L"Unwilling To Perform"},
    {54, L"Loop Detected"},
    {60, L"Sort Control Missing"},
    {61, L"Index range error"},
    {64, L"Naming Violation"},
    {65, L"Object Class Violation"},
    {66, L"Not allowed on Non-leaf"},
    {67, L"Not allowed on RDN"},
    {68, L"Already Exists"},
    {69, L"No Object Class Mods"},
    {70, L"Results Too Large"},
    {71, L"Affects Multiple DSAs"},
    {76, L"Control Error"},
    {80, L"Other"},
    {81, L"Server Down"},
    {82, L"Local Error"},
    {83, L"Encoding Error"},
    {84, L"Decoding Error"},
    {85, L"Timeout"},
    {86, L"Auth Unknown"},
    {87, L"Filter Error"},
    {88, L"User Cancelled"},
    {89, L"Parameter Error"},
    {90, L"No Memory"},
    {91, L"Can't connect to the LDAP server"},
    {92, L"Operation not supported by this version of the LDAP protocol"},
    {93, L"Specified control was not found in message"},
    {94, L"No result present in message"},
    {95, L"More results returned"},
    {96, L"Loop while handling referrals"},
    {97, L"Referral hop limit exceeded"},
};

}  // namespace

std::wstring ldapErrorText(int code) {
    const auto found = std::lower_bound(std::begin(resultTexts), std::end(resultTexts), code,
                                        [](const auto& row, int wanted) { return row.first < wanted; });
    return found != std::end(resultTexts) && found->first == code ? found->second : L"";
}

Failure ldapFailure(int code) {
    return {code, ldapErrorText(code)};
}

const LdapAttribute* LdapEntry::find(std::string_view name) const noexcept {
    const auto found =
        std::find_if(attributes.begin(), attributes.end(),
                     [&](const LdapAttribute& attribute) { return CORE::equalAscii(attribute.name, name); });
    return found == attributes.end() ? nullptr : &*found;
}

std::string_view LdapEntry::first(std::string_view name) const noexcept {
    const LdapAttribute* attribute = find(name);
    return attribute && !attribute->values.empty() ? std::string_view(attribute->values.front())
                                                   : std::string_view();
}

const std::vector<std::string>& LdapEntry::all(std::string_view name) const noexcept {
    static const std::vector<std::string> none;
    const LdapAttribute* attribute = find(name);
    return attribute ? attribute->values : none;
}

Result<LdapSearchResult> LdapSession::search(const LdapSearch& search) {
    auto pending = startSearch(search);
    if (!pending) return fail(pending.error());
    return (*pending)->wait();
}

}  // namespace wsadmin::platform
