// Binding with the ticket of the process, as a service with a keytab does: no user and no password is
// configured.
#include <gtest/gtest.h>

#include "integration/directory.h"
#include "integration/tool.h"
#include "support/temp_folder.h"

namespace integration {
namespace {

class Ticket : public testing::Test {
  protected:
    void SetUp() override {
        const std::string host = environment("WS_TEST_LDAP_HOST");
        folder_.write("pod.toml", "[directory]\nhost = \"" + host +
                                      "\"\nport = " + environment("WS_TEST_LDAP_PORT") + "\n");
        folder_.write("password", environment("WS_TEST_LDAP_PASSWORD"));
    }
    void TearDown() override { run({"kdestroy", "-q"}); }

    Answer askWithoutUser() const {
        return ask(Build::native, {"--config", (folder_.path() / "pod.toml").string(), "setClusterName",
                                   "clustername=Ticket"});
    }

    wstest::TempFolder folder_;
    std::unique_ptr<Pod> pod_ = makePod(Place::server);
};

TEST_F(Ticket, BindsAsItsOwnerAndNotWithoutOne) {
    const Answer without = askWithoutUser();
    EXPECT_EQ(without.status, 1);
    EXPECT_NE(without.value("ldaperr"), "") << without.json;

    const std::string password = (folder_.path() / "password").string();
    const std::string owner = environment("WS_TEST_LDAP_USER") + "@" + environment("WS_TEST_LDAP_DOMAIN");
    const Outcome got = run({"sh", "-c", "kinit \"$1\" <\"$2\"", "sh", owner, password});
    ASSERT_EQ(got.status, 0) << got.errors;
    const Answer with = askWithoutUser();
    EXPECT_EQ(with.status, 0) << with.json << with.errors;
    EXPECT_EQ(pod_->values("CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int", "zre-ClusterName"),
              std::vector<std::string>{"Ticket"});
}

}  // namespace
}  // namespace integration
