#include "clientauth/generated_password.h"

#include <array>
#include <cstddef>

namespace wsadmin {

namespace {

constexpr std::size_t passwordLength = 16, bitsPerCharacter = 6, valuesPerCharacter = 64;
// Of the first four characters.
constexpr std::string_view classes[] = {"ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz",
                                        "1234567890", "!@#$^%*"};

// The sequence of the Windows C library, in a state of its own: other threads draw nothing from it.
class PseudoRandom {
  public:
    explicit PseudoRandom(std::uint32_t seed) : state_(seed) {}
    ~PseudoRandom() { CORE::wipeMemory(&state_, sizeof state_); }
    PseudoRandom(const PseudoRandom&) = delete;
    PseudoRandom& operator=(const PseudoRandom&) = delete;
    std::uint32_t next() noexcept {
        state_ = state_ * 214013 + 2531011;
        return state_ >> 16 & 0x7fff;
    }

  private:
    std::uint32_t state_;
};

// Of text that is wiped when it goes, whatever its contents.
template <std::size_t size>
struct WipedBytes {
    std::array<unsigned char, size> bytes{};
    ~WipedBytes() { CORE::wipeMemory(bytes.data(), size); }
};

}  // namespace

std::optional<CORE::secretstring> generatePassword(std::uint32_t seed, std::string_view alphabet) {
    if (alphabet.size() < valuesPerCharacter) return std::nullopt;
    constexpr std::size_t drawn = 14;
    static_assert(drawn * 8 >= passwordLength * bitsPerCharacter);
    WipedBytes<drawn> random;
    PseudoRandom sequence(seed);
    for (unsigned char& byte : random.bytes) byte = static_cast<unsigned char>(sequence.next() >> 3);

    WipedBytes<passwordLength> password;
    for (std::size_t i = 0; i < passwordLength; ++i) {
        std::size_t value = 0;  // the next bits, the least significant first
        for (std::size_t bit = 0; bit < bitsPerCharacter; ++bit) {
            const std::size_t at = i * bitsPerCharacter + bit;
            value |= static_cast<std::size_t>(random.bytes[at / 8] >> at % 8 & 1) << bit;
        }
        password.bytes[i] = static_cast<unsigned char>(
            i < std::size(classes) ? classes[i][value * classes[i].size() / valuesPerCharacter]
                                   : alphabet[value]);
    }
    return CORE::secretstring({reinterpret_cast<const char*>(password.bytes.data()), passwordLength});
}

}  // namespace wsadmin
