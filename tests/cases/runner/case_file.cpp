#include "cases/runner/case_file.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "support/temp_folder.h"

namespace wstest {

namespace {

using Names = std::map<std::string, std::string>;

// "$NAME" becomes what stands for it; a "$" before anything else is one.
std::string replaced(const std::string& text, const Names& names) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        while (end < text.size() && (std::isalnum(static_cast<unsigned char>(text[end])) || text[end] == '_'))
            ++end;
        if (text[at] != '$' || end == at + 1) {
            out += text[at++];
            continue;
        }
        const auto name = names.find(text.substr(at + 1, end - at - 1));
        if (name == names.end()) throw std::runtime_error("nothing stands for " + text.substr(at, end - at));
        out += name->second;
        at = end;
    }
    return out;
}

// {"for": [1, 3], "text": "a<N>"} is the texts a1, a2, a3.
bool isSeries(const Json& value) {
    return value.is_object() && value.contains("for");
}
Json textsOfSeries(const Json& series, const Names& names) {
    const std::string text = replaced(series.at("text"), names);
    Json texts = Json::array();
    for (int number = series.at("for").at(0); number <= series.at("for").at(1); ++number) {
        std::string one = text;
        for (std::size_t at = 0; (at = one.find("<N>", at)) != std::string::npos;)
            one.replace(at, 3, std::to_string(number));
        texts.push_back(one);
    }
    return texts;
}

Json expanded(const Json& value, const Names& names) {
    if (value.is_string()) return replaced(value, names);
    if (isSeries(value)) return textsOfSeries(value, names);
    Json out = value;
    if (value.is_object()) {
        out = Json::object();
        for (const auto& [key, one] : value.items()) out[replaced(key, names)] = expanded(one, names);
    }
    if (value.is_array()) {
        out = Json::array();
        for (const Json& one : value) {
            Json all = expanded(one, names);
            if (!isSeries(one)) all = Json::array({all});
            out.insert(out.end(), all.begin(), all.end());
        }
    }
    return out;
}

void refuseUnknown(const Json& line, const std::set<std::string>& known) {
    for (const auto& [key, unused] : line.items())
        if (!known.contains(key)) throw std::runtime_error("there is no key \"" + key + "\"");
}

void checkCase(const Case& one) {
    refuseUnknown(one.keys,
                  {"case",    "op",        "in",     "request", "answer", "has",   "error", "code",
                   "handled", "nested",    "stored", "faults",  "log",    "quiet", "wait",  "searches",
                   "changes", "unordered", "files",  "not",     "fault",  "only"});
    static_cast<void>(one.name());
    static_cast<void>(one.operation());
    static_cast<void>(one.request());
    const bool expects =
        one.keys.contains("answer") || one.keys.contains("has") || one.keys.contains("error");
    if (!expects) throw std::runtime_error("a case expects \"answer\", \"has\" or \"error\"");
}

}  // namespace

Json Case::request() const {
    if (keys.contains("request")) return keys["request"];
    Json bag = Json::array();
    if (keys.contains("in"))
        for (const auto& [key, value] : keys["in"].items())
            for (const std::string& text : textsOf(value)) bag.push_back({key, text});
    return bag;
}

bool Case::askedAt(const std::string& place) const {
    if (keys.contains("not") && keys["not"].contains(place)) return false;
    return place == "process" ||
           !(keys.contains("faults") || keys.contains("fault") || keys.contains("wait"));
}

bool Block::on(const std::string& where) const {
    if (!keys.contains("on")) return where == "process";
    return std::ranges::count(keys["on"], Json(where)) > 0;
}

std::vector<std::string> textsOf(const Json& value) {
    if (value.is_string()) return {value.get<std::string>()};
    return value.get<std::vector<std::string>>();
}

std::vector<Block> readCases(const std::string& group, const std::string& text) {
    std::vector<Block> blocks;
    Names ofFile, names;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.empty() || line.front() == '#') continue;
        try {
            const Json raw = Json::parse(line);
            const bool opens = raw.contains("lab");
            if (opens) names = ofFile;
            if (raw.contains("let"))
                for (const auto& [name, value] : raw["let"].items())
                    names[name] = replaced(value.get<std::string>(), names);
            if (!opens && raw.contains("let")) {
                refuseUnknown(raw, {"let"});
                ofFile = names;
            } else if (opens) {
                blocks.push_back({group, number, expanded(raw, names), {}});
                refuseUnknown(raw, {"lab", "toml", "without", "ldif", "ipv6", "on", "let"});
            } else {
                const Case one{number, expanded(raw, names)};
                checkCase(one);
                if (blocks.empty()) throw std::runtime_error("a case stands in a block");
                blocks.back().cases.push_back(one);
            }
        } catch (const std::exception& wrong) {
            throw std::runtime_error(group + ".jsonl:" + std::to_string(number) + ": " + wrong.what());
        }
    }
    return blocks;
}

std::vector<Block> readAllCases(const std::filesystem::path& folder) {
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".jsonl") files.insert(entry.path());
    std::vector<Block> all;
    for (const auto& file : files)
        for (Block& block : readCases(file.stem(), fileText(file))) all.push_back(std::move(block));
    return all;
}

}  // namespace wstest
