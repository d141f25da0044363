#include "support/rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

template class nlohmann::basic_json<nlohmann::ordered_map>;
template class nlohmann::detail::serializer<nlohmann::ordered_json>;

namespace wstest {

std::string shownJson(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json readJson(const std::string& text) {
    return Json::parse(text);
}

bool hasPart(const Json& found, const std::string& part) {
    return !part.empty() && found.is_string() && found.get<std::string>().find(part) != std::string::npos;
}

void tryRows(const std::string& file, const RowFunctions& functions) {
    std::ifstream lines(file);
    ASSERT_TRUE(lines) << file;
    std::set<std::string> tried;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.empty() || line.starts_with('#')) continue;
        const auto row = readJson(line);
        const auto function =
            std::ranges::find_if(functions, [&](const auto& one) { return row.contains(one.first); });
        ASSERT_NE(function, functions.end()) << file << ":" << number << ": no function of this name";
        tried.insert(function->first);
        const Json found = function->second(row.at(function->first));
        const bool fits = row.contains("has") ? hasPart(found, row["has"]) : found == row.at("is");
        EXPECT_TRUE(fits) << file << ":" << number << ": " << line << "\n  gives " << shownJson(found);
    }
    EXPECT_EQ(tried.size(), functions.size()) << "a function has no row";
}

}  // namespace wstest
