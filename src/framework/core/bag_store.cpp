#include "framework/core/bag_store.h"

#include <algorithm>

#include "framework/core/coreexception.h"

namespace CORE {

namespace {

// Fewer entries have tags, which are quicker than an index and cost less memory.
constexpr std::size_t indexedFrom = BagTags::room + 1;
// Less garbage than this is not worth moving the text.
constexpr std::uint32_t tolerableGarbage = 256;

}  // namespace

std::uint32_t BagStore::findIndexed(std::wstring_view name) const {
    return index_->first(names::hash(name), [&](std::uint32_t at) { return has(at, name); });
}

std::uint32_t BagStore::findIndexed(std::string_view name) const {
    return index_->first(names::hash(name), [&](std::uint32_t at) { return has(at, name); });
}

std::uint32_t BagStore::findFrom(std::wstring_view name, std::size_t position) const {
    if (position >= entries_.size() || name.size() > BagEntry::longestName) return none;
    if (!index_) return scan(position, name);
    const auto from = static_cast<std::uint32_t>(position);
    // A walk stands behind the entry that it found last, and goes on from there in one step.
    if (from > 0 && has(position - 1, name)) return index_->after(from - 1);
    std::uint32_t at = find(name);
    while (at != none && at < from) at = index_->after(at);
    return at;
}

std::vector<std::uint32_t> BagStore::repetitions(std::uint32_t first, std::wstring_view name) const {
    std::vector<std::uint32_t> found;
    for (std::uint32_t at = after(first, name); at != none; at = after(at, name)) found.push_back(at);
    return found;
}

void BagStore::roomFor(std::size_t more) {
    const std::size_t needed = entries_.size() + more;
    if (needed >= none) throw coreException(L"A property bag cannot hold so many entries");
    constexpr std::size_t first = 4;
    if (needed > entries_.capacity()) entries_.reserve(std::max({needed, entries_.capacity() * 2, first}));
}

BagStore::Spans BagStore::appendText(const SourceText& name, const SourceText& value) {
    if (name.size() > BagEntry::longestName) throw coreException(L"A name in a property bag is too long");
    if (value.size() > WipedText::limit - name.size())
        throw coreException(L"A property bag cannot hold more than 4 GB of text");
    const std::uint32_t offset = text_.append(name.size() + value.size(), [&](char* to) {
        name.write(to);
        value.write(to + name.size());
    });
    const auto nameLength = static_cast<std::uint32_t>(name.size());
    return {{offset, nameLength}, {offset + nameLength, static_cast<std::uint32_t>(value.size())}};
}

void BagStore::append(const SourceText& name, const SourceText& value) {
    roomFor(1);
    const bool ascii = name.ascii();
    const Spans spans = appendText(name, value);
    entries_.emplace_back(spans.name, ascii, spans.value);
    noteNewest();
}

void BagStore::append(const SourceText& name, PropertyBag&& bag) {
    roomFor(1);
    const bool ascii = name.ascii();
    const Spans spans = appendText(name, SourceText(std::string_view()));
    entries_.emplace_back(spans.name, ascii, std::move(bag));
    noteNewest();
}

void BagStore::set(std::wstring_view name, const SourceText& value) {
    const std::uint32_t at = find(name);
    if (at == none) return append(SourceText(name), value);
    const std::vector<std::uint32_t> repeated = repetitions(at, name);
    replace(at, SourceText(name), value);
    erase(repeated);
}

void BagStore::set(std::wstring_view name, PropertyBag&& bag) {
    const std::uint32_t at = find(name);
    if (at == none) return append(SourceText(name), std::move(bag));
    const std::vector<std::uint32_t> repeated = repetitions(at, name);
    replace(at, SourceText(name), std::move(bag));
    erase(repeated);
}

void BagStore::remove(std::wstring_view name) {
    const std::uint32_t at = find(name);
    if (at == none) return;
    std::vector<std::uint32_t> all = repetitions(at, name);
    all.insert(all.begin(), at);
    erase(all);
}

void BagStore::replace(std::uint32_t at, const SourceText& name, const SourceText& value) {
    BagEntry& entry = entries_[at];
    Spans spans = {entry.name(), entry.value()};
    const bool ascii = name.ascii();
    if (name.size() == spans.name.length && value.size() <= spans.value.length) {
        const auto length = static_cast<std::uint32_t>(value.size());
        value.write(text_.at(spans.value.offset));  // first: it may lie where the name is
        name.write(text_.at(spans.name.offset));
        discard({spans.value.offset + length, spans.value.length - length});
        spans.value.length = length;
    } else {
        spans = appendText(name, value);
        discardTextOf(entry);
    }
    entry = BagEntry(spans.name, ascii, spans.value);
    tag(at);
    compactWhenWorthIt();
}

void BagStore::replace(std::uint32_t at, const SourceText& name, PropertyBag&& bag) {
    BagEntry& entry = entries_[at];
    TextSpan span = entry.name();
    const bool ascii = name.ascii();
    if (name.size() == span.length) {
        name.write(text_.at(span.offset));
        discard(entry.value());
    } else {
        span = appendText(name, SourceText(std::string_view())).name;
        discardTextOf(entry);
    }
    entry = BagEntry(span, ascii, std::move(bag));
    tag(at);
    compactWhenWorthIt();
}

// The positions ascend.
void BagStore::erase(std::span<const std::uint32_t> positions) noexcept {
    if (positions.empty()) return;
    std::size_t to = positions.front();
    auto gone = positions.begin();
    for (std::size_t from = to; from < entries_.size(); ++from) {
        if (gone != positions.end() && *gone == from) {
            discardTextOf(entries_[from]);
            ++gone;
        } else {
            entries_[to++] = std::move(entries_[from]);
        }
    }
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(to), entries_.end());
    for (std::size_t at = positions.front(); at < std::min(entries_.size(), BagTags::room); ++at) tag(at);
    indexAll();
    compactWhenWorthIt();
}

