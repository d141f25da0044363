#include "platform/lab/simulated_machine.h"

#include <algorithm>

#include "framework/core/corestring.h"
#include "framework/core/running_program.h"

namespace wsadmin::platform::lab {

namespace {

constexpr int fileNotFound = 2, pathNotFound = 3, nameNotFound = 1355;

// "*" stands for any text, "?" for one character; case does not count.
bool matchesPattern(std::wstring_view text, std::wstring_view pattern) {
    if (pattern.empty()) return text.empty();
    if (pattern[0] == L'*')
        return matchesPattern(text, pattern.substr(1)) ||
               (!text.empty() && matchesPattern(text.substr(1), pattern));
    if (text.empty() || (pattern[0] != L'?' && CORE::foldCase(text[0]) != CORE::foldCase(pattern[0])))
        return false;
    return matchesPattern(text.substr(1), pattern.substr(1));
}

std::wstring_view withoutEnd(std::wstring_view key) {
    while (key.ends_with(L'\\')) key.remove_suffix(1);
    return key;
}

}  // namespace

bool FixedClock::wait(std::chrono::milliseconds time, const CORE::coreevent* stop) {
    if (stop && stop->isSet()) return true;
    auto before = waited_.load();
    while (!waited_.compare_exchange_weak(before, before + time)) {
    }
    return false;
}

Result<std::wstring> LabNames::given(const std::wstring& name) {
    if (name.empty()) return fail(nameNotFound, L"The machine has no such name.");
    return name;
}

Result<std::wstring> LabFolders::get(Folder folder) const {
    const auto& path = folders_.at(folder);
    if (path.empty()) return fail(pathNotFound, L"The system cannot find the path specified.");
    return path;
}

Result<std::wstring> LabFolders::windowsDirectory() const {
    if (windows_.empty()) return fail(pathNotFound, L"The system cannot find the path specified.");
    return windows_;
}

LabRegistry::LabRegistry(const std::vector<RegistryKey>& content) {
    for (const auto& [key, values] : content) {
        keys_.push_back(key);
        for (const auto& [name, data] : values) (void)registry_.write(key, name, data);
    }
}

Result<std::optional<RegistryData>> LabRegistry::read(std::wstring_view key, std::wstring_view value) const {
    return registry_.read(key, value);
}

Result<void> LabRegistry::write(std::wstring_view key, std::wstring_view value, const RegistryData& data) {
    const std::lock_guard lock(mutex_);
    const auto same = [&](const auto& known) { return CORE::equalFolded(known, withoutEnd(key)); };
    if (std::none_of(keys_.begin(), keys_.end(), same)) keys_.emplace_back(withoutEnd(key));
    changed_ = true;
    return registry_.write(key, value, data);
}

Result<void> LabRegistry::remove(std::wstring_view key, std::wstring_view value) {
    const std::lock_guard lock(mutex_);
    changed_ = true;
    return registry_.remove(key, value);
}

Result<std::vector<std::pair<std::wstring, RegistryData>>> LabRegistry::values(std::wstring_view key) const {
    return registry_.values(key);
}

std::optional<std::vector<RegistryKey>> LabRegistry::takeChanges() {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(changed_, false)) return std::nullopt;
    std::vector<RegistryKey> content;
    for (const auto& key : keys_)
        if (auto values = registry_.values(key); values && !values->empty())
            content.push_back({key, std::move(*values)});
    return content;
}

void LabRegistry::keepChanged() {
    const std::lock_guard lock(mutex_);
    changed_ = true;
}

Result<std::optional<int>> LabProcesses::run(const std::wstring& program, const std::wstring& arguments) {
    const auto rule = std::ranges::find_if(rules_, [&](const ProgramRule& one) {
        return matchesPattern(program, one.program) && matchesPattern(arguments, one.arguments);
    });
    const CORE::RunningProgram named(program);
    if (rule != rules_.end()) {
        clock_->wait(rule->duration, nullptr);
        return rule->exitCode;
    }
    if (const auto code = programs_ ? programs_(program, arguments) : std::nullopt) return code;
    return fail(fileNotFound, L"The system cannot find the file specified.");
}

}  // namespace wsadmin::platform::lab
