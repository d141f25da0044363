#include "framework/core/property_bag.h"

#include <utility>

#include "framework/core/bag_store.h"
#include "framework/core/system.h"
#include "framework/core/unicode.h"

namespace CORE {

namespace {

const PropertyBag& emptyBag() {
    static const PropertyBag empty;
    return empty;
}

std::uint32_t find(const BagStore* store, std::wstring_view name) {
    return store != nullptr ? store->find(name) : BagStore::none;
}

std::uint32_t findFrom(const BagStore* store, std::wstring_view name, std::size_t position) {
    return store != nullptr ? store->findFrom(name, position) : BagStore::none;
}

}  // namespace

PropertyBag::PropertyBag() noexcept = default;
PropertyBag::PropertyBag(PropertyBag&& other) noexcept = default;
PropertyBag::~PropertyBag() = default;

PropertyBag::PropertyBag(const PropertyBag& other)
    : store_(other.store_ ? BagStore::copyOf(*other.store_) : nullptr) {}

PropertyBag& PropertyBag::operator=(const PropertyBag& other) {
    // Copied first: the other may be nested in this one.
    if (this != &other) store_ = other.store_ ? BagStore::copyOf(*other.store_) : nullptr;
    return *this;
}

PropertyBag& PropertyBag::operator=(PropertyBag&& other) noexcept {
    if (this != &other) store_ = std::exchange(other.store_, nullptr);
    return *this;
}

PropertyBag& PropertyBag::operator&=(const PropertyBag& other) {
    if (this != &other && other.store_) writable().merge(*other.store_);
    return *this;
}

PropertyBag& PropertyBag::operator&=(PropertyBag&& other) {
    if (this == &other || !other.store_) return *this;
    if (store_)
        store_->merge(std::move(*other.store_));
    else
        store_.swap(other.store_);
    other.store_.reset();
    return *this;
}

BagStore& PropertyBag::writable() {
    if (!store_) store_ = std::make_unique<BagStore>();
    return *store_;
}

const BagEntry* PropertyBag::entryAt(std::size_t index) const noexcept {
    return index < size() ? &store_->entry(index) : nullptr;
}

wstr PropertyBag::get(std::wstring_view name, std::wstring_view fallback) const {
    const std::uint32_t at = find(store_.get(), name);
    return at == BagStore::none ? wstr(fallback)
                                : wstr(unicode::decodeAll(store_->value(at), unicode::Policy::lossless));
}

wstr PropertyBag::get(std::size_t index) const {
    return unicode::decodeAll(utf8(index), unicode::Policy::lossless);
}

wstr PropertyBag::getName(std::size_t index) const {
    return unicode::decodeAll(nameUtf8(index), unicode::Policy::lossless);
}

std::string_view PropertyBag::utf8(std::wstring_view name, std::string_view fallback) const {
    const std::uint32_t at = find(store_.get(), name);
    return at == BagStore::none ? fallback : store_->value(at);
}

std::string_view PropertyBag::utf8(std::size_t index) const {
    return index < size() ? store_->value(index) : std::string_view();
}

std::string_view PropertyBag::nameUtf8(std::size_t index) const {
    return index < size() ? store_->name(index) : std::string_view();
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
    return find(store_.get(), name) != BagStore::none;
}

bool PropertyBag::isBag(std::wstring_view name) const {
    return isBag(find(store_.get(), name));
}

bool PropertyBag::isBag(std::size_t index) const {
    const BagEntry* entry = entryAt(index);
    return entry != nullptr && entry->isBag();
}

const PropertyBag& PropertyBag::getBag(std::wstring_view name) const {
    return getBag(find(store_.get(), name));
}

const PropertyBag& PropertyBag::getBag(std::size_t index) const {
    const BagEntry* entry = entryAt(index);
    return entry != nullptr && entry->isBag() ? entry->bag() : emptyBag();
}

std::vector<BagProperty> PropertyBag::props() const {
    std::vector<BagProperty> all;
    all.reserve(size());
    for (std::size_t at = 0; at < size(); ++at)
        all.push_back({nameUtf8(at), utf8(at), isBag(at) ? &getBag(at) : nullptr});
    return all;
}

bool PropertyBag::getNext(std::wstring_view name, wstr& value, std::size_t& position) const {
    const std::uint32_t at = findFrom(store_.get(), name, position);
    if (at == BagStore::none) return false;
    value = get(at);
    position = std::size_t{at} + 1;
    return true;
}

const PropertyBag* PropertyBag::getNextBag(std::wstring_view name, std::size_t& position) const {
    std::uint32_t at = 0;
    do {
        at = findFrom(store_.get(), name, position);
        if (at == BagStore::none) return nullptr;
        position = std::size_t{at} + 1;
    } while (!isBag(at));
    return &getBag(at);
}

template <class Name, class Value>
void PropertyBag::append(Name name, Value&& value) {
    writable().append(SourceText(name), std::forward<Value>(value));
}

template <class Value>
void PropertyBag::assign(std::wstring_view name, Value&& value) {
    writable().set(name, std::forward<Value>(value));
}

void PropertyBag::set(std::wstring_view name, std::wstring_view value) {
    assign(name, SourceText(value));
}

void PropertyBag::set(std::wstring_view name, std::string_view utf8Value) {
    assign(name, SourceText(utf8Value));
}

void PropertyBag::add(std::wstring_view name, std::wstring_view value) {
    append(name, SourceText(value));
}

void PropertyBag::add(std::wstring_view name, std::string_view utf8Value) {
    append(name, SourceText(utf8Value));
}

void PropertyBag::addUtf8(std::string_view utf8Name, std::string_view utf8Value) {
    append(utf8Name, SourceText(utf8Value));
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

void PropertyBag::addBag(std::wstring_view name, PropertyBag& bag, bool copy) {
    copy ? addBag(name, std::as_const(bag)) : addBag(name, std::move(bag));
}

void PropertyBag::addBag(std::wstring_view name, const PropertyBag& bag) {
    append(name, PropertyBag(bag));
}

void PropertyBag::addBag(std::wstring_view name, PropertyBag&& bag) {
    if (this == &bag) return addBag(name, PropertyBag(std::move(bag)));
    append(name, std::move(bag));
}

void PropertyBag::setBag(std::wstring_view name, PropertyBag& bag, bool copy) {
    copy ? setBag(name, std::as_const(bag)) : setBag(name, std::move(bag));
}

void PropertyBag::setBag(std::wstring_view name, const PropertyBag& bag) {
    assign(name, PropertyBag(bag));
}

void PropertyBag::setBag(std::wstring_view name, PropertyBag&& bag) {
    if (this == &bag) return setBag(name, PropertyBag(std::move(bag)));
    assign(name, std::move(bag));
}

void PropertyBag::addBagUtf8(std::string_view utf8Name, PropertyBag&& bag) {
    if (this == &bag) return addBagUtf8(utf8Name, PropertyBag(std::move(bag)));
    append(utf8Name, std::move(bag));
}

void PropertyBag::attach(PropertyBag&& bag, std::wstring_view name) {
    addBag(name, std::move(bag));
}

void PropertyBag::remove(std::wstring_view name) {
    if (store_) store_->remove(name);
}

void PropertyBag::clear() noexcept {
    store_.reset();
}

void PropertyBag::reserve(std::size_t entries, std::size_t textBytes) {
    writable().reserve(entries, textBytes);
}

void PropertyBag::setError(int code, std::wstring_view text) {
    if (store_ || code != 0) writable().setError(code, SourceText(text));
}

int PropertyBag::getError() const noexcept {
    return store_ ? store_->errorCode() : 0;
}

wstr PropertyBag::getErrorText() const {
    return store_ ? unicode::decodeAll(store_->errorText(), unicode::Policy::lossless) : std::wstring();
}

bool PropertyBag::loadFromRegistry(std::wstring_view key) {
    return sys::registryValues(key,
                               [this](std::wstring_view name, std::wstring_view value) { add(name, value); });
}

std::size_t PropertyBag::memoryUsed() const {
    std::size_t bytes = 0;
    std::vector<const PropertyBag*> pending = {this};
    while (!pending.empty()) {
        const PropertyBag& bag = *pending.back();
        pending.pop_back();
        if (!bag.store_) continue;
        bytes += bag.store_->bytes();
        for (std::size_t at = 0; at < bag.size(); ++at)
            if (bag.isBag(at)) pending.push_back(&bag.getBag(at));
    }
    return bytes;
}

}  // namespace CORE
