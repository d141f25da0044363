#include "host/request.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace hdqadmin {
namespace {

Options oneRequest(std::vector<std::string> pairs) {
    Options options;
    options.task = Options::Task::request;
    options.operation = "op";
    options.pairs = std::move(pairs);
    return options;
}

TEST(Request, PairsFilesAndJsonBecomeOneBagInOrder) {
    const wstest::TempFolder folder;
    Options options =
        oneRequest({"a=1", "a=x=y", "empty=", "p=@" + folder.write("p", "\xEF\xBB\xBFs3cret\r\n"),
                    "raw=@" + folder.write("raw", "two\n\n")});
    options.requestFile = folder.write("r.json", R"([["first", "0"], ["bag", [["in", "1"]]]])");

    auto requests = buildRequests(options);
    ASSERT_TRUE(requests) << requests.error();
    ASSERT_EQ(requests->size(), 1u);
    const CORE::PropertyBag& bag = requests->front().bag;
    const std::pair<const char*, const char*> expected[] = {{"first", "0"},  {"bag", ""},   {"a", "1"},
                                                            {"a", "x=y"},    {"empty", ""}, {"p", "s3cret"},
                                                            {"raw", "two\n"}};
    ASSERT_EQ(bag.size(), std::size(expected));
    for (std::size_t i = 0; i < bag.size(); ++i) {
        EXPECT_EQ(bag.nameUtf8(i), expected[i].first);
        EXPECT_EQ(bag.utf8(i), expected[i].second);
    }
    EXPECT_EQ(bag.getBag(L"bag").get(L"in"), L"1");
}

TEST(Request, WhatCannotBeARequestIsRefused) {
    const wstest::TempFolder folder;
    struct Case {
        std::string pair;
        const char* problem;
    };
    const Case cases[] = {
        {"novalue", "NAME=VALUE"},
        {"=value", "NAME=VALUE"},
        {"p=@" + folder.utf8("missing"), "missing"},
        {"p=@" + folder.utf8(""), "is a folder"},
        {"p=@" + folder.write("latin1", "gr\xfc\xdf"), "not valid UTF-8"},
    };
    for (const Case& c : cases) {
        const auto requests = buildRequests(oneRequest({"ok=1", c.pair}));
        ASSERT_FALSE(requests) << c.pair;
        EXPECT_NE(requests.error().find(c.problem), std::string::npos) << requests.error();
    }
    Options broken = oneRequest({});
    broken.requestFile = folder.write("r.json", "[[\"a\", 1]]");
    const auto requests = buildRequests(broken);
    ASSERT_FALSE(requests);
    EXPECT_NE(requests.error().find("r.json"), std::string::npos) << requests.error();
}

TEST(Request, ABatchIsALineEach) {
    const wstest::TempFolder folder;
    Options options;
    options.batchFile = folder.write("good",
                                     "{\"operation\": \"one\"}\r\n\n  \n"
                                     "{\"request\": [[\"a\", \"1\"]], \"operation\": \"\"}");
    const auto good = buildRequests(options);
    ASSERT_TRUE(good) << good.error();
    ASSERT_EQ(good->size(), 2u);
    EXPECT_EQ((*good)[0].operation, "one");
    EXPECT_TRUE((*good)[0].bag.empty());
    EXPECT_EQ((*good)[1].operation, "");
    EXPECT_EQ((*good)[1].bag.get(L"a"), L"1");

    const char* const bad[] = {"[]",
                               "{}",
                               "{\"operation\": 1}",
                               "{\"operation\": \"a\", \"requst\": []}",
                               "{\"operation\": \"a\", \"request\": {}}",
                               "{\"operation\": \"Diag\\u0000\"}",
                               "nonsense"};
    for (const char* line : bad) {
        options.batchFile = folder.write("bad", std::string("{\"operation\": \"one\"}\n\n") + line + "\n");
        const auto requests = buildRequests(options);
        ASSERT_FALSE(requests) << line;
        EXPECT_NE(requests.error().find("line 3: "), std::string::npos) << requests.error();
    }
}

}  // namespace
}  // namespace hdqadmin
