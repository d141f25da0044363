// Rows of data for plain functions, as files of *.jsonl have them: {FUNCTION: what goes in, "is": what comes
// out}, one a line; "has" instead of "is" gives a part of the text that comes out. Lines that begin with "#"
// are comments, and further keys ("what") tell what a row is there for.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>

namespace wstest {

using Json = nlohmann::ordered_json;
using RowFunctions = std::map<std::string, std::function<Json(const Json& in)>>;

// Text, also such that is not valid UTF-8.
inline std::string shownJson(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

inline bool hasPart(const Json& found, const std::string& part) {
    return !part.empty() && found.is_string() && found.get<std::string>().find(part) != std::string::npos;
}

// Every row of the file is tried, and each function has one.
inline void tryRows(const std::string& file, const RowFunctions& functions) {
    std::ifstream lines(file);
    ASSERT_TRUE(lines) << file;
    std::set<std::string> tried;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.empty() || line.starts_with('#')) continue;
        const auto row = Json::parse(line);
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

// Bytes, which JSON's texts cannot hold.
inline std::string hexOf(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) text += {digits[byte >> 4], digits[byte & 15]};
    return text;
}
inline std::string bytesOfHex(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

// Null where there is nothing.
template <class T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json();
}

}  // namespace wstest
