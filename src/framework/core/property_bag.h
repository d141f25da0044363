// An ordered container of named entries, each a text or a nested bag. Names may repeat and are looked up
// without regard to case; order is kept. Every request and response of every operation is one. A bag also has
// an error state.
//
// All its memory is overwritten before it is freed, because requests carry passwords. Adding an entry takes
// constant time on average; a lookup by name is a linear search. Bags passed as rvalues are moved instead of
// copied. Concurrent reading is safe, changing is not.
//
// Text is stored as UTF-8 without loss: get returns a lone surrogate, or a wchar_t beyond Unicode, as it was
// put in, and utf8 returns invalid bytes as they were put in (get returns U+FFFD for them). So the result of
// utf8 is valid UTF-8 only if that was put in. A bag holds at most 4 GB of text, a name at most 65,535 bytes,
// and bags nest at most 200 deep; beyond that a call throws coreException. A call that throws has changed
// nothing.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"
#include "framework/core/export.h"

namespace CORE {

class BagStore;
class SourceText;
struct BagProperty;

class MFWCORE_API PropertyBag {
  public:
    PropertyBag() noexcept;
    PropertyBag(const PropertyBag& other);
    PropertyBag(PropertyBag&& other) noexcept;
    PropertyBag& operator=(const PropertyBag& other);
    PropertyBag& operator=(PropertyBag&& other) noexcept;
    ~PropertyBag();

    // Merges: the other bag's entries take the place of all entries here that have the same names, new names
    // follow at the end, and an error of the other becomes this bag's. Repeated names stay repeated: the
    // first replaces the first and so on; what repeats more often here goes, what repeats more often there
    // follows at the end.
    PropertyBag& operator&=(const PropertyBag& other);
    PropertyBag& operator&=(PropertyBag&& other);

    // Lookup. The first entry of that name counts. The text of a nested bag is empty; the fallback is
    // returned only where there is no entry, or no number or truth value in it. Views and nested bags are
    // valid until the bag changes.
    wstr get(std::wstring_view name, std::wstring_view fallback = {}) const;
    wstr get(std::size_t index) const;  // empty past the end
    wstr getName(std::size_t index) const;
    std::string_view utf8(std::wstring_view name, std::string_view fallback = {}) const;
    std::string_view utf8(std::size_t index) const;
    std::string_view nameUtf8(std::size_t index) const;
    std::size_t size() const noexcept;
    bool empty() const noexcept { return size() == 0; }
    bool getBool(std::wstring_view name, bool fallback = false) const;
    int getInt(std::wstring_view name, int fallback = 0) const;
    bool contains(std::wstring_view name) const;
    bool isBag(std::wstring_view name) const;
    bool isBag(std::size_t index) const;
    const PropertyBag& getBag(std::wstring_view name) const;  // an empty bag where there is none
    const PropertyBag& getBag(std::size_t index) const;
    std::vector<BagProperty> props() const;  // all entries, in order
    // Walks the entries of one name: position starts at 0 and is moved past the entry found; false (null)
    // when there is no more. getNextBag passes over entries that are texts.
    bool getNext(std::wstring_view name, wstr& value, std::size_t& position) const;
    const PropertyBag* getNextBag(std::wstring_view name, std::size_t& position) const;

    // Changes. set replaces the first entry of the name, including the name's spelling, and removes its
    // repetitions; without such an entry it appends. add always appends. Values may be views of this bag.
    void set(std::wstring_view name, std::wstring_view value);
    void set(std::wstring_view name, std::string_view utf8Value);
    void add(std::wstring_view name, std::wstring_view value);
    void add(std::wstring_view name, std::string_view utf8Value);
    void addUtf8(std::string_view utf8Name, std::string_view utf8Value);
    void setInt(std::wstring_view name, int value);
    void setBool(std::wstring_view name, bool value);  // "true" or "false"
    void addBool(std::wstring_view name, bool value);
    // copy false: the bag is taken over and left empty. The rvalue forms always take it over.
    void addBag(std::wstring_view name, PropertyBag& bag, bool copy);
    void addBag(std::wstring_view name, const PropertyBag& bag);
    void addBag(std::wstring_view name, PropertyBag&& bag);
    void setBag(std::wstring_view name, PropertyBag& bag, bool copy);
    void setBag(std::wstring_view name, const PropertyBag& bag);
    void setBag(std::wstring_view name, PropertyBag&& bag);
    void addBagUtf8(std::string_view utf8Name, PropertyBag&& bag);
    void attach(PropertyBag&& bag, std::wstring_view name);  // as addBag of an rvalue
    void clear() noexcept;                                   // entries and error
    void reserve(std::size_t entries, std::size_t textBytes);

    // The error state. Code 0 is no error, and has no text.
    void setError(int code, std::wstring_view text = {});
    void setError(std::wstring_view text) { setError(1, text); }
    int getError() const noexcept;
    wstr getErrorText() const;

    // One line for logs: name=value pairs in order, nested bags in braces, control characters escaped as in
    // C. Values and bags whose names stand for secrets are shown as "*****".
    wstr flattenForDisplay(std::wstring_view separator = L", ") const;
    // Adds every value of the registry key as an entry; false when there is no such key.
    bool loadFromRegistry(std::wstring_view key);

  private:
    friend class BagStore;

    BagStore& writable();
    void appendBag(const SourceText& name, PropertyBag&& bag);

    std::unique_ptr<BagStore> store_;  // null in an empty bag without error
};

// A view of one entry, valid until the bag changes.
struct BagProperty {
    std::string_view name;
    std::string_view value;  // empty for a nested bag
    const PropertyBag* bag;  // null for a text
};

}  // namespace CORE
