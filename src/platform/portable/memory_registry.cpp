#include "platform/portable/memory_registry.h"

#include <algorithm>

#include "framework/core/corestring.h"

namespace wsadmin::platform {

namespace {

std::wstring_view withoutEndingBackslash(std::wstring_view key) noexcept {
    while (key.ends_with(L'\\')) key.remove_suffix(1);
    return key;
}

template <class Values>
auto findValue(Values& values, std::wstring_view name) {
    return std::find_if(values.begin(), values.end(),
                        [&](const auto& value) { return CORE::equalFolded(value.first, name); });
}

}  // namespace

bool MemoryRegistry::WithoutCase::operator()(std::wstring_view a, std::wstring_view b) const noexcept {
    return CORE::compareFolded(a, b) < 0;
}

Result<std::optional<RegistryData>> MemoryRegistry::read(std::wstring_view key,
                                                         std::wstring_view value) const {
    const std::lock_guard lock(mutex_);
    const auto found = keys_.find(withoutEndingBackslash(key));
    if (found == keys_.end()) return std::nullopt;
    const auto entry = findValue(found->second, value);
    if (entry == found->second.end()) return std::nullopt;
    return entry->second;
}

Result<void> MemoryRegistry::write(std::wstring_view key, std::wstring_view value, const RegistryData& data) {
    const std::lock_guard lock(mutex_);
    Values& values = keys_[std::wstring(withoutEndingBackslash(key))];
    if (const auto entry = findValue(values, value); entry != values.end())
        entry->second = data;
    else
        values.emplace_back(value, data);
    return {};
}

Result<void> MemoryRegistry::remove(std::wstring_view key, std::wstring_view value) {
    const std::lock_guard lock(mutex_);
    const auto found = keys_.find(withoutEndingBackslash(key));
    if (found == keys_.end()) return {};
    if (const auto entry = findValue(found->second, value); entry != found->second.end())
        found->second.erase(entry);
    return {};
}

Result<std::vector<std::pair<std::wstring, RegistryData>>> MemoryRegistry::values(
    std::wstring_view key) const {
    const std::lock_guard lock(mutex_);
    const auto found = keys_.find(withoutEndingBackslash(key));
    if (found == keys_.end()) return Values{};
    return found->second;
}

}  // namespace wsadmin::platform
