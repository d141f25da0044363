#include "platform/ldap/ldap_request.h"

#include <gtest/gtest.h>

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;
using Method = LdapCredentials::Method;

LdapCredentials credentials(Method method, std::string user, std::string domain, std::string_view password) {
    return {method, std::move(user), std::move(domain), CORE::secretstring(password)};
}

TEST(LdapRequest, RefusesCredentialsThatBindAsNobody) {
    const struct {
        LdapCredentials given;
        int code;
    } rows[] = {
        {credentials(Method::negotiate, "", "", ""), 0},
        {credentials(Method::anonymous, "", "", ""), 0},
        {credentials(Method::simple, "u", "", "p"), 0},
        {credentials(Method::simple, "u", "", ""), ldapInvalidCredentials},
        {credentials(Method::negotiate, "u", "d", ""), ldapInvalidCredentials},
        {credentials(Method::simple, "", "", "p"), ldapParamError},
        {credentials(Method::simple, "u\0x"s, "", "p"), ldapParamError},
    };
    for (const auto& row : rows) {
        const auto checked = checkCredentials(row.given);
        EXPECT_EQ(checked ? 0 : checked.error().code, row.code) << row.given.user;
    }
}

TEST(LdapRequest, MakesStrictWhatTheSystemWrites) {
    const auto wire = wireSearch({"ou=Servers, dc=vdi", LdapScope::subtree, "(!a=b)", {"cn"}, {}, 7});
    ASSERT_TRUE(wire);
    EXPECT_EQ(wire->base, "ou=Servers,dc=vdi");
    EXPECT_EQ(wire->filter, "(!(a=b))");
    EXPECT_EQ(wire->sizeLimit, 7);
    EXPECT_EQ(wireDn("<SID=S-1-5-11>").value(), "<SID=S-1-5-11>");
    EXPECT_EQ(wireDn("cn=a\nCNF:1,dc=b").value(), R"(cn=a\0ACNF:1,dc=b)");
}

TEST(LdapRequest, RefusesWhatALibraryWouldCutOff) {
    EXPECT_EQ(wireDn("cn=a\0,dc=b"s).error().code, ldapInvalidDnSyntax);
    EXPECT_EQ(wireSearch({"dc=b", LdapScope::base, "a=b", {"cn\0"s}, {}, 0}).error().code, ldapParamError);
    EXPECT_EQ(wireSearch({"dc=b", LdapScope::base, "a=b", {""}, {}, 0}).error().code, ldapParamError);
    EXPECT_EQ(wireSearch({"dc=b", LdapScope::base, "a=b)", {}, {}, 0}).error().text, L"Filter Error");
    EXPECT_EQ(wireEntry({"cn=a", {{"b\0"s, {"c"}}}}).error().code, ldapParamError);
    EXPECT_EQ(checkModifications({{LdapModify::add, "", {"c"}}}).error().code, ldapParamError);
    LdapEndpoint endpoint;
    endpoint.port = 0;
    EXPECT_EQ(checkEndpoint(endpoint).error().code, ldapParamError);
}

}  // namespace
}  // namespace wsadmin::platform
