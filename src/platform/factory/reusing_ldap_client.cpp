#include "platform/factory/reusing_ldap_client.h"

#include <algorithm>
#include <atomic>
#include <list>
#include <mutex>
#include <tuple>

#include "platform/ldap/forwarded_session.h"

namespace wsadmin::platform {

namespace {

using namespace std::chrono_literals;

struct BoundSession {
    LdapEndpoint endpoint;
    std::chrono::steady_clock::time_point bound, proved;
    std::unique_ptr<LdapSession> session;  // null while it is used
};
using BoundSessions = std::list<BoundSession>;

// Of all terms, so that nobody gets a session that was opened with laxer ones.
bool isSame(const LdapEndpoint& one, const LdapEndpoint& other) {
    const auto termsOf = [](const LdapEndpoint& endpoint) {
        const auto& [host, port, tls, startTls, clear, verify, ca, connect, operation, limits] = endpoint;
        const auto& [entries, bytes, time] = limits;
        return std::tie(host, port, tls, startTls, clear, verify, ca, connect, operation, entries, bytes,
                        time);
    };
    return termsOf(one) == termsOf(other);
}

// Any thread. Closing may take a while, so it is done without the lock.
class IdleSessions {
  public:
    explicit IdleSessions(std::shared_ptr<Clock> clock) : clock_(std::move(clock)) {}

    auto now() const { return clock_->monotonic(); }

    // The one that was kept last; empty where there is none.
    BoundSessions take(const LdapEndpoint& endpoint) {
        closeIf([oldest = now() - 3min](const BoundSession& idle) { return idle.bound < oldest; });
        const std::lock_guard hold(mutex_);
        BoundSessions taken;
        const auto found = std::ranges::find_if(
            idle_, [&](const BoundSession& idle) { return isSame(idle.endpoint, endpoint); });
        if (found != idle_.end()) taken.splice(taken.begin(), idle_, found);
        return taken;
    }

    void keep(BoundSessions released) {
        constexpr std::size_t most = 16;
        const std::lock_guard hold(mutex_);
        if (stopped_) return;
        idle_.splice(idle_.begin(), released);
        if (idle_.size() > most) released.splice(released.begin(), idle_, std::prev(idle_.end()));
    }

    template <class Closes>
    void closeIf(const Closes& closes) {
        BoundSessions closing;
        const std::lock_guard hold(mutex_);
        for (auto next = idle_.begin(); next != idle_.end();)
            if (const auto idle = next++; closes(*idle)) closing.splice(closing.begin(), idle_, idle);
    }

    void stop() {
        stopped_ = true;
        closeIf([](const BoundSession&) { return true; });
    }

  private:
    std::shared_ptr<Clock> clock_;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    BoundSessions idle_;
};

bool isProcess(const LdapCredentials& credentials) {
    return credentials.method == LdapCredentials::Method::negotiate && credentials.user.empty();
}

constexpr std::chrono::milliseconds patience = 1s;

bool answers(LdapSession& session) {
    const auto spent = std::max(session.limits().time - patience, 0ms);
    return session
        .search({.scope = LdapScope::base,
                 .filter = "(objectClass=*)",
                 .attributes = {"1.1"},
                 .spent = {.time = spent}})
        .has_value();
}

class ReusedSession final : public ForwardedSession {
  public:
    ReusedSession(std::unique_ptr<LdapSession> session, LdapEndpoint endpoint,
                  std::shared_ptr<IdleSessions> idle)
        : ForwardedSession(std::move(session)), endpoint_(std::move(endpoint)), idle_(std::move(idle)) {}
    ~ReusedSession() override {
        if (bound_.empty()) return;
        bound_.front().session = std::move(session_);
        idle_->keep(std::move(bound_));
    }

    Result<void> bind(const LdapCredentials& credentials) override {
        bound_.clear();
        if (!isProcess(credentials)) return session_->bind(credentials);
        if (takeIdle()) return {};
        auto done = session_->bind(credentials);
        if (done) bound_.push_back({endpoint_, idle_->now(), idle_->now(), nullptr});
        return done;
    }

  private:
    bool takeIdle() {
        BoundSessions idle = idle_->take(endpoint_);
        if (idle.empty()) return false;
        BoundSession& one = idle.front();
        const bool isOld = idle_->now() - one.proved >= patience;
        if (!one.session->connected() || (isOld && !answers(*one.session))) {
            idle_->closeIf([&](const auto& other) { return isSame(other.endpoint, endpoint_); });
            return false;
        }
        if (isOld) one.proved = idle_->now();
        session_ = std::move(one.session);
        bound_ = std::move(idle);
        return true;
    }

    LdapEndpoint endpoint_;
    std::shared_ptr<IdleSessions> idle_;
    BoundSessions bound_;  // this one, where it may be kept
};

class ReusingClient final : public LdapClient {
  public:
    ReusingClient(std::shared_ptr<LdapClient> client, std::shared_ptr<Clock> clock)
        : client_(std::move(client)), idle_(std::make_shared<IdleSessions>(std::move(clock))) {}

    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override {
        auto session = client_->open(endpoint);
        if (!session) return session;
        return std::make_unique<ReusedSession>(std::move(*session), endpoint, idle_);
    }
    void stop() override {
        client_->stop();
        idle_->stop();
    }

  private:
    std::shared_ptr<LdapClient> client_;
    std::shared_ptr<IdleSessions> idle_;
};

}  // namespace

std::shared_ptr<LdapClient> makeReusingLdapClient(std::shared_ptr<LdapClient> client,
                                                  std::shared_ptr<Clock> clock) {
    return std::make_shared<ReusingClient>(std::move(client), std::move(clock));
}

}  // namespace wsadmin::platform
