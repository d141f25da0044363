// The cases of tests/cases, asked with the tools of both builds on labs and on the servers of with-pod and
// with-corp, where a block says so, and all of them over a channel to a host that has the lab.
#include <filesystem>
#include <functional>
#include <map>

#include "cases/runner/lab_folder.h"
#include "integration/directory.h"
#include "integration/running_host.h"

namespace integration {
namespace {

using wstest::Block;
using wstest::Case;
using wstest::Problems;

// Where a block's cases are asked, and what stands there afterwards.
struct Place {
    std::string name;
    Words options;
    std::function<wstest::Directories()> directories;
};

// One process, whose answers and changes the cases tell.
void ask(Build build, const Place& place, const std::vector<Case>& cases) {
    std::vector<Request> requests;
    for (const Case& one : cases) requests.push_back({one.operation(), one.request()});
    const auto answers = askAll(build, place.options, requests);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE("line " + std::to_string(cases[i].line) + ", " + cases[i].name());
        for (const std::string& problem : judgeAnswer(cases[i], answers[i].json))
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

std::map<std::string, std::string> filesIn(const wstest::TempFolder& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        files[entry.path().filename().string()] = wstest::fileText(entry.path());
    return files;
}

class Host : public testing::TestWithParam<Block> {};

// Byte for byte, from the same files. What the host has saved is judged only in blocks that run with the
// tools: elsewhere the cases that are left out change it, too.
TEST_P(Host, AnswersOverAChannelAsTheToolInProcess) {
    const Block& block = GetParam();
    const wstest::LabFolder lab(block, WS_SOURCE_DIR);
    std::vector<Request> requests;
    for (const Case& one : block.cases) requests.push_back({one.operation(), one.request()});
    const wstest::TempFolder own, received;  // take copies of agents' files
    const Outcome inProcess =
        askBatch(Build::native, {"--lab", lab.path().string()}, requests, {"env", "-C", own.path().string()});
    RunningHost host("lab = '" + lab.path().string() + "'\nsave = true\n[files]\nreceived = ['" +
                     received.path().string() + "']\n");
    const Outcome overChannel = askBatch(Build::native, host.makeTicket("all"), requests);
    EXPECT_EQ(overChannel.output, inProcess.output) << overChannel.errors;
    EXPECT_EQ(filesIn(received), filesIn(own));
    EXPECT_EQ(host.stop(), 0);
    if (block.on("tools"))
        for (const std::string& problem : judgeStored(wstest::lastStored(block.cases), lab.saved()))
            ADD_FAILURE() << problem;
}

// The blocks with what can be asked from outside: without faults, and without a clock that is moved on.
std::vector<Block> askedFromOutside() {
    auto blocks = wstest::readAllCases(WS_SOURCE_DIR "/tests/cases");
    for (Block& block : blocks)
        std::erase_if(block.cases,
                      [](const Case& one) { return !one.askedAt("host") || !one.askedAt("native"); });
    std::erase_if(blocks, [](const Block& block) { return block.cases.empty(); });
    return blocks;
}
INSTANTIATE_TEST_SUITE_P(Cases, Host, testing::ValuesIn(askedFromOutside()),
                         [](const auto& instance) { return instance.param.title(); });

}  // namespace
}  // namespace integration
