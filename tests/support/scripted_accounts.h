// An account authority whose accounts and tokens a test scripts, and that counts the tokens that are open.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/account_authority.h"

namespace wstest {

// What a token answers; a failure where there is one.
struct ScriptedToken {
    int openCode = 0;  // not 0: it cannot be opened
    std::string user{};
    std::vector<std::string> groups{};
    std::optional<wsadmin::platform::TokenStep> userFails{}, groupsFail{};
};

class ScriptedAccounts : public wsadmin::platform::AccountAuthority {
  public:
    using Sid = wsadmin::platform::Sid;
    template <class T>
    using TokenResult = wsadmin::platform::TokenResult<T>;

    std::map<std::wstring, std::string> users;                    // SID by name
    std::map<std::string, wsadmin::platform::AccountName> names;  // name by SID
    ScriptedToken thread{.openCode = wsadmin::platform::accountNoToken};
    ScriptedToken process{.openCode = wsadmin::platform::accountNoToken};
    ScriptedToken logon{.openCode = wsadmin::platform::accountNoToken};
    wsadmin::platform::LogonStep logonStep = wsadmin::platform::LogonStep::logon;  // where it fails
    // Of accounts that are known.
    wsadmin::platform::AccountBufferSizes sizes{
        .error = wsadmin::platform::accountInsufficientBuffer, .sid = 28, .domain = 5};
    wsadmin::platform::AccountKind kind = wsadmin::platform::AccountKind::user;
    int lookUpCode = 0;
    int namesCode = 0;
    std::vector<std::wstring> asked;  // names that sizes was asked for, and principal names that logged on
    int tokensOpen = 0;
    int tokensOpened = 0;

    wsadmin::platform::AccountBufferSizes bufferSizesFor(const std::wstring& name) override {
        asked.push_back(name);
        if (!users.contains(name)) return {.error = wsadmin::platform::accountNoneMapped};
        return sizes;
    }
    wsadmin::Result<wsadmin::platform::Account> lookUp(
        const std::wstring& name, const wsadmin::platform::AccountBufferSizes&) override {
        if (lookUpCode) return wsadmin::fail(lookUpCode, L"scripted");
        return wsadmin::platform::Account{sid(users.at(name)), L"CORP", kind};
    }
    wsadmin::Result<std::vector<std::optional<wsadmin::platform::AccountName>>> namesOf(
        const std::vector<Sid>& sids) override {
        if (namesCode) return wsadmin::fail(namesCode, L"scripted");
        std::vector<std::optional<wsadmin::platform::AccountName>> found;
        for (const Sid& sid : sids) {
            const auto name = names.find(sid.text());
            found.push_back(name == names.end() ? std::nullopt : std::optional(name->second));
        }
        return found;
    }
    using OpenedToken = wsadmin::Result<std::unique_ptr<wsadmin::platform::Token>>;
    OpenedToken threadToken() override { return open(thread); }
    OpenedToken processToken() override { return open(process); }
    wsadmin::platform::LogonResult logOn(const std::wstring& upn, const std::string& origin) override {
        asked.push_back(upn + L" for " + CORE::toWide(origin));
        auto token = open(logon);
        if (!token) return tl::unexpected(wsadmin::platform::LogonFailure{logonStep, token.error()});
        return std::move(*token);
    }

  private:
    class Opened : public wsadmin::platform::Token {
      public:
        Opened(ScriptedAccounts& owner, ScriptedToken token) : owner_(owner), token_(std::move(token)) {
            ++owner_.tokensOpen;
            ++owner_.tokensOpened;
        }
        ~Opened() override { --owner_.tokensOpen; }
        TokenResult<Sid> user() override {
            if (token_.userFails) return failed(*token_.userFails);
            return sid(token_.user);
        }
        TokenResult<std::vector<Sid>> groups() override {
            if (token_.groupsFail) return failed(*token_.groupsFail);
            std::vector<Sid> sids;
            for (const std::string& group : token_.groups) sids.push_back(sid(group));
            return sids;
        }

      private:
        static tl::unexpected<wsadmin::platform::TokenFailure> failed(wsadmin::platform::TokenStep step) {
            return tl::unexpected(wsadmin::platform::TokenFailure{step, {8, L"scripted"}});
        }
        ScriptedAccounts& owner_;
        ScriptedToken token_;
    };

    static Sid sid(const std::string& text) { return Sid::parse(text).value(); }
    OpenedToken open(const ScriptedToken& token) {
        if (token.openCode) return wsadmin::fail(token.openCode, L"scripted");
        return std::make_unique<Opened>(*this, token);
    }
};

}  // namespace wstest
