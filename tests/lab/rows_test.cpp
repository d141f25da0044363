// The texts that a lab reads and writes, and what its directories answer, over rows.jsonl.
#include "platform/lab/ldif.h"

#include "lab/directory_fixture.h"
#include "platform/lab/lab_platform.h"
#include "support/rows.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::lab {
namespace {

using wstest::Json;
using wstest::orNull;

// One record a line: kind, DN and what belongs to it.
Json ldif(const Json& in) {
    const std::string text = in;
    LdifReader reader(text, "x.ldif");
    std::string out;
    for (LdifRecord record;;) {
        const auto more = reader.next(record);
        if (!more) return "! " + failureText(more.error());
        if (!*more) return out;
        out += std::string(1, "camdr"[static_cast<int>(record.kind)]) + "(" + record.dn + ")";
        for (const auto& [name, value, line] : record.attributes)
            out += " " + name + "=" + value + "@" + std::to_string(line);
        for (const auto& [change, line] : record.changes) {
            out += " " + std::string(1, "+-="[static_cast<int>(change.operation)]) + change.attribute;
            for (const auto& value : change.values) out += "," + value;
        }
        if (record.kind == LdifRecord::Kind::rename)
            out += " " + record.newRdn + "|" + record.newParent + "|" + (record.deleteOldRdn ? "1" : "0");
        if (record.wholeTree) out += " tree";
        out += "\n";
    }
}

// As a line of an entry, which is read again.
Json line(const std::string& value) {
    std::string out = "dn: a=1\n";
    writeLdifLine(out, "n", value);
    LdifReader reader(out, "x");
    LdifRecord record;
    EXPECT_TRUE(reader.next(record));
    EXPECT_EQ(record.attributes.at(0).value, value);
    return out.substr(out.find('\n') + 1);
}

template <class T>
Json failureOf(const Result<T>& result) {
    return result ? "fine" : failureText(result.error());
}
Json content(const Json& in) {
    FixedClock clock{Seconds{}};
    Directory directory({"LDAP", {testSuffix}, "LAB", "lab"}, clock);
    return failureOf(directory.readContent(in.get<std::string>(), "x.ldif"));
}
Json schema(const Json& in) {
    FixedClock clock{Seconds{}};
    Directory directory({"LDAP", {testSuffix}, "LAB", "lab"}, clock);
    return failureOf(directory.readSchema(in.get<std::string>(), "own.schema"));
}
Json machine(const Json& in) {
    return failureOf(readMachineFile(in.get<std::string>(), ""));
}
// Of a lab with those files.
Json folder(const Json& in) {
    const wstest::TempFolder temporary;
    for (const auto& [name, text] : in.items()) temporary.write(name, text.get<std::string>());
    return failureOf(openLab(temporary.path()));
}

Json stored(const Json& in) {
    const std::map<std::string, Syntax> names{{"integer", Syntax::integer},
                                              {"boolean", Syntax::boolean},
                                              {"time", Syntax::time},
                                              {"text", Syntax::text}};
    return orNull(storedValue(names.at(in[0]), in[1].get<std::string>()));
}

Json found(const Json& in) {
    TestDirectory test(std::string(testContent) +
                       "\ndn: CN=two,OU=a,DC=t\nobjectClass: zre-VM\nzre-Disabled: 1\nown-name: x\n");
    return namesOf(searchBelow(*test.bound(), testSuffix, in));
}

constexpr char computed[] = "msDS-User-Account-Control-Computed";

// The domain of people.ldif.
TestDirectory people(const DirectorySettings& settings = activeDirectory()) {
    return TestDirectory(wstest::fileText(WS_SOURCE_DIR "/tests/lab/people.ldif"), settings);
}

// The SIDs of one attribute of the only entry that is found, sorted.
Json tokenGroups(const Json& in) {
    const auto scope = in[1] == "base" ? LdapScope::base : LdapScope::subtree;
    const auto found = people().bound()->search(
        {in[0].get<std::string>() + ",DC=t", scope, "(objectClass=*)", in[2], {}, 0});
    std::set<std::string> sids;
    EXPECT_EQ(found.value().entries.size(), 1U);
    for (const auto& value : found->entries.at(0).all("tokenGroups"))
        sids.insert(Sid::fromBytes(value).value().text());
    return sids;
}

// Of an account with this lockout time, password time and control in a domain of this lockout duration.
Json accountControl(const Json& in) {
    auto domain = people();
    const auto session = domain.bound();
    const auto set = [&](const std::string& dn, const char* attribute, const std::string& value) {
        const auto values = value.empty() ? std::vector<std::string>{} : std::vector{value};
        EXPECT_TRUE(session->modify(dn, {{LdapModify::replace, attribute, values}}));
    };
    set("CN=leaf,DC=t", "lockoutTime", in[0]);
    set("CN=leaf,DC=t", "pwdLastSet", in[1]);
    set("CN=leaf,DC=t", "userAccountControl", in[2]);
    set("DC=t", "lockoutDuration", in[3]);
    return std::string(readEntry(*session, "CN=leaf,DC=t", {computed}).value().entries.at(0).first(computed));
}

Result<LdapSearchResult> searchLab(const std::string& lab, const std::string& host, std::uint16_t port,
                                   const LdapSearch& search) {
    const auto platform = openLab(WS_SOURCE_DIR "/labs/" + lab);
    if (!platform) return fail(platform.error());
    const auto session = (*platform)->ldap->open({host, port}).value();
    EXPECT_TRUE(session->bind({}));
    return session->search(search);
}
Json entries(const Json& in) {
    return searchLab(in[0], in[1], in[2], {in[3], LdapScope::subtree, in[4], {"1.1"}, {}, 0})
        .value()
        .entries.size();
}
Json user(const Json& in) {
    const std::string attribute = in[1];
    const auto users = searchLab("sample", "corp.example", 389,
                                 {"DC=corp,DC=example",
                                  LdapScope::subtree,
                                  "(&(objectClass=user)" + in[0].get<std::string>() + ")",
                                  {attribute},
                                  {},
                                  0})
                           .value()
                           .entries;
    EXPECT_EQ(users.size(), 1U);
    const std::string value(users.at(0).first(attribute));
    if (attribute == "logonHours") return std::vector<unsigned char>(value.begin(), value.end());
    return value;
}

TEST(Rows, OfALab) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/lab/rows.jsonl",
        {{"ldif", ldif},
         {"content", content},
         {"line", [](const Json& in) { return line(in); }},
         {"machine", machine},
         {"schema", schema},
         {"folder", folder},
         {"stored", stored},
         {"found", found},
         {"tokenGroups", tokenGroups},
         {"accountControl", accountControl},
         {"entries", entries},
         {"user", user},
         {"processAccount", [](const Json& in) {
              return CORE::toUtf8(
                  openLab(WS_SOURCE_DIR "/labs/" + in.get<std::string>()).value()->processAccount);
          }}});
}

