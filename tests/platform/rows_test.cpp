// The plain functions of this folder over rows.jsonl, and what data cannot say of them: types, sizes, and
// what libraries must not cut off.
#include "support/rows.h"

#include <numeric>

#include "platform/directory_services.h"
#include "platform/ldap/batches.h"
#include "platform/ldap/ldap_pages.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/ldap_request.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/sid.h"
#include "platform/text/network_address.h"
#include "support/scripted_ldap.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;
using namespace wstest;

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
    for (const Rdn& rdn : *dn)
        for (const auto& [type, value] : rdn)
            EXPECT_EQ(parseDn("cn=" + escapeDnValue(value) + ",dc=b").value().at(0).at(0).value, value);
    return dnToText(*dn);
}

Json filter(const Json& in) {
    const auto strict = normaliseFilter(in.get<std::string>());
    if (strict) {
        EXPECT_EQ(normaliseFilter(*strict).value(), *strict) << "not stable";
        const std::string value = parseFilter(*strict).value().value;
        EXPECT_EQ(parseFilter("(a=" + escapeFilterValue(value) + ")").value().value, value);
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

Json credentials(const Json& in) {
    const auto checked =
        checkCredentials({methodOf(in[0]), in[1], in[2], CORE::secretstring(in[3].get<std::string>())});
    return checked ? 0 : checked.error().code;
}

// The sizes of batches of at most three.
Json batches(const Json& in) {
    std::vector<int> all(in.get<std::size_t>()), seen;
    std::iota(all.begin(), all.end(), 0);
    Json sizes = Json::array();
    for (const auto batch : batchesOf(all, 3)) {
        sizes.push_back(batch.size());
        seen.insert(seen.end(), batch.begin(), batch.end());
    }
    EXPECT_EQ(seen, all);
    return sizes;
}

// Why pages end, each with the name of its entry and a cookie, where three entries are allowed; a number is
// the time allowed, in milliseconds.
Json pages(const Json& in) {
    ScriptedSession session;
    session.most.entries = 3;
    for (const Json& page : in)
        if (page.is_number())
            session.most.time = std::chrono::milliseconds(page.get<int>());
        else
            session.answers.push_back(
                pageAnswer(page[0] == "" ? std::vector<LdapEntry>() : std::vector{entry(page[0])}, page[1]));
    LdapPages all(session, {});
    std::vector<LdapEntry> some;
    auto more = all.next(some);
    while (more && *more) more = all.next(some);
    EXPECT_EQ(session.searches.back().spent.entries, session.searches.size() - 1);
    return more ? Json() : Json{more.error().cause.code, CORE::toUtf8(more.error().cause.text)};
}

Json page(const Json& in) {
    const std::string bytes = bytesOfHex(in);
    const auto page = decodePageControl(bytes);
    for (std::size_t cut = 0; page && cut < bytes.size(); ++cut)
        EXPECT_FALSE(decodePageControl(bytes.substr(0, cut))) << cut;
    return page ? Json{page->size, page->cookie} : Json();
}

std::vector<std::string> numbers(int from, int to) {
    std::vector<std::string> all;
    for (int i = from; i <= to; ++i) all.push_back(std::to_string(i));
    return all;
}
// A failure's code; null: no entry; "": one without values; or an attribute's name, and its first and last
// value.
ScriptedAnswer rangeAnswer(const Json& in) {
    if (in.is_number()) return {.waitCode = in};
    if (in.is_null()) return {};
    if (in == "") return {.entries = {entry("cn=d")}};
    return {.entries = {entry("cn=d", {{in[0], numbers(in[1], in[2])}})}};
}
// What is asked behind the range 0-2, with the entries and bytes there were, or why there is no value at all;
// seven are allowed.
Json ranges(const Json& in) {
    ScriptedSession session;
    session.most.entries = 7;
    for (const Json& answer : in) session.answers.push_back(rangeAnswer(answer));
    const auto all = allValues(session, "cn=d", {"member;range=0-2", numbers(0, 2)});
    if (!all) return all.error().code;
    EXPECT_EQ(*all, numbers(0, 6));
    Json asked;
    for (const LdapSearch& one : session.searches)
        asked.push_back({one.base, one.attributes.at(0), one.spent.entries, one.spent.bytes});
    return asked;
}

// Its codes and its text; an integer of 64 bits is written as ["integer", n].
Json directoryValue(const Json& in) {
    const auto made = [&]() -> DirectoryValue {
        if (in.is_number()) return in.get<std::int32_t>();
        if (in.is_boolean()) return in.get<bool>();
        if (in.is_string()) return in.get<std::string>();
        if (in[0] == "integer") return in[1].get<std::int64_t>();
        if (in[0] == "time") return DirectoryTime{in[1]};
        if (in[0] == "bytes") return DirectoryBytes{bytesOfHex(in[1])};
        return DirectoryName{in[1]};
    };
    return {adsTypeCode(made()), variantTypeCode(made()), directoryText(made())};
}

TEST(Rows, OfThePlatform) {
    tryRows(WS_SOURCE_DIR "/tests/platform/rows.jsonl",
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
             {"credentials", credentials},
             {"batches", batches},
             {"pages", pages},
             {"ranges", ranges},
             {"sidOfBytes",
              [](const Json& in) {
                  const auto sid = Sid::fromBytes(bytesOfHex(in));
                  return sid ? Json(sid->text()) : Json();
              }},
             {"pageControl",
              [](const Json& in) {
                  return hexOf(encodePageControl({in[0], in[1]}));
              }},
             {"page", page},
             {"pageAgain",
              [](const Json& in) -> Json {
                  const std::string cookie(in[1].get<std::size_t>(), '\xff');
                  const auto page = decodePageControl(encodePageControl({in[0], cookie})).value();
                  return {page.size, page.cookie.size()};
              }},
             {"directoryError",
              [](const Json& in) {
                  return CORE::toUtf8(directoryErrorText(in[0], CORE::toWide(in[1].get<std::string>()), in[2],
                                                         CORE::toWide(in[3].get<std::string>())));
              }},
             {"directoryValue", directoryValue},
             {"codeText", [](const Json& in) { return CORE::toUtf8(ldapErrorText(in)); }}});
}

TEST(Filter, BoundsNesting) {
    const auto repeated = [](int count, std::string_view piece) {
        std::string text;
        for (int i = 0; i < count; ++i) text += piece;
        return text;
    };
    const auto nested = [&](int depth, const char* open = "(!") {
        return repeated(depth, open) + "(a=b)" + repeated(depth, ")");
    };
    EXPECT_TRUE(parseFilter(nested(99)) && parseFilter(nested(99, "(&")));
    for (const std::string& text :
         {nested(100), nested(100, "(|"), nested(20'000), repeated(1'000'000, "("), repeated(1'000'000, "!"),
          repeated(300'000, "(&"), repeated(300'000, "(|(a=b)")})
        EXPECT_EQ(parseFilter(text).error().code, ldapFilterError);
}

TEST(LdapEntry, FindsAttributesWithoutRegardToCaseWholeOrInPart) {
    const LdapEntry entry{
        "cn=a", {{"member", {}}, {"members", {"x"}}, {"Member;range=0-1", {"a", "b"}}, {"cn", {"c"}}}};
    EXPECT_EQ(entry.first("CN"), "c");
    EXPECT_TRUE(entry.first("member").empty() && entry.first("absent").empty());
    EXPECT_EQ(entry.all("member;Range=0-1").size(), 2U);
    EXPECT_TRUE(entry.all("member").empty());
    EXPECT_EQ(findValues(entry.attributes, "member"), &entry.attributes[2]);
    EXPECT_EQ(findValues(entry.attributes, "CN"), &entry.attributes[3]);
    EXPECT_EQ(findValues(entry.attributes, "mem"), nullptr);
}

TEST(LdapRequest, IsMadeStrictAndRefusedWhereALibraryWouldCutItOff) {
    const auto wire = wireSearch({"ou=Servers, dc=vdi", LdapScope::subtree, "(!a=b)", {"cn"}, {}, 7});
    ASSERT_TRUE(wire);
    EXPECT_EQ(wire->base + wire->filter, "ou=Servers,dc=vdi(!(a=b))");
    EXPECT_EQ(wire->sizeLimit, 7);
    EXPECT_EQ(wireDn("<SID=S-1-5-11>").value(), "<SID=S-1-5-11>");
    EXPECT_EQ(wireDn("cn=a\nCNF:1,dc=b").value(), R"(cn=a\0ACNF:1,dc=b)");

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
