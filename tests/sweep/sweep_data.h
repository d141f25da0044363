// The data of the fault sweep: out of codes.jsonl, which codes a call fails with; out of answers.jsonl, what
// is asked beside the examples of the operation table, and which answers are neither complete nor an error.
#pragma once

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/sanitizers.h"

namespace sweep {

struct Code {
    int code;
    bool lasting = false;  // the port stays dead
};

// Of so many calls of one kind each fails with all its codes, of further ones with one of them in turn. A
// sanitizer sees one call of each kind fail in all requests of an operation, otherwise each request counts
// anew.
inline constexpr std::size_t manyOfAKind = wstest::underSanitizer ? 0 : 3;
inline constexpr std::size_t mostOfAKind = wstest::underSanitizer ? 1 : 1'000'000;

// What the thread sanitizer alone sees is where threads ask the domains side by side; the rest of a request
// is one thread, which the native run and the address sanitizer let fail call by call.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool onlyRaces = true;
#else
inline constexpr bool onlyRaces = false;
#endif

inline constexpr int notHandled = 2;  // the code of a message to whose worker nobody listens

using Row = nlohmann::ordered_json;

// The rows of a file beside this one.
inline std::vector<Row> rowsOf(const std::string& file) {
    std::vector<Row> rows;
    std::ifstream lines(WS_SOURCE_DIR "/tests/sweep/" + file);
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with('#')) rows.push_back(Row::parse(line));
    return rows;
}

inline std::vector<Code> codesOf(std::string_view call) {
    static const auto rows = rowsOf("codes.jsonl");
    for (const auto& row : rows) {
        if (!call.starts_with(row.at("calls").get<std::string>())) continue;
        std::vector<Code> codes;
        for (const auto& [what, code] : row.at("codes").items())
            codes.push_back({code, what.ends_with(" for good")});
        return codes;
    }
    throw std::logic_error("no codes are known for " + std::string(call));
}

// What stands for all faults of the calls by which a service learns the domains.
inline constexpr std::string_view learningDomains = "learning the domains";

struct PartialAnswer {
    std::string fault;   // how the name of the fault begins: the failing call, or `learningDomains`
    std::string kind;    // "fewer entries", "changes missing", "other"
    std::string answer;  // of "other": the answer, with * for any text
    std::string why;
};
struct SweepData {
    std::vector<std::string> requests;  // as typed to the tool
    std::vector<PartialAnswer> partialAnswers;
};

// Of one operation.
inline SweepData readSweepData(const std::string& operation) {
    SweepData data;
    for (const auto& row : rowsOf("answers.jsonl")) {
        if (row.contains("ask") && row["ask"] == operation) data.requests.push_back(row.at("keys"));
        if (row.contains("ask") || std::ranges::count(row.at("answers"), Row(operation)) == 0) continue;
        for (const auto& fault : row.at("when"))
            data.partialAnswers.push_back({fault, row.at("kind"), row.value("answer", ""), row.at("why")});
    }
    return data;
}

}  // namespace sweep
