// What the tool prints: answers and log lines.
#include <gtest/gtest.h>

#include <sstream>

#include "framework/core/log_topic.h"
#include "host/answer.h"
#include "host/shown_log.h"
#include "host/terminal_text.h"

namespace hdqadmin {
namespace {

Answer answerOf(bool handled, int code, std::wstring_view text = {}) {
    Answer answer;
    answer.handled = handled;
    answer.response.add(L"n", L"v");
    if (code) answer.response.setError(code, text);
    return answer;
}

TEST(Print, AnswersAsJson) {
    struct Case {
        Answer answer;
        const char* json;
    };
    const Case cases[] = {
        {answerOf(true, 0), "{\"handled\": true, \"error\": null, \"result\": [[\"n\", \"v\"]]}\n"},
        {answerOf(false, 120),
         "{\"handled\": false, \"error\": {\"code\": 120, \"text\": \"\"}, \"result\": [[\"n\", \"v\"]]}\n"},
        {answerOf(true, -1, L"Say \"no\""),
         "{\"handled\": true, \"error\": {\"code\": -1, \"text\": \"Say \\\"no\\\"\"}, \"result\": [[\"n\", "
         "\"v\"]]}\n"},
    };
    for (const Case& c : cases) {
        std::ostringstream out;
        printAnswerJson(out, c.answer);
        EXPECT_EQ(out.str(), c.json);
    }
}

TEST(Print, SentencesOfFailures) {
    EXPECT_FALSE(answerOf(true, 0).failed());
    EXPECT_EQ(answerOf(true, 0).sentence(), "");
    EXPECT_EQ(answerOf(true, 1, L"No such server").sentence(), "No such server");
    EXPECT_EQ(answerOf(false, 120).sentence(), "The operation is not known or not available (error 120).");
    EXPECT_EQ(answerOf(true, 7).sentence(), "The request failed (error 7).");
    EXPECT_TRUE(answerOf(false, 0).failed());
    EXPECT_EQ(answerOf(false, 0).sentence(), "The request was not handled.");
}

TEST(Print, TreesForPeople) {
    CORE::PropertyBag entry;
    entry.add(L"dn", L"cn=a\x1b[2Jb");
    entry.add(L"text", L"one\n   two");
    CORE::PropertyBag bag;
    bag.add(L"textmessage", L"Done.");
    bag.add(L"flag", L"");
    bag.addBag(L"list", entry);
    std::ostringstream out;
    printTree(out, bag);
    EXPECT_EQ(out.str(),
              "textmessage: Done.\n"
              "flag:\n"
              "list:\n"
              "  dn: cn=a\\x1b[2Jb\n"
              "  text: one\n"
              "       two\n");
}

TEST(Print, TerminalsAreGivenNothingToObey) {
    const std::pair<std::string_view, const char*> rows[] = {
        {"plain \xC3\xA4 \xF0\x9F\x98\x80", "plain \xC3\xA4 \xF0\x9F\x98\x80"},
        {std::string_view("a\tb\0c\x7f", 6), "a\\x09b\\x00c\\x7f"},
        {"\xC2\x9B\x32J\xC2\xA0", "\\x9b2J\xC2\xA0"},  // a control sequence may begin beyond ASCII
        {"\x9B\x32J", "\xEF\xBF\xBD\x32J"},
        {"one\ntwo", "one\ntwo"},
    };
    for (const auto& [text, shown] : rows) EXPECT_EQ(terminalText(text), shown);
}

TEST(Print, ErrorsOfNestedBags) {
    CORE::PropertyBag inner, outer;
    inner.setError(7, L"Say \"no\"");
    outer.add(L"x", L"");
    outer.addBag(L"inner", inner);
    outer.setError(1, L"one\ntwo");
    Answer answer;
    answer.handled = true;
    answer.response.addBag(L"outer", outer);
    EXPECT_FALSE(answer.failed());
    EXPECT_TRUE(answer.empty());

    std::ostringstream tree, json;
    printTree(tree, answer.response);
    EXPECT_EQ(tree.str(), "outer: error 1: one\n  two\n  x:\n  inner: error 7: Say \"no\"\n");
    printAnswerJson(json, answer);
    EXPECT_EQ(
        json.str(),
        R"({"handled": true, "error": null, "nested": [{"path": "outer", "code": 1, "text": "one\ntwo"}, )"
        R"({"path": "outer/inner", "code": 7, "text": "Say \"no\""}], )"
        R"("result": [["outer", [["x", ""], ["inner", []]]]]})"
        "\n");
}

TEST(Print, LogLines) {
    EXPECT_EQ(logLine(CORE::logError, L"ws_admin", L"a %s\r\nb\x1b[2J\r\n"),
              "ERROR ws_admin: a %s\\nb\\x1b[2J");
    const std::wstring m = L"m", saving = m + std::wstring(CORE::savingTopic);
    const struct {
        int fromLevel, level;
        std::wstring source;
        bool atOnce, afterwards, failsSaving;
    } rows[] = {
        {CORE::logError, CORE::logError, m, true, true, false},
        {CORE::logError, CORE::logWarning, m, false, true, false},
        {CORE::logError, CORE::logInfo, m, false, false, false},
        {CORE::logInfo, CORE::logInfo, m, true, true, false},
        {CORE::logInfo, CORE::logWarning, m, true, true, false},
        {CORE::logError + 1, CORE::logError, m, true, true, false},
        {CORE::logError, CORE::logWarning, m + std::wstring(CORE::securityTopic), true, true, false},
        {CORE::logError, CORE::logWarning, saving, true, true, false},
        {CORE::logError, CORE::logError, saving, true, true, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        std::ostringstream out;
        ShownLog log(out, row.fromLevel);
        CORE::__SysMessage(CORE::logWarning, m, L"of an earlier answer");
        log.forgetWarnings();
        out.str("");
        CORE::__SysMessage(row.level, row.source, L"this");
        EXPECT_EQ(!out.str().empty(), row.atOnce);
        log.showWarnings();
        log.showWarnings();
        EXPECT_EQ(out.str(), row.afterwards ? logLine(row.level, row.source, L"this") + "\n" : "");
        EXPECT_EQ(log.savingFailed(), row.failsSaving);
    }
}

}  // namespace
}  // namespace hdqadmin
