// Looks for secrets in the writable memory of this process. A secret is given with all its bits inverted, so
// that neither the caller's data nor the search itself holds it. Linux only.
#pragma once

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace wstest {

inline std::string invertedBytes(std::string bytes) {
    for (char& c : bytes) c = static_cast<char>(~c);
    return bytes;
}

inline bool isInMemory(std::string_view inverted) {
    constexpr std::uintmax_t largest = 1U << 28;  // beyond that a sanitizer's shadow, which holds no text
    const auto same = [](char a, char b) { return a == static_cast<char>(~b); };
    const auto first = static_cast<char>(~inverted.front());
    std::ifstream regions("/proc/self/maps"), memory("/proc/self/mem", std::ios::binary);
    for (std::string line; std::getline(regions, line);) {
        std::uintmax_t begin = 0, end = 0;
        std::string rights;
        char dash = 0;
        std::istringstream(line) >> std::hex >> begin >> dash >> end >> rights;
        if (!rights.starts_with("rw") || end - begin > largest) continue;
        std::vector<char> bytes(end - begin);
        memory.clear();
        memory.seekg(static_cast<std::streamoff>(begin));
        memory.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        const std::string_view text(bytes.data(), static_cast<std::size_t>(memory.gcount()));
        for (auto at = text.find(first); at != text.npos; at = text.find(first, at + 1))
            if (std::ranges::equal(text.substr(at, inverted.size()), inverted, same)) return true;
    }
    return false;
}

}  // namespace wstest
