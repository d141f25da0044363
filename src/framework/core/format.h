// The framework's printf-style wide formats, type safe: an argument carries its own type, so a conversion
// that names another type prints the argument in its own form and never reads wrong memory.
//
// %s %S print text of either width; %d %u %x %X numbers; %c a character; %p an address; %% a percent sign.
// Size modifiers (h l w) are ignored, because an argument knows its size. Flags "-" and "0", and a width. A
// conversion without an argument prints itself; surplus arguments are ignored.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "framework/core/export.h"

namespace CORE {

template <class Ch>
class corestring;

template <class E>
concept enumeration = std::is_enum_v<E>;

// One argument: a view of what the caller passed, valid during the call.
class FormatArg {
  public:
    enum class Kind { signedInteger, unsignedInteger, wide, narrow, pointer };

    template <std::integral I>
    FormatArg(I value)  // NOLINT(google-explicit-constructor)
        : kind_(std::is_signed_v<I> ? Kind::signedInteger : Kind::unsignedInteger), bytes_(sizeof(I)) {
        if constexpr (std::is_signed_v<I>)
            integer_ = static_cast<std::uint64_t>(std::int64_t{value});  // the sign is kept
        else
            integer_ = value;
    }
    template <enumeration E>
    FormatArg(E value) : FormatArg(static_cast<std::underlying_type_t<E>>(value)) {}  // NOLINT
    FormatArg(const wchar_t* text)                                                    // NOLINT
        : kind_(Kind::wide), wide_(text ? std::wstring_view(text) : std::wstring_view(L"(null)")) {}
    FormatArg(const char* text)  // NOLINT
        : kind_(Kind::narrow), narrow_(text ? std::string_view(text) : std::string_view("(null)")) {}
    FormatArg(std::nullptr_t) : FormatArg(static_cast<const void*>(nullptr)) {}  // NOLINT
    FormatArg(std::wstring_view text) : kind_(Kind::wide), wide_(text) {}        // NOLINT
    FormatArg(std::string_view text) : kind_(Kind::narrow), narrow_(text) {}     // NOLINT
    FormatArg(const std::wstring& text) : FormatArg(std::wstring_view(text)) {}  // NOLINT
    FormatArg(const std::string& text) : FormatArg(std::string_view(text)) {}    // NOLINT
    template <class Ch>
    FormatArg(const corestring<Ch>& text) : FormatArg(text.str()) {}                // NOLINT
    FormatArg(const void* address) : kind_(Kind::pointer), bytes_(sizeof(void*)) {  // NOLINT
        integer_ = reinterpret_cast<std::uintptr_t>(address);
    }

    Kind kind() const noexcept { return kind_; }
    std::uint64_t integer() const noexcept { return integer_; }
    std::size_t bytes() const noexcept { return bytes_; }  // the size of the integer's own type
    std::wstring_view wide() const noexcept { return wide_; }
    std::string_view narrow() const noexcept { return narrow_; }

  private:
    Kind kind_;
    std::size_t bytes_ = 0;
    std::uint64_t integer_ = 0;
    std::wstring_view wide_;
    std::string_view narrow_;
};

MFWCORE_API std::wstring formatText(std::wstring_view format, std::span<const FormatArg> args);

template <class... Args>
std::wstring formatText(std::wstring_view format, const Args&... args) {
    const std::initializer_list<FormatArg> list = {FormatArg(args)...};
    return formatText(format, std::span<const FormatArg>(list.begin(), list.size()));
}

}  // namespace CORE
