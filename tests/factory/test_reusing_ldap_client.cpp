#include "platform/factory/reusing_ldap_client.h"

#include <gtest/gtest.h>

#include <set>

#include "support/manual_clock.h"
#include "support/scripted_ldap.h"

namespace wsadmin::platform {
namespace {

using Method = LdapCredentials::Method;

// A client that numbers its sessions.
class NumberedClient : public LdapClient {
  public:
    int opened = 0;
    int used = 0;             // by the last removal
    std::set<int> connected;  // and bound
    bool serverIsGone = false, closes = false;
    int bindCode = 0;

    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint&) override {
        return std::make_unique<Session>(*this, ++opened);
    }

  private:
    class Session : public wstest::ScriptedSession {
      public:
        Session(NumberedClient& client, int number) : client_(client), number_(number) {
            answers = {{.waitCode = ldapTimeout}};
        }
        ~Session() override { client_.connected.erase(number_); }
        Result<void> bind(const LdapCredentials&) override {
            if (client_.bindCode) return fail(ldapFailure(client_.bindCode));
            client_.connected.insert(number_);
            return {};
        }
        Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
            EXPECT_EQ(limits().time - search.spent.time, std::chrono::seconds(1));
            if (!client_.serverIsGone) answers = {{}};
            return ScriptedSession::startSearch(search);
        }
        bool connected() const override { return !client_.closes; }
        Result<void> remove(const std::string&, const std::vector<LdapControl>&) override {
            client_.used = number_;
            return {};
        }

      private:
        NumberedClient& client_;
        int number_;
    };
};

struct Sessions {
    std::shared_ptr<NumberedClient> below = std::make_shared<NumberedClient>();
    std::shared_ptr<wstest::ManualClock> clock = std::make_shared<wstest::ManualClock>();
    std::shared_ptr<LdapClient> client = makeReusingLdapClient(below, clock);

    std::unique_ptr<LdapSession> bound(const LdapCredentials& credentials = {}, const char* host = "dc1") {
        auto session = client->open({.host = host}).value();
        EXPECT_TRUE(session->bind(credentials));
        return session;
    }
    // Which one somebody gets who needs a session for a moment.
    int use(const LdapCredentials& credentials = {}, const char* host = "dc1") {
        EXPECT_TRUE(bound(credentials, host)->remove("cn=a"));
        return below->used;
    }
};

TEST(ReusingLdapClient, KeepsWhatIsBoundAsTheProcessForTheSameServerAndNothingElse) {
    const LdapCredentials process, anonymous{Method::anonymous, {}, {}, {}},
        alice{Method::negotiate, "alice", {}, CORE::secretstring("hers")};
    const struct {
        const char* what;
        LdapCredentials first{}, second{};
        const char* secondHost = "dc1";
        std::function<void(Sessions&)> meanwhile = [](Sessions&) {};
        bool reused = false;
    } rows[] = {
        {.what = "the process, again", .reused = true},
        {.what = "another server", .secondHost = "dc2"},
        {.what = "bound as a user", .first = alice, .second = alice},
        {.what = "bound as a user, for the process", .first = alice},
        {.what = "the process's, for a user", .second = alice},
        {.what = "bound as nobody", .first = anonymous, .second = anonymous},
        {.what = "within three minutes",
         .meanwhile = [](Sessions& s) { s.clock->advance(180); },
         .reused = true},
        {.what = "too old", .meanwhile = [](Sessions& s) { s.clock->advance(181); }},
        {.what = "too old although it was used meanwhile",
         .meanwhile =
             [](Sessions& s) {
                 s.clock->advance(100);
                 s.use();
                 s.clock->advance(81);
             }},
        {.what = "the server has closed it", .meanwhile = [](Sessions& s) { s.below->closes = true; }},
        {.what = "the server has gone",
         .meanwhile =
             [](Sessions& s) {
                 s.below->serverIsGone = true;
                 s.clock->advance(1);
             }},
        {.what = "the service stops", .meanwhile = [](Sessions& s) { s.client->stop(); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Sessions sessions;
        const int first = sessions.use(row.first);
        row.meanwhile(sessions);
        EXPECT_EQ(sessions.use(row.second, row.secondHost) == first, row.reused);
    }
}

TEST(ReusingLdapClient, LendsASessionToOneUserAndClosesWhatCannotBeUsedAgain) {
    Sessions sessions;
    std::set<int>& connected = sessions.below->connected;
    const auto useAtOnce = [&](int count, const char* host) {
        std::vector<std::unique_ptr<LdapSession>> held;
        while (count-- > 0) held.push_back(sessions.bound({}, host));
    };
    useAtOnce(1, "dc2");
    useAtOnce(3, "dc1");
    EXPECT_EQ(connected, (std::set{1, 2, 3, 4}));
    EXPECT_TRUE(sessions.bound()->bind({Method::simple, "alice", {}, CORE::secretstring("hers")}));
    EXPECT_EQ(connected.size(), 3U);  // it is alice's now
    sessions.below->serverIsGone = true;
    sessions.use();
    EXPECT_EQ(connected.size(), 3U);  // what was bound just now is not tried
    sessions.clock->advance(1);
    sessions.use();
    EXPECT_EQ(connected, (std::set{1, sessions.below->used}));  // none of the gone server's is tried again
    sessions.below->bindCode = ldapInvalidCredentials;
    EXPECT_FALSE(sessions.client->open({.host = "dc3"}).value()->bind({}));
    sessions.below->bindCode = 0;
    sessions.use({}, "dc3");
    EXPECT_TRUE(connected.contains(sessions.below->used));
    useAtOnce(20, "dc3");
    EXPECT_EQ(connected.size(), 16U);
    EXPECT_FALSE(connected.contains(1));
    sessions.client->stop();
    EXPECT_TRUE(connected.empty());
    sessions.use();
    EXPECT_TRUE(connected.empty());
}

}  // namespace
}  // namespace wsadmin::platform
