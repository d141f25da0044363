// An LDAP client in front of another one that counts what passes.
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/ldap_session.h"

namespace wstest {

// What has passed. Any thread.
class LdapCounts {
  public:
    std::atomic<int> live{0};     // sessions that are open
    std::atomic<int> opened{0};   // sessions opened so far
    std::atomic<int> changes{0};  // operations that change something

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

    Done bind(const wsadmin::platform::LdapCredentials& credentials) override {
        return session_->bind(credentials);
    }
    wsadmin::Result<std::unique_ptr<wsadmin::platform::LdapPendingSearch>> startSearch(
        const wsadmin::platform::LdapSearch& search) override {
        counts_->add(search);
        return session_->startSearch(search);
    }
    Done add(const Entry& entry) override { return counted().add(entry); }
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        return counted().modify(dn, changes, controls);
    }
    Done remove(const std::string& dn, const Controls& controls) override {
        return counted().remove(dn, controls);
    }
    Done rename(const std::string& dn, const std::string& rdn, const std::string& parent,
                bool deleteOld) override {
        return counted().rename(dn, rdn, parent, deleteOld);
    }

  private:
    LdapSession& counted() {
        ++counts_->changes;
        return *session_;
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
        auto session = client_->open(endpoint);
        if (!session) return session;
        return std::make_unique<CountingSession>(std::move(*session), counts_);
    }

  private:
    std::shared_ptr<LdapClient> client_;
    std::shared_ptr<LdapCounts> counts_;
};

}  // namespace wstest
