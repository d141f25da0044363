// Rows of a search, read to the end.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ldap/on_refusal.h"
#include "platform/directory_services.h"

namespace wsadmin {

// An entry's asked attributes that have values, by the names as they were asked for.
class DirectoryRow {
  public:
    const std::vector<platform::DirectoryValue>& all(
        std::string_view name) const noexcept;  // empty where there is none
    // The first value where it has that type.
    template <class T>
    const T* first(std::string_view name) const noexcept {
        const auto& values = all(name);
        return values.empty() ? nullptr : std::get_if<T>(&values.front());
    }
    std::string text(std::string_view name) const;  // the first value in words; empty where there is none

    void set(const std::string& name, std::vector<platform::DirectoryValue> values) {
        columns_[name] = std::move(values);
    }

  private:
    std::map<std::string, std::vector<platform::DirectoryValue>, std::less<>> columns_;
};

// Runs the search and reads all its rows, or as many as `most` (0: no limit). Fails when any of it fails.
Result<std::vector<DirectoryRow>> readRows(platform::DirectorySearch& search, const std::string& filter,
                                           const std::vector<std::string>& attributes, std::size_t most = 0,
                                           OnRefusal refusal = OnRefusal::logsError);

}  // namespace wsadmin
