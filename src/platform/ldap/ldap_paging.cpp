// The value of the paged-results control: SEQUENCE { size INTEGER, cookie OCTET STRING }.
#include <limits>

#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {

namespace {

constexpr char tagInteger = 0x02;
constexpr char tagOctetString = 0x04;
constexpr char tagSequence = 0x30;

void appendElement(std::string& out, char tag, std::string_view content) {
    out += tag;
    if (content.size() < 0x80) {
        out += static_cast<char>(content.size());
    } else {
        std::string length;
        for (std::size_t rest = content.size(); rest > 0; rest >>= 8)
            length.insert(0, 1, static_cast<char>(rest & 0xff));
        out += static_cast<char>(0x80 | length.size());
        out += length;
    }
    out += content;
}

// Takes one element of that tag off the front; nothing when there is none or its length does not fit.
std::optional<std::string_view> takeElement(std::string_view& from, char tag) {
    if (from.size() < 2 || from[0] != tag) return std::nullopt;
    std::size_t length = static_cast<unsigned char>(from[1]);
    from.remove_prefix(2);
    if (length & 0x80) {
        const std::size_t count = length & 0x7f;
        if (count == 0 || count > 4 || from.size() < count) return std::nullopt;
        length = 0;
        for (std::size_t i = 0; i < count; ++i) length = length << 8 | static_cast<unsigned char>(from[i]);
        from.remove_prefix(count);
    }
    if (from.size() < length) return std::nullopt;
    const std::string_view content = from.substr(0, length);
    from.remove_prefix(length);
    return content;
}

}  // namespace

std::string encodePageControl(const PageControl& page) {
    std::string size;
    const auto number = static_cast<unsigned>(page.size < 0 ? 0 : page.size);
    for (unsigned rest = number; rest > 0 || size.empty(); rest >>= 8)
        size.insert(0, 1, static_cast<char>(rest & 0xff));
    if (size[0] & 0x80) size.insert(0, 1, '\0');  // else it would read as negative
    std::string content;
    appendElement(content, tagInteger, size);
    appendElement(content, tagOctetString, page.cookie);
    std::string out;
    appendElement(out, tagSequence, content);
    return out;
}

std::optional<PageControl> decodePageControl(std::string_view value) {
    auto sequence = takeElement(value, tagSequence);
    if (!sequence || !value.empty()) return std::nullopt;
    const auto size = takeElement(*sequence, tagInteger);
    const auto cookie = takeElement(*sequence, tagOctetString);
    if (!size || size->empty() || !cookie || !sequence->empty()) return std::nullopt;
    if (static_cast<unsigned char>(size->front()) & 0x80) return std::nullopt;
    std::uint64_t number = 0;
    for (const char c : *size) {
        number = number << 8 | static_cast<unsigned char>(c);
        if (number > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) return std::nullopt;
    }
    return PageControl{static_cast<int>(number), std::string(*cookie)};
}

}  // namespace wsadmin::platform
