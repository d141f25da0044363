#include "platform/windows/ads_values.h"

#include <chrono>
#include <cstring>
#include <optional>

namespace wsadmin::platform::windows {

namespace {

using Values = std::vector<DirectoryValue>;

DirectoryTime timeOf(const SYSTEMTIME& time) {
    using namespace std::chrono;
    const year_month_day date{year{time.wYear}, month{time.wMonth}, day{time.wDay}};
    const auto instant = sys_days{date} + hours{time.wHour} + minutes{time.wMinute} + seconds{time.wSecond};
    return {sys_seconds{instant}.time_since_epoch().count()};
}

SYSTEMTIME systemTimeOf(DirectoryTime time) {
    using namespace std::chrono;
    const sys_seconds instant{seconds{time.seconds}};
    const auto midnight = floor<days>(instant);
    const year_month_day date{midnight};
    const hh_mm_ss clock{instant - midnight};
    SYSTEMTIME parts{};
    parts.wYear = static_cast<WORD>(static_cast<int>(date.year()));
    parts.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    parts.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    parts.wHour = static_cast<WORD>(clock.hours().count());
    parts.wMinute = static_cast<WORD>(clock.minutes().count());
    parts.wSecond = static_cast<WORD>(clock.seconds().count());
    return parts;
}

std::string textOf(const wchar_t* text) {
    return text ? CORE::toUtf8(text) : std::string();
}

std::string octets(const void* bytes, std::size_t size) {
    return bytes ? std::string(static_cast<const char*>(bytes), size) : std::string();
}

// --- variants

std::optional<DirectoryValue> largeInteger(IDispatch* object) {
    const auto number = queryCom<IADsLargeInteger>(object, IID_IADsLargeInteger);
    __LONG32 high = 0;
    __LONG32 low = 0;
    if (!number || FAILED(number->get_HighPart(&high)) || FAILED(number->get_LowPart(&low)))
        return std::nullopt;
    const auto bits =
        static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | static_cast<std::uint32_t>(low);
    return static_cast<std::int64_t>(bits);
}

std::optional<DirectoryValue> dateValue(DATE date) {
    SYSTEMTIME time{};
    if (!VariantTimeToSystemTime(date, &time)) return std::nullopt;
    return timeOf(time);
}

// What is in an array, while it is locked.
class ArrayData {
  public:
    explicit ArrayData(SAFEARRAY* array) : array_(array) {
        LONG first = 0;
        LONG last = -1;
        if (!array || SafeArrayGetDim(array) != 1 || FAILED(SafeArrayGetLBound(array, 1, &first)) ||
            FAILED(SafeArrayGetUBound(array, 1, &last)) || FAILED(SafeArrayAccessData(array, &data_)))
            return;
        size_ = last < first ? 0 : static_cast<std::size_t>(last - first + 1);
    }
    ~ArrayData() {
        if (data_) SafeArrayUnaccessData(array_);
    }
    ArrayData(const ArrayData&) = delete;
    ArrayData& operator=(const ArrayData&) = delete;
    void* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }

  private:
    SAFEARRAY* array_;
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

std::optional<DirectoryValue> oneValue(const VARIANT& variant) {
    switch (V_VT(&variant)) {
        case VT_BSTR:
            return CORE::toUtf8({V_BSTR(&variant) ? V_BSTR(&variant) : L"", SysStringLen(V_BSTR(&variant))});
        case VT_I4:
            return static_cast<std::int32_t>(V_I4(&variant));
        case VT_I8:
            return static_cast<std::int64_t>(V_I8(&variant));
        case VT_BOOL:
            return V_BOOL(&variant) != VARIANT_FALSE;
        case VT_DATE:
            return dateValue(V_DATE(&variant));
        case VT_DISPATCH:
            return largeInteger(V_DISPATCH(&variant));
        case VT_ARRAY | VT_UI1: {
            const ArrayData bytes(V_ARRAY(&variant));
            return DirectoryBytes{octets(bytes.data(), bytes.size())};
        }
        default:
            return std::nullopt;
    }
}

HRESULT bytesVariant(const std::string& bytes, VARIANT& variant) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    if (!array) return E_OUTOFMEMORY;
    V_VT(&variant) = VT_ARRAY | VT_UI1;
    V_ARRAY(&variant) = array;
    const ArrayData data(array);
    if (data.data() && !bytes.empty()) std::memcpy(data.data(), bytes.data(), bytes.size());
    return S_OK;
}

HRESULT largeIntegerVariant(std::int64_t number, VARIANT& variant) {
    void* made = nullptr;
    const HRESULT hr =
        CoCreateInstance(CLSID_LargeInteger, nullptr, CLSCTX_INPROC_SERVER, IID_IADsLargeInteger, &made);
    if (FAILED(hr)) return hr;
    auto* object = static_cast<IADsLargeInteger*>(made);
    V_VT(&variant) = VT_DISPATCH;
    V_DISPATCH(&variant) = object;
    const auto bits = static_cast<std::uint64_t>(number);
    const HRESULT high = object->put_HighPart(static_cast<__LONG32>(bits >> 32));
    return FAILED(high) ? high : object->put_LowPart(static_cast<__LONG32>(bits & 0xffffffff));
}

struct ToVariant {
    VARIANT& variant;  // NOLINT(cppcoreguidelines-avoid-const-or-ref-data-members): lives for one visit

