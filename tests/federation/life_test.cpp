// The whole life of a federation, from nothing to nothing.
#include <gtest/gtest.h>

#include "federation/federation_lab.h"

namespace wstest {

namespace {

using Pairs = FederationLab::Pairs;

struct LifeStep {
    const char *machine, *operation;
    Pairs request;
    const char* tree;    // on every server that has the layer
    const char* layers;  // the servers that have it, by their numbers
    const char* flags;   // of the machine and its pod
};

}  // namespace

TEST(FederationLife, FromNothingToNothing) {
    FederationLab lab;
    const Pairs endpointOf2{{L"podEndpoint", L"VCS2"}, {L"podEndpointFQHN", L"vcs2.corp.example"}};
    const LifeStep steps[] = {
        {"VCS1", "init", {}, "POD1: VCS1", "1", "1 1"},
        {"VCS2", "installReplica", {{L"servername", L"vcs1.corp.example"}}, "POD1: VCS1 VCS2", "12", "1 1"},
        {"VCS3", "join", FederationLab::from(L"VCS1"), "POD1: VCS1 VCS2, POD2: VCS3", "123", "1 1"},
        {"VCS4",
         "installReplica",
         {{L"servername", L"vcs3"}},
         "POD1: VCS1 VCS2, POD2: VCS3 VCS4",
         "1234",
         "1 1"},
        {"VCS5", "join", FederationLab::from(L"vcs4.corp.example"),
         "POD1: VCS1 VCS2, POD2: VCS3 VCS4, POD3: VCS5", "12345", "1 1"},
        {"VCS6",
         "installReplica",
         {{L"servername", L"VCS5"}},
         "POD1: VCS1 VCS2, POD2: VCS3 VCS4, POD3: VCS5 VCS6",
         "123456",
         "1 1"},
        {"VCS4", "checkEnablement", {}, "POD1: VCS1 VCS2, POD2: VCS3 VCS4, POD3: VCS5 VCS6", "123456", "1 1"},
        {"VCS1", "removePodEndpoint", endpointOf2, "POD1: VCS1, POD2: VCS3 VCS4, POD3: VCS5 VCS6", "123456",
         "1 1"},
        {"VCS2", "eject", {{L"podname", L"Cluster-POD3"}}, "POD1: VCS1, POD2: VCS3 VCS4", "123456", "1 1"},
        {"VCS5", "unjoin", {}, "POD1: VCS1, POD2: VCS3 VCS4", "12346", "0 0"},
        {"VCS6", "uninstallReplica", {}, "POD1: VCS1, POD2: VCS3 VCS4", "1234", "0 0"},
        {"VCS3", "unjoin", {}, "POD1: VCS1", "124", "0 0"},
        {"VCS4", "uninstallReplica", {}, "POD1: VCS1", "12", "0 0"},
        {"VCS1", "uninit", {}, "POD1: VCS1", "2", "0 0"},
        {"VCS2", "uninstallReplica", {}, "-", "", "0 0"},
    };
    std::map<std::string_view, std::set<std::string>> contents;  // of the first server that has the layer
    for (const LifeStep& step : steps) {
        SCOPED_TRACE(std::string(step.machine) + " " + step.operation);
        EXPECT_EQ(lab.run(step.machine, step.operation, step.request).getErrorText(), L"");
        EXPECT_EQ(lab.flags(step.machine), step.flags);
        for (const auto& [name, machine] : lab.machines) {
            const bool has = std::string_view(step.layers).find(name.back()) != std::string_view::npos;
            EXPECT_EQ(lab.tree(name), has ? step.tree : "-") << name;
            if (!has || step.tree == std::string_view("-")) continue;
            const auto content = lab.contentOf(name);
            const auto& first = contents.try_emplace(step.layers, content).first->second;
            std::vector<std::string> difference;
            std::ranges::set_symmetric_difference(content, first, std::back_inserter(difference));
            EXPECT_EQ(difference, std::vector<std::string>()) << name;
        }
        contents.clear();
    }
}

}  // namespace wstest
