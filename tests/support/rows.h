// Rows of data for plain functions, as files of *.jsonl have them: {FUNCTION: what goes in, "is": what comes
// out}, one a line; "has" instead of "is" gives a part of the text that comes out. Lines that begin with "#"
// are comments, and further keys ("what") tell what a row is there for.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

// Compiled once for all tests, in rows.cpp: it is most of what a test of rows would be compiled for.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;
extern template class nlohmann::detail::serializer<nlohmann::ordered_json>;

namespace wstest {

using Json = nlohmann::ordered_json;
using RowFunctions = std::map<std::string, std::function<Json(const Json& in)>>;

// Text, also such that is not valid UTF-8.
std::string shownJson(const Json& value);
// The value of a text; throws for what is none.
Json readJson(const std::string& text);

// Whether what was found is a text with that part.
bool hasPart(const Json& found, const std::string& part);

// Every row of the file is tried, and each function has one.
void tryRows(const std::string& file, const RowFunctions& functions);

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