TEST(Rows, OfADomainWhereAGroupIsGone) {
    auto domain = people();
    const auto session = domain.bound();
    EXPECT_EQ(codeOf(session->remove("CN=outer,DC=t")), ldapSuccess);
    const auto entry = [&](const char* name, const char* attribute) {
        return readEntry(*session, name, {attribute}).value().entries.at(0);
    };
    const char range[] = "tokenGroups;range=1-*";
    EXPECT_EQ(entry("CN=leaf,DC=t", range).all(range).size(), 2U);
    EXPECT_EQ(entry("CN=stored,DC=t", computed).first(computed), "7");
    EXPECT_EQ(entry("OU=unit,DC=t", computed).first(computed), "");
    const auto elsewhere = readEntry(*people({}).bound(), "CN=leaf,DC=t", {"tokenGroups", computed});
    EXPECT_TRUE(elsewhere.value().entries.at(0).attributes.empty()) << "only in a domain";
}

// What is no text cannot stand in the file.
TEST(Rows, OfBytes) {
    EXPECT_EQ(ldif("dn: a=1\nb;binary:: AAEC\n"), "c(a=1) b;binary=" + std::string("\0\1\2", 3) + "@2\n");
    EXPECT_EQ(ldif("dn: a=1\nc: 1\nb: \xff\n"), "! x.ldif:3: the value is not valid UTF-8");
    EXPECT_EQ(line(std::string("\0\xff", 2)), "n:: AP8=\n");
    EXPECT_TRUE(machine("[machine\n").get<std::string>().starts_with(":1: "));
}

}  // namespace
}  // namespace wsadmin::platform::lab
