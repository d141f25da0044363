#include "platform/windows/ads_directory.h"

#include <array>

#include "platform/windows/ads_values.h"
#include "platform/windows/wide_secret.h"
#include "platform/windows/windows_platform.h"

namespace wsadmin::platform::windows {

namespace {

const wchar_t* orNull(const std::wstring& text) {
    return text.empty() ? nullptr : text.c_str();
}

std::wstring codeText(int code) {
    const std::wstring_view known = adsCodeText(code);
    return known.empty() ? CORE::wstr::formatError(static_cast<std::uint32_t>(code)).str()
                         : std::wstring(known);
}

class AdsDirectoryServices final : public DirectoryServices {
  public:
    Result<std::shared_ptr<DirectorySearch>> openSearch(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        auto search = open<IDirectorySearch>(path, credentials, flags, IID_IDirectorySearch);
        if (!search) return fail(search.error());
        return makeAdsSearch(apartment_, std::move(*search));
    }

    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        auto object = open<IADs>(path, credentials, flags, IID_IADs);
        if (!object) return fail(object.error());
        return makeAdsObject(apartment_, std::move(*object));
    }

    bool initialiseThread() override { return SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
    void uninitialiseThread() override { CoUninitialize(); }

  private:
    template <class T>
    Result<UniqueCom<T>> open(const std::string& text, const DirectoryCredentials& credentials,
                              std::uint32_t flags, const IID& id) {
        const auto path = parseDirectoryPath(text);
        const bool good = path && credentials.user.find('\0') == std::string::npos;
        if (!good) return fail(adsRefusal(path ? adsBadParameter : adsBadPathName));
        const std::wstring name = CORE::toWide(directoryPathText(*path));
        const std::wstring user = CORE::toWide(credentials.user);
        WideSecret password(credentials.password.view());
        void* opened = nullptr;
        const auto done = callAds([&] {
            return ADsOpenObject(name.c_str(), orNull(user), orNull(password.text()), flags, id, &opened);
        });
        if (!done) return fail(done.error());
        return UniqueCom<T>(static_cast<T*>(opened));
    }

    std::shared_ptr<Apartment> apartment_ = std::make_shared<Apartment>();
};

}  // namespace

Failure adsFailure(HRESULT code) {
    const int number = static_cast<int>(code);
    DWORD extended = 0;
    std::array<wchar_t, 1024> info{};
    std::array<wchar_t, 256> provider{};
    if (FAILED(ADsGetLastError(&extended, info.data(), static_cast<DWORD>(info.size()), provider.data(),
                               static_cast<DWORD>(provider.size())))) {
        extended = 0;
        info[0] = L'\0';
    }
    ADsSetLastError(ERROR_SUCCESS, nullptr, nullptr);
    return {number, directoryErrorText(number, codeText(number), extended, info.data())};
}

Failure adsRefusal(int code) {
    return {code, directoryErrorText(code, codeText(code), 0, {})};
}

std::shared_ptr<DirectoryServices> makeDirectoryServices() {
    return std::make_shared<AdsDirectoryServices>();
}

}  // namespace wsadmin::platform::windows
