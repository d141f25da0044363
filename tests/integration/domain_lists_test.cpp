// The lists that limit the domains, changed and refused on a real directory and on a lab, and what stands in
// the directory afterwards.
#include <gtest/gtest.h>

#include <map>

#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

const std::string common = "CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int";
const std::string vcs2 = "CN=VCS2,OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int";
const std::string strange = "CN=VCS (5)*,OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int";

using Values = std::vector<std::string>;

const std::map<std::string, std::string> attributes = {{"include", "zre-AuthDomainIncludeList"},
                                                       {"exclude", "zre-AuthDomainExcludeList"},
                                                       {"search", "zre-AuthDomainSearchExcludeList"}};

struct Step {
    std::string operation, broker, list, domain;
    bool done;
    std::string sentence;
    std::string dn;
    Values values;  // of the list afterwards
};

void take(Build build, const Pod& pod, const Step& step) {
    SCOPED_TRACE(step.operation + " " + step.broker + " " + step.list + " " + step.domain);
    std::vector<std::string> arguments = pod.options();
    for (const std::string& argument :
         {std::string("saveDomainConfig"), "operation=" + step.operation, "connectionserver=" + step.broker,
          "listtype=" + step.list, "domain=" + step.domain})
        arguments.push_back(argument);
    const Answer answer = ask(build, arguments);
    EXPECT_EQ(answer.status, step.done ? 0 : 1) << answer.errors;
    EXPECT_EQ(step.done ? answer.value("result") : answer.errorText(), step.sentence);
    const auto attribute = attributes.find(step.list);
    if (attribute != attributes.end()) {
        EXPECT_EQ(pod.values(step.dn, attribute->second), step.values);
    }
}

class DomainLists : public testing::TestWithParam<std::tuple<Build, Place>> {};

TEST_P(DomainLists, EveryRefusalLeavesTheDirectoryAsItWas) {
    const auto [build, place] = GetParam();
    const auto pod = makePod(place);
    const Values old = {"old.example"};
    const Step steps[] = {
        {"change", "", "include", "a.example", false, "change is not a valid operation", common, {}},
        {"add", "", "both", "a.example", false, "both is not a valid list type", common, {}},
        {"add", "", "exclude", "CORP.example", false,
         "CORP.example is a primary domain for a broker and cannot be excluded", common, old},
        {"add",
         "VCS2",
         "exclude",
         "corp.example",
         false,
         "corp.example is the primary domain for the broker VCS2 and cannot be excluded",
         vcs2,
         {}},
        {"add",
         "VSS1",
         "include",
         "a.example",
         false,
         "Cannot find domain information for broker VSS1",
         common,
         {}},
        {"add", "", "search", "", false, "A domain must be provided for this operation", common, {}},
        {"remove", "", "exclude", "", false, "A domain must be provided for this operation", common, old},
        {"removeall", "VCS2", "search", "", false, "The list already is empty", vcs2, {}},
        {"remove", "", "exclude", "a.example", false,
         "The domain a.example is not present in this list so cannot be removed", common, old},
        {"add", "", "exclude", "OLD.example", false,
         "The domain OLD.example is already present in this list and cannot be added again", common, old},
        // What is allowed is done, also for a name that would break a filter or a DN.
        {"Add",
         "vcs (5)*",
         "include",
         "a.example",
         true,
         "The domain a.example has been added to the include list for the broker vcs (5)*",
         strange,
         {"a.example"}},
        {"remove",
         "",
         "exclude",
         "OLD.example",
         true,
         "The domain OLD.example has been removed from the exclude list for the cluster.",
         common,
         {}},
    };
    for (const Step& step : steps) take(build, *pod, step);
}

// All three lists at both levels. A process a step, so with the faster of the tools.
class EveryDomainList : public testing::TestWithParam<Place> {};

TEST_P(EveryDomainList, IsFilledAndEmptied) {
    constexpr Build build = Build::native;
    const auto pod = makePod(GetParam());
    for (const std::string broker : {"", "VCS2"}) {
        const std::string where = broker.empty() ? "for the cluster." : "for the broker " + broker;
        const std::string dn = broker.empty() ? common : vcs2;
        for (const auto& [list, attribute] : attributes) {
            const std::string end = list + " list " + where;
            const Values before = pod->values(dn, attribute);
            const auto with = [&before](Values more) {
                more.insert(more.begin(), before.begin(), before.end());
                return more;
            };
            const Step steps[] = {
                {"add", broker, list, "a.example", true, "The domain a.example has been added to the " + end,
                 dn, with({"a.example"})},
                {"add", broker, list, "a.example", false,
                 "The domain a.example is already present in this list and cannot be added again", dn,
                 with({"a.example"})},
                {"remove", broker, list, "A.example", true,
                 "The domain A.example has been removed from the " + end, dn, before},
                {"add", broker, list, "b.example", true, "The domain b.example has been added to the " + end,
                 dn, with({"b.example"})},
                {"removeall",
                 broker,
                 list,
                 "",
                 true,
                 "All domains have been removed from the " + end,
                 dn,
                 {}},
                {"removeall", broker, list, "", false, "The list already is empty", dn, {}},
            };
            for (const Step& step : steps) take(build, *pod, step);
        }
    }
}

TEST_P(DomainLists, AreLoadedAsTheyStand) {
    const auto [build, place] = GetParam();
    const auto pod = makePod(place);
    std::vector<std::string> arguments = pod->options();
    arguments.emplace_back("loadDomainConfig");
    const Answer answer = ask(build, arguments);
    EXPECT_EQ(answer.status, 0) << answer.errors;
    EXPECT_EQ(answer.value("effectiveList"), "clusterExclude");
    std::map<std::string, std::string> domains;
    for (const auto& entry : answer.json["result"]) {
        if (entry[0] != "brokerList") continue;
        for (const auto& broker : entry[1])
            for (const auto& key : broker[1])
                if (key[0] == "brokerDNSDomainName") domains[broker[0]] = key[1];
    }
    EXPECT_EQ(domains.size(), 5U);  // no security server among them
    EXPECT_EQ(domains["VCS1"], "corp.example");
}

std::string placeName(const testing::TestParamInfo<std::tuple<Build, Place>>& instance) {
    const auto& [build, place] = instance.param;
    return testing::PrintToString(build) + "_" + testing::PrintToString(place);
}
INSTANTIATE_TEST_SUITE_P(Each, DomainLists,
                         testing::Combine(testing::Values(Build::native, Build::windows),
                                          testing::Values(Place::server, Place::lab)),
                         placeName);

INSTANTIATE_TEST_SUITE_P(Each, EveryDomainList, testing::Values(Place::server, Place::lab),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace integration
