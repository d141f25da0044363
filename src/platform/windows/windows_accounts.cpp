// Names and SIDs of accounts.
#include "platform/windows/windows_accounts.h"

#include <algorithm>
#include <span>

#include "platform/ldap/batches.h"

namespace wsadmin::platform::windows {

namespace {

// STATUS_SOME_NOT_MAPPED is a success by its number.
constexpr auto noneMapped = static_cast<NTSTATUS>(0xC0000073);
// Of 20480 that the authority takes: shorter questions keep others waiting less.
constexpr std::size_t sidsAtOnce = 1000;

using Names = std::vector<std::optional<AccountName>>;

// The lookup takes a C string: it would look up what precedes the NUL.
bool hasNul(const std::wstring& name) {
    return name.find(L'\0') != std::wstring::npos;
}

std::wstring textOf(const LSA_UNICODE_STRING& text) {
    return text.Buffer ? std::wstring(text.Buffer, text.Length / sizeof(wchar_t)) : std::wstring();
}

std::wstring domainOf(const LSA_TRANSLATED_NAME& name, const LSA_REFERENCED_DOMAIN_LIST* domains) {
    if (!domains || name.DomainIndex < 0 || static_cast<ULONG>(name.DomainIndex) >= domains->Entries)
        return {};
    return textOf(domains->Domains[name.DomainIndex].Name);
}

// For an unknown account the authority returns its SID as the name.
bool isKnown(SID_NAME_USE use) {
    return use != SidTypeUnknown && use != SidTypeInvalid && use != SidTypeDeletedAccount;
}

Result<UniqueLsaPolicy> openPolicy() {
    LSA_OBJECT_ATTRIBUTES attributes{};
    LSA_HANDLE policy = nullptr;
    const NTSTATUS status = LsaOpenPolicy(nullptr, &attributes, POLICY_LOOKUP_NAMES, &policy);
    if (status < 0) return fail(statusFailure(status));
    return UniqueLsaPolicy(policy);
}

Result<void> appendNames(LSA_HANDLE policy, std::span<const Sid> sids, Names& found) {
    std::vector<PSID> asked;
    for (const Sid& sid : sids) asked.push_back(const_cast<char*>(sid.bytes().data()));
    LSA_REFERENCED_DOMAIN_LIST* domainList = nullptr;
    LSA_TRANSLATED_NAME* nameList = nullptr;
    const NTSTATUS status =
        LsaLookupSids(policy, static_cast<ULONG>(asked.size()), asked.data(), &domainList, &nameList);
    const UniqueLsaDomains domains(domainList);
    const UniqueLsaNames names(nameList);
    if (status < 0 && status != noneMapped) return fail(statusFailure(status));
    for (std::size_t i = 0; i < sids.size(); ++i) {
        std::optional<AccountName>& added = found.emplace_back();
        if (!nameList || !isKnown(nameList[i].Use)) continue;
        added = {textOf(nameList[i].Name), domainOf(nameList[i], domainList),
                 static_cast<AccountKind>(nameList[i].Use)};
    }
    return {};
}

class Authority final : public AccountAuthority {
  public:
    AccountBufferSizes bufferSizesFor(const std::wstring& name) override {
        if (hasNul(name)) return {ERROR_INVALID_PARAMETER};
        DWORD sid = 0;
        DWORD domain = 0;
        SID_NAME_USE use = SidTypeUnknown;
        const BOOL ok = LookupAccountNameW(nullptr, name.c_str(), nullptr, &sid, nullptr, &domain, &use);
        // Success without buffers leaves the sizes to be used all the same.
        const DWORD error = ok ? ERROR_INSUFFICIENT_BUFFER : GetLastError();
        return {static_cast<int>(error), sid, domain};
    }

    Result<Account> lookUp(const std::wstring& name, const AccountBufferSizes& sizes) override {
        if (hasNul(name)) return fail(systemFailure(ERROR_INVALID_PARAMETER));
        std::vector<std::byte> sid(sizes.sid);
        std::wstring domain(sizes.domain, L'\0');
        DWORD sidSize = sizes.sid;
        DWORD domainSize = sizes.domain;
        SID_NAME_USE use = SidTypeUnknown;
        if (!LookupAccountNameW(nullptr, name.c_str(), sid.data(), &sidSize, domain.data(), &domainSize,
                                &use))
            return fail(lastFailure());
        auto copied = sidOf(sid.data());
        if (!copied) return fail(copied.error());
        domain.resize(std::min(domain.find(L'\0'), domain.size()));
        return Account{std::move(*copied), std::move(domain), static_cast<AccountKind>(use)};
    }

    Result<Names> namesOf(const std::vector<Sid>& sids) override {
        Names found;
        if (sids.empty()) return found;
        const auto policy = openPolicy();
        if (!policy) return fail(policy.error());
        for (const auto batch : batchesOf(sids, sidsAtOnce))
            if (auto ok = appendNames(policy->get(), batch, found); !ok) return fail(ok.error());
        return found;
    }

    Result<std::unique_ptr<Token>> threadToken() override { return tokenOfThread(); }
    Result<std::unique_ptr<Token>> processToken() override { return tokenOfProcess(); }
    LogonResult logOn(const std::wstring& upn, const std::string& origin) override {
        return logOnWithoutPassword(upn, origin);
    }
};

}  // namespace

Result<Sid> sidOf(PSID sid) {
    if (sid && IsValidSid(sid)) {
        const auto copied = Sid::fromBytes({static_cast<const char*>(sid), GetLengthSid(sid)});
        if (copied) return *copied;
    }
    return fail(systemFailure(ERROR_INVALID_SID));
}

std::shared_ptr<AccountAuthority> makeAccountAuthority() {
    return std::make_shared<Authority>();
}

}  // namespace wsadmin::platform::windows
