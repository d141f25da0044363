// The domain map of real domain controllers: the machine's own domain, one in another forest that answers,
// one whose servers are gone, and one without a DNS name.
#include <gtest/gtest.h>

#include <algorithm>

#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs pairsOf(const nlohmann::ordered_json& bag) {
    Pairs pairs;
    for (const auto& entry : bag) pairs.emplace_back(entry[0], entry[1]);
    return pairs;
}

Pairs domain(const std::string& name, const std::string& dns, const std::string& contactable,
             const std::string& trust) {
    return {{"name", name},
            {"dns", dns},
            {"isNT4", dns.empty() ? "true" : "false"},
            {"contactable", contactable},
            {"trustType", trust}};
}

class DomainMap : public testing::TestWithParam<Build> {
  protected:
    static Answer askServer(const std::vector<std::string>& request) {
        std::vector<std::string> arguments = makePod(Place::server)->options();
        arguments.insert(arguments.end(), {"--log", "error"});
        arguments.insert(arguments.end(), request.begin(), request.end());
        return ask(GetParam(), arguments);
    }
};

TEST_P(DomainMap, TellsHowEachDomainIsTrustedAndReached) {
    const Answer answer = askServer({"getDomainHealth", "forceReload=true"});
    ASSERT_EQ(answer.status, 0) << answer.errors;
    std::vector<Pairs> domains;
    for (const auto& entry : answer.json["result"]) {
        EXPECT_EQ(entry[0], "domain");
        domains.push_back(pairsOf(entry[1]));
    }
    ASSERT_EQ(domains.size(), 4U);
    EXPECT_EQ(domains[0], domain("CORP", "corp.example", "FULLYACCESSIBLE", "PRIMARYDOMAIN"));
    // The directory gives the trusts in no particular order.
    const auto known = [&](const Pairs& wanted) {
        return std::find(domains.begin(), domains.end(), wanted) != domains.end();
    };
    EXPECT_TRUE(known(domain("VDI", "vdi.talvex.int", "FULLYACCESSIBLE", "TWOWAY"))) << answer.json;
    EXPECT_TRUE(known(domain("GONE", "gone.example", "CANNOTBIND", "TWOWAY"))) << answer.json;
    EXPECT_TRUE(known(domain("OLDNT", "", "UNKNOWN", "UNKNOWN"))) << answer.json;
}

TEST_P(DomainMap, KnowsTheTypeOfTheDomainOfTheMachine) {
    const Answer answer = askServer({"getDomainType"});
    EXPECT_EQ(answer.status, 0) << answer.errors;
    EXPECT_EQ(answer.value("isMixedMode"), "false");
    EXPECT_EQ(answer.errors, "") << "what is only assumed is logged";
}

INSTANTIATE_TEST_SUITE_P(Each, DomainMap, testing::Values(Build::native, Build::windows),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace integration
