#include "host/options.h"

#include <gtest/gtest.h>

namespace hdqadmin {
namespace {

using Words = std::vector<std::string>;

TEST(Options, CommandLinesThatAreUnderstood) {
    const auto plain =
        parseOptions({"setClusterName", "clustername=a=b", "--json", "clustername=", "--log", "Info"});
    ASSERT_TRUE(plain) << plain.error();
    EXPECT_EQ(plain->task, Options::Task::request);
    EXPECT_EQ(plain->operation, "setClusterName");
    EXPECT_EQ(plain->pairs, (Words{"clustername=a=b", "clustername="}));
    EXPECT_TRUE(plain->json);
    EXPECT_EQ(plain->logLevel, 2);

    struct Case {
        Words words;
        Options::Task task;
    };
    using enum Options::Task;
    const Case cases[] = {
        {{"--help"}, help},
        {{"-h"}, help},
        {{"--list"}, list},
        {{"--list", "--json"}, list},
        {{"Diag", "--help"}, describe},
        {{"--help", "Diag"}, describe},
        {{""}, request},  // an empty name is the system's to refuse
        {{"Diag ", "x=[1,2]"}, request},
        {{"Diag", "--request", "-", "a=1"}, request},
        {{"--batch", "file", "--lab", "lab", "--save"}, batch},
        {{"Diag", "--connect", "host:1", "--ticket", "t"}, request},
    };
    for (const Case& c : cases) {
        const auto options = parseOptions(c.words);
        ASSERT_TRUE(options) << testing::PrintToString(c.words) << options.error();
        EXPECT_EQ(options->task, c.task) << testing::PrintToString(c.words);
    }
    EXPECT_EQ(parseOptions({""})->operation, "");
    EXPECT_EQ(parseOptions({"Diag", "x=[1,2]"})->pairs, Words{"x=[1,2]"});
}

TEST(Options, CommandLinesThatAreWrong) {
    struct Case {
        Words words;
        const char* problem;  // part of the sentence
    };
    const Case cases[] = {
        {{}, "no operation"},
        {{"--json"}, "no operation"},
        {{"--frobnicate"}, "--frobnicate"},
        {{"Diag", "[a=1,b=2]"}, "bracket"},
        {{"Diag", "--lab"}, "--lab"},
        {{"Diag", "--lab", "a", "--lab", "b"}, "--lab"},
        {{"Diag", "--lab", "a", "--config", "b"}, "exclude"},
        {{"Diag", "--lab", "a", "--connect", "b", "--ticket", "t"}, "exclude"},
        {{"Diag", "--connect", "host:1"}, "--ticket"},
        {{"Diag", "--ticket", "t"}, "--connect"},
        {{"Diag", "--config", "f", "--save"}, "--save needs --lab"},
        {{"Diag", "--save"}, "--save needs --lab"},
        {{"Diag", "--log", "loud"}, "--log"},
        {{"--list", "Diag"}, "--list"},
        {{"--batch", "f", "Diag"}, "--batch"},
        {{"--request", "f"}, "--request"},
    };
    for (const Case& c : cases) {
        const auto options = parseOptions(c.words);
        ASSERT_FALSE(options) << testing::PrintToString(c.words);
        EXPECT_NE(options.error().find(c.problem), std::string::npos) << options.error();
    }
}

}  // namespace
}  // namespace hdqadmin
