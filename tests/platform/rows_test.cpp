// The plain functions of this folder over rows.jsonl.
#include "support/rows.h"
#include "platform/directory_services.h"
#include "platform/ldap/ldap_request.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/sid.h"
#include "platform/text/network_address.h"

namespace wsadmin::platform {
namespace {

using wstest::Json;
using wstest::orNull;

std::string shown(const DirectoryPath& path) {
    std::string text = path.globalCatalog ? "gc" : "ldap";
    text += " server=" + path.server;
    if (path.port) text += " port=" + std::to_string(*path.port);
    return text + (path.rootDse ? " rootDSE" : " dn=" + path.dn);
}

Json path(const Json& in) {
    const auto path = parseDirectoryPath(in.get<std::string>());
    if (!path) return {};
    const std::string again = directoryPathText(*path), parts = shown(*path);
    EXPECT_EQ(shown(parseDirectoryPath(again).value()), parts) << again;
    return {parts, again};
}

Json name(const Json& in) {
    const std::string text = in;
    const auto dn = parseDn(text);
    EXPECT_EQ(dnKey(text).has_value(), dn.has_value()) << text;
    EXPECT_EQ(sameDn(text, text), dn.has_value()) << text;
    if (!dn) return {};
    EXPECT_EQ(parseDn(dnToText(*dn)).value().size(), dn->size()) << text;
    return dnToText(*dn);
}

Json filter(const Json& in) {
    const auto strict = normaliseFilter(in.get<std::string>());
    if (strict) {
        EXPECT_EQ(normaliseFilter(*strict).value(), *strict) << "not stable";
        return *strict;
    }
    EXPECT_EQ(strict.error().code, ldapFilterError);
    return {{"wrong", CORE::toUtf8(strict.error().text).substr(std::string_view("Filter Error: ").size())}};
}

Json sid(const Json& in) {
    const auto sid = Sid::parse(in.get<std::string>());
    if (!sid) return {};
    EXPECT_EQ(Sid::fromBytes(sid->bytes()), sid);
    return sid->text();
}

LdapCredentials::Method methodOf(const std::string& name) {
    using enum LdapCredentials::Method;
    return name == "simple" ? simple : name == "negotiate" ? negotiate : anonymous;
}
Json account(const Json& in) {
    return accountOf({methodOf(in[0]), in[1], in[2], CORE::secretstring("p")});
}
Json bindName(const Json& in) {
    return simpleBindName({LdapCredentials::Method::simple, in[0], in[1], CORE::secretstring("p")});
}

TEST(Rows, OfThePlatform) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/platform/rows.jsonl",
        {{"path", path},
         {"name", name},
         {"sameName",
          [](const Json& in) { return sameDn(in[0].get<std::string>(), in[1].get<std::string>()); }},
         {"components", [](const Json& in) { return orNull(explodeDn(in.get<std::string>())); }},
         {"domainOfName", [](const Json& in) { return dnsDomainOf(in.get<std::string>()); }},
         {"parentAndValue",
          [](const Json& in) -> Json {
              const std::string text = in;
              return {orNull(parentDn(text)), rdnValue(text)};
          }},
         {"filter", filter},
         {"isNetworkAddress", [](const Json& in) { return isNetworkAddress(in.get<std::string>()); }},
         {"isThisMachine", [](const Json& in) { return isThisMachine(in.get<std::string>()); }},
         {"sid", sid},
         {"domainOfSid",
          [](const Json& in) { return Sid::parse(in.get<std::string>()).value().domain().text(); }},
         {"simpleBindName", bindName},
         {"account", account},
         {"codeText", [](const Json& in) { return CORE::toUtf8(ldapErrorText(in)); }}});
}

}  // namespace
}  // namespace wsadmin::platform
