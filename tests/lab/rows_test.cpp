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
template <auto read>
Json directory(const Json& in) {
    FixedClock clock{Seconds{}};
    Directory directory({"LDAP", {testSuffix}, "LAB", "lab"}, clock);
    return failureOf((directory.*read)(in.get<std::string>(), "x.ldif"));
}
Json machine(const Json& in) {
    return failureOf(readMachineFile(in.get<std::string>(), ""));
}
// Names and folders, what else the file may leave out, and of each directory its ports and size of a page; a
// number is the code of what cannot be obtained.
Json described(const Json& in) {
    const auto machine = readMachineFile(in.get<std::string>(), "").value();
    const LabNames names(machine.netBiosName, machine.dnsName);
    const LabFolders folders(machine);
    Json all = Json::array();
    for (const auto& text : {names.netBios(), names.dnsFullyQualified(), folders.get(Folder::commonAppData),
                             folders.get(Folder::programFiles), folders.windowsDirectory()})
        all.push_back(text ? Json(CORE::toUtf8(*text)) : Json(text.error().code));
    all.push_back(CORE::toUtf8(machine.account));
    all.push_back(machine.installation.role == CORE::InstType::connectionServer);
    all.push_back(machine.installation.osLevel == CORE::coreosver::newest);
    all.push_back(machine.fixedTime.has_value());
    for (const auto& one : machine.directories) all.push_back({one.address.ports, one.settings.pageSize});
    return all;
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

// Its bytes, as which and from which it is shown again.
Json guid(const Json& in) {
    const auto bytes = guidFromText(in.get<std::string>());
    return bytes ? Json{wstest::hexOf(*bytes), guidToText(*bytes)} : Json();
}

TEST(Rows, OfALab) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/lab/rows.jsonl",
        {{"ldif", ldif},
         {"content", directory<&Directory::readContent>},
         {"line", [](const Json& in) { return line(in); }},
         {"machine", machine},
         {"described", described},
         {"schema", directory<&Directory::readSchema>},
         {"folder", folder},
         {"stored", stored},
         {"guid", guid},
         {"processAccount", [](const Json& in) {
              return CORE::toUtf8(
                  openLab(WS_SOURCE_DIR "/labs/" + in.get<std::string>()).value()->processAccount);
          }}});
}

// What is no text cannot stand in the file.
TEST(Rows, OfBytes) {
    EXPECT_EQ(ldif("dn: a=1\nc: 1\nb: \xff\n"), "! x.ldif:3: the value is not valid UTF-8");
    EXPECT_EQ(line(std::string("\0\xff", 2)), "n:: AP8=\n");
    EXPECT_TRUE(machine("[machine\n").get<std::string>().starts_with(":1: "));
}

}  // namespace
}  // namespace wsadmin::platform::lab
