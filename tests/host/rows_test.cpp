// The plain functions of this folder over rows.jsonl, and what data cannot say of them. What is refused is
// "! " and the sentence.
#include "support/rows.h"

#include "framework/core/framework.h"
#include "host/answer.h"
#include "host/bag_json.h"
#include "host/described.h"
#include "host/plugin.h"
#include "host/request_check.h"
#include "host/service/permit.h"
#include "host/shown_log.h"
#include "host/terminal_text.h"
#include "support/temp_folder.h"

namespace hdqadmin {
namespace {

using CORE::PropertyBag;
using wstest::Json;

Outcome<PropertyBag> read(const std::string& text) {
    auto value = parseJson(text);
    if (!value) return refuse(value.error());
    return bagFromJson(*value);
}
std::string written(const PropertyBag& bag) {
    std::ostringstream out;
    writeJson(out, bag);
    return out.str();
}

Json bag(const Json& in) {
    const auto bag = read(in);
    return bag ? written(*bag) : "! " + bag.error();
}

// What is set of them.
Json options(const Json& in) {
    const auto parsed = parseOptions(in.get<std::vector<std::string>>());
    if (!parsed) return "! " + parsed.error();
    const Options& o = *parsed;
    constexpr const char* tasks[] = {"help", "list", "describe", "request", "batch", "encrypt"};
    Json shown;
    shown["task"] = tasks[static_cast<int>(o.task)];
    const std::pair<const char*, std::optional<std::string>> texts[] = {
        {"operation", o.operation},  {"request", o.requestFile},
        {"batch", o.batchFile},      {"lab", o.lab},
        {"config", o.configuration}, {"connect", o.connect},
        {"ticket", o.ticket},        {"machine", o.machine}};
    for (const auto& [name, value] : texts)
        if (value) shown[name] = *value;
    if (!o.pairs.empty()) shown["pairs"] = o.pairs;
    const std::pair<const char*, bool> flags[] = {
        {"json", o.json}, {"save", o.save}, {"unchecked", o.unchecked}};
    for (const auto& [name, given] : flags)
        if (given) shown["flags"].push_back(name);
    if (o.logLevel) shown["log"] = *o.logLevel;
    return shown;
}

Json requests(const Json& in) {
    const wstest::TempFolder folder;
    if (in.contains("files"))
        for (const auto& [name, text] : in["files"].items()) folder.write(name, text.get<std::string>());
    Options options;
    options.operation = "op";
    if (in.contains("request"))
        options.requestFile = folder.write("request", in["request"].get<std::string>());
    if (in.contains("batch")) options.batchFile = folder.write("batch", in["batch"].get<std::string>());
    for (std::string pair : in.value("pairs", std::vector<std::string>())) {
        if (const auto file = pair.find("=@"); file != std::string::npos)
            pair.replace(file + 2, std::string::npos, folder.utf8(pair.substr(file + 2)));
        options.pairs.push_back(pair);
    }
    const auto built = buildRequests(options);
    if (!built) return "! " + built.error();
    Json shown = Json::array();
    for (const Request& one : *built) shown.push_back(Json::array({one.operation, written(one.bag)}));
    return shown;
}

Json checked(const PropertyBag& operations, const Json& in) {
    std::vector<Request> typed(1);
    typed[0].operation = in[0];
    typed[0].bag = read(in[1].dump()).value();
    const auto found = checkRequests(operations, typed);
    return found ? "fine" : "! " + found.error();
}

// The request with its encrypted values in braces; the host's answer to an empty one is a failure.
Json encrypted(const PropertyBag& operations, const Json& in) {
    std::vector<Request> typed(1);
    typed[0].operation = in[0];
    typed[0].bag = read(in[1].dump()).value();
    typed[0].unseen = in[2];
    const auto done = encryptUnseen(operations, typed, [](std::string_view plain) -> Outcome<std::string> {
        if (plain.empty()) return refuse("no key");
        return "{" + std::string(plain) + "}";
    });
    return done ? written(typed[0].bag) : "! " + done.error();
}

// An entry "!" is the bag's error.
PropertyBag withErrors(const Json& entries) {
    PropertyBag bag;
    for (const Json& entry : entries) {
        const std::string name = entry[0];
        if (name == "!")
            bag.setError(entry[1], CORE::toWide(entry[2].get<std::string>()));
        else if (entry[1].is_string())
            bag.addUtf8(name, entry[1].get<std::string>());
        else
            bag.addBagUtf8(name, withErrors(entry[1]));
    }
    return bag;
}

Json answer(const Json& in) {
    const Answer answer{in[0], withErrors(in[1])};
    std::ostringstream tree, json;
    printTree(tree, answer.response);
    printAnswerJson(json, answer);
    EXPECT_EQ(answer.sentence().empty(), !answer.failed());
    return Json::array({answer.failed() ? Json(answer.sentence()) : Json(), tree.str(), json.str()});
}

Json logged(const Json& in) {
    const int level = in[1];
    const std::wstring source = CORE::toWide(in[2].get<std::string>());
    std::ostringstream out;
    ShownLog log(out, in[0]);
    CORE::__SysMessage(CORE::logWarning, L"m", L"of an earlier answer");
    log.forgetWarnings();
    out.str("");
    CORE::__SysMessage(level, source, L"this");
    const bool atOnce = !out.str().empty();
    log.showWarnings();
    log.showWarnings();
    EXPECT_TRUE(out.str().empty() || out.str() == logLine(level, source, L"this") + "\n") << out.str();
    return Json::array({atOnce, !out.str().empty(), log.savingFailed()});
}

// What is shown of a log, line by line, each with its level; and the state flags at the end.
Json progress(const Json& in) {
    std::ostringstream out;
    const std::map<std::string, Progress::Form> forms{
        {"bar", Progress::Form::bar}, {"lines", Progress::Form::lines}, {"none", Progress::Form::none}};
    ShownLog log(out, CORE::logError, forms.at(in[0]));
    Json shown = Json::array();
    for (const auto& line : in[1]) {
        out.str("");
        CORE::__SysMessage(line[0], L"m", L"%s", CORE::toWide(line[1].get<std::string>()).c_str());
        shown.push_back(out.str());
    }
    out.str("");
    log.endProgress();
    shown.push_back(out.str());
    shown.push_back(log.stateFlags());
    return shown;
}

TEST(Rows, OfTheTool) {
    const auto plugin = Plugin::load();
    ASSERT_TRUE(plugin) << plugin.error();
    const PropertyBag operations = (*plugin)->describe();
    wstest::tryRows(WS_SOURCE_DIR "/tests/host/rows.jsonl",
                    {{"bag", bag},
                     {"options", options},
                     {"requests", requests},
                     {"checked", [&](const Json& in) { return checked(operations, in); }},
                     {"encrypted", [&](const Json& in) { return encrypted(operations, in); }},
                     {"answer", answer},
                     {"hasText",
                      [](const Json& in) {
                          return !Answer{true, withErrors(in)}.empty();
                      }},
                     {"shown", [](const Json& in) { return terminalText(in.get<std::string>()); }},
                     {"line",
                      [](const Json& in) {
                          return logLine(in[0], CORE::toWide(in[1].get<std::string>()),
                                         CORE::toWide(in[2].get<std::string>()));
                      }},
                     {"logged", logged},
                     {"progress", progress}});
}

// What is no text cannot stand in the file.
TEST(Rows, OfBytes) {
    for (const char* text : {"[[\"a\", \"\xff\"]]", "[[\"a\", \"\xed\xa0\x80\"]]"})
        EXPECT_TRUE(wstest::hasPart(bag(text), "UTF-8")) << bag(text);
    EXPECT_EQ(terminalText("\x9B\x32J"), "\xEF\xBF\xBD\x32J");
    const wstest::TempFolder folder;
    Options latin1;
    latin1.pairs = {"p=@" + folder.write("latin1", "gr\xfc\xdf")};
    EXPECT_TRUE(wstest::hasPart(buildRequests(latin1).error(), "not valid UTF-8"));
}

TEST(BagJson, HasMoreThanOnePieceButNoDepthWithoutLimitAndItsDocumentIsWiped) {
    PropertyBag great;
    for (int i = 0; i < 20000; ++i) great.addUtf8("name", i % 3 ? "plain" : "line\nfeed");
    great.addUtf8("last", std::string(200000, 'x'));
    const auto again = read(written(great));
    ASSERT_TRUE(again) << again.error();
    ASSERT_EQ(again->size(), great.size());
    for (std::size_t i = 0; i < great.size(); ++i) ASSERT_EQ(again->utf8(i), great.utf8(i)) << i;
    const auto nested = [](int depth) {
        std::string text = "[]";
        for (int i = 1; i < depth; ++i) text = "[[\"b\", " + text + "]]";
        return text;
    };
    EXPECT_TRUE(read(nested(100)));
    EXPECT_EQ(bag(nested(101)), "! bags are nested too deep");
    EXPECT_FALSE(read(std::string(1'000'000, '[')));
    auto value = parseJson(R"([["password", "a long secret that is on the heap"]])");
    ASSERT_TRUE(value);
    ASSERT_TRUE(bagFromJson(*value));
    EXPECT_EQ(value->dump().find("secret"), std::string::npos);
}

TEST(Permit, IsWhatTheRowOfEachOperationSaysItChanges) {
    const auto plugin = Plugin::load();
    ASSERT_TRUE(plugin) << plugin.error();
    PropertyBag startup;
    startup.set(CORE::startupLabFolder, std::string_view(WS_SOURCE_DIR "/labs/sample"));
    startup.setBool(L"InitiateDomainChecks", false);
    ASSERT_TRUE((*plugin)->start(startup));
    const PropertyBag described = (*plugin)->describe();
    const auto permit = mfwhost::permitOf(described);
    const auto operations = bagsOf(described, L"operation");
    EXPECT_EQ(operations.size(), 63u);
    for (const PropertyBag* operation : operations) {
        const std::wstring name = operation->get(L"name").str();
        PropertyBag response;
        EXPECT_EQ(permit(channel::Rights::read, L"WS_admin", name).has_value(),
                  operation->getBool(L"changes"));
        EXPECT_FALSE(permit(channel::Rights::all, L"WS_admin", name));
        CORE::MessageHandler::SendMsg(L"ws_admin", name, {}, response, {.fromChannel = true});
        EXPECT_EQ(response.getErrorText(), L"Worker ws_admin takes no messages of remote machines");
    }
}

}  // namespace
}  // namespace hdqadmin
