#include "framework/core/bag_store.h"

#include <algorithm>
#include <numeric>

#include "framework/core/coreexception.h"

namespace CORE {

namespace {

constexpr std::size_t none = static_cast<std::size_t>(-1);
constexpr std::size_t mostText = 0xFFFFFFFF;  // bytes: the range of BagEntry::offset
constexpr std::size_t longestName = 0xFFFF;   // bytes: the range of BagEntry::nameLength
constexpr std::size_t smallestBlock = 64;
constexpr std::size_t fewestEntries = 4;
// Copying, destroying and displaying a bag recurse into nested bags, on stacks of 1 MB.
constexpr unsigned deepestNesting = 200;

char32_t folded(const unicode::Decoded& decoded) noexcept {
    return decoded.valid ? unicode::fold(decoded.c) : unicode::replacement;
}

// Three-way comparison without regard to case.
int compareUnicode(std::string_view a, std::string_view b) noexcept {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        const auto left = unicode::decode(a, i, unicode::Policy::lossless);
        const auto right = unicode::decode(b, j, unicode::Policy::lossless);
        if (folded(left) != folded(right)) return folded(left) < folded(right) ? -1 : 1;
        i += left.length;
        j += right.length;
    }
    return int{i < a.size()} - int{j < b.size()};
}

}  // namespace

const BagEntry* BagStore::findAmongUnicode(std::string_view name, std::size_t from) const {
    if (isAscii(name)) return findAscii(name, from);  // nothing else folds into ASCII
    for (std::size_t at = from; at < size(); ++at)
        if (entries_[at].key == unicodeNameKey && compareUnicode(this->name(entries_[at]), name) == 0)
            return &entries_[at];
    return nullptr;
}

const BagEntry* BagStore::findAmongUnicode(std::wstring_view name, std::size_t from) const {
    const SourceText source(name);
    std::string utf8(source.size(), '\0');
    source.write(utf8.data());
    return findAmongUnicode(std::string_view(utf8), from);
}

void BagStore::roomForEntries(std::size_t more) {
    const std::size_t needed = size() + more;
    if (needed > entries_.capacity())
        entries_.reserve(std::max({needed, 2 * entries_.capacity(), fewestEntries}));
}

// A reallocation drops the bags that belong to no entry.
void BagStore::roomForBags(std::size_t more) {
    if (bags_.size() + more <= bags_.capacity()) return;
    const auto used = static_cast<std::size_t>(
        std::count_if(entries_.begin(), entries_.end(), [](const BagEntry& entry) { return entry.isBag; }));
    std::vector<PropertyBag> larger;
    larger.reserve(std::max({used + more, 2 * used, fewestEntries}));
    for (BagEntry& entry : entries_) {
        if (!entry.isBag) continue;
        larger.push_back(std::move(bags_[entry.value]));
        entry.value = static_cast<std::uint32_t>(larger.size() - 1);
    }
    bags_.swap(larger);
}

// Allocates a larger block when the present one is full, and copies the text that is still in use. Returns
// the old block, because the text to be added may be a view of it.
WipedText BagStore::roomForText(std::size_t bytes) {
    if (bytes <= text_.room()) return {};
    const std::size_t used = text_.size() - garbage_;
    if (bytes > mostText - used) throw coreException(L"A property bag cannot hold more than 4 GB of text");
    WipedText larger(std::min(mostText, std::max({used + bytes, 2 * used, smallestBlock})));
    if (garbage_ == 0) {
        larger.append(text_.view(0, used));
    } else {
        const auto move = [&](std::uint32_t& offset, std::size_t length) {
            const std::string_view piece = text_.view(offset, length);
            offset = static_cast<std::uint32_t>(larger.size());
            larger.append(piece);
        };
        for (BagEntry& entry : entries_) move(entry.offset, entry.length());
        move(errorOffset_, errorLength_);
        garbage_ = 0;
    }
    text_.swap(larger);
    return larger;
}

BagEntry BagStore::written(const SourceText& name, const SourceText& value, PropertyBag* bag) {
    if (name.size() > longestName) throw coreException(L"A name in a property bag is too long");
    const unsigned depth = !bag ? 0 : bag->store_ ? bag->store_->depth_ + 1 : 1;
    if (depth > deepestNesting) throw coreException(L"Property bags are nested too deep");
    if (bag) roomForBags(1);
    const WipedText before = roomForText(name.size() + value.size());
    const std::size_t offset = text_.size();
    name.write(text_.extend(name.size()));
    value.write(text_.extend(value.size()));
    depth_ = std::max(depth_, depth);
    unicodeNames_ = unicodeNames_ || !name.ascii();
    if (bag) bags_.push_back(std::move(*bag));
    return {.key = name.ascii() ? nameKey(text_.view(offset, name.size())) : unicodeNameKey,
            .offset = static_cast<std::uint32_t>(offset),
            .value = static_cast<std::uint32_t>(bag ? bags_.size() - 1 : value.size()),
            .nameLength = static_cast<std::uint16_t>(name.size()),
            .isBag = bag != nullptr};
}

