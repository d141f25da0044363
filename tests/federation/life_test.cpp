// The whole life of a federation, from nothing to nothing, over life.jsonl.
#include <gtest/gtest.h>

#include "federation/federation_lab.h"
#include "support/rows.h"

namespace wstest {

namespace {

using Pairs = FederationLab::Pairs;

// What is asked succeeds, and every server that has the layer has the same content.
Json asked(FederationLab& lab, const Json& in) {
    const std::string machine = in["at"], from = in.value("from", std::string());
    Pairs keys = from.empty() ? Pairs() : FederationLab::from(CORE::toWide(from).c_str());
    const Json given = in.value("keys", Json::object());
    for (const auto& [name, value] : given.items())
        keys[CORE::toWide(name)] = CORE::toWide(value.get<std::string>());
    const std::string operation = in["do"];
    EXPECT_EQ(lab.run(machine, operation, keys).getErrorText(), L"");
    std::set<std::string> trees, first, difference;
    std::string servers;
    for (const auto& [name, unused] : lab.machines) {
        const std::string tree = lab.tree(name);
        if (tree == "-") continue;
        trees.insert(tree);
        servers += name.back();
        const auto content = lab.contentOf(name);
        if (first.empty()) first = content;
        std::ranges::set_symmetric_difference(content, first, std::inserter(difference, difference.end()));
    }
    EXPECT_EQ(difference, std::set<std::string>());
    return {trees.empty() ? "-" : joined(trees), servers, lab.flags(machine)};
}

}  // namespace

TEST(FederationLife, FromNothingToNothing) {
    FederationLab lab;
    tryRows(WS_SOURCE_DIR "/tests/federation/life.jsonl",
            {{"ask", [&lab](const Json& in) { return asked(lab, in); }}});
}

}  // namespace wstest
