// Security identifiers.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace wsadmin::platform {

// One well-formed identifier of revision 1: what is of this type can stand in a filter or a name.
class Sid {
  public:
    // "S-1-5-18", without regard to case; an authority may be hexadecimal. Nothing for any other text.
    static std::optional<Sid> parse(std::string_view text);
    static std::optional<Sid> parse(std::wstring_view text);
    // As directories and tokens have it. Nothing when it is none.
    static std::optional<Sid> fromBytes(std::string_view bytes);

    // As the platform writes it: an authority beyond 32 bits in hexadecimal.
    std::string text() const;
    const std::string& bytes() const noexcept { return bytes_; }
    // The identifier without its last part, which for an account is its domain's; itself where it has none.
    Sid domain() const;

    bool operator==(const Sid&) const = default;
    auto operator<=>(const Sid& other) const noexcept { return bytes_ <=> other.bytes_; }

  private:
    explicit Sid(std::string bytes) : bytes_(std::move(bytes)) {}
    std::string bytes_;
};

inline constexpr std::string_view localSystemSid = "S-1-5-18";

}  // namespace wsadmin::platform
