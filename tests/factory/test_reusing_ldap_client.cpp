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

// Which sessions are used, numbered as they are opened: of the process ("dc1"), of a user ("alice@dc1") or of
// nobody ("@dc1"); [host, n]: n of the process at once. Between them seconds pass, the server closes its
// connections or goes, refuses a bind, a session of the process is bound as a user, or the service stops.
// Which ones are bound and open is told where the row asks.
Json sessions(const Json& in) {
    const auto below = std::make_shared<NumberedClient>();
    const auto clock = std::make_shared<wstest::ManualClock>();
    const auto client = makeReusingLdapClient(below, clock);
    const auto bound = [&](const LdapCredentials& credentials, const std::string& host) {
        auto session = client->open({.host = host}).value();
        EXPECT_TRUE(session->bind(credentials));
        return session;
    };
    Json used;
    for (const Json& step : in) {
        const std::string text = step.is_string() ? step : "";
        const auto at = text.find('@');
        const LdapCredentials process, anonymous{Method::anonymous, {}, {}, {}},
            user{Method::negotiate, text.substr(0, at), {}, CORE::secretstring("hers")};
        if (step.is_number()) {
            clock->advance(step.get<std::int64_t>());
        } else if (step == "closed") {
            below->closes = true;
        } else if (step == "gone") {
            below->serverIsGone = true;
        } else if (step == "stop") {
            client->stop();
        } else if (step.is_array()) {
            std::vector<std::unique_ptr<LdapSession>> held;
            for (int count = step[1]; count > 0; --count) held.push_back(bound(process, step[0]));
        } else if (step == "refused") {
            below->bindCode = ldapInvalidCredentials;
            EXPECT_FALSE(client->open({.host = "dc1"}).value()->bind({}));
            below->bindCode = 0;
        } else if (step == "rebound") {
            EXPECT_TRUE(
                bound(process, "dc1")->bind({Method::simple, "alice", {}, CORE::secretstring("hers")}));
        } else if (step == "connected?") {
            used.push_back(below->connected);
        } else {  // which one somebody gets who needs a session for a moment
            const LdapCredentials& who = at == text.npos ? process : at == 0 ? anonymous : user;
            EXPECT_TRUE(bound(who, text.substr(at + 1))->remove("cn=a"));
            used.push_back(below->used);
        }
    }
    return used;
}

TEST(ReusingLdapClient, KeepsWhatIsBoundAsTheProcessForTheSameServerAndNothingElse) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/factory/sessions.jsonl", {{"sessions", sessions}});
}

}  // namespace
}  // namespace wsadmin::platform
