// The part of CBOR (RFC 8949) that frames need: integers, byte strings and arrays, all of definite length.
// The JSON library's reader calls itself as deep as a peer's indefinite-length strings want, and copies what
// it reads into memory that nobody wipes; this one reads in place.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "channel/wiped_bytes.h"

namespace channel {

class CborWriter {
  public:
    explicit CborWriter(Bytes& into) : into_(into) {}
    void integer(std::int64_t value) {
        value < 0 ? head(1, static_cast<std::uint64_t>(-1 - value))
                  : head(0, static_cast<std::uint64_t>(value));
    }
    void number(std::uint64_t value) { head(0, value); }
    void bytes(std::string_view value) {
        head(2, value.size());
        into_.insert(into_.end(), value.begin(), value.end());
    }
    void array(std::size_t count) { head(4, count); }

  private:
    void head(unsigned type, std::uint64_t value) {
        const unsigned size = value < 24            ? 0
                              : value <= 0xFF       ? 1
                              : value <= 0xFFFF     ? 2
                              : value <= 0xFFFFFFFF ? 4
                                                    : 8;
        constexpr unsigned codes[] = {0, 24, 25, 0, 26, 0, 0, 0, 27};
        into_.push_back(static_cast<std::uint8_t>(type << 5 | (size == 0 ? value : codes[size])));
        for (unsigned left = size; left-- > 0;) into_.push_back(static_cast<std::uint8_t>(value >> 8 * left));
    }

    Bytes& into_;
};

// Each call reads one item; nothing when it is of another type or not whole, and then the reading is over.
class CborReader {
  public:
    explicit CborReader(ByteView from) : rest_(from) {}
    std::optional<std::uint64_t> number() { return head(0); }
    std::optional<std::int64_t> integer() {
        const bool negative = !rest_.empty() && rest_.front() >> 5 == 1;
        const auto value = head(negative ? 1 : 0);
        if (!value || *value > INT64_MAX) return std::nullopt;
        return negative ? -1 - static_cast<std::int64_t>(*value) : static_cast<std::int64_t>(*value);
    }
    std::optional<std::string_view> bytes() {
        const auto size = head(2);
        if (!size || *size > rest_.size()) return std::nullopt;
        const std::string_view value(reinterpret_cast<const char*>(rest_.data()),
                                     static_cast<std::size_t>(*size));
        rest_ = rest_.subspan(value.size());
        return value;
    }
    // How many items follow; each has a byte at least.
    std::optional<std::size_t> array() {
        const auto count = head(4);
        if (!count || *count > rest_.size()) return std::nullopt;
        return static_cast<std::size_t>(*count);
    }
    bool atArray() const noexcept { return !rest_.empty() && rest_.front() >> 5 == 4; }
    bool atEnd() const noexcept { return rest_.empty(); }

  private:
    std::optional<std::uint64_t> head(unsigned type) {
        if (rest_.empty() || rest_.front() >> 5 != type) return std::nullopt;
        const unsigned code = rest_.front() & 0x1F;
        if (code > 27) return std::nullopt;  // reserved, or of indefinite length
        const std::size_t size = code < 24 ? 0 : std::size_t{1} << (code - 24);
        if (rest_.size() <= size) return std::nullopt;
        std::uint64_t value = code < 24 ? code : 0;
        for (const std::uint8_t byte : rest_.subspan(1, size)) value = value << 8 | byte;
        rest_ = rest_.subspan(1 + size);
        return value;
    }

    ByteView rest_;
};

}  // namespace channel
