#include "platform/lab/ldif.h"

#include <algorithm>
#include <array>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"
#include "platform/lab/syntax.h"
#include "platform/ldap/ldif_text.h"

namespace wsadmin::platform::lab {

namespace {

constexpr std::string_view base64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t lineWidth = 76;

bool decodeBase64(std::string_view text, std::string& out) {
    if (text.size() % 4 != 0) return false;
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
    unsigned bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto digit = i < text.size() - padding ? base64Digits.find(text[i]) : 0;
        if (digit == base64Digits.npos) return false;
        bits = bits << 6 | static_cast<unsigned>(digit);
        if (i % 4 == 3)
            for (int shift = 16; shift >= 0; shift -= 8) out += static_cast<char>(bits >> shift & 0xff);
    }
    out.resize(out.size() - padding);
    return true;
}

bool is(std::string_view text, std::string_view lower) {
    return equalFolded(text, lower);
}

}  // namespace

struct LdifReader::Wrong {
    int line;
    std::string text;
};

Result<bool> LdifReader::next(LdifRecord& record) {
    try {
        std::vector<LdifLine> lines;
        readRecord(lines);
        if (lines.empty()) return false;
        record = LdifRecord();
        interpret(lines, record);
        return true;
    } catch (const Wrong& wrong) {
        return fail(
            1, CORE::toWide(file_) + L":" + std::to_wstring(wrong.line) + L": " + CORE::toWide(wrong.text));
    }
}

std::string_view LdifReader::nextPhysical() {
    const auto end = std::min(text_.find('\n', at_), text_.size());
    auto line = text_.substr(at_, end - at_);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    at_ = end + 1;
    ++number_;
    return line;
}

// Reads the next line with its continuations; false at an empty line (the end of a record) and at the end of
// the file. Comments, folded ones too, are passed over. A line without a name is an empty one.
bool LdifReader::readLogicalLine(LdifLine& line) {
    while (at_ < text_.size()) {
        std::string_view first = nextPhysical();
        const int number = number_;
        if (first.empty()) return false;
        std::string whole(first);
        while (at_ < text_.size() && text_[at_] == ' ') whole += nextPhysical().substr(1);
        if (whole[0] == '#') continue;
        if (whole[0] == ' ') throw Wrong{number, "a continuation line without a line before it"};
        line = parse(whole, number);
        return true;
    }
    return false;
}

LdifLine LdifReader::parse(std::string_view line, int number) const {
    if (line == "-") return {"-", "", number};
    const auto colon = line.find(':');
    if (colon == line.npos || colon == 0) throw Wrong{number, "expected \"name: value\""};
    const auto name = line.substr(0, colon);
    const bool wellNamed = std::all_of(name.begin(), name.end(), [](char c) {
        return CORE::isAsciiAlphanumeric(c) || c == '-' || c == ';' || c == '.';
    });
    if (!wellNamed) throw Wrong{number, "\"" + std::string(name) + "\" is no attribute name"};
    LdifLine result{std::string(name), "", number};
    auto value = line.substr(colon + 1);
    const bool encoded = !value.empty() && value[0] == ':';
    if (!encoded && !value.empty() && value[0] == '<') throw Wrong{number, "values from a URL are not read"};
    if (encoded) value.remove_prefix(1);
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    if (encoded) {
        value.remove_suffix(value.size() - (value.find_last_not_of(' ') + 1));
        if (!decodeBase64(value, result.value)) throw Wrong{number, "the value is not valid base64"};
    } else {
        if (!CORE::isValidUtf8(value)) throw Wrong{number, "the value is not valid UTF-8"};
        result.value = value;
    }
    return result;
}

void LdifReader::readRecord(std::vector<LdifLine>& lines) {
    LdifLine line;
    while (at_ < text_.size()) {
        while (readLogicalLine(line)) {
            if (!begun_ && is(line.name, "version")) {
                if (line.value != "1") throw Wrong{line.line, "only LDIF version 1 is known"};
                begun_ = true;
                continue;
            }
            begun_ = true;
            lines.push_back(std::move(line));
        }
        if (!lines.empty()) return;
    }
}

