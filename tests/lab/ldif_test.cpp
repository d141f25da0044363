// LDIF: what is read, what is refused with which line, and what is written.
#include "platform/lab/ldif.h"

#include <gtest/gtest.h>

#include "framework/core/corestring.h"
#include "lab/directory_fixture.h"

namespace wsadmin::platform::lab {
namespace {

// One record a line: kind, DN and what belongs to it.
std::string readAll(std::string_view text) {
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

TEST(Ldif, Reads) {
    const struct {
        const char *text, *records;
    } table[] = {
        {"", ""},
        {"# only\n# comments\n\n", ""},
        {"version: 1\ndn: a=1\nb: 2", "c(a=1) b=2@3\n"},
        {"dn: a=1\nb: 2\nB: 3\n\n\n\ndn: a=2\nb:\n", "c(a=1) b=2@2 B=3@3\nc(a=2) b=@8\n"},
        {"dn: a=1\r\nb: 2\r\n\r\ndn: a=2\r\nb: 3\r\n", "c(a=1) b=2@2\nc(a=2) b=3@5\n"},
        {"dn: a=\n 1\nb: one\n  two\n# comment\n  folded\nc:x\n", "c(a=1) b=one two@3 c=x@7\n"},
        {"dn:: YT0x\nb:: aMO2\nc::   eA==  \n", "c(a=1) b=h\xc3\xb6@2 c=x@3\n"},
        {"dn: a=1\nchangetype: add\nb: 1\n", "a(a=1) b=1@3\n"},
        {"dn: a=1\nchangetype: delete\n", "d(a=1)\n"},
        {"dn: a=1\ncontrol: 1.2.840.113556.1.4.805 true\nchangetype: delete\n", "d(a=1) tree\n"},
        {"dn: a=1\nchangetype: modify\nadd: b\nb: 1\nb: 2\n-\ndelete: c\n-\nreplace: d\nd: 3\n-\n",
         "m(a=1) +b,1,2 -c =d,3\n"},
        {"dn: a=1\nchangetype: modify\ndelete: b\nb: 1\n", "m(a=1) -b,1\n"},  // the last "-" may be missing
        {"dn: a=1\nchangetype: modrdn\nnewrdn: a=2\ndeleteoldrdn: 0\nnewsuperior: b=1\n",
         "r(a=1) a=2|b=1|0\n"},
    };
    for (const auto& row : table) EXPECT_EQ(readAll(row.text), row.records) << row.text;
    EXPECT_EQ(readAll("dn: a=1\nb;binary:: AAEC\n"), "c(a=1) b;binary=" + std::string("\0\1\2", 3) + "@2\n");
}

TEST(Ldif, RefusesWithTheLine) {
    const struct {
        const char *text, *failure;
    } table[] = {
        {"dn: a=1\nb 2\n", "x.ldif:2: expected \"name: value\""},
        {"dn: a=1\n: 2\n", "x.ldif:2: expected \"name: value\""},
        {" x\n", "x.ldif:1: a continuation line without a line before it"},
        {"b: 2\ndn: a=1\n", "x.ldif:1: a record begins with \"dn:\", not \"b:\""},
        {"# c\n\ndn: a=1\n", "x.ldif:3: the entry has no attributes"},
        {"dn: a=1\nb: 1\ndn: a=2\nb: 1\n",
         "x.ldif:3: \"dn\" does not belong into an entry (is an empty line missing?)"},
        {"dn: a=1\nb: 1\n-\n", "x.ldif:3: \"-\" does not belong into an entry (is an empty line missing?)"},
        {"dn: a=1\nb:: a\n", "x.ldif:2: the value is not valid base64"},
        {"dn: a=1\nb:: ab=c\n", "x.ldif:2: the value is not valid base64"},
        {"dn: a=1\nb:: a\xc3\xa4==\n", "x.ldif:2: the value is not valid base64"},
        {"dn: a=1\nc: 1\nb: \xff\n", "x.ldif:3: the value is not valid UTF-8"},
        {"dn: a=1\nb:< file:///etc/passwd\n", "x.ldif:2: values from a URL are not read"},
        {"dn: a=1\nb c: 1\n", "x.ldif:2: \"b c\" is no attribute name"},
        {"version: 2\n", "x.ldif:1: only LDIF version 1 is known"},
        {"dn: a=1\nchangetype: move\n", "x.ldif:2: there is no change type \"move\""},
        {"dn: a=1\nchangetype: delete\nb: 1\n", "x.ldif:3: nothing follows changetype: delete"},
        {"dn: a=1\nchangetype: modify\n", "x.ldif:1: the modification changes nothing"},
        {"dn: a=1\nchangetype: modify\nb: 1\n", "x.ldif:3: expected add:, delete: or replace:, found \"b\""},
        {"dn: a=1\nchangetype: modify\nadd: b\nc: 1\n", "x.ldif:4: expected \"b:\" or \"-\", found \"c:\""},
        {"dn: a=1\nchangetype: modrdn\ndeleteoldrdn: 1\n", "x.ldif:1: the renaming has no newrdn:"},
        {"dn: a=1\nchangetype: modrdn\nnewrdn: a=2\ndeleteoldrdn: yes\n",
         "x.ldif:4: expected newrdn:, deleteoldrdn: (0 or 1) or newsuperior:, found \"deleteoldrdn: yes\""},
        {"dn: a=1\ncontrol: 1.2.3\nchangetype: delete\n",
         "x.ldif:2: only the tree-delete control is known here"},
        {"dn: a=1\ncontrol: 1.2.840.113556.1.4.805\nb: 1\n",
         "x.ldif:1: the tree-delete control belongs to changetype: delete"},
    };
    for (const auto& row : table) EXPECT_EQ(readAll(row.text), "! " + std::string(row.failure)) << row.text;
}

TEST(Ldif, ContentIsRefusedWithTheLine) {
    const struct {
        const char *text, *failure;
    } table[] = {
        {"dn: CN=x,OU=b,DC=t\nobjectClass: container\n",
         "x.ldif:1: the entry above \"CN=x,OU=b,DC=t\" does not exist"},
        {"\ndn: nonsense\nobjectClass: container\n", "x.ldif:2: \"nonsense\" is no name of an entry"},
        {"dn: CN=x,DC=t\ncn: x\n", "x.ldif:1: the entry has no objectClass"},
        {"dn: CN=x,DC=t\nobjectClass: container\n\ndn: cn=X, dc=T\nobjectClass: container\n",
         "x.ldif:4: \"cn=X, dc=T\" is there already"},
        {"dn: CN=x,DC=t\nobjectClass: zre-PropertyObject\nzre-GUID: g\nzre-QuorinEnabled: one\n",
         "x.ldif:4: zre-QuorinEnabled: \"one\" is no value of syntax int"},
        {"dn: CN=x,DC=t\nobjectClass: zre-PropertyObject\nzre-ConnectionServerDN: nobody\n",
         "x.ldif:3: zre-ConnectionServerDN: \"nobody\" is no value of syntax dn"},
        {"dn: CN=x,DC=t\nobjectClass: container\nobjectSid: S-1-x\n",
         "x.ldif:3: objectSid: \"S-1-x\" is no value of syntax sid"},
        {"dn: CN=x,DC=t\nobjectClass: container\nwhenCreated: yesterday\n",
         "x.ldif:3: whenCreated: \"yesterday\" is no value of syntax time"},
        {"dn: CN=x,DC=t\nobjectClass: zre-PropertyObject\nzre-ClusterName: a\nzre-ClusterName: b\n",
         "x.ldif:1: zre-ClusterName takes one value only"},
        {"dn: CN=x,DC=t\nobjectClass: group\nmember: <SID=S-1-5-21-1>\n",
         "x.ldif:3: <SID=S-1-5-21-1> needs the container CN=ForeignSecurityPrincipals"},
        {"dn: CN=x,DC=t\nchangetype: delete\n", "x.ldif:1: there is no entry \"CN=x,DC=t\""},
        {"dn: CN=x,DC=t\nobjectClass: container\n\ndn: CN=x,DC=t\nchangetype: modify\ndelete: description\n",
         "x.ldif:4: there is no description to delete"},
    };
    for (const auto& row : table) {
        FixedClock clock{Seconds{}};
        Directory directory({"LDAP", {testSuffix}, "LAB", "lab"}, clock);
        const auto loaded = directory.readContent(row.text, "x.ldif");
        ASSERT_FALSE(loaded) << row.text;
        EXPECT_EQ(failureText(loaded.error()), row.failure);
    }
}

TEST(Ldif, ChangeRecordsApplyToTheContentBefore) {
    TestDirectory test(
        std::string(testContent) +
        "\ndn: CN=one,OU=a,DC=t\nchangetype: modify\nadd: zre-NameValuePair\nzre-NameValuePair: b=2\n-\n"
        "\ndn: OU=a,DC=t\nchangetype: modrdn\nnewrdn: OU=b\ndeleteoldrdn: 1\n"
        "\ndn: CN=two,OU=b,DC=t\nchangetype: add\nobjectClass: container\n"
        "\ndn: CN=two,OU=b,DC=t\nchangetype: delete\n");
    ASSERT_TRUE(test.loaded) << failureText(test.loaded.error());
    const auto session = test.bound();
    EXPECT_EQ(namesOf(searchBelow(*session, testSuffix, "(zre-NameValuePair=b=2)")),
              std::vector<std::string>{"one"});
    EXPECT_EQ(readEntry(*session, "CN=one,OU=b,DC=t")->entries.at(0).dn, "CN=one,OU=b,DC=t");
    EXPECT_EQ(namesOf(searchBelow(*session, testSuffix, "(cn=two)")), std::vector<std::string>{});
}

TEST(Ldif, Writes) {
    const struct {
        std::string value, text;
    } table[] = {
        {"", "n:\n"},
        {"plain: text", "n: plain: text\n"},
        {" lead", "n:: IGxlYWQ=\n"},
        {"trail ", "n:: dHJhaWwg\n"},
        {":colon", "n:: OmNvbG9u\n"},
        {"<angle", "n:: PGFuZ2xl\n"},
        {"a\nb", "n:: YQpi\n"},
        {std::string("\0\xff", 2), "n:: AP8=\n"},
        {"\xc3\xa4", "n:: w6Q=\n"},
        {std::string(73, 'x'), "n: " + std::string(73, 'x') + "\n"},
        {std::string(74, 'x'), "n: " + std::string(73, 'x') + "\n x\n"},
        {std::string(160, 'x'),
         "n: " + std::string(73, 'x') + "\n " + std::string(75, 'x') + "\n " + std::string(12, 'x') + "\n"},
    };
    for (const auto& row : table) {
        std::string out = "dn: a=1\n";
        writeLdifLine(out, "n", row.value);
        EXPECT_EQ(out, "dn: a=1\n" + row.text);
        LdifReader reader(out, "x");
        LdifRecord record;
        ASSERT_TRUE(reader.next(record));
        EXPECT_EQ(record.attributes.at(0).value, row.value);
    }
}

}  // namespace
}  // namespace wsadmin::platform::lab
