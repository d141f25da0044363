#include "ldap/directory_rows.h"

#include <utility>

namespace wsadmin {

const std::vector<platform::DirectoryValue>& DirectoryRow::all(std::string_view name) const noexcept {
    static const std::vector<platform::DirectoryValue> none;
    const auto found = columns_.find(name);
    return found == columns_.end() ? none : found->second;
}

std::string DirectoryRow::text(std::string_view name) const {
    const auto& values = all(name);
    return values.empty() ? std::string() : platform::directoryText(values.front());
}

namespace {

Result<std::vector<DirectoryRow>> fetchRows(platform::DirectorySearch& search, const std::string& filter,
                                            const std::vector<std::string>& attributes, std::size_t most) {
    const auto rows = search.execute(filter, attributes);
    if (!rows) return fail(rows.error());
    std::vector<DirectoryRow> found;
    while (most == 0 || found.size() < most) {
        const auto more = (*rows)->next();
        if (!more) return fail(more.error());
        if (!*more) break;
        DirectoryRow& row = found.emplace_back();
        for (const std::string& attribute : attributes) {
            auto column = (*rows)->column(attribute);
            if (!column) return fail(column.error());
            if (*column && !(*column)->values.empty()) row.set(attribute, std::move((*column)->values));
        }
    }
    return found;
}

}  // namespace

Result<std::vector<DirectoryRow>> readRows(platform::DirectorySearch& search, const std::string& filter,
                                           const std::vector<std::string>& attributes, std::size_t most,
                                           OnRefusal refusal) {
    auto rows = fetchRows(search, filter, attributes, most);
    constexpr std::size_t shown = 500;  // a filter may name hundreds of entries
    if (!rows)
        logRefusal(refusal, L"Failed to search for %s (%s)", filter.substr(0, shown), rows.error().text);
    return rows;
}

}  // namespace wsadmin