void LdifReader::interpret(std::vector<LdifLine>& lines, LdifRecord& record) const {
    if (!is(lines[0].name, "dn"))
        throw Wrong{lines[0].line, "a record begins with \"dn:\", not \"" + lines[0].name + ":\""};
    record.dn = lines[0].value;
    record.line = lines[0].line;
    std::size_t at = 1;
    for (; at < lines.size() && is(lines[at].name, "control"); ++at) {
        if (lines[at].value.rfind(controls::treeDelete, 0) != 0)
            throw Wrong{lines[at].line, "only the tree-delete control is known here"};
        record.wholeTree = true;
    }
    if (at < lines.size() && is(lines[at].name, "changetype")) {
        const auto& type = lines[at].value;
        if (is(type, "add"))
            record.kind = LdifRecord::Kind::add;
        else if (is(type, "modify"))
            return interpretModify(lines, at + 1, record);
        else if (is(type, "modrdn") || is(type, "moddn"))
            return interpretRename(lines, at + 1, record);
        else if (is(type, "delete"))
            record.kind = LdifRecord::Kind::remove;
        else
            throw Wrong{lines[at].line, "there is no change type \"" + type + "\""};
        ++at;
    }
    if (record.kind == LdifRecord::Kind::remove) {
        if (at < lines.size()) throw Wrong{lines[at].line, "nothing follows changetype: delete"};
        return;
    }
    if (record.wholeTree) throw Wrong{record.line, "the tree-delete control belongs to changetype: delete"};
    if (at == lines.size()) throw Wrong{record.line, "the entry has no attributes"};
    for (std::size_t i = at; i < lines.size(); ++i)
        if (lines[i].name == "-" || is(lines[i].name, "dn"))
            throw Wrong{lines[i].line, "\"" + lines[i].name +
                                           "\" does not belong into an entry (is an empty line missing?)"};
    record.attributes.assign(std::make_move_iterator(lines.begin() + static_cast<std::ptrdiff_t>(at)),
                             std::make_move_iterator(lines.end()));
}

void LdifReader::interpretModify(std::vector<LdifLine>& lines, std::size_t at, LdifRecord& record) const {
    record.kind = LdifRecord::Kind::modify;
    while (at < lines.size()) {
        LdifChange change{{}, lines[at].line};
        const auto& verb = lines[at].name;
        if (is(verb, "add"))
            change.modification.operation = LdapModify::add;
        else if (is(verb, "delete"))
            change.modification.operation = LdapModify::remove;
        else if (is(verb, "replace"))
            change.modification.operation = LdapModify::replace;
        else
            throw Wrong{lines[at].line, "expected add:, delete: or replace:, found \"" + verb + "\""};
        change.modification.attribute = lines[at].value;
        for (++at; at < lines.size() && lines[at].name != "-"; ++at) {
            if (!is(lines[at].name, foldText(change.modification.attribute)))
                throw Wrong{lines[at].line, "expected \"" + change.modification.attribute +
                                                ":\" or \"-\", found \"" + lines[at].name + ":\""};
            change.modification.values.push_back(std::move(lines[at].value));
        }
        if (at < lines.size()) ++at;  // the "-"; the last one may be missing
        record.changes.push_back(std::move(change));
    }
    if (record.changes.empty()) throw Wrong{record.line, "the modification changes nothing"};
}

void LdifReader::interpretRename(const std::vector<LdifLine>& lines, std::size_t at,
                                 LdifRecord& record) const {
    record.kind = LdifRecord::Kind::rename;
    for (; at < lines.size(); ++at) {
        const auto& [name, value, line] = lines[at];
        if (is(name, "newrdn"))
            record.newRdn = value;
        else if (is(name, "newsuperior"))
            record.newParent = value;
        else if (is(name, "deleteoldrdn") && (value == "0" || value == "1"))
            record.deleteOldRdn = value == "1";
        else
            throw Wrong{line, "expected newrdn:, deleteoldrdn: (0 or 1) or newsuperior:, found \"" + name +
                                  ": " + value + "\""};
    }
    if (record.newRdn.empty()) throw Wrong{record.line, "the renaming has no newrdn:"};
}

void writeLdifLine(std::string& out, std::string_view name, std::string_view value) {
    const std::string line = ldifLine(name, value);
    out.append(line, 0, lineWidth);
    for (std::size_t at = lineWidth; at < line.size(); at += lineWidth - 1) {
        out += "\n ";
        out.append(line, at, lineWidth - 1);
    }
    out += '\n';
}

}  // namespace wsadmin::platform::lab
