// Names of a bag's entries, compared and hashed without regard to case, from either width: what counts is the
// wide form, each character folded. Those in ASCII, nearly all there are, take no memory and only a few
// steps.
#pragma once

#include <cstdint>
#include <string_view>

#include "framework/core/text_blocks.h"

namespace CORE::names {

// Differs from process to process, so that nobody outside can make names that collide.
std::uint32_t hash(std::wstring_view name);
std::uint32_t hash(std::string_view name);

// The long way, for names that are not both ASCII.
bool sameUnicode(std::wstring_view asked, std::string_view kept);
bool sameUnicode(std::string_view asked, std::string_view kept);

inline std::uint64_t loadKept(const char* from, std::size_t bytes) noexcept {
    if (bytes == 1) return static_cast<unsigned char>(*from);
    std::uint64_t value = 0;
    bytes == blocks::word ? std::memcpy(&value, from, blocks::word) : std::memcpy(&value, from, blocks::half);
    return value;
}

// Is the name that is asked for the same as one that is kept? The caller knows whether that is ASCII.
template <class Ch>
bool same(std::basic_string_view<Ch> asked, std::string_view kept, bool keptAscii) {
    if (!keptAscii) return sameUnicode(asked, kept);
    return asked.size() == kept.size() &&
           blocks::cover(asked.data(), asked.size(), [&](std::uint64_t bytes, std::size_t at, std::size_t n) {
               const std::uint64_t other = loadKept(kept.data() + at, n);
               return bytes == other || blocks::fold(bytes) == blocks::fold(other);
           });
}

}  // namespace CORE::names
