// Value strings of the framework: corestring<wchar_t> is the working form, corestring<char> holds UTF-8 (or,
// around encryption, plain bytes). Not thread safe.
#pragma once

#include <compare>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "framework/core/export.h"
#include "framework/core/format.h"

namespace CORE {

inline constexpr unsigned codePageUtf8 = 65001;

// UTF-8 to wide and back. Each invalid byte and each lone surrogate becomes U+FFFD; no error is reported.
MFWCORE_API std::wstring toWide(std::string_view utf8);
MFWCORE_API std::string toUtf8(std::wstring_view wide);
MFWCORE_API bool isValidUtf8(std::string_view text) noexcept;
// A file's text without a byte order mark.
inline std::string_view withoutByteOrderMark(std::string_view utf8) noexcept {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return utf8.substr(utf8.starts_with(mark) ? mark.size() : 0);
}

// Case folding of one character, independent of the locale: Unicode's simple mapping to upper case where that
// can be reversed. Nothing outside ASCII folds into ASCII.
MFWCORE_API wchar_t foldCase(wchar_t c) noexcept;
MFWCORE_API wchar_t lowerCase(wchar_t c) noexcept;  // the simple mapping to lower case, for display
// Three-way comparison without regard to case: below, equal to or above 0.
MFWCORE_API int compareFolded(std::wstring_view a, std::wstring_view b) noexcept;
MFWCORE_API int compareFolded(std::string_view a, std::string_view b) noexcept;  // both UTF-8
inline bool equalFolded(std::wstring_view a, std::wstring_view b) noexcept {
    return compareFolded(a, b) == 0;
}
inline bool equalFolded(std::string_view a, std::string_view b) noexcept {
    return compareFolded(a, b) == 0;
}
// The same text for all texts that are equal without regard to case. In invalid UTF-8 only ASCII letters are
// folded, so that different bytes stay different.
MFWCORE_API std::string foldText(std::string_view utf8);

// Overwrites memory; the compiler does not optimise it away.
MFWCORE_API void wipeMemory(void* data, std::size_t bytes) noexcept;

enum class ComputerNameFormat { netBios, dnsFullyQualified };

template <class Ch>
concept wideCharacter = std::is_same_v<Ch, wchar_t>;
template <class I, class Ch>
concept numberBeside = std::is_integral_v<I> && !std::is_same_v<I, Ch> && !std::is_same_v<I, bool>;

// Both instances are compiled into mfwcore. MFWCORE_API stands at each function that is defined there: on the
// whole class, or on an extern template, it would import the inline functions too, which the linker does not
// export.
template <class Ch>
class corestring {
  public:
    using view_type = std::basic_string_view<Ch>;
    using std_type = std::basic_string<Ch>;
    static constexpr std::size_t npos = std_type::npos;

    corestring() = default;
    // length -1: the text ends at its NUL. A null pointer is an empty text.
    MFWCORE_API corestring(const Ch* text, int length = -1);  // NOLINT(google-explicit-constructor)
    MFWCORE_API corestring(view_type text);                   // NOLINT(google-explicit-constructor)
    MFWCORE_API corestring(std_type text) noexcept;           // NOLINT(google-explicit-constructor)
    MFWCORE_API explicit corestring(Ch c);
    template <numberBeside<Ch> I>
    explicit corestring(I number) {
        *this << number;
    }
    MFWCORE_API explicit corestring(const std::exception& exception);  // its message text

    operator view_type() const noexcept { return text_; }  // NOLINT(google-explicit-constructor)
    const std_type& str() const noexcept { return text_; }

    const Ch* p() const noexcept { return text_.c_str(); }
    const Ch* c_str() const noexcept { return text_.c_str(); }
    // A buffer of at least `length` characters to write to; the string has that length afterwards.
    MFWCORE_API Ch* p_upd(std::size_t length);
    int length() const noexcept { return static_cast<int>(text_.size()); }
    std::size_t size() const noexcept { return text_.size(); }
    bool empty() const noexcept { return text_.empty(); }
    void clear() noexcept { text_.clear(); }
    MFWCORE_API void clearAndWipe() noexcept;  // overwrites the whole buffer, then empties it

    // length -1 compares the whole texts, otherwise at most so many characters of both.
    MFWCORE_API int compare(view_type other, int length = -1) const noexcept;
    MFWCORE_API int comparei(view_type other, int length = -1) const noexcept;

    // Positions, or npos. findr searches from the end.
    MFWCORE_API std::size_t find(view_type what, std::size_t from = 0) const noexcept;
    MFWCORE_API std::size_t findi(view_type what,
                                  std::size_t from = 0) const noexcept requires std::is_same_v<Ch, wchar_t>;
    MFWCORE_API std::size_t findr(view_type what) const noexcept;
    MFWCORE_API std::size_t find_first_not_of(view_type set, std::size_t from = 0) const noexcept;
    MFWCORE_API int findAndReplace(Ch what, Ch with);  // how many were replaced
    MFWCORE_API int findAndReplace(view_type what, view_type with);
    MFWCORE_API corestring substr(std::size_t from,
                                  std::size_t count = npos) const;  // empty when `from` is past the end
    MFWCORE_API corestring left(std::size_t count) const;
    MFWCORE_API corestring& replace(std::size_t from, std::size_t count, view_type with);
    MFWCORE_API corestring& append(view_type text);
    MFWCORE_API corestring& trim(view_type set);
    MFWCORE_API corestring& toLower();
    // Splits without empty pieces. Without a separator: at commas, semicolons and white space.
    MFWCORE_API std::vector<corestring> split(Ch separator) const;
    MFWCORE_API std::vector<corestring> split() const;

