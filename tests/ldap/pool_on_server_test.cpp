// The pool on a real server that goes away and comes back.
#include <gtest/gtest.h>

#include <cstdlib>

#include "ldap/connection_mgr.h"
#include "platform/platform.h"
#include "support/log_capture.h"
#include "support/relay.h"
#include "support/temp_folder.h"

using namespace wsadmin;

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

class PoolOnServer : public testing::Test {
  protected:
    void SetUp() override {
        host_ = variable("WS_TEST_LDAP_HOST");
        if (host_.empty()) GTEST_SKIP() << "no server: tests/servers/with-pod";
        relay_ = std::make_unique<wstest::Relay>(
            host_, static_cast<std::uint16_t>(std::stoi(variable("WS_TEST_LDAP_PORT"))));
        folder_.write("pod.toml", "[[server]]\nfor = \"pod.example\"\nhost = \"127.0.0.1\"\nport = " +
                                      std::to_string(relay_->port()) + "\nmethod = \"simple\"\nuser = \"" +
                                      userName() + "\"\npassword = \"" + variable("WS_TEST_LDAP_PASSWORD") +
                                      "\"\n");
        CORE::PropertyBag startup;
        startup.set(platform::configurationKey, (folder_.path() / "pod.toml").wstring());
        auto made = platform::createPlatform(startup);
        ASSERT_TRUE(made) << CORE::toUtf8(made.error().text);
        platform_ = *made;
        pool_ = CORE::refptr<ConnectionMgr>::adopt(
            new ConnectionMgr({platform_->directoryServices, platform_->clock}, threads_));
    }
    void TearDown() override {
        if (pool_) pool_->StopTimerWithWait();
    }

    static std::string userName() {
        const std::string user = variable("WS_TEST_LDAP_USER"), domain = variable("WS_TEST_LDAP_DOMAIN");
        return domain.empty() ? user : user + "@" + domain;
    }
    // The binding of every case, through the relay.
    DirectorySearchPtr binding() {
        return pool_->getConnection("LDAP://pod.example/" + variable("WS_TEST_LDAP_BASE")).value();
    }
    // All rows of a search in small pages; `between` is called after the first. -1: the search failed.
    static int rows(platform::DirectorySearch& search, const std::function<void()>& between = {}) {
        EXPECT_TRUE(search.setPreference(platform::SearchPreference::pageSize, 2));
        auto found = search.execute("(objectClass=zre-PropertyObject)", {"cn"});
        if (!found) return -1;
        for (int count = 0;; ++count) {
            const auto more = (*found)->next();
            if (!more) return -1;
            if (!*more) return count;
            if (count == 0 && between) between();
        }
    }

    std::string host_;
    wstest::TempFolder folder_;
    std::unique_ptr<wstest::Relay> relay_;
    std::shared_ptr<platform::Platform> platform_;
    CORE::ThreadGroup threads_{L"test"};
    CORE::refptr<ConnectionMgr> pool_;
};

TEST_F(PoolOnServer, ABindingServesManySearches) {
    int first = 0;
    for (int i = 0; i < 20; ++i) {
        const PooledSearch search(*pool_, binding());
        const int found = rows(*search);
        if (i == 0) first = found;
        EXPECT_GT(found, 2);
        EXPECT_EQ(found, first);
    }
    EXPECT_EQ(relay_->accepted(), 1);
}

TEST_F(PoolOnServer, AServerThatStopsInMidSearchAndComesBackIsAskedAnew) {
    auto idle = binding();
    {
        const PooledSearch search(*pool_, binding());
        pool_->releaseConnection(std::move(idle));  // a free one, which is lost with the server as well
        EXPECT_EQ(rows(*search, [&] { relay_->cut(); }), -1);
        EXPECT_FALSE(search->usable());
    }
    EXPECT_EQ(relay_->accepted(), 2);
    EXPECT_FALSE(pool_->getConnection("LDAP://pod.example/")) << "the server is still away";

    relay_->mend();
    const PooledSearch again(*pool_, binding());
    EXPECT_GT(rows(*again), 2);
    EXPECT_EQ(relay_->accepted(), 3) << "one new connection, and none of the old ones";
}

}  // namespace
