// Reading a TOML file that people wrote: every key is asked for by its type, and a key that nobody asked for
// is a mistake. The TOML library takes long to compile: include this where a file is read, never in a header.
#pragma once

#include <toml++/toml.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/core/corestring.h"
#include "platform/result.h"

namespace wsadmin::platform {

// A mistake in the file; thrown, because it ends the reading wherever it is found.
struct TomlMistake {
    unsigned line;
    std::string text;
};

inline unsigned tomlLine(const toml::node& node) {
    return node.source().begin.line;
}

// A table whose keys are asked for one by one; what nobody asked for is unknown, and an error.
class TomlSection {
  public:
    TomlSection(const toml::table& table, std::string name) : table_(table), name_(std::move(name)) {}

    const toml::node* find(std::string_view key) {
        asked_.insert(std::string(key));
        return table_.get(key);
    }
    void text(std::string_view key, std::string& into) {
        if (const auto* node = find(key)) into = textOf(*node, key);
    }
    void text(std::string_view key, std::wstring& into) {
        if (const auto* node = find(key)) into = CORE::toWide(textOf(*node, key));
    }
    // Takes the text out of the table: nothing of it stays there.
    void secret(std::string_view key, CORE::secretstring& into) {
        const auto* node = find(key);
        if (!node) return;
        if (!node->is_string()) throw TomlMistake{tomlLine(*node), full(key) + " is a text in quotes"};
        auto& text = const_cast<std::string&>(node->as_string()->get());  // readToml's table is not const
        into = CORE::secretstring(text);
        CORE::wipeMemory(text.data(), text.size());
    }
    void flag(std::string_view key, bool& into) {
        const auto* node = find(key);
        if (!node) return;
        if (!node->is_boolean()) throw TomlMistake{tomlLine(*node), full(key) + " is true or false"};
        into = node->as_boolean()->get();
    }
    // Into an integer, milliseconds, or an optional of them.
    template <class Number>
    void number(std::string_view key, std::optional<Number>& into, std::int64_t least, std::int64_t most) {
        if (find(key)) number(key, into.emplace(), least, most);
    }
    template <class Number>
    void number(std::string_view key, Number& into, std::int64_t least, std::int64_t most) {
        if (const auto* node = find(key)) into = static_cast<Number>(numberOf(*node, full(key), least, most));
    }
    void milliseconds(std::string_view key, std::chrono::milliseconds& into) {
        std::int64_t count = into.count();
        number(key, count, 0, std::numeric_limits<std::int32_t>::max());
        into = std::chrono::milliseconds(count);
    }
    void texts(std::string_view key, std::vector<std::string>& into) {
        const auto* node = find(key);
        if (!node) return;
        into.clear();
        for (const auto& item : arrayOf(*node, key)) into.push_back(textOf(item, key));
    }
    void ports(std::string_view key, std::vector<std::uint16_t>& into) {
        const auto* node = find(key);
        if (!node) return;
        into.clear();
        for (const auto& item : arrayOf(*node, key))
            into.push_back(static_cast<std::uint16_t>(numberOf(item, full(key), 1, 65535)));
    }
    template <class Each>
    void table(std::string_view key, Each each) {
        const auto* node = find(key);
        if (!node) return;
        if (!node->is_table())
            throw TomlMistake{tomlLine(*node), full(key) + " is a table, [" + full(key) + "]"};
        TomlSection section(*node->as_table(), full(key));
        each(section);
        section.finish();
    }
    template <class Each>
    void tables(std::string_view key, Each each) {
        const auto* node = find(key);
        if (!node) return;
        if (!node->is_array_of_tables())
            throw TomlMistake{tomlLine(*node), full(key) + " is a list of tables, [[" + full(key) + "]]"};
        for (const auto& item : *node->as_array()) {
            TomlSection section(*item.as_table(), full(key));
            each(section);
            section.finish();
        }
    }
    void finish() const {
        for (const auto& [key, node] : table_)
            if (!asked_.contains(std::string(key.str())))
                throw TomlMistake{key.source().begin.line, "there is no key \"" + full(key.str()) + "\""};
    }
    [[noreturn]] void wrong(std::string_view key, const std::string& what) const {
        const auto* node = table_.get(key);
        throw TomlMistake{node ? tomlLine(*node) : tomlLine(table_), what};
    }
    unsigned line() const { return tomlLine(table_); }
    const toml::table& raw() const { return table_; }

    static std::int64_t numberOf(const toml::node& node, const std::string& name, std::int64_t least,
                                 std::int64_t most) {
        const auto* value = node.as_integer();
        if (!value || value->get() < least || value->get() > most)
            throw TomlMistake{tomlLine(node), name + " is a number from " + std::to_string(least) + " to " +
                                                  std::to_string(most)};
        return value->get();
    }

  private:
    std::string full(std::string_view key) const {
        return name_.empty() ? std::string(key) : name_ + "." + std::string(key);
    }
    std::string textOf(const toml::node& node, std::string_view key) const {
        if (!node.is_string()) throw TomlMistake{tomlLine(node), full(key) + " is a text in quotes"};
        return node.as_string()->get();
    }
    const toml::array& arrayOf(const toml::node& node, std::string_view key) const {
        if (!node.is_array()) throw TomlMistake{tomlLine(node), full(key) + " is a list, [ ... ]"};
        return *node.as_array();
    }

    const toml::table& table_;
    std::string name_;
    std::set<std::string> asked_;
};

// A word out of a list, as an enumeration's value.
template <class Value>
void tomlChoice(TomlSection& section, std::string_view key, Value& into,
                const std::vector<std::pair<std::string_view, Value>>& known) {
    std::string word;
    section.text(key, word);
    if (word.empty() && !section.raw().get(key)) return;
    std::string words;
    for (const auto& [name, value] : known) {
        if (name == word) {
            into = value;
            return;
        }
        words += (words.empty() ? "" : ", ") + std::string(name);
    }
    section.wrong(key, std::string(key) + " is one of " + words + ", not \"" + word + "\"");
}

// Reads the whole text: read(TomlSection& top) gets the file's top level. The failure is "file:line: what is
// wrong".
template <class Read>
Result<void> readToml(std::string_view text, std::string_view file, Read read) {
    const auto failure = [&](unsigned line, std::string_view what) {
        return fail(1, CORE::toWide(file) + L":" + std::to_wstring(line) + L": " + CORE::toWide(what));
    };
    try {
        toml::table table = toml::parse(text, file);
        TomlSection top(table, "");
        read(top);
        top.finish();
        return {};
    } catch (const toml::parse_error& wrong) {
        return failure(wrong.source().begin.line, wrong.description());
    } catch (const TomlMistake& wrong) {
        return failure(wrong.line, wrong.text);
    }
}

}  // namespace wsadmin::platform
