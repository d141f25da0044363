#include <gtest/gtest.h>

#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;

TEST(Filter, NormalisesWhatTheSystemWrites) {
    const struct {
        std::string lax;
        std::string strict;
    } rows[] = {
        {"objectclass=zre-ServerPool", "(objectclass=zre-ServerPool)"},
        {"(a=b)", "(a=b)"},
        {"(!a=b)", "(!(a=b))"},
        {"!a=b", "(!(a=b))"},
        {"(!(a=b))", "(!(a=b))"},
        {"(!!a=b)", "(!(!(a=b)))"},
        {"&(a=b)(c=d)", "(&(a=b)(c=d))"},
        {" ( & ( a=b ) ( | (!c=*) (d>=1) ) ) ", "(&(a=b )(|(!(c=*))(d>=1)))"},
        {"(&)", "(&)"},
        {"(|)", "(|)"},
        {"(a<=1)", "(a<=1)"},
        {"(a~=x)", "(a~=x)"},
        {"(a=*)", "(a=*)"},
        {"(a=**)", "(a=*)"},
        {"(a=x*)", "(a=x*)"},
        {"(a=*x)", "(a=*x)"},
        {"(a=x**y*z)", "(a=x*y*z)"},
        {"(a=)", "(a=)"},
        {"(a=b=c)", "(a=b=c)"},
        {"(a=\\2a\\28\\29\\5C)", "(a=\\2A\\28\\29\\5C)"},
        {"(a=\\e9\\00)", "(a=\\E9\\00)"},
        {"(a=\xc3\xa9)", "(a=\xc3\xa9)"},
        {"(a;binary>=x*y)", "(a;binary>=x\\2Ay)"},
        {"(memberOf:1.2.840.113556.1.4.1941:=cn=a)", "(memberOf:1.2.840.113556.1.4.1941:=cn=a)"},
        {"(cn:dn:2.4.6.8.10:=a)", "(cn:dn:2.4.6.8.10:=a)"},
        {"(o:dn:=a)", "(o:dn:=a)"},
        {"(:caseExactMatch:=a)", "(:caseExactMatch:=a)"},
        {"(cn:=a)", "(cn:=a)"},
    };
    for (const auto& row : rows) {
        const auto strict = normaliseFilter(row.lax);
        ASSERT_TRUE(strict) << row.lax;
        EXPECT_EQ(*strict, row.strict) << row.lax;
        EXPECT_EQ(normaliseFilter(*strict).value(), *strict) << "not stable: " << row.lax;
    }
}

TEST(Filter, SaysWhatIsWrongAndWhere) {
    const struct {
        std::string text;
        std::wstring wrong;
    } rows[] = {
        {"", L"Filter Error: the filter is empty at character 1"},
        {"(a=b", L"Filter Error: ')' is missing at character 5"},
        {"a=b)", L"Filter Error: ')' without '(' at character 4"},
        {"(a=b))", L"Filter Error: ')' without '(' at character 6"},
        {"(a=b)(c=d)", L"Filter Error: text after the filter's end at character 6"},
        {"((a=b))", L"Filter Error: '(' is not expected at character 2"},
        {"(&(a=b)c=d)", L"Filter Error: '(' is missing at character 8"},
        {"(a=b(c)", L"Filter Error: '(' inside a value at character 5"},
        {"(ab)", L"Filter Error: '=' is missing at character 4"},
        {"()", L"Filter Error: '=' is missing at character 2"},
        {"(!)", L"Filter Error: '=' is missing at character 3"},
        {"(!(a=b)(c=d))", L"Filter Error: ')' is missing at character 8"},
        {"(=b)", L"Filter Error: no attribute name at character 2"},
        {"(a b=c)", L"Filter Error: no attribute name at character 2"},
        {"(::=a)", L"Filter Error: no attribute name at character 2"},
        {"(a::=b)", L"Filter Error: no attribute name at character 2"},
        {"(a=\\2)", L"Filter Error: '\\' without two hexadecimal digits at character 4"},
        {"(a=\\zz)", L"Filter Error: '\\' without two hexadecimal digits at character 4"},
        {"(a=b\\", L"Filter Error: '\\' without two hexadecimal digits at character 5"},
        {"(a=x\0y)"s, L"Filter Error: a NUL inside a value at character 5"},
    };
    for (const auto& row : rows) {
        const auto filter = parseFilter(row.text);
        ASSERT_FALSE(filter) << row.text;
        EXPECT_EQ(filter.error().code, ldapFilterError) << row.text;
        EXPECT_EQ(filter.error().text, row.wrong) << row.text;
    }
}

TEST(Filter, BoundsNesting) {
    const auto repeated = [](int count, std::string_view piece) {
        std::string text;
        for (int i = 0; i < count; ++i) text += piece;
        return text;
    };
    const auto nested = [&](int depth) { return repeated(depth, "(!") + "(a=b)" + repeated(depth, ")"); };
    EXPECT_TRUE(parseFilter(nested(99)));
    for (const std::string& text :
         {nested(100), nested(20'000), repeated(1'000'000, "("), repeated(1'000'000, "!"),
          repeated(300'000, "(&"), repeated(300'000, "(|(a=b)")}) {
        const auto filter = parseFilter(text);
        ASSERT_FALSE(filter);
        EXPECT_EQ(filter.error().code, ldapFilterError);
    }
}

TEST(Filter, KeepsValuesApartFromSyntax) {
    for (const std::string& value : {"*)(cn=*"s, "a\\b"s, "\0\xff"s, "J\xc3\xb6rg"s, " blank "s}) {
        const auto filter = parseFilter("(a=" + escapeFilterValue(value) + ")");
        ASSERT_TRUE(filter) << value;
        EXPECT_EQ(filter->kind, Filter::Kind::equal);
        EXPECT_EQ(filter->value, value);
    }
    const auto pieces = parseFilter("(a=*\\2a*b*)");
    ASSERT_TRUE(pieces);
    EXPECT_EQ(pieces->fragments, (std::vector<std::string>{"", "*", "b", ""}));
}

}  // namespace
}  // namespace wsadmin::platform
