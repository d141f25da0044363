// The data of the fault sweep: which codes a call fails with; and out of answers.jsonl, what is asked beside
// the examples of the operation table, and which answers are neither complete nor an error.
#pragma once

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "support/sanitizers.h"

namespace sweep {

struct Code {
    int code;
    bool lasting = false;  // the port stays dead
};
struct CodesOfCalls {
    std::string_view calls;  // how their names begin; the first row that fits counts
    std::vector<Code> codes;
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

inline constexpr int answeredWithError = 1, notHandled = 2;  // of a message

// The codes that a call fails with, one at a time.
inline const std::vector<Code>& codesOf(std::string_view call) {
    using namespace wsadmin::platform;
    constexpr int systemNoName = 1355, systemNoPath = 3, systemDenied = 5, systemNoFile = 2,
                  replicationDenied = 8453;
    static const std::vector<CodesOfCalls> table = {
        {"ldap open", {{ldapServerDown, true}}},
        {"ldap bind", {{ldapServerDown, true}, {ldapInvalidCredentials}}},
        {"ldap search", {{ldapServerDown, true}, {ldapFilterError}}},
        {"ldap ", {{ldapServerDown, true}, {ldapInsufficientRights}, {ldapNoSuchObject}}},
        {"ads setPreference", {{adsBadParameter}}},
        {"ads column", {{adsUnspecified}}},
        {"ads get", {{adsServerDown, true}, {adsPropertyNotFound}}},
        {"ads next", {{adsServerDown, true}, {adsAccessDenied}}},
        {"ads ", {{adsServerDown, true}, {adsAccessDenied}, {adsNoSuchObject}}},
        {"accounts bufferSizesFor", {{accountNoServer, true}, {accountNoneMapped}}},
        {"accounts token", {{accountInsufficientBuffer}, {accountNotEnoughMemory}, {accountNoServer}}},
        {"accounts logOn", {{accountNoServer}, {accountNoSuchPackage}, {accountDisabled}}},
        {"accounts ", {{accountNoServer, true}, {accountNoToken}}},
        {"agents ", {{1}}},
        {"names ", {{systemNoName}}},
        {"folders ", {{systemNoPath}}},
        {"registry ", {{systemDenied}}},
        {"processes ", {{systemNoFile}}},
        {"environment ", {{systemDenied}}},
        {"firewall ", {{static_cast<int>(0x80070005U)}}},  // access denied
        {"filtering ", {{systemDenied}}},
        {"commands ", {{systemNoFile}}},
        {"files ", {{systemDenied}}},
        {"services ", {{systemDenied}}},
        {"network ", {{systemDenied}}},
        {"replication addLink", {{replicationDenied}, {replicationBusy}}},
        {"replication ", {{replicationDenied}}},
        {"message ", {{answeredWithError}, {notHandled}}},
    };
    for (const CodesOfCalls& row : table)
        if (call.starts_with(row.calls)) return row.codes;
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
    std::ifstream lines(WS_SOURCE_DIR "/tests/sweep/answers.jsonl");
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('#')) continue;
        const auto row = nlohmann::json::parse(line);
        if (row.contains("ask")) {
            if (row["ask"] == operation) data.requests.push_back(row.at("keys"));
            continue;
        }
        if (std::ranges::count(row.at("answers"), nlohmann::json(operation)) == 0) continue;
        for (const auto& fault : row.at("when"))
            data.partialAnswers.push_back({fault, row.at("kind"), row.value("answer", ""), row.at("why")});
    }
    return data;
}

}  // namespace sweep
