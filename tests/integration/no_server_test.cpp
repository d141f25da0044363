// Directories that are not there: nobody listens, or somebody listens and never says a word.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "integration/tool.h"
#include "support/hostile_ldap.h"
#include "support/temp_folder.h"

namespace integration {
namespace {

using testing::AnyOf;
using testing::StartsWith;

std::string configurationOf(std::uint16_t port) {
    return R"([directory]
host = "127.0.0.1"
connect-timeout = 500
operation-timeout = 1000
method = "simple"
user = "Nobody"
password = "none"
port = )" + std::to_string(port) +
           "\n";
}

class NoServer : public testing::TestWithParam<std::tuple<Build, bool>> {};

TEST_P(NoServer, IsSaidWithTheCodeAndWithoutAHang) {
    const auto [build, listens] = GetParam();
    auto server = std::make_unique<wstest::HostileLdap>(wstest::stall);
    const wstest::TempFolder folder;
    const std::string configuration = folder.write("nobody.toml", configurationOf(server->port()));
    if (!listens) server.reset();

    const Answer name = ask(build, {"--config", configuration, "setClusterName", "clustername=x"});
    EXPECT_EQ(name.status, 1) << name.errors;
    EXPECT_THAT(name.errorText(), AnyOf(StartsWith("Failed to bind to LDAP - "),
                                        StartsWith("Failed to establish LDAP connection on this server - ")));
    EXPECT_GT(std::atoi(name.value("ldaperr").c_str()), 0);

    const Answer check = ask(build, {"--config", configuration, "checkLdapConnectivity"});
    EXPECT_EQ(check.status, 0) << check.errors;
    EXPECT_EQ(check.json.dump(), R"({"handled":true,"error":null,"result":[]})");
}

INSTANTIATE_TEST_SUITE_P(Each, NoServer,
                         testing::Combine(testing::Values(Build::native, Build::windows), testing::Bool()),
                         [](const auto& instance) {
                             return testing::PrintToString(std::get<0>(instance.param)) +
                                    (std::get<1>(instance.param) ? "_silent" : "_closed");
                         });

}  // namespace
}  // namespace integration