void BagStore::append(const SourceText& name, const SourceText& value, PropertyBag* bag) {
    roomForEntries(1);
    entries_.push_back(written(name, value, bag));
}

void BagStore::set(std::wstring_view name, const SourceText& value, PropertyBag* bag) {
    const BagEntry* const found = find(name);
    if (!found) return append(SourceText(name), value, bag);
    const std::size_t first = position(found);
    std::vector<std::size_t> repeated;
    for (const BagEntry* next = find(name, first + 1); next; next = find(name, position(next) + 1))
        repeated.push_back(position(next));
    const BagEntry entry = written(SourceText(name), value, bag);
    discard(entries_[first]);
    entries_[first] = entry;
    erase(repeated);
}

int BagStore::compareNames(const BagEntry& mine, const BagStore& other,
                           const BagEntry& theirs) const noexcept {
    if (mine.key != theirs.key) return mine.key < theirs.key ? -1 : 1;
    return name(mine) == other.name(theirs) ? 0 : compareUnicode(name(mine), other.name(theirs));
}

// Entries of the same name are paired in order: the first of `other` replaces the first here, and so on.
void BagStore::merge(BagStore&& other) {
    // Positions in `other`, sorted by name; equal names keep their order.
    std::vector<std::size_t> byName(other.size());
    std::iota(byName.begin(), byName.end(), std::size_t{0});
    std::sort(byName.begin(), byName.end(), [&other](std::size_t a, std::size_t b) {
        const int order = other.compareNames(other.entries_[a], other, other.entries_[b]);
        return order != 0 ? order < 0 : a < b;
    });
    std::vector<std::size_t> targets(other.size(),
                                     none);  // which entry here each one replaces; none: it is appended
    std::vector<std::size_t> paired(other.size());  // by a name's first index in byName: how many are paired
    std::vector<std::size_t> surplus;               // entries here without a partner of the same name
    for (std::size_t mine = 0; mine < size(); ++mine) {
        const auto order = [&](std::size_t theirs) {
            return compareNames(entries_[mine], other, other.entries_[theirs]);
        };
        const auto first = std::partition_point(byName.begin(), byName.end(),
                                                [&](std::size_t theirs) { return order(theirs) > 0; });
        if (first == byName.end() || order(*first) != 0) continue;
        const std::size_t place = static_cast<std::size_t>(first - byName.begin());
        const std::size_t next = place + paired[place]++;
        if (next < byName.size() && order(byName[next]) == 0)
            targets[byName[next]] = mine;
        else
            surplus.push_back(mine);
    }
    roomForEntries(static_cast<std::size_t>(std::count(targets.begin(), targets.end(), none)));
    roomForBags(other.bags_.size());
    const WipedText before = roomForText(other.text_.size() - other.garbage_);

    for (std::size_t at = 0; at < other.size(); ++at) {
        BagEntry entry = other.entries_[at];
        const std::string_view text = other.text_.view(entry.offset, entry.length());
        entry.offset = static_cast<std::uint32_t>(text_.size());
        text_.append(text);
        if (entry.isBag) {
            bags_.push_back(std::move(other.bags_[entry.value]));
            entry.value = static_cast<std::uint32_t>(bags_.size() - 1);
        }
        if (targets[at] == none) {
            entries_.push_back(entry);
        } else {
            discard(entries_[targets[at]]);
            entries_[targets[at]] = entry;
        }
    }
    erase(surplus);
    depth_ = std::max(depth_, other.depth_);
    unicodeNames_ = unicodeNames_ || other.unicodeNames_;
    if (other.errorCode_ != 0) setError(other.errorCode_, SourceText(other.errorText()));
}

void BagStore::reserve(std::size_t entries, std::size_t textBytes) {
    entries_.reserve(entries);
    if (textBytes > text_.size()) static_cast<void>(roomForText(textBytes - text_.size()));
}

void BagStore::setError(int code, const SourceText& text) {
    const WipedText before = roomForText(text.size());
    const std::size_t offset = text_.size();
    text.write(text_.extend(text.size()));
    discard(errorOffset_, errorLength_);
    errorOffset_ = static_cast<std::uint32_t>(offset);
    errorLength_ = static_cast<std::uint32_t>(text.size());
    errorCode_ = code;
}

void BagStore::discard(std::size_t offset, std::size_t length) noexcept {
    text_.wipe(offset, length);
    garbage_ += length;
}

void BagStore::discard(const BagEntry& entry) noexcept {
    discard(entry.offset, entry.length());
    if (entry.isBag) bags_[entry.value].clear();
}

// The positions must be sorted.
void BagStore::erase(const std::vector<std::size_t>& positions) noexcept {
    if (positions.empty()) return;
    std::size_t to = positions.front();
    auto gone = positions.begin();
    for (std::size_t from = to; from < size(); ++from) {
        if (gone != positions.end() && *gone == from) {
            discard(entries_[from]);
            ++gone;
        } else {
            entries_[to++] = entries_[from];
        }
    }
    entries_.resize(to);
}

}  // namespace CORE
