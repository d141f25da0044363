#include "framework/core/corestring.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>

#include "framework/core/ascii.h"
#include "framework/core/coreexception.h"
#include "framework/core/machine_text.h"
#include "framework/core/system.h"
#include "framework/core/unicode.h"

namespace CORE {
namespace {

void requireUtf8(unsigned codePage) {
    if (codePage != codePageUtf8)
        throw coreException(formatText(L"Code page %u is not known here, only UTF-8", codePage));
}

// An ASCII literal as narrow or wide text.
template <class Ch>
std::basic_string<Ch> ascii(std::string_view text) {
    return {text.begin(), text.end()};
}

template <class Ch>
std::basic_string_view<Ch> trimmed(std::basic_string_view<Ch> text, std::basic_string_view<Ch> set) {
    const std::size_t first = text.find_first_not_of(set);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(set) - first + 1);
}

// An optional sign and at least one digit, with white space around. Nothing for other texts and on overflow.
template <class Ch>
std::optional<std::int64_t> readNumber(std::basic_string_view<Ch> whole) {
    const std::basic_string<Ch> blanks = ascii<Ch>(" \t\r\n");
    std::basic_string_view<Ch> text = trimmed<Ch>(whole, blanks);
    const bool negative = !text.empty() && text.front() == Ch('-');
    if (negative || (!text.empty() && text.front() == Ch('+'))) text.remove_prefix(1);
    if (text.empty()) return std::nullopt;
    std::int64_t number = 0;
    for (const Ch c : text) {
        if (!isAsciiDigit(c) || number > (std::numeric_limits<std::int64_t>::max() - 9) / 10)
            return std::nullopt;
        number = number * 10 + (c - Ch('0'));
    }
    return negative ? -number : number;
}

template <class I, class Ch>
I readInteger(std::basic_string_view<Ch> text, I fallback) {
    const std::optional<std::int64_t> number = readNumber(text);
    const bool fits =
        number && *number >= std::numeric_limits<I>::min() && *number <= std::numeric_limits<I>::max();
    return fits ? static_cast<I>(*number) : fallback;
}

template <class Ch, class I>
std::basic_string<Ch> decimal(I number) {
    std::array<char, 24> buffer;
    char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
    return {buffer.data(), end};
}

template <class Ch, class IsSeparator>
std::vector<corestring<Ch>> pieces(std::basic_string_view<Ch> text, IsSeparator isSeparator) {
    std::vector<corestring<Ch>> result;
    for (auto at = text.begin(); at != text.end();) {
        const auto end = std::find_if(at, text.end(), isSeparator);
        if (end != at) result.emplace_back(std::basic_string_view<Ch>(at, end));
        at = end == text.end() ? end : end + 1;
    }
    return result;
}

template <class Ch>
std::size_t lastSlash(std::basic_string_view<Ch> path) {
    return path.find_last_of(ascii<Ch>("\\/"));
}

template <class Ch>
std::basic_string_view<Ch> shortened(std::basic_string_view<Ch> text, int length) {
    return length < 0 ? text : text.substr(0, static_cast<std::size_t>(length));
}

}  // namespace

template <class Ch>
corestring<Ch>::corestring(const Ch* text, int length) {
    if (!text) return;
    if (length < 0)
        text_ = text;
    else
        text_.assign(text, static_cast<std::size_t>(length));
}
template <class Ch>
corestring<Ch>::corestring(view_type text) : text_(text) {}
template <class Ch>
corestring<Ch>::corestring(std_type text) noexcept : text_(std::move(text)) {}
template <class Ch>
corestring<Ch>::corestring(Ch c) : text_(1, c) {}
template <class Ch>
corestring<Ch>::corestring(const std::exception& exception) {
    if constexpr (wideCharacter<Ch>) {
        const auto* own = dynamic_cast<const coreException*>(&exception);
        text_ = own ? own->text() : toWide(exception.what());
    } else {
        text_ = exception.what();
    }
}

template <class Ch>
Ch* corestring<Ch>::p_upd(std::size_t length) {
    text_.resize(length);
    return text_.data();
}

