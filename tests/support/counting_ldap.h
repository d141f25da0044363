// An LDAP client in front of another one that records what passes, and where a test says so, fails.
#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/ldap_session.h"
#include "support/port_calls.h"

namespace wstest {

class LdapCounts : public PortCalls {
  public:
    void add(const wsadmin::platform::LdapSearch& search) {
        const std::lock_guard hold(mutex_);
        searches_.push_back(search);
    }
    std::vector<wsadmin::platform::LdapSearch> searches() const {
        const std::lock_guard hold(mutex_);
        return searches_;
    }
    // Searches whose filter has that text.
    std::ptrdiff_t searchesFor(std::string_view text) const {
        return std::ranges::count_if(
            searches(), [text](const auto& search) { return search.filter.find(text) != std::string::npos; });
    }
    void forget() {
        const std::lock_guard hold(mutex_);
        changes = opened = 0;
        searches_.clear();
    }

  private:
    mutable std::mutex mutex_;
    std::vector<wsadmin::platform::LdapSearch> searches_;
};

class CountingSession : public wsadmin::platform::LdapSession {
  public:
    CountingSession(std::unique_ptr<LdapSession> session, std::shared_ptr<LdapCounts> counts)
        : session_(std::move(session)), counts_(std::move(counts)) {
        ++counts_->live;
        ++counts_->opened;
    }
    ~CountingSession() override { --counts_->live; }

    using Done = wsadmin::Result<void>;
    using Entry = wsadmin::platform::LdapEntry;
    using Modifications = std::vector<wsadmin::platform::LdapModification>;
    using Controls = std::vector<wsadmin::platform::LdapControl>;
    using Pending = std::unique_ptr<wsadmin::platform::LdapPendingSearch>;

    Done bind(const wsadmin::platform::LdapCredentials& credentials) override {
        if (const int code = counts_->enter("ldap bind")) return failure(code);
        return session_->bind(credentials);
    }
    wsadmin::Result<Pending> startSearch(const wsadmin::platform::LdapSearch& search) override {
        counts_->add(search);
        const std::string name = "search " + search.base + " " + search.filter;
        if (const int code = counts_->enter("ldap " + name)) return failure(code);
        auto pending = session_->startSearch(search);
        if (!pending) return pending;
        return std::make_unique<Waiting>(std::move(*pending), counts_, "ldap result of " + name);
    }
    Done add(const Entry& entry) override {
        // Without the name of the entry, which may be a new identifier in each run.
        const auto parent = std::min(entry.dn.find(','), entry.dn.size());
        return change("add " + entry.dn.substr(parent), [&] { return session_->add(entry); });
    }
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        std::string name = "modify " + dn;
        for (const auto& one : changes) {
            constexpr const char* operations[] = {" add ", " remove ", " replace "};
            name += operations[static_cast<int>(one.operation)] + one.attribute;
            for (const std::string& value : one.values) name += "=" + value;
        }
        return change(name, [&] { return session_->modify(dn, changes, controls); });
    }
    Done remove(const std::string& dn, const Controls& controls) override {
        return change("remove " + dn, [&] { return session_->remove(dn, controls); });
    }
    Done rename(const std::string& dn, const std::string& rdn, const std::string& parent,
                bool deleteOld) override {
        return change("rename " + dn + " to " + rdn + "," + parent,
                      [&] { return session_->rename(dn, rdn, parent, deleteOld); });
    }

  private:
    class Waiting : public wsadmin::platform::LdapPendingSearch {
      public:
        Waiting(Pending pending, std::shared_ptr<LdapCounts> counts, std::string name)
            : pending_(std::move(pending)), counts_(std::move(counts)), name_(std::move(name)) {}
        wsadmin::Result<wsadmin::platform::LdapSearchResult> wait() override {
            if (const int code = counts_->enter(name_)) return failure(code);
            return pending_->wait();
        }

      private:
        Pending pending_;
        std::shared_ptr<LdapCounts> counts_;
        std::string name_;
    };

    static tl::unexpected<wsadmin::Failure> failure(int code) {
        return wsadmin::fail(wsadmin::platform::ldapFailure(code));
    }
    template <class Carry>
    Done change(const std::string& what, const Carry& carryOut) {
        ++counts_->changes;
        const std::string name = "ldap " + what;
        if (const int code = counts_->enter(name)) return failure(code);
        Done done = carryOut();
        if (done) counts_->changed(name);
        return done;
    }
    std::unique_ptr<LdapSession> session_;
    std::shared_ptr<LdapCounts> counts_;
};

class CountingLdapClient : public wsadmin::platform::LdapClient {
  public:
    CountingLdapClient(std::shared_ptr<LdapClient> client, std::shared_ptr<LdapCounts> counts)
        : client_(std::move(client)), counts_(std::move(counts)) {}

    wsadmin::Result<std::unique_ptr<wsadmin::platform::LdapSession>> open(
        const wsadmin::platform::LdapEndpoint& endpoint) override {
        const std::string name = "ldap open " + endpoint.host + ":" + std::to_string(endpoint.port);
        if (const int code = counts_->enter(name)) return wsadmin::fail(wsadmin::platform::ldapFailure(code));
        auto session = client_->open(endpoint);
        if (!session) return session;
        return counted(std::move(*session), endpoint);
    }

  protected:
    virtual std::unique_ptr<wsadmin::platform::LdapSession> counted(
        std::unique_ptr<wsadmin::platform::LdapSession> session, const wsadmin::platform::LdapEndpoint&) {
        return std::make_unique<CountingSession>(std::move(session), counts_);
    }
    const std::shared_ptr<LdapCounts>& counts() const { return counts_; }

  private:
    std::shared_ptr<LdapClient> client_;
    std::shared_ptr<LdapCounts> counts_;
};

}  // namespace wstest
