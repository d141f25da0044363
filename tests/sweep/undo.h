// Takes back what a request has changed in a lab, which is much quicker than to open the lab anew.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/counting_ldap.h"

namespace sweep {

using wsadmin::platform::LdapEndpoint;
using wsadmin::platform::LdapModification;
using wsadmin::platform::LdapModify;

class UndoLog {
  public:
    explicit UndoLog(std::shared_ptr<wsadmin::platform::LdapClient> lab) : lab_(std::move(lab)) {}

    struct Step {
        LdapEndpoint at;
        std::string dn;
        std::vector<LdapModification> changes;  // none: the entry is new
    };
    // What undoes a modification that is about to be made.
    Step before(const LdapEndpoint& at, const std::string& dn, const std::vector<LdapModification>& changes) {
        const auto found = session(at)->search(
            {.base = dn, .scope = wsadmin::platform::LdapScope::base, .filter = "(objectClass=*)"});
        Step step{at, dn, {}};
        for (const LdapModification& change : changes) {
            const bool there = found && !found->entries.empty();
            step.changes.push_back(
                {LdapModify::replace, change.attribute,
                 there ? found->entries.front().all(change.attribute) : std::vector<std::string>()});
        }
        return step;
    }
    void add(Step step) { steps_.push_back(std::move(step)); }
    // False when a step cannot be undone.
    bool undo() {
        bool done = true;
        for (; !steps_.empty(); steps_.pop_back()) {
            const Step& step = steps_.back();
            const auto there = session(step.at);
            done = (step.changes.empty() ? there->remove(step.dn) : there->modify(step.dn, step.changes)) &&
                   done;
        }
        return done;
    }

  private:
    std::unique_ptr<wsadmin::platform::LdapSession> session(const LdapEndpoint& at) {
        auto opened = lab_->open(at).value();
        if (!opened->bind({})) throw std::runtime_error("the lab takes no bind");
        return opened;
    }
    std::shared_ptr<wsadmin::platform::LdapClient> lab_;
    std::vector<Step> steps_;
};

class UndoneSession : public wstest::CountingSession {
  public:
    UndoneSession(std::unique_ptr<LdapSession> session, std::shared_ptr<wstest::LdapCounts> counts,
                  std::shared_ptr<UndoLog> log, LdapEndpoint at)
        : CountingSession(std::move(session), std::move(counts)), log_(std::move(log)), at_(std::move(at)) {}
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        auto step = log_->before(at_, dn, changes);
        auto done = CountingSession::modify(dn, changes, controls);
        if (done) log_->add(std::move(step));
        return done;
    }
    Done add(const Entry& entry) override {
        auto done = CountingSession::add(entry);
        if (done) log_->add({at_, entry.dn, {}});
        return done;
    }

  private:
    std::shared_ptr<UndoLog> log_;
    LdapEndpoint at_;
};

class UndoneClient : public wstest::CountingLdapClient {
  public:
    UndoneClient(const std::shared_ptr<LdapClient>& lab, std::shared_ptr<wstest::LdapCounts> counts)
        : CountingLdapClient(lab, std::move(counts)), log_(std::make_shared<UndoLog>(lab)) {}
    bool undo() { return log_->undo(); }

  protected:
    std::unique_ptr<wsadmin::platform::LdapSession> counted(
        std::unique_ptr<wsadmin::platform::LdapSession> session, const LdapEndpoint& at) override {
        return std::make_unique<UndoneSession>(std::move(session), counts(), log_, at);
    }

  private:
    std::shared_ptr<UndoLog> log_;
};

}  // namespace sweep
