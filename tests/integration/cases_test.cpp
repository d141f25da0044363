// The cases of tests/cases, asked with the tools of both builds: on labs, and on the servers of with-pod and
// with-corp where a block says so.
#include <gtest/gtest.h>

#include <functional>

#include "cases/runner/lab_folder.h"
#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

using wstest::Block;
using wstest::Case;
using wstest::Problems;

// Where a block's cases are asked, and what stands there afterwards.
struct Place {
    std::string name;
    std::vector<std::string> options;
    std::function<wstest::Directories()> directories;
};

// One process, whose answers and changes the cases tell.
void ask(Build build, const Place& place, const std::vector<Case>& cases) {
    std::vector<Request> requests;
    for (const Case& one : cases) requests.push_back({one.operation(), one.request()});
    const auto answers = askAll(build, place.options, requests);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE("line " + std::to_string(cases[i].line) + ", " + cases[i].name());
        for (const std::string& problem : judgeAnswer(cases[i], wstest::outcomeOf(answers[i].json)))
            ADD_FAILURE() << problem << "\n" << answers[i].errors;
    }
    for (const std::string& problem : judgeStored(wstest::lastStored(cases), place.directories()))
        ADD_FAILURE() << "after line " << cases.back().line << ": " << problem;
}

// What a lab or the Windows tool, which takes a second to start, has stored shows at the block's end only.
void askAllOf(Build build, const Place& place, const Block& block) {
    std::vector<Case> batch;
    for (const Case& one : block.cases) {
        if (!one.askedAt(place.name) || !one.askedAt(testing::PrintToString(build))) continue;
        batch.push_back(one);
        if (build != Build::native || place.name != "samba" || !one.keys.contains("stored")) continue;
        ask(build, place, batch);
        batch.clear();
    }
    if (!batch.empty()) ask(build, place, batch);
}

class Tools : public testing::TestWithParam<std::tuple<Build, std::string, Block>> {};

TEST_P(Tools, AnswerAsTheCasesSay) {
    const auto& [build, place, block] = GetParam();
    if (place == "samba") {
        const ServerState server;
        askAllOf(build, {place, server.options(), [&] { return server.directories(); }}, block);
        return;
    }
    const wstest::LabFolder folder(block, WS_SOURCE_DIR);
    askAllOf(build, {place, {"--save", "--lab", folder.path().string()}, [&] { return folder.saved(); }},
             block);
}

std::vector<std::tuple<Build, std::string, Block>> everywhere() {
    std::vector<std::tuple<Build, std::string, Block>> all;
    for (const Block& block : wstest::readAllCases(WS_SOURCE_DIR "/tests/cases"))
        for (const char* place : {"tools", "samba"})
            for (const Build build : {Build::native, Build::windows})
                if (block.on(place)) all.emplace_back(build, place, block);
    return all;
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Build, std::string, Block>>& instance) {
    const auto& [build, place, block] = instance.param;
    return testing::PrintToString(build) + "_" + place + "_" + block.title();
}
INSTANTIATE_TEST_SUITE_P(Cases, Tools, testing::ValuesIn(everywhere()), nameOf);

}  // namespace
}  // namespace integration
