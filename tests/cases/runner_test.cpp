// A runner that sees nothing wrong would pass everything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "cases/in_process.h"

namespace wstest {
namespace {

const std::string lab = R"({"lab": "tests/servers/lab", "toml": "[clock]\nnow = \"2026-01-01T00:00:00Z\""})"
                        "\n";

TEST(Runner, SeesWhatIsWrong) {
    std::ifstream lines(WS_SOURCE_DIR "/tests/cases/runner/wrong.jsonl");
    std::string names, line;
    while (std::getline(lines, line)) {
        if (line.front() == '#') continue;
        SCOPED_TRACE(line);
        Json one = Json::parse(line);
        if (one.contains("let")) {
            names = line + "\n";
            continue;
        }
        const std::string problem = one["problem"];
        one.erase("problem");
        if (!one.contains("case") && !one.contains("lab")) one["case"] = "c";
        Problems problems;
        try {
            problems = runInProcess(readCases("wrong", names + lab + one.dump()).back());
        } catch (const std::exception& refused) {
            problems.push_back(refused.what());
        }
        if (problem.empty())
            EXPECT_THAT(problems, testing::IsEmpty());
        else
            EXPECT_THAT(problems, testing::Contains(testing::HasSubstr(problem)));
    }
    EXPECT_FALSE(names.empty());
    EXPECT_ANY_THROW(readCases("wrong", R"({"case": "c", "op": "o", "answer": []})")) << "it has no lab";
}

// What is left is what stands at a block's end.
TEST(Runner, ExpectsTheLastOfWhatIsStored) {
    const std::vector<Case> cases = {
        {1, Json::parse(R"({"stored": [{"dn": "a", "x": "1", "y": "1"}, {"dn": "b", "x": "1"}]})")},
        {2, Json::parse(R"({"stored": [{"dn": "a", "x": "2"}]})")}};
    EXPECT_EQ(lastStored(cases).dump(), R"([{"dn":"a","x":"2","y":"1"},{"dn":"b","x":"1"}])");
}

}  // namespace
}  // namespace wstest
