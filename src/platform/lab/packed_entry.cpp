#include "platform/lab/packed_entry.h"

namespace wsadmin::platform::lab {

namespace {

// Numbers take seven bits a byte, the lowest first; the top bit says that more follow.
void writeNumber(std::string& out, std::size_t number) {
    for (; number >= 0x80; number >>= 7) out += static_cast<char>(number | 0x80);
    out += static_cast<char>(number);
}

std::size_t readNumber(const char*& at) {
    std::size_t number = 0;
    for (int shift = 0;; shift += 7) {
        const auto byte = static_cast<unsigned char>(*at++);
        number |= static_cast<std::size_t>(byte & 0x7f) << shift;
        if (byte < 0x80) return number;
    }
}

}  // namespace

std::string_view PackedEntry::Values::Iterator::operator*() const {
    const char* at = at_;
    const std::size_t length = readNumber(at);
    return {at, length};
}

PackedEntry::Values::Iterator& PackedEntry::Values::Iterator::operator++() {
    const std::size_t length = readNumber(at_);
    at_ += length;
    return *this;
}

PackedEntry::PackedEntry(const StoredEntry& entry) {
    std::string values;
    for (const auto& attribute : entry) {
        if (attribute.values.empty()) continue;
        values.clear();
        for (const auto& value : attribute.values) {
            writeNumber(values, value.size());
            values += value;
        }
        writeNumber(bytes_, attribute.id);
        writeNumber(bytes_, attribute.values.size());
        writeNumber(bytes_, values.size());
        bytes_ += values;
    }
    bytes_.shrink_to_fit();
}

StoredEntry PackedEntry::unpack() const {
    StoredEntry entry;
    forEach([&](AttributeId id, const Values& values) {
        StoredAttribute attribute{id, {}};
        attribute.values.reserve(values.size());
        for (const auto value : values) attribute.values.emplace_back(value);
        entry.push_back(std::move(attribute));
    });
    return entry;
}

PackedEntry::Values PackedEntry::find(AttributeId id) const {
    for (const char* at = bytes_.data(); at != bytes_.data() + bytes_.size();) {
        const Head head = readHead(at);
        if (head.id == id) return head.values;
    }
    return {};
}

PackedEntry::Head PackedEntry::readHead(const char*& at) {
    const auto id = static_cast<AttributeId>(readNumber(at));
    const std::size_t count = readNumber(at);
    const std::size_t bytes = readNumber(at);
    const char* begin = at;
    at += bytes;
    return {id, Values(begin, at, count)};
}

}  // namespace wsadmin::platform::lab
