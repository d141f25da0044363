// What the operations answer on a Samba pod and leave in it, asked with the tools of both builds. Each case
// starts from the same entries (tests/servers/pod.ldif).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string common = "CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int";
const std::string mark = "zre-MarkedForDelete";
const std::string nameSet =
    R"([["textmessage","The specified cluster name has been set for this cluster."]])";
const std::string scheduled =
    R"([["textmessage","The specified Server has been scheduled for removal from this configuration."]])";

std::string server(const std::string& name) {
    return "CN=" + name + ",OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int";
}

std::string copy(const std::string& name) {
    return "CN=" + name + ",OU=Server,OU=QRV,OU=Properties,DC=vdi,DC=talvex,DC=int";
}

struct Effect {
    std::string dn;
    std::string attribute;
    std::vector<std::string> values;
};

struct Case {
    std::string name;
    std::vector<std::string> arguments;
    int status = 0;
    std::string result;  // as JSON
    std::string error;
    std::vector<Effect> effects;
};

std::vector<Case> cases() {
    const auto removal = [](const std::string& server) {
        return std::vector<std::string>{"deleteConnectionServerEntry", "servername=" + server};
    };
    const auto absent = [](const std::string& server) {
        return "Server \"" + server + "\" is not present in this configuration.";
    };
    const auto referred = [](const std::string& server, const std::string& rest) {
        return "Connection Server \"" + server +
               "\" cannot be removed as it is referenced by one or more Security Servers.\"" + rest;
    };
    return {
        {"ClusterName",
         {"setClusterName", "clustername=North Campus"},
         0,
         nameSet,
         "",
         {{common, "zre-ClusterName", {"North Campus"}}}},
        {"ClusterNameBeyondAscii",
         {"setClusterName", "clustername=K\u00f6ln \u6771"},
         0,
         nameSet,
         "",
         {{common, "zre-ClusterName", {"K\u00f6ln \u6771"}}}},
        {"OneReferrer",
         removal("VCS2"),
         1,
         "[]",
         referred("VCS2", " Remove this Security Server first.\n   VSS3"),
         {{server("VCS2"), mark, {}}}},
        {"NameThatBreaksAFilter",
         removal("VCS (5)*"),
         1,
         "[]",
         referred("VCS (5)*", " Remove this Security Server first.\n   VSS4"),
         {{server("VCS (5)*"), mark, {}}}},
        {"WithFederationCopy",
         removal("vcs3"),
         0,
         scheduled,
         "",
         {{server("VCS3"), mark, {"1"}}, {copy("VCS3"), mark, {"1"}}}},
        {"WithoutFederationCopy", removal("VCS4"), 0, scheduled, "", {{server("VCS4"), mark, {"1"}}}},
        {"UnknownServer", removal("VCS9"), 1, "[]", absent("VCS9"), {}},
        {"NameThatBreaksADn",
         removal("VCS3,OU=Server"),
         1,
         "[]",
         absent("VCS3,OU=Server"),
         {{server("VCS3"), mark, {}}}},
        {"Wildcard", removal("*"), 1, "[]", absent("*"), {{server("VCS3"), mark, {}}}},
        {"Connectivity", {"checkLdapConnectivity"}, 0, R"([["result","ok"]])", "", {}},
    };
}

const auto builds = testing::Values(Build::native, Build::windows);
const auto places = testing::Values(Place::server, Place::lab);

Answer askOn(Build build, const Pod& pod, const std::vector<std::string>& arguments) {
    std::vector<std::string> all = pod.options();
    all.insert(all.end(), arguments.begin(), arguments.end());
    return ask(build, all);
}

class Operations : public testing::TestWithParam<std::tuple<Build, Place, Case>> {};

TEST_P(Operations, AnswerAndChangeAsDescribed) {
    const auto& [build, place, expected] = GetParam();
    const auto pod = makePod(place);
    // Twice, because a change that is there already is none the less a success, and is there once.
    for (const char* time : {"first", "second"}) {
        SCOPED_TRACE(time);
        const Answer answer = askOn(build, *pod, expected.arguments);
        EXPECT_EQ(answer.status, expected.status) << answer.errors;
        ASSERT_TRUE(answer.json.is_object()) << answer.errors;
        EXPECT_EQ(answer.json["handled"], true);
        EXPECT_EQ(answer.json["result"].dump(), expected.result);
        EXPECT_EQ(answer.errorText(), expected.error);
        for (const Effect& effect : expected.effects)
            EXPECT_EQ(pod->values(effect.dn, effect.attribute), effect.values) << effect.dn;
    }
}

