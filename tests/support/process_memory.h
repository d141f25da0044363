// Looks for secrets in the writable memory of this process. A secret is given with all its bits inverted, so
// that neither the caller's data nor the search itself holds it. Linux only.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"

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

// Neither as UTF-8 nor as text of wider characters.
inline void expectNotInMemory(std::string_view inverted) {
    for (const std::size_t size : {sizeof(char), sizeof(char16_t), sizeof(wchar_t)}) {
        std::string text;
        for (const char c : inverted) text.append(1, c).append(size - 1, '\xff');
        EXPECT_FALSE(isInMemory(text)) << size;
    }
}

// The secret, behind so many other characters.
inline CORE::secretstring secretOf(std::string_view inverted, std::size_t before = 0) {
    CORE::secretstring secret(std::string(before, 'x'));
    for (const char c : inverted) secret.append(std::string(1, static_cast<char>(~c)));
    return secret;
}

}  // namespace wstest
