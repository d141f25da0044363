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

using namespace wsadmin;
using namespace wsadmin::platform;

// What a token answers; a failure where there is one.
struct ScriptedToken {
    int openCode = 0;  // not 0: it cannot be opened
    std::string user{};
    std::vector<std::string> groups{};
    std::optional<TokenStep> userFails{}, groupsFail{};
};

class ScriptedAccounts : public AccountAuthority {
  public:
    std::map<std::wstring, std::string> users;  // SID by name
    std::map<std::string, AccountName> names;   // name by SID
    ScriptedToken thread{.openCode = accountNoToken};
    ScriptedToken process{.openCode = accountNoToken};
    ScriptedToken logon{.openCode = accountNoToken};
    LogonStep logonStep = LogonStep::logon;  // where it fails
    // Of accounts that are known.
    AccountBufferSizes sizes{.error = accountInsufficientBuffer, .sid = 28, .domain = 5};
    AccountKind kind = AccountKind::user;
    int lookUpCode = 0;
    int namesCode = 0;
    std::vector<std::wstring> asked;  // names that sizes was asked for, and principal names that logged on
    int tokensOpen = 0;
    int tokensOpened = 0;

    AccountBufferSizes bufferSizesFor(const std::wstring& name) override {
        asked.push_back(name);
        if (!users.contains(name)) return {.error = accountNoneMapped};
        return sizes;
    }
    Result<Account> lookUp(const std::wstring& name, const AccountBufferSizes&) override {
        if (lookUpCode) return fail(lookUpCode, L"scripted");
        return Account{sid(users.at(name)), L"CORP", kind};
    }
    Result<std::vector<std::optional<AccountName>>> namesOf(const std::vector<Sid>& sids) override {
        if (namesCode) return fail(namesCode, L"scripted");
        std::vector<std::optional<AccountName>> found;
        for (const Sid& sid : sids) {
            const auto name = names.find(sid.text());
            found.push_back(name == names.end() ? std::nullopt : std::optional(name->second));
        }
        return found;
    }
    using OpenedToken = Result<std::unique_ptr<Token>>;
    OpenedToken threadToken() override { return open(thread); }
    OpenedToken processToken() override { return open(process); }
    LogonResult logOn(const std::wstring& upn, const std::string& origin) override {
        asked.push_back(upn + L" for " + CORE::toWide(origin));
        auto token = open(logon);
        if (!token) return tl::unexpected(LogonFailure{logonStep, token.error()});
        return std::move(*token);
    }

  private:
    class Opened : public Token {
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
        static tl::unexpected<TokenFailure> failed(TokenStep step) {
            return tl::unexpected(TokenFailure{step, {8, L"scripted"}});
        }
        ScriptedAccounts& owner_;
        ScriptedToken token_;
    };

    static Sid sid(const std::string& text) { return Sid::parse(text).value(); }
    OpenedToken open(const ScriptedToken& token) {
        if (token.openCode) return fail(token.openCode, L"scripted");
        return std::make_unique<Opened>(*this, token);
    }
};

}  // namespace wstest
