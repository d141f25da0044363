#include "framework/core/bag_names.h"

#include <random>
#include <string>

#include "framework/core/corestring.h"
#include "framework/core/unicode.h"

namespace CORE::names {

namespace {

std::uint64_t makeSeed() noexcept {
    try {
        std::random_device device;
        return std::uint64_t{device()} << 32 | device();
    } catch (...) {  // a machine without a source of chance still has to find its names
        return 0x9E3779B97F4A7C15u;
    }
}

// One for both widths, so not of the template below.
std::uint64_t theSeed() noexcept {
    static const std::uint64_t seed = makeSeed();
    return seed;
}

std::uint64_t mix(std::uint64_t a, std::uint64_t b) noexcept {
    __extension__ using Product = unsigned __int128;
    const Product product = static_cast<Product>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::wstring folded(std::wstring name) {
    for (wchar_t& c : name) c = foldCase(c);
    return name;
}

std::wstring wide(std::wstring_view name) {
    return std::wstring(name);
}
std::wstring wide(std::string_view name) {
    return unicode::decodeAll(name, unicode::Policy::lossless);
}

// Nothing when the name is not all ASCII.
template <class Ch>
bool hashAscii(std::basic_string_view<Ch> name, std::uint64_t& hash) {
    return blocks::cover(name.data(), name.size(), [&hash](std::uint64_t bytes, std::size_t, std::size_t) {
        hash = mix(hash ^ blocks::fold(bytes), 0xD6E8FEB86659FD93u);
        return true;
    });
}

template <class Ch>
std::uint32_t hashOf(std::basic_string_view<Ch> name) {
    const std::uint64_t seed = theSeed();
    std::uint64_t value = seed ^ name.size();
    if (!hashAscii(name, value)) {
        value = seed;
        for (const wchar_t c : folded(wide(name)))
            value = mix(value ^ static_cast<std::uint32_t>(c), 0xD6E8FEB86659FD93u);
    }
    return static_cast<std::uint32_t>(mix(value ^ seed, 0xA0761D6478BD642Fu));
}

template <class Ch>
bool sameFolded(std::basic_string_view<Ch> asked, std::string_view kept) {
    const auto any = [](std::uint64_t, std::size_t, std::size_t) { return true; };
    if (blocks::cover(asked.data(), asked.size(), any)) return false;  // all ASCII, and the other is not
    return folded(wide(asked)) == folded(unicode::decodeAll(kept, unicode::Policy::lossless));
}

}  // namespace

std::uint32_t hash(std::wstring_view name) {
    return hashOf(name);
}
std::uint32_t hash(std::string_view name) {
    return hashOf(name);
}
bool sameUnicode(std::wstring_view asked, std::string_view kept) {
    return sameFolded(asked, kept);
}
bool sameUnicode(std::string_view asked, std::string_view kept) {
    return sameFolded(asked, kept);
}

}  // namespace CORE::names
