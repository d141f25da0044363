// The files of cases: blocks, each on a fresh lab, and their cases in order. README.md tells what they hold.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace wstest {

using Json = nlohmann::ordered_json;

struct Case {
    int line = 0;
    Json keys;

    const std::string& name() const { return keys.at("case").get_ref<const std::string&>(); }
    const std::string& operation() const { return keys.at("op").get_ref<const std::string&>(); }
    Json request() const;  // a bag, as the tool's JSON has it
    // Faults and waiting are for the process that holds the lab; "not" leaves out a place.
    bool askedAt(const std::string& place) const;
};

struct Block {
    std::string group;  // the file's name
    int line = 0;
    Json keys;
    std::vector<Case> cases;

    bool on(const std::string& where) const;  // "process", "tools", "samba"
    std::string title() const { return group + "_" + std::to_string(line); }
};

inline void PrintTo(const Block& block, std::ostream* out) {
    *out << block.title();
}

// Throws with file and line what is wrong.
std::vector<Block> readCases(const std::string& group, const std::string& text);
// Those of all files of the folder.
std::vector<Block> readAllCases(const std::filesystem::path& folder);

// A text, or a list of them.
std::vector<std::string> textsOf(const Json& value);

}  // namespace wstest
