// A session in front of another one, for clients that change a part of what another client's sessions do.
#pragma once

#include <memory>
#include <utility>

#include "platform/ldap_session.h"

namespace wsadmin::platform {

class ForwardedSession : public LdapSession {
  public:
    explicit ForwardedSession(std::unique_ptr<LdapSession> session) : session_(std::move(session)) {}

    Result<void> bind(const LdapCredentials& credentials) override { return session_->bind(credentials); }
    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
        return session_->startSearch(search);
    }
    Result<void> add(const LdapEntry& entry) override { return session_->add(entry); }
    Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes,
                        const std::vector<LdapControl>& controls) override {
        return session_->modify(dn, changes, controls);
    }
    Result<void> remove(const std::string& dn, const std::vector<LdapControl>& controls) override {
        return session_->remove(dn, controls);
    }
    Result<void> rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                        bool deleteOldRdn) override {
        return session_->rename(dn, newRdn, newParent, deleteOldRdn);
    }
    bool confidential() const override { return session_->confidential(); }
    bool connected() const override { return session_->connected(); }
    LdapLimits limits() const override { return session_->limits(); }

  protected:
    std::unique_ptr<LdapSession> session_;
};

}  // namespace wsadmin::platform