    HRESULT text(std::string_view utf8) const {
        const std::wstring wide = CORE::toWide(utf8);
        V_VT(&variant) = VT_BSTR;
        V_BSTR(&variant) = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
        return V_BSTR(&variant) ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT operator()(const std::string& value) const { return text(value); }
    HRESULT operator()(const DirectoryName& value) const { return text(value.dn); }
    HRESULT operator()(std::int32_t value) const {
        V_VT(&variant) = VT_I4;
        V_I4(&variant) = value;
        return S_OK;
    }
    HRESULT operator()(std::int64_t value) const { return largeIntegerVariant(value, variant); }
    HRESULT operator()(bool value) const {
        V_VT(&variant) = VT_BOOL;
        V_BOOL(&variant) = value ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    HRESULT operator()(DirectoryTime value) const {
        SYSTEMTIME time = systemTimeOf(value);
        V_VT(&variant) = VT_DATE;
        return SystemTimeToVariantTime(&time, &V_DATE(&variant)) ? S_OK : E_INVALIDARG;
    }
    HRESULT operator()(const DirectoryBytes& value) const { return bytesVariant(value.bytes, variant); }
};

// --- columns

std::optional<DirectoryValue> columnValue(const ADSVALUE& value) {
    switch (value.dwType) {
        case ADSTYPE_DN_STRING:
            return DirectoryName{textOf(value.DNString)};
        case ADSTYPE_CASE_EXACT_STRING:
        case ADSTYPE_CASE_IGNORE_STRING:
        case ADSTYPE_PRINTABLE_STRING:
        case ADSTYPE_NUMERIC_STRING:
        case ADSTYPE_OBJECT_CLASS:
            return textOf(value.CaseIgnoreString);  // all of them are one pointer to a text
        case ADSTYPE_BOOLEAN:
            return value.Boolean != 0;
        case ADSTYPE_INTEGER:
            return static_cast<std::int32_t>(value.Integer);
        case ADSTYPE_LARGE_INTEGER:
            return static_cast<std::int64_t>(value.LargeInteger.QuadPart);
        case ADSTYPE_UTC_TIME:
            return timeOf(value.UTCTime);
        case ADSTYPE_OCTET_STRING:
            return DirectoryBytes{octets(value.OctetString.lpValue, value.OctetString.dwLength)};
        case ADSTYPE_PROV_SPECIFIC:
            return DirectoryBytes{octets(value.ProviderSpecific.lpValue, value.ProviderSpecific.dwLength)};
        case ADSTYPE_NT_SECURITY_DESCRIPTOR:
            return DirectoryBytes{
                octets(value.SecurityDescriptor.lpValue, value.SecurityDescriptor.dwLength)};
        default:
            return std::nullopt;
    }
}

}  // namespace

Values variantValues(const VARIANT& variant) {
    Values values;
    const auto take = [&](const VARIANT& one) {
        if (auto value = oneValue(one)) values.push_back(std::move(*value));
    };
    if (V_VT(&variant) != (VT_ARRAY | VT_VARIANT)) {
        take(variant);
        return values;
    }
    const ArrayData array(V_ARRAY(&variant));
    for (std::size_t i = 0; i < array.size(); ++i) take(static_cast<const VARIANT*>(array.data())[i]);
    return values;
}

HRESULT toVariant(const DirectoryValue& value, Variant& variant) {
    return std::visit(ToVariant{variant.get()}, value);
}

HRESULT toVariantArray(const Values& values, Variant& variant) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(values.size()));
    if (!array) return E_OUTOFMEMORY;
    V_VT(&variant.get()) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&variant.get()) = array;
    const ArrayData data(array);
    for (std::size_t i = 0; i < data.size(); ++i)
        if (const HRESULT hr = std::visit(ToVariant{static_cast<VARIANT*>(data.data())[i]}, values[i]);
            FAILED(hr))
            return hr;
    return S_OK;
}

Values columnValues(const ADS_SEARCH_COLUMN& column) {
    Values values;
    for (DWORD i = 0; i < column.dwNumValues; ++i)
        if (auto value = columnValue(column.pADsValues[i])) values.push_back(std::move(*value));
    return values;
}

}  // namespace wsadmin::platform::windows
