#include "framework/core/property_bag.h"

#include <utility>

#include "framework/core/bag_store.h"
#include "framework/core/system.h"

namespace CORE {

namespace {

const PropertyBag& emptyBag() {
    static const PropertyBag empty;
    return empty;
}

wstr wide(std::string_view utf8) {
    return unicode::decodeAll(utf8, unicode::Policy::lossless);
}

// Inlined, because in a small bag the call would take half the time of the lookup.
[[gnu::always_inline]] inline const BagEntry* find(const std::unique_ptr<BagStore>& store,
                                                   std::wstring_view name) {
    return store ? store->find(name) : nullptr;
}

const BagEntry* findFrom(const std::unique_ptr<BagStore>& store, std::wstring_view name,
                         std::size_t position) {
    return store && position <= store->size() ? store->find(name, position) : nullptr;
}

const BagEntry* entryAt(const std::unique_ptr<BagStore>& store, std::size_t index) {
    return store ? store->entry(index) : nullptr;
}

SourceText noText() noexcept {
    return SourceText(std::string_view());
}

}  // namespace

PropertyBag::PropertyBag() noexcept = default;
PropertyBag::PropertyBag(PropertyBag&& other) noexcept = default;
PropertyBag& PropertyBag::operator=(PropertyBag&& other) noexcept = default;
PropertyBag::~PropertyBag() = default;

PropertyBag::PropertyBag(const PropertyBag& other)
    : store_(other.store_ ? std::make_unique<BagStore>(*other.store_) : nullptr) {}

PropertyBag& PropertyBag::operator=(const PropertyBag& other) {
    return *this = PropertyBag(other);  // copied first, because `other` may be nested in this bag
}

PropertyBag& PropertyBag::operator&=(const PropertyBag& other) {
    return this == &other ? *this : *this &= PropertyBag(other);
}

PropertyBag& PropertyBag::operator&=(PropertyBag&& other) {
    if (this == &other || !other.store_) return *this;
    if (empty() && (getError() == 0 || other.getError() != 0)) {
        store_ = std::move(other.store_);
    } else {
        store_->merge(std::move(*other.store_));
        other.store_.reset();
    }
    return *this;
}

BagStore& PropertyBag::writable() {
    if (!store_) store_ = std::make_unique<BagStore>();
    return *store_;
}

wstr PropertyBag::get(std::wstring_view name, std::wstring_view fallback) const {
    const BagEntry* const entry = find(store_, name);
    return entry ? wide(store_->value(*entry)) : wstr(fallback);
}

wstr PropertyBag::get(std::size_t index) const {
    return wide(utf8(index));
}

wstr PropertyBag::getName(std::size_t index) const {
    return wide(nameUtf8(index));
}

std::string_view PropertyBag::utf8(std::wstring_view name, std::string_view fallback) const {
    const BagEntry* const entry = find(store_, name);
    return entry ? store_->value(*entry) : fallback;
}

std::string_view PropertyBag::utf8(std::size_t index) const {
    const BagEntry* const entry = entryAt(store_, index);
    return entry ? store_->value(*entry) : std::string_view();
}

std::string_view PropertyBag::nameUtf8(std::size_t index) const {
    const BagEntry* const entry = entryAt(store_, index);
    return entry ? store_->name(*entry) : std::string_view();
}

std::size_t PropertyBag::size() const noexcept {
    return store_ ? store_->size() : 0;
}

bool PropertyBag::getBool(std::wstring_view name, bool fallback) const {
    return mstr(utf8(name)).toBool(fallback);
}

int PropertyBag::getInt(std::wstring_view name, int fallback) const {
    return mstr(utf8(name)).toInt(fallback);
}

bool PropertyBag::contains(std::wstring_view name) const {
    return find(store_, name) != nullptr;
}

bool PropertyBag::isBag(std::wstring_view name) const {
    const BagEntry* const entry = find(store_, name);
    return entry && entry->isBag;
}

bool PropertyBag::isBag(std::size_t index) const {
    const BagEntry* const entry = entryAt(store_, index);
    return entry && entry->isBag;
}

const PropertyBag& PropertyBag::getBag(std::wstring_view name) const {
    const BagEntry* const entry = find(store_, name);
    return entry && entry->isBag ? *store_->bag(*entry) : emptyBag();
}

const PropertyBag& PropertyBag::getBag(std::size_t index) const {
    const BagEntry* const entry = entryAt(store_, index);
    return entry && entry->isBag ? *store_->bag(*entry) : emptyBag();
}

std::vector<BagProperty> PropertyBag::props() const {
    std::vector<BagProperty> all;
    all.reserve(size());
    for (std::size_t at = 0; at < size(); ++at) {
        const BagEntry& entry = *store_->entry(at);
        all.push_back({store_->name(entry), store_->value(entry), store_->bag(entry)});
    }
    return all;
}

bool PropertyBag::getNext(std::wstring_view name, wstr& value, std::size_t& position) const {
    const BagEntry* const entry = findFrom(store_, name, position);
    if (!entry) return false;
    value = wide(store_->value(*entry));
    position = store_->position(entry) + 1;
    return true;
}

const PropertyBag* PropertyBag::getNextBag(std::wstring_view name, std::size_t& position) const {
    while (const BagEntry* const entry = findFrom(store_, name, position)) {
        position = store_->position(entry) + 1;
        if (entry->isBag) return store_->bag(*entry);
    }
    return nullptr;
}

void PropertyBag::set(std::wstring_view name, std::wstring_view value) {
    writable().set(name, SourceText(value), nullptr);
}

void PropertyBag::set(std::wstring_view name, std::string_view utf8Value) {
    writable().set(name, SourceText(utf8Value), nullptr);
}

void PropertyBag::add(std::wstring_view name, std::wstring_view value) {
    writable().append(SourceText(name), SourceText(value), nullptr);
}

void PropertyBag::add(std::wstring_view name, std::string_view utf8Value) {
    writable().append(SourceText(name), SourceText(utf8Value), nullptr);
}

void PropertyBag::addUtf8(std::string_view utf8Name, std::string_view utf8Value) {
    writable().append(SourceText(utf8Name), SourceText(utf8Value), nullptr);
}

void PropertyBag::setInt(std::wstring_view name, int value) {
    set(name, std::string_view(std::to_string(value)));
}

void PropertyBag::setBool(std::wstring_view name, bool value) {
    set(name, value ? std::string_view("true") : std::string_view("false"));
}

void PropertyBag::addBool(std::wstring_view name, bool value) {
    add(name, value ? std::string_view("true") : std::string_view("false"));
}

void PropertyBag::appendBag(const SourceText& name, PropertyBag&& bag) {
    if (this != &bag) return writable().append(name, noText(), &bag);
    PropertyBag outer;
    outer.appendBag(name, std::move(bag));
    *this = std::move(outer);
}

void PropertyBag::addBag(std::wstring_view name, PropertyBag& bag, bool copy) {
    copy ? addBag(name, std::as_const(bag)) : addBag(name, std::move(bag));
}

void PropertyBag::addBag(std::wstring_view name, const PropertyBag& bag) {
    addBag(name, PropertyBag(bag));
}

void PropertyBag::addBag(std::wstring_view name, PropertyBag&& bag) {
    appendBag(SourceText(name), std::move(bag));
}

void PropertyBag::setBag(std::wstring_view name, PropertyBag& bag, bool copy) {
    copy ? setBag(name, std::as_const(bag)) : setBag(name, std::move(bag));
}

void PropertyBag::setBag(std::wstring_view name, const PropertyBag& bag) {
    setBag(name, PropertyBag(bag));
}

void PropertyBag::setBag(std::wstring_view name, PropertyBag&& bag) {
    if (this == &bag) return addBag(name, std::move(bag));  // the bag becomes its own only entry
    writable().set(name, noText(), &bag);
}

void PropertyBag::addBagUtf8(std::string_view utf8Name, PropertyBag&& bag) {
    appendBag(SourceText(utf8Name), std::move(bag));
}

void PropertyBag::attach(PropertyBag&& bag, std::wstring_view name) {
    addBag(name, std::move(bag));
}

void PropertyBag::clear() noexcept {
    store_.reset();
}

void PropertyBag::reserve(std::size_t entries, std::size_t textBytes) {
    writable().reserve(entries, textBytes);
}

void PropertyBag::setError(int code, std::wstring_view text) {
    if (store_ || code != 0) writable().setError(code, code != 0 ? SourceText(text) : noText());
}

int PropertyBag::getError() const noexcept {
    return store_ ? store_->errorCode() : 0;
}

wstr PropertyBag::getErrorText() const {
    return store_ ? wide(store_->errorText()) : wstr();
}

bool PropertyBag::loadFromRegistry(std::wstring_view key) {
    return sys::registryValues(key,
                               [this](std::wstring_view name, std::wstring_view value) { add(name, value); });
}

}  // namespace CORE