void BagStore::noteNewest() noexcept {
    tag(entries_.size() - 1);
    indexNewest();
}

void BagStore::tag(std::size_t at) noexcept {
    tags_.note(at, BagTags::tagOf(name(at)));
    if (!entries_[at].asciiName()) unusual_ = true;
}

void BagStore::discard(TextSpan span) noexcept {
    text_.wipe(span);
    garbage_ += span.length;
}

void BagStore::discardTextOf(const BagEntry& entry) noexcept {
    discard(entry.name());
    discard(entry.value());
}

void BagStore::compactWhenWorthIt() noexcept try {
    if (garbage_ < tolerableGarbage || garbage_ <= text_.size() / 2) return;
    WipedText tight(text_.size() - garbage_);
    const auto move = [&](TextSpan span) {
        return tight.append(span.length, [&](char* to) { text_.view(span).copy(to, span.length); });
    };
    for (BagEntry& entry : entries_) {
        const std::uint32_t nameOffset = move(entry.name());
        entry.relocate(nameOffset, move(entry.value()));
    }
    text_.swap(tight);
    garbage_ = 0;
} catch (const std::bad_alloc&) {
    // Only entries change that the block has room for, so nothing was moved: the garbage stays for now.
}

// Without memory for the index a bag works on, only more slowly.
void BagStore::indexNewest() noexcept try {
    if (index_)
        indexOne(size() - 1);
    else if (entries_.size() >= indexedFrom)
        indexAll();
} catch (const std::bad_alloc&) {
    index_.reset();
    unusual_ = true;
}

void BagStore::indexAll() noexcept try {
    index_.reset();
    if (entries_.size() < indexedFrom) return;
    index_ = std::make_unique<BagIndex>();
    for (std::uint32_t at = 0; at < size(); ++at) indexOne(at);
} catch (const std::bad_alloc&) {
    index_.reset();
    unusual_ = true;
}

void BagStore::indexOne(std::uint32_t at) {
    const std::string_view name = this->name(at);
    index_->add(names::hash(name), [&](std::uint32_t other) { return has(other, name); });
}

void BagStore::reserve(std::size_t entries, std::size_t textBytes) {
    if (entries >= none) throw coreException(L"A property bag cannot hold so many entries");
    text_.reserve(textBytes);
    entries_.reserve(entries);
}

void BagStore::setError(int code, const SourceText& text) {
    if (code == 0) return error_.reset();
    auto error = std::make_unique<Error>(Error{code, WipedText(text.size())});
    error->text.append(text.size(), [&](char* to) { text.write(to); });
    error_ = std::move(error);
}

std::size_t BagStore::bytes() const noexcept {
    return sizeof *this + text_.capacity() + entries_.capacity() * sizeof(BagEntry) +
           (index_ ? sizeof *index_ + index_->bytes() : 0) +
           (error_ ? sizeof *error_ + error_->text.capacity() : 0);
}

}  // namespace CORE
