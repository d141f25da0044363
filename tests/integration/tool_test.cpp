// What belongs to the tool and its servers rather than to an operation.
#include <gtest/gtest.h>

#include <regex>

#include "integration/directory.h"
#include "integration/tool.h"
#include "support/temp_folder.h"

namespace integration {
namespace {

// Everything that the tool itself tells, and a request that says what the machine is.
TEST(SampleLab, GivesBothBuildsTheSameAnswers) {
    const std::vector<std::vector<std::string>> questions = {
        {"--list"},
        {"getAppdataLocation"},
        {"--unchecked", "noSuchOperation"},
        {"--unchecked", "setClusterName "},
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

// Wine draws its console on the terminal letter by letter, with a movement for a blank.
TEST(SampleLab, IsNamedOnTheConsoleOfWindows) {
    const std::string tool = WS_SOURCE_DIR "/build/windows/bin/hdqadmin.exe getAppdataLocation";
    const Outcome shown = run({"script", "-qec", "wine " + tool, "/dev/null"});
    const std::string text = std::regex_replace(shown.output, std::regex("\x1b\\[[0-9;?]*[A-Za-z]"), "");
    EXPECT_NE(text.find("hdqadmin:worksonthelab"), std::string::npos) << text;
}

// On a server of its own, because Samba lets nobody delete the container while it runs.
TEST(Server, WithoutTheContainerOfPrincipalsIsTold) {
    const Answer answer = ask(Build::native, {"checkLdapConnectivity"},
                              {WS_SOURCE_DIR "/tests/servers/with-pod", "--without-principals", "sh", "-c",
                               "exec \"$@\" --config \"$WS_TEST_CONFIG\"", "sh"});
    EXPECT_EQ(answer.status, 0) << answer.errors;
    ASSERT_TRUE(answer.json.is_object()) << answer.errors;
    EXPECT_EQ(answer.json["result"].dump(),
              R"([["result","failed"],)"
              R"(["searchbase","cn=ForeignSecurityPrincipals, dc=vdi,dc=talvex,dc=int"],["ldaperr","32"]])");
}

// As a service with a keytab binds: no user and no password is configured.
TEST(Ticket, OfTheProcessBindsAsItsOwnerAndNotWithoutOne) {
    const ServerState server;
    const wstest::TempFolder folder;
    const std::string configuration =
        folder.write("pod.toml", "[directory]\nhost = \"" + environment("WS_TEST_LDAP_HOST") +
                                     "\"\nport = " + environment("WS_TEST_LDAP_PORT") + "\n");
    const auto askWithoutUser = [&] {
        return ask(Build::native, {"--config", configuration, "setClusterName", "clustername=Ticket"});
    };
    const Answer without = askWithoutUser();
    EXPECT_EQ(without.status, 1);
    EXPECT_NE(without.json.dump().find("\"ldaperr\""), std::string::npos) << without.json;

    const std::string password = folder.write("password", environment("WS_TEST_LDAP_PASSWORD"));
    const std::string owner = environment("WS_TEST_LDAP_USER") + "@" + environment("WS_TEST_LDAP_DOMAIN");
    const Outcome got = run({"sh", "-c", "kinit \"$1\" <\"$2\"", "sh", owner, password});
    EXPECT_EQ(got.status, 0) << got.errors;
    const Answer with = askWithoutUser();
    EXPECT_EQ(with.status, 0) << with.json << with.errors;
    const Json name = {
        {{"dn", "CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int"}, {"zre-ClusterName", "Ticket"}}};
    for (const std::string& problem : judgeStored(name, server.directories())) ADD_FAILURE() << problem;
    run({"kdestroy", "-q"});
}

}  // namespace
}  // namespace integration