template <class Ch>
void corestring<Ch>::clearAndWipe() noexcept {
    text_.resize(text_.capacity());  // does not allocate, and makes the whole buffer writable
    wipeMemory(text_.data(), text_.size() * sizeof(Ch));
    text_.clear();
}

template <class Ch>
int corestring<Ch>::compare(view_type other, int length) const noexcept {
    return shortened<Ch>(text_, length).compare(shortened<Ch>(other, length));
}
template <class Ch>
int corestring<Ch>::comparei(view_type other, int length) const noexcept {
    return compareFolded(shortened<Ch>(text_, length), shortened<Ch>(other, length));
}

template <class Ch>
std::size_t corestring<Ch>::find(view_type what, std::size_t from) const noexcept {
    return text_.find(what, from);
}
template <class Ch>
std::size_t corestring<Ch>::findi(view_type what,
                                  std::size_t from) const noexcept requires std::is_same_v<Ch, wchar_t> {
    return unicode::findFolded(text_, what, from);
}
template <class Ch>
std::size_t corestring<Ch>::findr(view_type what) const noexcept {
    return text_.rfind(what);
}
template <class Ch>
std::size_t corestring<Ch>::find_first_not_of(view_type set, std::size_t from) const noexcept {
    return text_.find_first_not_of(set, from);
}

template <class Ch>
int corestring<Ch>::findAndReplace(Ch what, Ch with) {
    int count = 0;
    for (Ch& c : text_)
        if (c == what) {
            c = with;
            ++count;
        }
    return count;
}

template <class Ch>
int corestring<Ch>::findAndReplace(view_type what, view_type with) {
    if (what.empty()) return 0;
    int count = 0;
    std_type result;
    std::size_t at = 0;
    for (std::size_t hit = 0; (hit = text_.find(what, at)) != npos; at = hit + what.size(), ++count)
        result.append(text_, at, hit - at).append(with);
    if (count > 0) text_ = std::move(result.append(text_, at));
    return count;
}

template <class Ch>
corestring<Ch> corestring<Ch>::substr(std::size_t from, std::size_t count) const {
    return from < text_.size() ? corestring(text_.substr(from, count)) : corestring();
}
template <class Ch>
corestring<Ch> corestring<Ch>::left(std::size_t count) const {
    return substr(0, count);
}

template <class Ch>
corestring<Ch>& corestring<Ch>::replace(std::size_t from, std::size_t count, view_type with) {
    if (from <= text_.size()) text_.replace(from, count, with);
    return *this;
}
template <class Ch>
corestring<Ch>& corestring<Ch>::append(view_type text) {
    text_.append(text);
    return *this;
}
template <class Ch>
corestring<Ch>& corestring<Ch>::trim(view_type set) {
    text_ = std_type(trimmed<Ch>(text_, set));
    return *this;
}

template <class Ch>
corestring<Ch>& corestring<Ch>::toLower() {
    if constexpr (wideCharacter<Ch>)
        std::transform(text_.begin(), text_.end(), text_.begin(), lowerCase);
    else
        text_ = toUtf8(wstr(toWide(text_)).toLower());
    return *this;
}

template <class Ch>
std::vector<corestring<Ch>> corestring<Ch>::split(Ch separator) const {
    return pieces<Ch>(text_, [separator](Ch c) { return c == separator; });
}
template <class Ch>
std::vector<corestring<Ch>> corestring<Ch>::split() const {
    const std_type separators = ascii<Ch>(",; \t\r\n");
    return pieces<Ch>(text_, [&separators](Ch c) { return separators.find(c) != npos; });
}

template <class Ch>
int corestring<Ch>::toInt(int fallback) const noexcept {
    return readInteger<int, Ch>(text_, fallback);
}
template <class Ch>
unsigned corestring<Ch>::toUInt(unsigned fallback) const noexcept {
    return readInteger<unsigned, Ch>(text_, fallback);
}
template <class Ch>
bool corestring<Ch>::toBool(bool fallback) const noexcept {
    const std_type blanks = ascii<Ch>(" \t\r\n");
    const view_type word = trimmed<Ch>(text_, blanks);
    if (compareFolded(word, view_type(ascii<Ch>("true"))) == 0) return true;
    if (compareFolded(word, view_type(ascii<Ch>("false"))) == 0) return false;
    const std::optional<std::int64_t> number = readNumber<Ch>(text_);
    return number ? *number != 0 : fallback;
}
template <class Ch>
bool corestring<Ch>::isNum() const noexcept {
    view_type digits = text_;
    if (!digits.empty() && (digits.front() == Ch('-') || digits.front() == Ch('+'))) digits.remove_prefix(1);
    return !digits.empty() && std::all_of(digits.begin(), digits.end(), isAsciiDigit<Ch>);
}

