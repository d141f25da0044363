#include "platform/factory/reusing_ldap_client.h"

#include <set>

#include "support/manual_clock.h"
#include "support/rows.h"
#include "support/scripted_ldap.h"

namespace wsadmin::platform {
namespace {

using Method = LdapCredentials::Method;
using wstest::Json;

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
    void useAtOnce(const std::string& host, int count) {
        std::vector<std::unique_ptr<LdapSession>> held;
        while (count-- > 0) held.push_back(bound({}, host.c_str()));
    }
    void beRefused() const {
        below->bindCode = ldapInvalidCredentials;
        EXPECT_FALSE(client->open({.host = "dc1"}).value()->bind({}));
        below->bindCode = 0;
    }
};

// Which sessions are used, numbered as they are opened: of the process ("dc1"), of a user ("alice@dc1") or of
// nobody ("@dc1"); [host, n]: n of the process at once. Between them seconds pass, the server closes its
// connections or goes, refuses a bind, a session of the process is bound as a user, or the service stops.
// Which ones are bound and open is told where the row asks.
Json sessions(const Json& in) {
    Sessions sessions;
    Json used;
    for (const Json& step : in) {
        const std::string text = step.is_string() ? step : "";
        const auto at = text.find('@');
        const LdapCredentials anonymous{Method::anonymous, {}, {}, {}},
            user{Method::negotiate, text.substr(0, at), {}, CORE::secretstring("hers")};
        if (step.is_number())
            sessions.clock->advance(step.get<std::int64_t>());
        else if (step == "closed")
            sessions.below->closes = true;
        else if (step == "gone")
            sessions.below->serverIsGone = true;
        else if (step == "stop")
            sessions.client->stop();
        else if (step.is_array())
            sessions.useAtOnce(step[0], step[1]);
        else if (step == "refused")
            sessions.beRefused();
        else if (step == "rebound")
            EXPECT_TRUE(sessions.bound()->bind({Method::simple, "alice", {}, CORE::secretstring("hers")}));
        else if (step == "connected?")
            used.push_back(sessions.below->connected);
        else if (at == text.npos)
            used.push_back(sessions.use({}, text.c_str()));
        else
            used.push_back(sessions.use(at == 0 ? anonymous : user, &text[at + 1]));
    }
    return used;
}

TEST(ReusingLdapClient, KeepsWhatIsBoundAsTheProcessForTheSameServerAndNothingElse) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/factory/sessions.jsonl", {{"sessions", sessions}});
}

}  // namespace
}  // namespace wsadmin::platform
