// What a bag that is not empty has: one block of text with all names and values, the entries in order, from
// some size upwards an index, and seldom an error. Bags may be nested to any depth: nothing here recurses
// into them. What throws has changed nothing.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/core/bag_entry.h"
#include "framework/core/bag_index.h"
#include "framework/core/bag_names.h"
#include "framework/core/bag_tags.h"
#include "framework/core/property_bag.h"
#include "framework/core/source_text.h"
#include "framework/core/wiped_text.h"

namespace CORE {

class BagStore {
  public:
    static constexpr std::uint32_t none = BagIndex::none;

    BagStore() = default;
    ~BagStore();
    BagStore(const BagStore&) = delete;
    BagStore& operator=(const BagStore&) = delete;
    static std::unique_ptr<BagStore> copyOf(const BagStore& source);

    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(entries_.size()); }
    const BagEntry& entry(std::size_t at) const noexcept { return entries_[at]; }
    std::string_view name(std::size_t at) const noexcept { return text_.view(entries_[at].name()); }
    std::string_view value(std::size_t at) const noexcept { return text_.view(entries_[at].value()); }
    // The first entry of the name, or the first at or behind the position.
    template <class Ch>
    std::uint32_t find(std::basic_string_view<Ch> name) const {
        if (name.size() > BagEntry::longestName) return none;
        return index_ ? findIndexed(name) : scan(0, name);
    }
    std::uint32_t findFrom(std::wstring_view name, std::size_t position) const;

    void append(const SourceText& name, const SourceText& value);
    void append(const SourceText& name, PropertyBag&& bag);
    void set(std::wstring_view name, const SourceText& value);
    void set(std::wstring_view name, PropertyBag&& bag);
    void remove(std::wstring_view name);
    // As PropertyBag's operator &=. The const store may be one that is nested in this one.
    void merge(const BagStore& other);
    void merge(BagStore&& other);
    void reserve(std::size_t entries, std::size_t textBytes);

    void setError(int code, const SourceText& text);
    int errorCode() const noexcept { return error_ ? error_->code : 0; }
    std::string_view errorText() const noexcept { return error_ ? error_->text.view() : std::string_view(); }

    std::size_t bytes() const noexcept;  // without those of nested bags

  private:
    struct Error {
        int code;
        WipedText text;
    };
    struct Spans {
        TextSpan name;
        TextSpan value;
    };
    struct MergePlan;
    using NestedCopies = std::vector<std::pair<const BagStore*, PropertyBag*>>;

    // Is that the name of the entry? A name in ASCII is never the same as one that is not.
    template <class Ch>
    bool has(std::size_t at, std::basic_string_view<Ch> name) const {
        const BagEntry& entry = entries_[at];
        if (entry.hasAsciiName(static_cast<std::uint32_t>(name.size())))
            return blocks::same(name.data(), this->name(at).data(), name.size());
        return !entry.asciiName() && names::sameUnicode(name, this->name(at));
    }
    // In most cases the tags tell the one entry that can be meant, or that there is none. Inline, because
    // then looking up in a small bag is a leaf: half of its time was calls.
    template <class Ch>
    [[gnu::always_inline]] std::uint32_t scan(std::size_t from, std::basic_string_view<Ch> name) const {
        const std::uint32_t likely =
            from < BagTags::room ? tags_.having(BagTags::tagOf(name)) >> from << from : 0;
        if (likely == 0 && !unusual_) return none;
        const auto at = static_cast<std::uint32_t>(std::countr_zero(likely));
        const bool found = likely != 0 && at < entries_.size() &&
                           entries_[at].hasAsciiName(static_cast<std::uint32_t>(name.size())) &&
                           blocks::equal(name.data(), this->name(at).data(), name.size());
        return found ? at : scanEach(from, name);
    }
    template <class Ch>
    [[gnu::noinline]] std::uint32_t scanEach(std::size_t from, std::basic_string_view<Ch> name) const {
        for (std::size_t at = from; at < entries_.size(); ++at)
            if (has(at, name)) return static_cast<std::uint32_t>(at);
        return none;
    }
    std::uint32_t findIndexed(std::wstring_view name) const;
    std::uint32_t findIndexed(std::string_view name) const;
    template <class Ch>
    std::uint32_t after(std::uint32_t at, std::basic_string_view<Ch> name) const {
        return index_ ? index_->after(at) : scan(std::size_t{at} + 1, name);
    }
    std::vector<std::uint32_t> repetitions(std::uint32_t first, std::wstring_view name) const;

    void roomFor(std::size_t more);
    Spans appendText(const SourceText& name, const SourceText& value);
    void replace(std::uint32_t at, const SourceText& name, const SourceText& value);
    void replace(std::uint32_t at, const SourceText& name, PropertyBag&& bag);
    void erase(std::span<const std::uint32_t> positions) noexcept;
    void discard(TextSpan span) noexcept;
    void discardTextOf(const BagEntry& entry) noexcept;
    void compactWhenWorthIt() noexcept;

    void noteNewest() noexcept;
    void tag(std::size_t at) noexcept;
    void indexNewest() noexcept;
    void indexAll() noexcept;
    void indexOne(std::uint32_t at);

    MergePlan planMerge(const BagStore& other) const;
    void absorb(const MergePlan& plan, const WipedText& text, std::uint32_t garbage,
                std::vector<BagEntry> entries);
    std::vector<BagEntry> copyEntries(NestedCopies& nested) const;
    std::unique_ptr<BagStore> copyFlat(NestedCopies& nested) const;
    static void copyNested(NestedCopies nested);
    void unchainNested(BagStore*& chain) noexcept;

    WipedText text_;
    std::vector<BagEntry> entries_;
    std::unique_ptr<BagIndex> index_;
    std::unique_ptr<Error> error_;
    BagStore* doomed_ = nullptr;  // chains stores that are about to go
    std::uint32_t garbage_ = 0;   // bytes of the text that no entry uses, wiped already
    bool unusual_ = false;        // names outside ASCII, or no memory for an index: tags do not tell
    BagTags tags_;
};

}  // namespace CORE