template <class Ch>
corestring<char> corestring<Ch>::to_mstr(unsigned codePage) const {
    requireUtf8(codePage);
    if constexpr (wideCharacter<Ch>)
        return toUtf8(text_);
    else
        return *this;
}
template <class Ch>
corestring<wchar_t> corestring<Ch>::to_wstr(unsigned codePage) const {
    requireUtf8(codePage);
    if constexpr (wideCharacter<Ch>)
        return *this;
    else
        return toWide(text_);
}

template <class Ch>
corestring<Ch> corestring<Ch>::lastPath() const {
    const std::size_t slash = lastSlash<Ch>(text_);
    return slash == npos ? *this : substr(slash + 1);
}
template <class Ch>
corestring<Ch> corestring<Ch>::dropSuffix() const {
    const std::size_t dot = text_.rfind(Ch('.'));
    const std::size_t slash = lastSlash<Ch>(text_);
    const bool ofName = dot != npos && (slash == npos || dot > slash);
    return ofName ? left(dot) : *this;
}

template <class Ch>
corestring<Ch> corestring<Ch>::expandEnv() const requires wideCharacter<Ch> {
    return machine::expandEnvironment(text_);
}
template <class Ch>
corestring<Ch> corestring<Ch>::getComputerName() requires wideCharacter<Ch> {
    return getComputerNameEx(ComputerNameFormat::netBios);
}
template <class Ch>
corestring<Ch> corestring<Ch>::getComputerNameEx(ComputerNameFormat format) requires wideCharacter<Ch> {
    const auto name = format == ComputerNameFormat::netBios ? sys::netBiosName() : sys::dnsName();
    return name.value_or(std::wstring());
}
template <class Ch>
corestring<Ch> corestring<Ch>::getModuleName(void* module) requires wideCharacter<Ch> {
    return sys::modulePath(module);
}
template <class Ch>
corestring<Ch> corestring<Ch>::newGuid() requires wideCharacter<Ch> {
    return machine::newGuid();
}
template <class Ch>
corestring<Ch> corestring<Ch>::formatError(std::uint32_t systemError) requires wideCharacter<Ch> {
    return sys::errorText(systemError);
}
template <class Ch>
corestring<Ch> corestring<Ch>::readRegistry(view_type key, view_type valueName,
                                            view_type fallback) requires wideCharacter<Ch> {
    return sys::registryValue(key, valueName).value_or(std::wstring(fallback));
}
template <class Ch>
corestring<Ch> corestring<Ch>::readRegistryPolicyOverride(view_type key, view_type valueName,
                                                          view_type fallback) requires wideCharacter<Ch> {
    const auto policy = machine::policyText(key, valueName);
    return policy ? *policy : readRegistry(key, valueName, fallback);
}

template <class Ch>
corestring<Ch>& corestring<Ch>::operator<<(view_type text) {
    return append(text);
}
template <class Ch>
corestring<Ch>& corestring<Ch>::operator<<(const Ch* text) {
    return append(viewOf(text));
}
template <class Ch>
corestring<Ch>& corestring<Ch>::operator<<(Ch c) {
    text_.push_back(c);
    return *this;
}

template <class Ch>
corestring<Ch> corestring<Ch>::fromNumber(std::int64_t number) {
    return decimal<Ch>(number);
}
template <class Ch>
corestring<Ch> corestring<Ch>::fromUnsigned(std::uint64_t number) {
    return decimal<Ch>(number);
}

template class corestring<wchar_t>;
#if !defined(__clang__)  // the linter's: before release 16 it instantiates members whose constraints fail
template class corestring<char>;
#endif

}  // namespace CORE
