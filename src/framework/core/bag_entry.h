// One entry of a bag: where its name stands in the bag's text, and where its value stands or the nested bag
// itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "framework/core/property_bag.h"
#include "framework/core/wiped_text.h"

namespace CORE {

class BagEntry {
  public:
    static constexpr std::size_t longestName = 0x3FFFFFFF;  // bytes

    BagEntry(TextSpan name, bool asciiName, TextSpan value) noexcept
        : nameOffset_(name.offset), name_(name.length | (asciiName ? 0 : wideBit)), value_(value) {}
    BagEntry(TextSpan name, bool asciiName, PropertyBag&& bag) noexcept
        : nameOffset_(name.offset),
          name_(name.length | bagBit | (asciiName ? 0 : wideBit)),
          bag_(std::move(bag)) {}
    BagEntry(BagEntry&& other) noexcept : nameOffset_(other.nameOffset_), name_(other.name_) { take(other); }
    BagEntry& operator=(BagEntry&& other) noexcept {
        if (this == &other) return *this;
        drop();
        nameOffset_ = other.nameOffset_;
        name_ = other.name_;
        take(other);
        return *this;
    }
    ~BagEntry() { drop(); }

    TextSpan name() const noexcept { return {nameOffset_, name_ & lengthMask}; }
    bool asciiName() const noexcept { return (name_ & wideBit) == 0; }
    // An ASCII name of that length? What scanning asks of every entry: one shift, one comparison.
    bool hasAsciiName(std::uint32_t length) const noexcept { return name_ << 1 == length << 1; }
    bool isBag() const noexcept { return (name_ & bagBit) != 0; }
    TextSpan value() const noexcept { return isBag() ? TextSpan{} : value_; }
    const PropertyBag& bag() const noexcept { return bag_; }  // only when isBag()
    PropertyBag& bag() noexcept { return bag_; }

    // The text was appended to another one, whose length was `by`.
    void shift(std::uint32_t by) noexcept {
        nameOffset_ += by;
        if (!isBag()) value_.offset += by;
    }

    void relocate(std::uint32_t nameOffset, std::uint32_t valueOffset) noexcept {
        nameOffset_ = nameOffset;
        if (!isBag()) value_.offset = valueOffset;
    }

  private:
    static constexpr std::uint32_t bagBit = 0x80000000;
    static constexpr std::uint32_t wideBit = 0x40000000;  // not all ASCII
    static constexpr std::uint32_t lengthMask = longestName;

    void take(BagEntry& other) noexcept {
        if (isBag())
            std::construct_at(&bag_, std::move(other.bag_));
        else
            value_ = other.value_;
    }
    void drop() noexcept {
        if (isBag()) bag_.~PropertyBag();
    }

    std::uint32_t nameOffset_;
    std::uint32_t name_;  // length and the two bits
    union {
        TextSpan value_;
        PropertyBag bag_;
    };
};

static_assert(sizeof(BagEntry) == 16);

}  // namespace CORE