    // Formats with the framework's rules (format.h) and replaces the text.
    template <class... Args>
    corestring& printf(view_type format, const Args&... args) requires wideCharacter<Ch> {
        text_ = formatText(format, args...);
        return *this;
    }

    // A decimal number with an optional sign and white space around; anything else, also overflow, gives the
    // fallback.
    MFWCORE_API int toInt(int fallback = 0) const noexcept;
    MFWCORE_API unsigned toUInt(unsigned fallback = 0) const noexcept;
    MFWCORE_API bool toBool(bool fallback = false) const noexcept;  // "true", "false" (any case) and numbers
    MFWCORE_API bool isNum() const noexcept;                        // digits, with or without a leading sign

    // Narrow and wide forms. The narrow one is UTF-8: another code page throws coreException.
    MFWCORE_API corestring<char> to_mstr(unsigned codePage = codePageUtf8) const;
    corestring<char> _mstr(unsigned codePage = codePageUtf8) const { return to_mstr(codePage); }
    MFWCORE_API corestring<wchar_t> to_wstr(unsigned codePage = codePageUtf8) const;
    corestring<wchar_t> _wstr(unsigned codePage = codePageUtf8) const { return to_wstr(codePage); }
    corestring<wchar_t> _tstr(unsigned codePage = codePageUtf8) const { return to_wstr(codePage); }

    // The last component of a path with either slash, and the path without its last ".suffix".
    MFWCORE_API corestring lastPath() const;
    MFWCORE_API corestring dropSuffix() const;

    // Questions to the operating system. expandEnv leaves %NAME% of an unknown variable as it is.
    MFWCORE_API corestring expandEnv() const requires wideCharacter<Ch>;
    MFWCORE_API static corestring getComputerName() requires wideCharacter<Ch>;
    MFWCORE_API static corestring getComputerNameEx(ComputerNameFormat format) requires wideCharacter<Ch>;
    MFWCORE_API static corestring getModuleName(void* module)  // full path; null is the executable
        requires wideCharacter<Ch>;
    MFWCORE_API static corestring newGuid()  // "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", lower case
        requires wideCharacter<Ch>;
    MFWCORE_API static corestring formatError(std::uint32_t systemError) requires wideCharacter<Ch>;
    static corestring errorText(std::uint32_t systemError) requires wideCharacter<Ch> {
        return formatError(systemError);
    }
    // A registry value by key ("HKLM\...") and name; the fallback when there is none. The policy form looks
    // in the same key below "Software\Policies" first.
    MFWCORE_API static corestring readRegistry(view_type key, view_type valueName,
                                               view_type fallback = {}) requires wideCharacter<Ch>;
    MFWCORE_API static corestring readRegistryPolicyOverride(
        view_type key, view_type valueName, view_type fallback = {}) requires wideCharacter<Ch>;

    MFWCORE_API corestring& operator<<(view_type text);
    MFWCORE_API corestring& operator<<(const Ch* text);
    MFWCORE_API corestring& operator<<(Ch c);
    template <numberBeside<Ch> I>
    corestring& operator<<(I number) {
        if constexpr (std::is_signed_v<I>)
            return append(fromNumber(static_cast<std::int64_t>(number)));
        else
            return append(fromUnsigned(static_cast<std::uint64_t>(number)));
    }
    corestring& operator+=(view_type text) { return append(text); }

    friend bool operator==(const corestring& a, const corestring& b) noexcept { return a.text_ == b.text_; }
    friend bool operator==(const corestring& a, const Ch* b) noexcept { return a.text_ == viewOf(b); }
    friend bool operator==(const corestring& a, view_type b) noexcept { return a.text_ == b; }
    friend bool operator==(const corestring& a, const std_type& b) noexcept { return a.text_ == b; }
    friend bool operator<(const corestring& a, const corestring& b) noexcept { return a.text_ < b.text_; }
    friend corestring operator+(const corestring& a, view_type b) { return std_type(a.text_).append(b); }
    friend corestring operator+(const corestring& a, const Ch* b) { return a + viewOf(b); }
    friend corestring operator+(const corestring& a, const corestring& b) { return a + view_type(b); }
    friend corestring operator+(const Ch* a, const corestring& b) {
        return std_type(viewOf(a)).append(b.text_);
    }

  private:
    static view_type viewOf(const Ch* text) noexcept { return text ? view_type(text) : view_type(); }
    MFWCORE_API static corestring fromNumber(std::int64_t number);
    MFWCORE_API static corestring fromUnsigned(std::uint64_t number);

    std_type text_;
};

using wstr = corestring<wchar_t>;
using mstr = corestring<char>;

// A password or key, as UTF-8 or bytes. Its memory is overwritten before it is freed, also when it grows.
class MFWCORE_API secretstring {
  public:
    secretstring() noexcept;
    explicit secretstring(std::string_view text);
    secretstring(const secretstring& other);
    secretstring(secretstring&& other) noexcept;
    secretstring& operator=(secretstring other) noexcept;
    ~secretstring();

    secretstring& append(std::string_view text);
    void clear() noexcept;

    const char* c_str() const noexcept { return text_ ? text_.get() : ""; }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    std::string_view view() const noexcept { return {c_str(), size_}; }

  private:
    // Not a std::string: that keeps short text inside the object, and swap and move leave copies behind.
    std::unique_ptr<char[]> text_;
    std::size_t size_ = 0;
};

}  // namespace CORE
