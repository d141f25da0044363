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
// Of a lab with those files, opened as "@machine" where that is said.
Json folder(const Json& in) {
    const wstest::TempFolder temporary;
    for (const auto& [name, text] : in.items())
        if (name != "@machine") temporary.write(name, text.get<std::string>());
    return failureOf(openLab(temporary.path(), Changes::saved, in.value("@machine", std::string())));
}

Json stored(const Json& in) {
    const std::map<std::string, Syntax> names{{"integer", Syntax::integer},
                                              {"boolean", Syntax::boolean},
                                              {"time", Syntax::time},
                                              {"text", Syntax::text}};
    return orNull(storedValue(names.at(in[0]), in[1].get<std::string>()));
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
         {"processAccount", [](const Json& in) {
              return CORE::toUtf8(
                  openLab(WS_SOURCE_DIR "/labs/" + in.get<std::string>()).value()->processAccount);
          }}});
}

// What is no text cannot stand in the file.
TEST(Rows, OfBytes) {
    EXPECT_EQ(ldif("dn: a=1\nb;binary:: AAEC\n"), "c(a=1) b;binary=" + std::string("\0\1\2", 3) + "@2\n");
    EXPECT_EQ(ldif("dn: a=1\nc: 1\nb: \xff\n"), "! x.ldif:3: the value is not valid UTF-8");
    EXPECT_EQ(line(std::string("\0\xff", 2)), "n:: AP8=\n");
    EXPECT_TRUE(machine("[machine\n").get<std::string>().starts_with(":1: "));
}

// Whose first three groups are numbers, the least byte first.
TEST(Rows, OfGuids) {
    const std::string guid = "00112233-4455-6677-8899-aabbccddeeff";
    EXPECT_EQ(guidFromText(guid),
              std::string("\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xaa\xbb\xcc\xdd\xee\xff", 16));
    EXPECT_EQ(guidFromText("{" + guid + "}"), guidFromText(guid));
    EXPECT_EQ(guidToText(guidFromText(guid).value()), guid);
    for (const char* wrong : {"", "00112233445566778899aabbccddeeff", "0011223-34455-6677-8899-aabbccddeeff",
                              "0011223g-4455-6677-8899-aabbccddeeff"})
        EXPECT_FALSE(guidFromText(wrong)) << wrong;
}

}  // namespace
}  // namespace wsadmin::platform::lab
