#include "windows/stand_ins/ads_provider_values.h"

#include <cstring>
#include <stdexcept>

#include "windows/stand_ins/com_object.h"

namespace wstest {

using namespace wsadmin::platform;

namespace {

constexpr double unixEpoch = 25569;  // in days since 1899-12-30
constexpr double secondsOfDay = 86400;

class LargeInteger final : public ComObject<IADsLargeInteger> {
  public:
    explicit LargeInteger(std::int64_t number) : number_(number) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
        return answer(id, object,
                      {{IID_IADsLargeInteger, this}, {IID_IDispatch, this}, {IID_IUnknown, this}});
    }
    HRESULT WINAPI get_HighPart(__LONG32* part) override {
        *part = static_cast<__LONG32>(number_ >> 32);
        return S_OK;
    }
    HRESULT WINAPI get_LowPart(__LONG32* part) override {
        *part = static_cast<__LONG32>(number_ & 0xffffffff);
        return S_OK;
    }
    HRESULT WINAPI put_HighPart(__LONG32) override { return E_NOTIMPL; }
    HRESULT WINAPI put_LowPart(__LONG32) override { return E_NOTIMPL; }

  private:
    std::int64_t number_;
};

DirectoryValue valueOf(const VARIANT& variant) {
    switch (V_VT(&variant)) {
        case VT_BSTR:
            return fromBstr(V_BSTR(&variant));
        case VT_I4:
            return std::int32_t{V_I4(&variant)};
        case VT_BOOL:
            return V_BOOL(&variant) == VARIANT_TRUE;
        case VT_DATE:
            return DirectoryTime{
                static_cast<std::int64_t>((V_DATE(&variant) - unixEpoch) * secondsOfDay + 0.5)};
        case VT_ARRAY | VT_UI1: {
            LONG last = -1;
            SafeArrayGetUBound(V_ARRAY(&variant), 1, &last);
            DirectoryBytes bytes{std::string(static_cast<std::size_t>(last + 1), '\0')};
            for (LONG i = 0; i <= last; ++i)
                SafeArrayGetElement(V_ARRAY(&variant), &i, &bytes.bytes[static_cast<std::size_t>(i)]);
            return bytes;
        }
        default:
            throw std::runtime_error("no such variant: " + std::to_string(V_VT(&variant)));
    }
}

}  // namespace

std::string fromBstr(BSTR text) {
    return text ? CORE::toUtf8(std::wstring_view(text, SysStringLen(text))) : std::string();
}
BSTR toBstr(const std::string& text) {
    return SysAllocString(CORE::toWide(text).c_str());
}

VARIANT variantOf(const DirectoryValue& value) {
    VARIANT variant;
    VariantInit(&variant);
    if (const auto* number = std::get_if<std::int32_t>(&value)) {
        V_VT(&variant) = VT_I4;
        V_I4(&variant) = *number;
    } else if (const auto* large = std::get_if<std::int64_t>(&value)) {
        V_VT(&variant) = VT_DISPATCH;
        V_DISPATCH(&variant) = new LargeInteger(*large);
    } else if (const auto* flag = std::get_if<bool>(&value)) {
        V_VT(&variant) = VT_BOOL;
        V_BOOL(&variant) = *flag ? VARIANT_TRUE : VARIANT_FALSE;
    } else if (const auto* time = std::get_if<DirectoryTime>(&value)) {
        V_VT(&variant) = VT_DATE;
        V_DATE(&variant) = unixEpoch + static_cast<double>(time->seconds) / secondsOfDay;
    } else if (const auto* bytes = std::get_if<DirectoryBytes>(&value)) {
        V_VT(&variant) = VT_ARRAY | VT_UI1;
        V_ARRAY(&variant) = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes->bytes.size()));
        for (LONG i = 0; i < static_cast<LONG>(bytes->bytes.size()); ++i) {
            char byte = bytes->bytes[static_cast<std::size_t>(i)];
            SafeArrayPutElement(V_ARRAY(&variant), &i, &byte);
        }
    } else {
        V_VT(&variant) = VT_BSTR;
        V_BSTR(&variant) = toBstr(directoryText(value));
    }
    return variant;
}

VARIANT variantOf(const std::vector<DirectoryValue>& values) {
    VARIANT variant;
    VariantInit(&variant);
    V_VT(&variant) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&variant) = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(values.size()));
    for (LONG i = 0; i < static_cast<LONG>(values.size()); ++i) {
        VARIANT one = variantOf(values[static_cast<std::size_t>(i)]);
        SafeArrayPutElement(V_ARRAY(&variant), &i, &one);  // a copy
        VariantClear(&one);
    }
    return variant;
}

std::vector<DirectoryValue> valuesOf(const VARIANT& variant) {
    if (V_VT(&variant) == VT_EMPTY) return {};
    if (V_VT(&variant) != (VT_ARRAY | VT_VARIANT)) return {valueOf(variant)};
    std::vector<DirectoryValue> values;
    LONG last = -1;
    SafeArrayGetUBound(V_ARRAY(&variant), 1, &last);
    for (LONG i = 0; i <= last; ++i) {
        VARIANT one;
        VariantInit(&one);
        SafeArrayGetElement(V_ARRAY(&variant), &i, &one);
        values.push_back(valueOf(one));
        VariantClear(&one);
    }
    return values;
}

void ColumnStore::add(const DirectoryValue& value) {
    ADSVALUE& made = values.emplace_back();
    std::memset(&made, 0, sizeof made);
    made.dwType = static_cast<ADSTYPE>(adsTypeCode(value));
    if (const auto* number = std::get_if<std::int32_t>(&value)) {
        made.Integer = static_cast<DWORD>(*number);
    } else if (const auto* large = std::get_if<std::int64_t>(&value)) {
        made.LargeInteger.QuadPart = *large;
    } else if (const auto* flag = std::get_if<bool>(&value)) {
        made.Boolean = *flag ? 1 : 0;
    } else if (const auto* time = std::get_if<DirectoryTime>(&value)) {
        VariantTimeToSystemTime(unixEpoch + static_cast<double>(time->seconds) / secondsOfDay, &made.UTCTime);
    } else if (const auto* octets = std::get_if<DirectoryBytes>(&value)) {
        std::string& kept = bytes.emplace_back(octets->bytes);
        made.OctetString.lpValue = reinterpret_cast<BYTE*>(kept.data());
        made.OctetString.dwLength = static_cast<DWORD>(kept.size());
    } else {
        made.CaseIgnoreString = texts.emplace_back(CORE::toWide(directoryText(value))).data();
    }
}

}  // namespace wstest
