// The contents of a bag: one block of text with all names and values, and the entries in order. Calls that
// throw have changed nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "framework/core/ascii.h"
#include "framework/core/property_bag.h"
#include "framework/core/unicode.h"
#include "framework/core/wiped_text.h"

namespace CORE {

// A name or value to be put into a bag, wide or UTF-8, with its size in UTF-8. It may be a view of the bag's
// own text.
class SourceText {
  public:
    explicit SourceText(std::wstring_view text) noexcept
        : wide_(text), isWide_(true), size_(unicode::encodedSize(text, unicode::Policy::lossless)) {}
    explicit SourceText(std::string_view text) noexcept : utf8_(text), size_(text.size()) {}

    std::size_t size() const noexcept { return size_; }  // bytes
    bool ascii() const noexcept { return isWide_ ? size_ == wide_.size() : isAscii(utf8_); }
    void write(char* to) const noexcept {
        if (isWide_)
            unicode::encode(wide_, to, unicode::Policy::lossless);
        else if (size_ > 0)
            std::memcpy(to, utf8_.data(), size_);
    }

  private:
    std::wstring_view wide_;
    std::string_view utf8_;
    bool isWide_ = false;
    std::size_t size_;
};

// A hash of a name that is compared before the name is read. Of an ASCII name: its length and its last two
// letters without regard to case.
template <class Ch>
inline std::uint32_t nameKey(std::basic_string_view<Ch> name) noexcept {
    const auto letter = [name](std::size_t fromEnd) -> std::uint32_t {
        if (name.size() < fromEnd) return 0;
        return (static_cast<std::uint32_t>(name[name.size() - fromEnd]) | 0x20) & 0xFF;
    };
    return static_cast<std::uint32_t>(name.size()) << 16 | letter(2) << 8 | letter(1);
}
inline constexpr std::uint32_t unicodeNameKey = 0xFFFFFFFF;  // of all other names; no ASCII name has it

struct BagEntry {
    std::uint32_t key;     // nameKey of the name
    std::uint32_t offset;  // of the name in the text; the value follows it
    std::uint32_t value;   // the length of the value, or the index of the bag
    std::uint16_t nameLength;
    bool isBag;

    std::size_t valueLength() const noexcept { return isBag ? 0 : value; }
    std::size_t length() const noexcept { return nameLength + valueLength(); }
};

class BagStore {
  public:
    std::size_t size() const noexcept { return entries_.size(); }
    const BagEntry* entry(std::size_t at) const noexcept { return at < size() ? &entries_[at] : nullptr; }
    std::size_t position(const BagEntry* entry) const noexcept {
        return static_cast<std::size_t>(entry - entries_.data());
    }
    std::string_view name(const BagEntry& entry) const noexcept {
        return text_.view(entry.offset, entry.nameLength);
    }
    std::string_view value(const BagEntry& entry) const noexcept {
        return text_.view(entry.offset + entry.nameLength, entry.valueLength());
    }
    const PropertyBag* bag(const BagEntry& entry) const noexcept {  // null for a text
        return entry.isBag ? &bags_[entry.value] : nullptr;
    }

    // The first entry of that name at or after the position, which is at most size(); null when there is
    // none.
    template <class Ch>
    [[gnu::always_inline]] const BagEntry* find(std::basic_string_view<Ch> name, std::size_t from = 0) const {
        return unicodeNames_ ? findAmongUnicode(name, from) : findAscii(name, from);
    }

    // Appends a text, or moves a bag in; `value` is then empty.
    void append(const SourceText& name, const SourceText& value, PropertyBag* bag);
    void set(std::wstring_view name, const SourceText& value, PropertyBag* bag);
    void merge(BagStore&& other);  // as PropertyBag's operator &=
    void reserve(std::size_t entries, std::size_t textBytes);

    void setError(int code, const SourceText& text);
    int errorCode() const noexcept { return errorCode_; }
    std::string_view errorText() const noexcept { return text_.view(errorOffset_, errorLength_); }

  private:
    // Searches the entries whose names are ASCII.
    template <class Ch>
    [[gnu::always_inline]] const BagEntry* findAscii(std::basic_string_view<Ch> name,
                                                     std::size_t from) const {
        const std::uint32_t key = nameKey(name);
        const BagEntry* const end = entries_.data() + entries_.size();
        for (const BagEntry* entry = entries_.data() + from; entry != end; ++entry)
            if (entry->key == key && sameAscii(name, this->name(*entry))) return entry;
        return nullptr;
    }
    // Equal without regard to case; `own` is ASCII.
    template <class Ch>
    static bool sameAscii(std::basic_string_view<Ch> asked, std::string_view own) noexcept {
        if (asked.size() != own.size()) return false;
        std::uint32_t differ = 0;  // most names are equal including case
        for (std::size_t at = 0; at < own.size(); ++at)
            differ |=
                static_cast<std::uint32_t>(asked[at]) ^ static_cast<std::uint32_t>(static_cast<Ch>(own[at]));
        return differ == 0 || sameFolded(asked, own);
    }
    template <class Ch>
    [[gnu::noinline]] static bool sameFolded(std::basic_string_view<Ch> asked,
                                             std::string_view own) noexcept {
        return std::equal(asked.begin(), asked.end(), own.begin(),
                          [](Ch a, char b) { return asciiLower(a) == static_cast<Ch>(asciiLower(b)); });
    }
    const BagEntry* findAmongUnicode(std::string_view name, std::size_t from) const;
    const BagEntry* findAmongUnicode(std::wstring_view name, std::size_t from) const;
    // Three-way comparison without regard to case.
    int compareNames(const BagEntry& mine, const BagStore& other, const BagEntry& theirs) const noexcept;

    // Writes name and value into the text and returns the entry for them.
    BagEntry written(const SourceText& name, const SourceText& value, PropertyBag* bag);
    void roomForEntries(std::size_t more);
    void roomForBags(std::size_t more);
    [[nodiscard]] WipedText roomForText(std::size_t bytes);
    void discard(std::size_t offset, std::size_t length) noexcept;
    void discard(const BagEntry& entry) noexcept;
    void erase(const std::vector<std::size_t>& positions) noexcept;

    WipedText text_;
    std::vector<BagEntry> entries_;
    std::vector<PropertyBag> bags_;  // those of removed entries stay, empty, until the vector grows
    std::size_t garbage_ = 0;        // bytes of removed entries in the text, wiped already
    std::uint32_t errorOffset_ = 0;
    std::uint32_t errorLength_ = 0;
    int errorCode_ = 0;
    bool unicodeNames_ = false;  // whether a name outside ASCII was ever added
    unsigned depth_ = 0;         // upper bound of the nesting depth
};

}  // namespace CORE
