// Takes back what a request has changed in a lab, which is much quicker than to open the lab anew.
#pragma once

#include "support/counting_ldap.h"

namespace sweep {

using namespace wsadmin::platform;

struct UndoStep {
    LdapEndpoint at;
    std::string dn;
    std::vector<LdapModification> changes;  // none: the entry is new
};

class UndoneSession : public wstest::CountingSession {
  public:
    UndoneSession(std::unique_ptr<LdapSession> session, std::shared_ptr<wstest::PortCalls> calls,
                  std::shared_ptr<std::vector<UndoStep>> steps, LdapEndpoint at)
        : CountingSession(std::move(session), std::move(calls)),
          steps_(std::move(steps)),
          at_(std::move(at)) {}
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        const auto before =
            real_->search({.base = dn, .scope = LdapScope::base, .filter = "(objectClass=*)"});
        auto done = CountingSession::modify(dn, changes, controls);
        if (!done) return done;
        UndoStep step{at_, dn, {}};
        for (const LdapModification& change : changes)
            step.changes.push_back(
                {LdapModify::replace, change.attribute, before.value().entries.at(0).all(change.attribute)});
        steps_->push_back(std::move(step));
        return done;
    }
    Done add(const LdapEntry& entry) override {
        auto done = CountingSession::add(entry);
        if (done) steps_->push_back({at_, entry.dn, {}});
        return done;
    }

  private:
    std::shared_ptr<std::vector<UndoStep>> steps_;
    LdapEndpoint at_;
};

class UndoneClient : public wstest::CountingLdapClient {
  public:
    using CountingLdapClient::CountingLdapClient;
    wsadmin::Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& at) override {
        return openAs<UndoneSession>(at, steps_, at);
    }
    // False when a step cannot be undone.
    bool undo() {
        bool done = true;
        for (; !steps_->empty(); steps_->pop_back()) {
            const UndoStep& step = steps_->back();
            const auto lab = real_->open(step.at).value();
            done = lab->bind({}) && done;
            done = (step.changes.empty() ? lab->remove(step.dn) : lab->modify(step.dn, step.changes)) && done;
        }
        return done;
    }

  private:
    std::shared_ptr<std::vector<UndoStep>> steps_ = std::make_shared<std::vector<UndoStep>>();
};

}  // namespace sweep
