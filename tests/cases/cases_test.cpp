// Every block of every file is a test: on its lab, in this process.
#include <gtest/gtest.h>

#include "cases/in_process.h"

namespace wstest {
namespace {

class InProcess : public testing::TestWithParam<Block> {};

TEST_P(InProcess, AnswersAsTheCasesSay) {
    for (const std::string& problem : runInProcess(GetParam())) ADD_FAILURE() << problem;
}

std::vector<Block> blocks() {
    std::vector<Block> found;
    for (Block& block : readAllCases(WS_SOURCE_DIR "/tests/cases"))
        if (block.on("process")) found.push_back(std::move(block));
    return found;
}

INSTANTIATE_TEST_SUITE_P(Cases, InProcess, testing::ValuesIn(blocks()),
                         [](const auto& instance) { return instance.param.title(); });

}  // namespace
}  // namespace wstest
