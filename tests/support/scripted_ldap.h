// An LDAP session whose answers a test scripts, and that records what it was asked.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"

namespace wstest {

using namespace wsadmin;
using namespace wsadmin::platform;

struct ScriptedAnswer {
    int sendCode = 0;  // not 0: the search cannot be sent
    int waitCode = 0;  // not 0: the search fails
    std::vector<LdapEntry> entries{};
    std::vector<LdapControl> controls{};
};

// An answer that is one page of several; an empty cookie makes it the last one.
inline ScriptedAnswer pageAnswer(std::vector<LdapEntry> entries, std::string cookie) {
    return {.entries = std::move(entries),
            .controls = {{.oid = controls::pagedResults,
                          .value = encodePageControl({.size = 0, .cookie = std::move(cookie)})}}};
}

struct ModifyCall {
    std::string dn;
    LdapModify operation;
    std::string attribute;
    std::vector<std::string> values;
    bool operator==(const ModifyCall&) const = default;
};

class ScriptedSession : public LdapSession {
  public:
    std::deque<ScriptedAnswer> answers;  // one a search, in order
    std::function<int(const ModifyCall&)> onModify = [](auto&) { return 0; };
    std::vector<LdapSearch> searches;
    std::vector<ModifyCall> modifies;
    LdapLimits most;

    bool confidential() const override { return false; }
    LdapLimits limits() const override { return most; }
    Result<void> bind(const LdapCredentials&) override { return {}; }
    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
        searches.push_back(search);
        if (answers.empty()) return fail(ldapFailure(ldapOther));
        ScriptedAnswer answer = std::move(answers.front());
        answers.pop_front();
        if (answer.sendCode) return fail(ldapFailure(answer.sendCode));
        return std::make_unique<Pending>(std::move(answer));
    }
    using Done = Result<void>;
    using Controls = std::vector<LdapControl>;
    using Modifications = std::vector<LdapModification>;
    Done add(const LdapEntry&) override { return outcome(ldapNotSupported); }
    Done remove(const std::string&, const Controls&) override { return outcome(ldapNotSupported); }
    Done rename(const std::string&, const std::string&, const std::string&, bool) override {
        return outcome(ldapNotSupported);
    }
    Done modify(const std::string& dn, const Modifications& changes, const Controls&) override {
        const LdapModification& change = changes.at(0);
        modifies.push_back({dn, change.operation, change.attribute, change.values});
        return outcome(onModify(modifies.back()));
    }

  private:
    class Pending : public LdapPendingSearch {
      public:
        explicit Pending(ScriptedAnswer answer) : answer_(std::move(answer)) {}
        Result<LdapSearchResult> wait() override {
            if (answer_.waitCode) return fail(ldapFailure(answer_.waitCode));
            return LdapSearchResult{std::move(answer_.entries), std::move(answer_.controls)};
        }

      private:
        ScriptedAnswer answer_;
    };

    static Result<void> outcome(int code) {
        if (code) return fail(ldapFailure(code));
        return {};
    }
};

// A client that hands out one prepared session, or fails to.
class ScriptedClient : public LdapClient {
  public:
    int openCode = 0;
    std::unique_ptr<ScriptedSession> session = std::make_unique<ScriptedSession>();

    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override {
        lastEndpoint = endpoint;
        if (openCode) return fail(ldapFailure(openCode));
        return std::unique_ptr<LdapSession>(std::move(session));
    }
    LdapEndpoint lastEndpoint;
};

// A client whose sessions have no answers, and that remembers whom it was asked for, as whom a session was
// bound and what was removed.
class RememberingClient : public LdapClient {
  public:
    int opened = 0;
    LdapEndpoint endpoint;
    LdapCredentials bound;
    std::string removed;

    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& asked) override {
        ++opened;
        endpoint = asked;
        return std::make_unique<Session>(*this);
    }

  private:
    class Session : public ScriptedSession {
      public:
        explicit Session(RememberingClient& client) : client_(client) {}
        Result<void> bind(const LdapCredentials& credentials) override {
            client_.bound = credentials;
            return {};
        }
        Result<void> remove(const std::string& dn, const std::vector<LdapControl>&) override {
            client_.removed = dn;
            return {};
        }

      private:
        RememberingClient& client_;
    };
};

inline LdapEntry entry(std::string dn, std::vector<LdapAttribute> attributes = {}) {
    return {std::move(dn), std::move(attributes)};
}

}  // namespace wstest
