#include "ldap/operation_request.h"

#include <algorithm>
#include <stdexcept>

namespace wsadmin {

std::wstring_view keyTypeName(KeyType type) noexcept {
    switch (type) {
        case KeyType::text:
            return L"text";
        case KeyType::secret:
            return L"secret";
        case KeyType::encrypted:
            return L"encrypted secret";
        case KeyType::integer:
            return L"integer";
        case KeyType::boolean:
            return L"boolean";
        case KeyType::flag:
            return L"flag";
        case KeyType::bag:
            return L"bag";
        case KeyType::textList:
            return L"text list";
        case KeyType::bagList:
            return L"bag list";
    }
    return {};
}

std::wstring_view Request::known(const Key& key) const {
    if (!keys_.empty() && std::ranges::find(keys_, key.name, &Key::name) == keys_.end())
        throw std::logic_error("the operation's row has no key " + CORE::toUtf8(key.name));
    return key.name;
}

bool Request::has(const Key& key) const {
    return bag_.contains(known(key));
}

CORE::wstr Request::text(const Key& key) const {
    return bag_.get(known(key), key.fallback);
}

std::string_view Request::utf8(const Key& key) const {
    return bag_.utf8(known(key));
}

bool Request::boolean(const Key& key) const {
    return bag_.getBool(known(key), key.fallback == L"true");
}

int Request::integer(const Key& key) const {
    return bag_.getInt(known(key), CORE::wstr(key.fallback).toInt());
}

std::vector<std::wstring> Request::texts(const Key& key) const {
    std::vector<std::wstring> all;
    CORE::wstr value;
    for (std::size_t position = 0; bag_.getNext(known(key), value, position);) all.push_back(value.str());
    return all;
}

}  // namespace wsadmin
