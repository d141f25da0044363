#include "host/request_check.h"

#include <gtest/gtest.h>

namespace hdqadmin {
namespace {

CORE::PropertyBag described() {
    CORE::PropertyBag operation, all;
    operation.add(L"name", L"setThing");
    for (const auto& [name, type] : {std::pair{L"thingName", L"text"},
                                     {L"remove", L"boolean"},
                                     {L"count", L"integer"},
                                     {L"sid", L"text list"},
                                     {L"list", L"bag"}}) {
        CORE::PropertyBag key;
        key.add(L"name", std::wstring_view(name));
        key.add(L"type", std::wstring_view(type));
        operation.addBag(L"request-key", std::move(key));
    }
    all.addBag(L"operation", std::move(operation));
    return all;
}

using Pairs = std::vector<std::pair<const char*, const char*>>;  // a null value is a bag

TEST(RequestCheck, HoldsWhatWasTypedAgainstTheTable) {
    const struct {
        const char* operation;
        Pairs pairs;
        const char* problem;  // the sentence; empty: fine
    } rows[] = {
        {"SETTHING", {{"THINGNAME", "yes"}, {"sid", "1"}, {"Sid", "2"}, {"list", nullptr}}, ""},
        {"setThing", {{"remove", " True "}, {"count", "-5"}}, ""},
        {"setThing", {{"remove", "0"}}, ""},
        {"setThin",
         {},
         "there is no operation \"setThin\" (did you mean \"setThing\"?); see hdqadmin --list"},
        {"makeCoffee", {}, "there is no operation \"makeCoffee\"; see hdqadmin --list"},
        {"", {}, "there is no operation \"\"; see hdqadmin --list"},
        {"setThing",
         {{"thing", "x"}},
         "setThing has no key \"thing\" (did you mean \"thingName\"?); see hdqadmin setThing --help"},
        {"setThing",
         {{"SIDS", "x"}},
         "setThing has no key \"SIDS\" (did you mean \"sid\"?); see hdqadmin setThing --help"},
        {"setThing", {{"zzz", "x"}}, "setThing has no key \"zzz\"; see hdqadmin setThing --help"},
        {"setThing", {{"remove", "yes"}}, "the value of \"remove\" must be true or false"},
        {"setThing", {{"remove", ""}}, "the value of \"remove\" must be true or false"},
        {"setThing", {{"count", "5x"}}, "the value of \"count\" must be a whole number"},
        {"setThing", {{"count", "99999999999"}}, "the value of \"count\" must be a whole number"},
        {"setThing", {{"sid", nullptr}}, "the value of \"sid\" must be a text, not a bag"},
        {"setThing", {{"list", "x"}}, "the value of \"list\" must be a bag"},
        {"setThing", {{"thingname", "x"}, {"thingName", "y"}}, "setThing takes \"thingName\" once"},
    };
    for (const auto& row : rows) {
        std::vector<Request> requests(2);
        requests[0].operation = "setThing";
        requests[1].operation = row.operation;
        requests[1].origin = "line 2: ";
        for (const auto& [name, value] : row.pairs)
            value ? requests[1].bag.addUtf8(name, value) : requests[1].bag.addBagUtf8(name, {});
        const auto checked = checkRequests(described(), requests);
        const std::string problem = row.problem;
        EXPECT_EQ(checked ? "" : checked.error(), problem.empty() ? "" : "line 2: " + problem);
    }
}

}  // namespace
}  // namespace hdqadmin
