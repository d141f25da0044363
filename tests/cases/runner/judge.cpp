#include "cases/runner/judge.h"

#include <algorithm>
#include <regex>
#include <set>

#include "platform/ldap/ldap_ranges.h"

namespace wstest {

using namespace wsadmin::platform;

namespace {

// "<GUID>" and "<TIME>" stand for any.
bool sameText(const std::string& wanted, const std::string& got) {
    if (wanted.find("<GUID>") == std::string::npos && wanted.find("<TIME>") == std::string::npos)
        return wanted == got;
    std::string pattern = std::regex_replace(wanted, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
    pattern = std::regex_replace(pattern, std::regex("<GUID>"),
                                 "[0-9a-fA-F]{8}(-[0-9a-fA-F]{4}){3}-[0-9a-fA-F]{12}");
    pattern = std::regex_replace(pattern, std::regex("<TIME>"), "[0-9][-0-9TZ:. ]*");
    return std::regex_match(got, std::regex(pattern));
}

class Comparison {
  public:
    explicit Comparison(const Json& unordered) {
        for (std::string& path : textsOf(unordered)) unordered_.insert(std::move(path));
    }

    bool same(const Json& wanted, const Json& got, const std::string& path) const {
        if (wanted.is_string() && got.is_string())
            return sameText(wanted.get_ref<const std::string&>(), got.get_ref<const std::string&>());
        if (!wanted.is_array() || !got.is_array() || wanted.size() != got.size()) return false;
        std::set<std::size_t> taken;
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            if (wanted[i].at(0) != got[i].at(0)) return false;
            const std::string below = (path.empty() ? "" : path + "/") + wanted[i][0].get<std::string>();
            if (!find(wanted[i], got, i, below, taken)) return false;
        }
        return true;
    }
    bool sameValues(const Json& wanted, const Json& got, const std::string& path) const {
        Json pairs[2] = {Json::array(), Json::array()};
        for (const Json& value : wanted) pairs[0].push_back({path, value});
        for (const Json& value : got) pairs[1].push_back({path, value});
        return same(pairs[0], pairs[1], "");
    }

  private:
    // The entry at the same place; of an unordered path any that is still free.
    bool find(const Json& wanted, const Json& got, std::size_t place, const std::string& path,
              std::set<std::size_t>& taken) const {
        if (!unordered_.contains(path)) return same(wanted.at(1), got[place].at(1), path);
        for (std::size_t i = 0; i < got.size(); ++i)
            if (got[i].at(0) == wanted.at(0) && !taken.contains(i) && same(wanted.at(1), got[i].at(1), path))
                return taken.insert(i).second;
        return false;
    }

    std::set<std::string> unordered_;
};

// The values at a path, in order; at "a/b#" their number, and at "a/*" those of any name.
Json valuesAt(const Json& bag, std::string path) {
    const bool counts = path.ends_with('#');
    if (counts) path.pop_back();
    const auto slash = path.find('/');
    const std::string name = path.substr(0, slash);
    Json values = Json::array();
    for (const Json& entry : bag) {
        if (name != "*" && entry.at(0) != name) continue;
        if (slash == std::string::npos)
            values.push_back(entry.at(1));
        else if (entry.at(1).is_array())
            for (const Json& value : valuesAt(entry.at(1), path.substr(slash + 1))) values.push_back(value);
    }
    return counts ? Json::array({std::to_string(values.size())}) : values;
}

std::string shown(const Json& value) {
    constexpr std::size_t most = 3000;
    std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    return text.size() > most ? text.substr(0, most) + " ..." : text;
}

void expect(bool holds, const std::string& what, const Json& wanted, const Json& got, Problems& problems) {
    if (!holds) problems.push_back(what + "\n  expected " + shown(wanted) + "\n  and got  " + shown(got));
}

}  // namespace

Problems judgeAnswer(const Case& one, const Json& answer) {
    const Json &keys = one.keys, &result = answer.at("result");
    const Json error = answer.at("error").is_null() ? Json{{"code", 0}, {"text", ""}} : answer["error"];
    const Comparison comparison(keys.value("unordered", Json::array()));
    Problems problems;
    const bool fails = keys.contains("error");
    const int code = keys.value("code", fails ? 1 : 0);
    // One of several sentences is enough.
    const auto sentences = fails ? textsOf(keys["error"]) : std::vector<std::string>{""};
    const bool said = std::ranges::any_of(
        sentences, [&](const std::string& sentence) { return sameText(sentence, error.at("text")); });
    expect(said && error.at("code") == code, "error", {{"code", code}, {"text", sentences}}, error, problems);
    constexpr int notImplemented = 120;
    const bool handled = keys.value("handled", code != notImplemented);
    expect(answer.at("handled") == handled, "handled", handled, answer["handled"], problems);
    if (keys.contains("answer") || (fails && !keys.contains("has"))) {
        const Json wanted = keys.contains("answer") ? keys["answer"] : Json::array();
        expect(comparison.same(wanted, result, ""), "answer", wanted, result, problems);
    }
    if (keys.contains("has"))
        for (const auto& [path, value] : keys["has"].items()) {
            const Json wanted = value.is_array() ? value : Json::array({value});
            const Json got = valuesAt(result, path);
            expect(comparison.sameValues(wanted, got, path), path, wanted, got, problems);
        }
    const Json nested = keys.value("nested", Json::array()), got = answer.value("nested", Json::array());
    expect(nested == got, "nested", nested, got, problems);
    return problems;
}

Problems judgeLog(const Case& one, std::vector<std::string> lines) {
    Problems problems;
    const bool only = one.keys.value("only", false);
    if (only)
        std::erase_if(lines, [](const std::string& line) {
            return line.starts_with("DEBUG ") || line.starts_with("VERBOSE ");
        });
    auto from = lines.begin();
    if (one.keys.contains("log"))
        for (const std::string& wanted : textsOf(one.keys["log"])) {
            const auto end = only && from != lines.end() ? from + 1 : lines.end();
            const auto found =
                std::find_if(from, end, [&](const std::string& line) { return sameText(wanted, line); });
            if (found == end) {
                expect(false, "log", wanted, std::vector<std::string>(from, lines.end()), problems);
                break;
            }
            from = found + 1;
        }
    if (only && problems.empty() && from != lines.end()) problems.push_back("more is logged: " + *from);
    if (one.keys.value("quiet", false))
        for (const std::string& line : lines)
            if (line.starts_with("WARNING ") || line.starts_with("ERROR "))
                problems.push_back("not quiet: " + line);
    return problems;
}

Problems judgeStored(const Json& stored, const Directories& directories) {
    Problems problems;
    const Comparison asSet("value");
    for (const Json& entry : stored) {
        const std::string dn = entry.at("dn");
        LdapEndpoint endpoint;
        if (entry.contains("in")) endpoint = directories.endpoints.at(entry["in"]);
        const auto session = directories.client->open(endpoint).value();
        const auto bound = session->bind({});
        const auto found =
            session->search({.base = dn,
                             .scope = entry.contains("filter") ? LdapScope::subtree : LdapScope::base,
                             .filter = entry.value("filter", "(objectClass=*)")});
        if (!bound || (!found && found.error().code != ldapNoSuchObject)) {
            problems.push_back("the directory cannot be asked for " + dn);
            continue;
        }
        const bool exists = found && !found->entries.empty();
        for (const auto& [attribute, value] : entry.items()) {
            if (attribute == "dn" || attribute == "in" || attribute == "filter") continue;
            expect(value.is_null() != exists, dn, value.is_null() ? "no entry" : "an entry", exists,
                   problems);
            if (value.is_null() || !exists) continue;
            const Json wanted = textsOf(value);
            Json got = Json::array();
            for (const LdapEntry& one : found->entries) {
                const auto* const values = findValues(one.attributes, attribute);
                if (!values) continue;
                const auto all = allValues(*session, one.dn, *values);  // also when they come in ranges
                for (const std::string& text : all.value()) got.push_back(text);
            }
            expect(asSet.sameValues(wanted, got, "value"), dn + " " + attribute, wanted, got, problems);
        }
    }
    return problems;
}

static bool isGone(const Json& entry) {
    return entry.contains("cn") && entry["cn"].is_null();
}

Json lastStored(const std::vector<Case>& cases) {
    Json last = Json::array();
    for (const Case& one : cases) {
        if (!one.keys.contains("stored")) continue;
        for (const Json& entry : one.keys["stored"]) {
            const auto before = std::ranges::find_if(last, [&](const Json& other) {
                return other["dn"] == entry.at("dn") &&
                       other.value("filter", "") == entry.value("filter", "") &&
                       other.value("in", "") == entry.value("in", "");
            });
            if (before == last.end())
                last.push_back(entry);
            else if (isGone(*before) || isGone(entry))  // no attribute is of two entries
                *before = entry;
            else
                before->update(entry);
        }
    }
    return last;
}

}  // namespace wstest
