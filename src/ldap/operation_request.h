// A request as its operation's row describes it: the keys of requests and results, and the reader through
// which workers take their values, so that a key's name and its default stand once.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"

namespace wsadmin {

enum class KeyType {
    text,
    secret,     // a text that is wiped and never logged
    encrypted,  // the same, encrypted by the host's security manager
    integer,
    boolean,
    flag,  // an empty value: that the key is there is the statement
    bag,   // nested keys
    textList,
    bagList,  // of either list: the name repeats
};
std::wstring_view keyTypeName(KeyType type) noexcept;  // as people read it: "text list"

// Whether the operation refuses a request without the key (or with an empty value). Told to people, and
// enforced by the operation's own sentences alone. `depends`: on other keys; the key's text says on which.
enum class Required { no, yes, depends };

// A key of a request or a result. A nested key is written as its path, "machine-list/machine-entry/dn", and
// each bag on the way has a row of its own; a name in angle brackets, "<domain>", stands for names that are
// not fixed.
struct Key {
    std::wstring_view name;
    KeyType type = KeyType::text;
    std::wstring_view fallback{};  // of a request key: the default as it is typed, empty for none
    std::wstring_view text{};      // what it is, one line
    Required required = Required::no;
};

// Looks at the bag, which outlives it; any number of threads may read. Asking for a key that the row does not
// have is a broken promise: std::logic_error.
class Request {
  public:
    explicit Request(const CORE::PropertyBag& bag, std::span<const Key> keys = {}) : bag_(bag), keys_(keys) {}

    bool has(const Key& key) const;
    // The first value of that name, the key's default where there is none.
    CORE::wstr text(const Key& key) const;
    std::string_view utf8(const Key& key) const;
    // The key's default also where the value is no truth value or no number.
    bool boolean(const Key& key) const;
    int integer(const Key& key) const;
    // All values of that name, in order.
    std::vector<std::wstring> texts(const Key& key) const;

  private:
    std::wstring_view known(const Key& key) const;

    const CORE::PropertyBag& bag_;
    std::span<const Key> keys_;  // none: any key may be asked for
};

}  // namespace wsadmin
