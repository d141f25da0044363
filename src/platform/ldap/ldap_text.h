// Texts of LDAP: distinguished names (RFC 4514, with the blanks that AD takes), filters (RFC 4515, with AD's
// lax forms) and the value of the paged-results control (RFC 2696). Pure functions over UTF-8.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace wsadmin::platform {

// --- names

struct RdnPart {
    std::string type;
    std::string value;  // without escapes, any bytes
};
using Rdn = std::vector<RdnPart>;  // more than one part: joined by "+"
using Dn = std::vector<Rdn>;       // the entry's own RDN first; empty: the root

// Understands escapes (\, \2C), quotes, #hex values, blanks around separators, and the raw line feed that
// some servers put into conflict names. Nothing when it is not a name.
std::optional<Dn> parseDn(std::string_view text);
std::string dnToText(const Dn& dn);  // no blanks, escaped by RFC 4514; control characters as \XX
std::string escapeDnValue(std::string_view value);
// One spelling for all texts that name the same entry: folded case, no blanks, folded types. For comparing
// and as a key; nothing when the text is not a name.
std::optional<std::string> dnKey(std::string_view text);
std::string dnKey(const Dn& dn);
bool sameDn(std::string_view a, std::string_view b);
std::optional<std::string> parentDn(std::string_view text);  // nothing for the root or no name
// The components as they are written, without the blanks around them; nothing when the text is not a name.
std::optional<std::vector<std::string>> explodeDn(std::string_view text);
// The DNS name that the domain components at the end of a name say; empty where there are none.
std::string dnsDomainOf(std::string_view dn);
std::string rdnValue(std::string_view text);  // value of the first RDN, empty when there is none

// --- filters

struct Filter {
    enum class Kind {
        all,
        any,
        no,
        present,
        equal,
        greaterOrEqual,
        lessOrEqual,
        approximately,
        substrings,
        extensible
    };
    Kind kind = Kind::present;
    std::vector<Filter> parts;  // of all, any, no
    std::string attribute;
    std::string value;                   // without escapes
    std::vector<std::string> fragments;  // substrings: initial, any..., final; first and last may be empty
    std::string rule;                    // extensible: the matching rule's OID or name
    bool dnAttributes = false;
};

// Takes "a=b", "(a=b)", "(!a=b)", blanks between parts, "(&)" and "(|)". The failure (87) says what is wrong
// and where.
Result<Filter> parseFilter(std::string_view text);
std::string filterToText(const Filter& filter);  // strict RFC 4515
// The strict form of a lax filter, for client libraries that refuse the lax one.
Result<std::string> normaliseFilter(std::string_view text);
std::string escapeFilterValue(std::string_view value);
// "(attribute=value)", the value escaped.
std::string filterTerm(std::string_view attribute, std::string_view value);

// --- the paged-results control

struct PageControl {
    int size = 0;
    std::string cookie;
};
std::string encodePageControl(const PageControl& page);
std::optional<PageControl> decodePageControl(std::string_view value);

}  // namespace wsadmin::platform
