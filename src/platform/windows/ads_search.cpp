// Searches by ADSI.

#include "platform/ldap/ldap_limits.h"
#include "platform/ldap/ldap_text.h"
#include "platform/windows/ads_directory.h"
#include "platform/windows/ads_values.h"

namespace wsadmin::platform::windows {

namespace {

constexpr int filterUnknown = static_cast<int>(0x8007203E);

// The directory-search interface with what is known of its connection; its rows share it.
struct SearchedObject {
    std::shared_ptr<Apartment> apartment;  // released last
    UniqueCom<IDirectorySearch> search;
    std::atomic<bool> lost{false};

    Failure noted(Failure failure) {
        constexpr int networkLost = static_cast<int>(0x8007203B);  // the client's "local error"
        if (failure.code == adsServerDown || failure.code == adsTimeout || failure.code == networkLost)
            lost.store(true);
        return failure;
    }
    template <class Call>
    Result<HRESULT> call(Call function) {
        auto done = callAds(function);
        if (!done) return fail(noted(done.error()));
        return done;
    }
};

class AdsRows final : public DirectoryRows {
  public:
    AdsRows(std::shared_ptr<SearchedObject> connection, ADS_SEARCH_HANDLE handle)
        : connection_(std::move(connection)), handle_(handle) {}
    ~AdsRows() override { search().CloseSearchHandle(handle_); }
    AdsRows(const AdsRows&) = delete;
    AdsRows& operator=(const AdsRows&) = delete;

    Result<bool> next() override {
        if (finished_) return false;
        const auto asked = std::chrono::steady_clock::now();
        const auto row = nextRow();
        onRow_ = row && *row == S_OK;
        finished_ = !onRow_;
        if (!row) return fail(row.error());
        auto within = allowance_.wait(std::chrono::steady_clock::now() - asked);
        if (within && onRow_) within = allowance_.take(std::uint64_t{0});  // of sizes ADSI says nothing
        if (within) return onRow_;
        onRow_ = false;
        finished_ = true;
        return fail(within.error().code == ldapTimeout ? static_cast<int>(adsTimeout) : adsResultsTooLarge,
                    within.error().text);
    }

    Result<std::optional<DirectoryColumn>> column(std::string_view name) override {
        if (!onRow_) return fail(adsRefusal(adsBadParameter));
        std::wstring wide = CORE::toWide(name);
        ADS_SEARCH_COLUMN column{};
        const auto read =
            connection_->call([&] { return search().GetColumn(handle_, wide.data(), &column); });
        if (!read && read.error().code == static_cast<int>(E_ADS_COLUMN_NOT_SET)) return std::nullopt;
        if (!read) return fail(read.error());
        DirectoryColumn found{std::string(name), columnValues(column)};
        search().FreeColumn(&column);
        return found;
    }

    Result<std::vector<DirectoryColumn>> columns() override {
        if (!onRow_) return fail(adsRefusal(adsBadParameter));
        std::vector<std::string> names;
        LPWSTR name = nullptr;
        while (true) {
            const auto more = connection_->call([&] { return search().GetNextColumnName(handle_, &name); });
            if (!more) return fail(more.error());
            if (*more != S_OK || !name) break;
            names.push_back(CORE::toUtf8(name));
            FreeADsMem(name);
            name = nullptr;
        }
        std::vector<DirectoryColumn> all;
        for (const std::string& each : names) {
            auto found = column(each);
            if (!found) return fail(found.error());
            if (*found) all.push_back(std::move(**found));
        }
        return all;
    }

  private:
    IDirectorySearch& search() const { return *connection_->search; }

    // Between two pages the provider may say that there are no more rows, and that there is more data.
    Result<HRESULT> nextRow() {
        constexpr int mostEmptyPages = 1000;  // in a row
        for (int pages = 0; pages < mostEmptyPages; ++pages) {
            auto row = connection_->call([this] {
                return std::exchange(started_, true) ? search().GetNextRow(handle_)
                                                     : search().GetFirstRow(handle_);
            });
            if (!row || *row != S_ADS_NOMORE_ROWS || !hasMoreData()) return row;
        }
        return fail(connection_->noted(adsRefusal(adsTimeout)));
    }

    static bool hasMoreData() {
        DWORD code = ERROR_SUCCESS;
        wchar_t info[2]{};
        wchar_t provider[2]{};
        return SUCCEEDED(ADsGetLastError(&code, info, 2, provider, 2)) && code == ERROR_MORE_DATA;
    }

    std::shared_ptr<SearchedObject> connection_;
    ADS_SEARCH_HANDLE handle_;
    LdapAllowance allowance_{LdapLimits{}};
    bool started_ = false;
    bool onRow_ = false;
    bool finished_ = false;
};

class AdsSearch final : public DirectorySearch {
  public:
    explicit AdsSearch(std::shared_ptr<SearchedObject> connection) : connection_(std::move(connection)) {
        // Without pages the server's limit would cut the answer short in silence.
        constexpr int usualPageSize = 250;
        (void)setPreference(SearchPreference::pageSize, usualPageSize);
    }

    Result<void> setPreference(SearchPreference preference, int value) override {
        const bool badScope = preference == SearchPreference::scope && value > ADS_SCOPE_SUBTREE;
        if (value < 0 || badScope) return fail(adsRefusal(adsBadParameter));
        ADS_SEARCHPREF_INFO info{};
        info.dwSearchPref = static_cast<ADS_SEARCHPREF>(preference);
        if (preference == SearchPreference::tombstone) {
            info.vValue.dwType = ADSTYPE_BOOLEAN;
            info.vValue.Boolean = value != 0;
        } else {
            info.vValue.dwType = ADSTYPE_INTEGER;
            info.vValue.Integer = static_cast<DWORD>(value);
        }
        const auto set =
            connection_->call([&] { return connection_->search->SetSearchPreference(&info, 1); });
        if (!set) return fail(set.error());
        const bool refused = *set == S_ADS_ERRORSOCCURRED && info.dwStatus != ADS_STATUS_S_OK;
        if (refused) return fail(adsRefusal(adsBadParameter));
        return {};
    }

    Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                   const std::vector<std::string>& attributes) override {
        const auto strict = normaliseFilter(filter);
        if (!strict) return fail(adsRefusal(filterUnknown));
        std::wstring text = CORE::toWide(*strict);
        std::vector<std::wstring> names;
        names.reserve(attributes.size());
        for (const std::string& attribute : attributes) names.push_back(CORE::toWide(attribute));
        std::vector<LPWSTR> pointers;
        for (std::wstring& name : names) pointers.push_back(name.data());
        constexpr auto allAttributes = static_cast<DWORD>(-1);
        ADS_SEARCH_HANDLE handle = nullptr;
        const auto sent = connection_->call([&] {
            return connection_->search->ExecuteSearch(
                text.data(), pointers.empty() ? nullptr : pointers.data(),
                pointers.empty() ? allAttributes : static_cast<DWORD>(pointers.size()), &handle);
        });
        if (!sent) return fail(sent.error());
        return std::make_unique<AdsRows>(connection_, handle);
    }

    bool usable() const noexcept override { return !connection_->lost.load(); }

  private:
    std::shared_ptr<SearchedObject> connection_;
};

}  // namespace

std::shared_ptr<DirectorySearch> makeAdsSearch(std::shared_ptr<Apartment> apartment,
                                               UniqueCom<IDirectorySearch> search) {
    auto connection = std::make_shared<SearchedObject>();
    connection->apartment = std::move(apartment);
    connection->search = std::move(search);
    return std::make_shared<AdsSearch>(std::move(connection));
}

}  // namespace wsadmin::platform::windows
