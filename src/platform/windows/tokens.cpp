// The tokens of logons.
#include <new>

#include "platform/windows/windows_accounts.h"

namespace wsadmin::platform::windows {

namespace {

using Bytes = std::vector<std::byte>;

tl::unexpected<TokenFailure> failAt(TokenStep step, Failure cause) {
    return tl::unexpected<TokenFailure>(TokenFailure{step, std::move(cause)});
}

TokenResult<Bytes> informationOf(HANDLE token, TOKEN_INFORMATION_CLASS what) {
    DWORD size = 0;
    if (!GetTokenInformation(token, what, nullptr, 0, &size) && GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return failAt(TokenStep::size, lastFailure());
    Bytes data;
    try {
        data.resize(size);
    } catch (const std::bad_alloc&) {
        return failAt(TokenStep::memory, systemFailure(ERROR_NOT_ENOUGH_MEMORY));
    }
    if (!GetTokenInformation(token, what, data.data(), size, &size))
        return failAt(TokenStep::data, lastFailure());
    return data;
}

class OpenToken final : public Token {
  public:
    explicit OpenToken(UniqueHandle handle) : handle_(std::move(handle)) {}

    TokenResult<Sid> user() override {
        const auto data = informationOf(handle_.get(), TokenUser);
        if (!data) return tl::unexpected(data.error());
        auto sid = sidOf(reinterpret_cast<const TOKEN_USER*>(data->data())->User.Sid);
        if (!sid) return failAt(TokenStep::data, sid.error());
        return std::move(*sid);
    }

    // All of them, whatever their attributes: a group that only denies is one all the same.
    TokenResult<std::vector<Sid>> groups() override {
        const auto data = informationOf(handle_.get(), TokenGroups);
        if (!data) return tl::unexpected(data.error());
        const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(data->data());
        std::vector<Sid> sids;
        for (DWORD i = 0; i < groups->GroupCount; ++i) {
            auto sid = sidOf(groups->Groups[i].Sid);
            if (!sid) return failAt(TokenStep::data, sid.error());
            sids.push_back(std::move(*sid));
        }
        return sids;
    }

  private:
    UniqueHandle handle_;
};

}  // namespace

std::unique_ptr<Token> makeToken(UniqueHandle handle) {
    return std::make_unique<OpenToken>(std::move(handle));
}

Result<std::unique_ptr<Token>> tokenOfThread() {
    HANDLE handle = nullptr;
    // Opened with the rights of the one whom the thread acts as, not with those of the process.
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, FALSE, &handle)) return fail(lastFailure());
    return makeToken(UniqueHandle(handle));
}

Result<std::unique_ptr<Token>> tokenOfProcess() {
    HANDLE handle = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &handle)) return fail(lastFailure());
    return makeToken(UniqueHandle(handle));
}

}  // namespace wsadmin::platform::windows
