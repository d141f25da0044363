// An ordered container of named entries, each a text or a nested bag. Names may repeat and are looked up
// without regard to case; order is kept. Every request and response of every operation is one. A bag also has
// an error state.
//
// All its memory is overwritten when it is given back, because requests carry passwords. Adding and walking
// the entries take time proportional to their number; each look-up by name compares the names in order.
// Nested and merged bags are moved instead of copied where they are rvalues. Reading the same bag from
// several threads is safe, changing it is not.
//
// Text is kept as UTF-8, and nothing that is put in is lost: a wchar_t that is no character has a form of its
// own inside, so that it comes out of get as it went in, and bytes that are not valid UTF-8 come out of utf8
// as they went in (get shows U+FFFD for them). What utf8 gives is therefore valid UTF-8 only if that was put
// in. A bag holds at most 4 GB of text, a name at most 65,535 bytes, and bags nest at most 200 deep; beyond
// that, coreException. A call that throws has changed nothing.
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

    // Looking up. The first entry of that name counts. The text of a nested bag is empty; a fallback is given
    // only where there is no entry, or no number or truth value in it. Views and nested bags are good until
    // the bag changes.
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

    // Changing. set replaces the first entry of the name, spelling included, and removes its repetitions, or
    // adds; add always appends. Values may be views of this very bag.
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

    // For logs, one line: name=value pairs in order, nested bags in braces; entries are separated by
    // `separator`, and control characters are written as in C. Values, and whole bags, under names that speak
    // of secrets are "*****".
    wstr flattenForDisplay(std::wstring_view separator = L", ") const;
    // Adds every value of the registry key as an entry; false when there is no such key.
    bool loadFromRegistry(std::wstring_view key);

  private:
    friend class BagStore;

    BagStore& writable();
    void appendBag(const SourceText& name, PropertyBag&& bag);

    std::unique_ptr<BagStore> store_;  // null until something is put in
};

// An entry as it is kept; good until the bag changes.
struct BagProperty {
    std::string_view name;
    std::string_view value;  // empty for a nested bag
    const PropertyBag* bag;  // null for a text
};

}  // namespace CORE
