// An entry's attributes in one block of bytes, so that a directory of many entries stays small.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/lab/schema.h"

namespace wsadmin::platform::lab {

struct StoredAttribute {
    AttributeId id = 0;
    std::vector<std::string> values;  // in stored form
};
using StoredEntry = std::vector<StoredAttribute>;

class PackedEntry {
  public:
    // The values of one attribute, in their order. Good until the entry changes.
    class Values {
      public:
        class Iterator {
          public:
            using value_type = std::string_view;
            using difference_type = std::ptrdiff_t;
            using iterator_category = std::forward_iterator_tag;
            using pointer = const std::string_view*;
            using reference = std::string_view;

            Iterator() = default;
            explicit Iterator(const char* at) : at_(at) {}
            std::string_view operator*() const;
            Iterator& operator++();
            bool operator==(const Iterator&) const = default;

          private:
            const char* at_ = nullptr;
        };

        Values() = default;
        Values(const char* begin, const char* end, std::size_t count)
            : begin_(begin), end_(end), count_(count) {}
        Iterator begin() const { return Iterator(begin_); }
        Iterator end() const { return Iterator(end_); }
        std::size_t size() const noexcept { return count_; }
        bool empty() const noexcept { return count_ == 0; }

      private:
        const char* begin_ = nullptr;
        const char* end_ = nullptr;
        std::size_t count_ = 0;
    };

    PackedEntry() = default;
    explicit PackedEntry(const StoredEntry& entry);  // attributes without values are left out
    StoredEntry unpack() const;
    Values find(AttributeId id) const;  // empty when the entry has none

    // Calls each(id, values) for every attribute, in order.
    template <class Each>
    void forEach(Each each) const {
        for (const char* at = bytes_.data(); at != bytes_.data() + bytes_.size();) {
            const Head head = readHead(at);
            each(head.id, head.values);
        }
    }

  private:
    struct Head {
        AttributeId id;
        Values values;
    };
    static Head readHead(const char*& at);  // moves past the attribute

    std::string bytes_;  // per attribute: id, number of values, bytes of values; per value: length, bytes
};

}  // namespace wsadmin::platform::lab
