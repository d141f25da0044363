// Directories that are not there: nobody listens, or somebody listens and never says a word.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "integration/tool.h"
#include "support/temp_folder.h"

namespace integration {
namespace {

using testing::AnyOf;
using testing::StartsWith;

// A port of this machine that takes connections, when it listens, and answers nothing.
class SilentPort {
  public:
    explicit SilentPort(bool listens) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            (listens && listen(socket_, 8) != 0) ||
            getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no port");
        port_ = ntohs(address.sin_port);
    }
    ~SilentPort() { close(socket_); }
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;

    std::string configuration() const {
        return R"([directory]
host = "127.0.0.1"
connect-timeout = 500
operation-timeout = 1000
method = "simple"
user = "Nobody"
password = "none"
port = )" + std::to_string(port_) +
               "\n";
    }

  private:
    int socket_;
    int port_ = 0;
};

class NoServer : public testing::TestWithParam<std::tuple<Build, bool>> {};

TEST_P(NoServer, IsSaidWithTheCodeAndWithoutAHang) {
    const auto [build, listens] = GetParam();
    const SilentPort port(listens);
    const wstest::TempFolder folder;
    const std::string configuration = folder.write("nobody.toml", port.configuration());

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
