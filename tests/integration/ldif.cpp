#include "integration/ldif.h"

#include <openssl/evp.h>
#include <strings.h>

#include <sstream>
#include <stdexcept>

namespace integration {

namespace {

std::string fromBase64(const std::string& text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    const int size =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (size < 0) throw std::runtime_error("not base64: " + text);
    const std::size_t padding = text.size() - text.find_last_not_of('=') - 1;
    bytes.resize(static_cast<std::size_t>(size) - padding);
    return bytes;
}

// Lines begin with one blank where they continue the line before.
std::string unfolded(std::string text) {
    for (std::size_t at = 0; (at = text.find("\n ", at)) != std::string::npos;) text.erase(at, 2);
    return text;
}

bool same(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

}  // namespace

std::vector<LdifRecord> ldifRecords(const std::string& text, const std::string& attribute) {
    std::vector<LdifRecord> records;
    std::istringstream lines(unfolded(text));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos || line.front() == '#') continue;
        const bool encoded = line.compare(colon, 2, "::") == 0;
        const std::size_t start = line.find_first_not_of(' ', colon + (encoded ? 2 : 1));
        std::string value = start == std::string::npos ? std::string() : line.substr(start);
        if (encoded) value = fromBase64(value);
        const std::string name = line.substr(0, colon);
        if (same(name, "dn"))
            records.push_back({value, {}});
        else if (!records.empty() && same(name, attribute))
            records.back().values.push_back(value);
    }
    return records;
}

std::optional<std::vector<std::string>> ldifValues(const std::string& text, const std::string& dn,
                                                   const std::string& attribute) {
    for (LdifRecord& record : ldifRecords(text, attribute))
        if (same(record.dn, dn)) return std::move(record.values);
    return std::nullopt;
}

}  // namespace integration
