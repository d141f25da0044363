// Values and failures of directory services.
#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <utility>

#include "platform/directory_services.h"

namespace wsadmin::platform {

namespace {

// As a directory writes a time: "20150301123045.0Z".
std::string timeText(DirectoryTime time) {
    using namespace std::chrono;
    const sys_seconds instant{seconds{time.seconds}};
    const auto day = floor<days>(instant);
    const year_month_day date{day};
    const hh_mm_ss clock{instant - day};
    return CORE::toUtf8(CORE::formatText(
        L"%04d%02u%02u%02d%02d%02d.0Z", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count())));
}

constexpr std::pair<int, std::wstring_view> texts[] = {
    {adsNotImplemented, L"Not implemented"},
    {adsUnspecified, L"Unspecified error"},
    {adsBadPathName, L"An invalid directory pathname was passed"},
    {adsUnknownObject, L"An unknown directory object was requested"},
    {adsBadParameter, L"One or more input parameters are invalid"},
    {adsPropertyNotFound, L"The directory property cannot be found in the cache."},
    {adsAccessDenied, L"Access is denied."},
    {adsLogonFailure, L"The user name or password is incorrect."},
    {adsNoSuchDomain, L"The specified domain either does not exist or could not be contacted."},
    {adsTimeout, L"This operation returned because the timeout period expired."},
    {adsObjectExists, L"The object already exists."},
    {adsNoSuchObject, L"There is no such object on the server."},
    {adsServerDown, L"The server is not operational."},
};

using Codes = std::array<int, std::variant_size_v<DirectoryValue>>;

}  // namespace

int adsTypeCode(const DirectoryValue& value) noexcept {
    // 1 name, 3 text, 6 boolean, 7 integer, 8 bytes, 9 time, 10 large integer.
    constexpr Codes codes = {3, 7, 10, 6, 9, 8, 1};
    return codes[value.index()];
}

int variantTypeCode(const DirectoryValue& value) noexcept {
    // 3 integer, 7 time, 8 text, 9 object (a large integer is one), 11 boolean, 8192 + 17 bytes.
    constexpr Codes codes = {8, 3, 9, 11, 7, 8209, 8};
    return codes[value.index()];
}

std::string directoryText(const DirectoryValue& value) {
    struct Text {
        std::string operator()(const std::string& text) const { return text; }
        std::string operator()(std::int32_t number) const { return std::to_string(number); }
        std::string operator()(std::int64_t number) const { return std::to_string(number); }
        std::string operator()(bool truth) const { return truth ? "TRUE" : "FALSE"; }
        std::string operator()(DirectoryTime time) const { return timeText(time); }
        std::string operator()(const DirectoryBytes& octets) const { return octets.bytes; }
        std::string operator()(const DirectoryName& name) const { return name.dn; }
    };
    return std::visit(Text{}, value);
}

std::wstring_view adsCodeText(int code) noexcept {
    const auto* const found =
        std::ranges::find(texts, code, [](const auto& text) -> int { return text.first; });
    return found == std::end(texts) ? std::wstring_view() : found->second;
}

std::wstring directoryErrorText(int code, std::wstring_view codeText, std::uint32_t extended,
                                std::wstring_view info) {
    if (code >= 0) return L"SUCCEEDED";
    std::wstring text(codeText);
    if (extended == 0 && info.empty()) return text;
    if (!text.empty()) text += L' ';
    return text + CORE::formatText(L"Error=%u Info=%s", extended, info);
}

}  // namespace wsadmin::platform