std::string caseName(const testing::TestParamInfo<std::tuple<Build, Place, Case>>& instance) {
    const auto& [build, place, described] = instance.param;
    return testing::PrintToString(build) + "_" + testing::PrintToString(place) + "_" + described.name;
}
INSTANTIATE_TEST_SUITE_P(Each, Operations, testing::Combine(builds, places, testing::ValuesIn(cases())),
                         caseName);

class Tool : public testing::TestWithParam<std::tuple<Build, Place>> {};

// The directory gives the referrers in any order.
TEST_P(Tool, NamesEveryReferrerOnALineOfItsOwn) {
    const auto [build, place] = GetParam();
    const auto pod = makePod(place);
    const Answer answer = askOn(build, *pod, {"deleteConnectionServerEntry", "servername=VCS1"});
    EXPECT_EQ(answer.status, 1) << answer.errors;
    EXPECT_FALSE(answer.json.is_null()) << answer.errors;
    std::istringstream text(answer.errorText());
    std::string sentence;
    std::getline(text, sentence);
    EXPECT_EQ(sentence,
              "Connection Server \"VCS1\" cannot be removed as it is referenced by one or more Security "
              "Servers.\" Remove these Security Servers first.");
    std::vector<std::string> names;
    for (std::string name; std::getline(text, name);) names.push_back(name);
    std::sort(names.begin(), names.end());
    EXPECT_THAT(names, ElementsAre("   VSS1", "   VSS2"));
    EXPECT_THAT(pod->values(server("VCS1"), mark), IsEmpty());
}

TEST_P(Tool, TellsThatTheContainerIsMissing) {
    const auto [build, place] = GetParam();
    // A server of its own, because Samba lets nobody delete the container while it runs.
    const Answer answer =
        place == Place::lab
            ? askOn(build, LabPod(false), {"checkLdapConnectivity"})
            : ask(build, {"checkLdapConnectivity"},
                  {std::string(WS_SOURCE_DIR) + "/tests/servers/with-pod", "--without-principals", "sh", "-c",
                   "exec \"$@\" --config \"$WS_TEST_CONFIG\"", "sh"});
    EXPECT_EQ(answer.status, 0) << answer.errors;
    ASSERT_TRUE(answer.json.is_object()) << answer.errors;
    EXPECT_EQ(answer.json["result"].dump(),
              R"([["result","failed"],)"
              R"(["searchbase","cn=ForeignSecurityPrincipals, dc=vdi,dc=talvex,dc=int"],["ldaperr","32"]])");
}

std::string toolName(const testing::TestParamInfo<std::tuple<Build, Place>>& instance) {
    const auto& [build, place] = instance.param;
    return testing::PrintToString(build) + "_" + testing::PrintToString(place);
}
INSTANTIATE_TEST_SUITE_P(Each, Tool, testing::Combine(builds, places), toolName);

// Everything that the tool itself tells, and a request that says what the machine is.
TEST(SampleLab, GivesBothBuildsTheSameAnswers) {
    const std::vector<std::vector<std::string>> questions = {
        {"--list"},
        {"getAppdataLocation"},
        {"checkLdapConnectivity"},
        {"setClusterName", "clustername=x"},
        {"deleteConnectionServerEntry", "servername=VCS1"},
        {"noSuchOperation"},
        {"setClusterName "},
    };
    for (const auto& question : questions) {
        SCOPED_TRACE(question.front());
        const Answer native = ask(Build::native, question);
        const Answer windows = ask(Build::windows, question);
        EXPECT_FALSE(native.json.is_discarded()) << native.errors;
        EXPECT_EQ(windows.json, native.json) << windows.errors;
        EXPECT_EQ(windows.status, native.status);
    }
}

}  // namespace
}  // namespace integration
