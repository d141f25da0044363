// Distinguished names: reading, writing and comparing.
#include <algorithm>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"
#include "platform/ldap/ldap_text.h"
#include "platform/text/hex.h"

namespace wsadmin::platform {

namespace {

bool isTypeCharacter(char c) noexcept {
    return CORE::isAsciiAlphanumeric(c) || c == '-' || c == '.';
}

// The content of a BER string or number; nothing when the octets are not exactly one such element.
std::optional<std::string> berContent(const std::string& octets) {
    if (octets.size() < 2) return std::nullopt;
    std::size_t length = static_cast<unsigned char>(octets[1]);
    std::size_t start = 2;
    if (length & 0x80) {
        const std::size_t count = length & 0x7f;
        if (count == 0 || count > 4 || octets.size() < start + count) return std::nullopt;
        length = 0;
        for (std::size_t i = 0; i < count; ++i)
            length = length << 8 | static_cast<unsigned char>(octets[start + i]);
        start += count;
    }
    if (octets.size() - start != length) return std::nullopt;
    return octets.substr(start);
}

class DnReader {
  public:
    explicit DnReader(std::string_view text) : text_(text) {}

    std::optional<Dn> read() {
        Dn dn;
        skipBlanks();
        if (atEnd()) return dn;
        while (true) {
            Rdn rdn;
            do {
                auto part = readPart();
                if (!part) return std::nullopt;
                rdn.push_back(std::move(*part));
            } while (take('+'));
            dn.push_back(std::move(rdn));
            if (atEnd()) return dn;
            if (!take(',') && !take(';')) return std::nullopt;
        }
    }

  private:
    bool atEnd() const noexcept { return position_ == text_.size(); }
    char peek() const noexcept { return text_[position_]; }
    bool take(char c) noexcept {
        if (atEnd() || peek() != c) return false;
        ++position_;
        return true;
    }
    void skipBlanks() noexcept {
        while (take(' ')) {
        }
    }

    std::optional<RdnPart> readPart() {
        RdnPart part;
        skipBlanks();
        while (!atEnd() && isTypeCharacter(peek())) part.type += text_[position_++];
        skipBlanks();
        if (part.type.empty() || !take('=')) return std::nullopt;
        skipBlanks();
        std::optional<std::string> value;
        if (take('#'))
            value = readHexValue();
        else if (take('"'))
            value = readQuotedValue();
        else
            value = readValue();
        if (!value) return std::nullopt;
        part.value = std::move(*value);
        skipBlanks();
        return part;
    }

    std::optional<std::string> readHexValue() {
        std::string octets;
        while (!atEnd() && hexDigit(peek()) >= 0) {
            const auto byte = readHexPair();
            if (!byte) return std::nullopt;
            octets += *byte;
        }
        return berContent(octets);
    }

    std::optional<std::string> readQuotedValue() {
        std::string value;
        while (!atEnd()) {
            if (take('"')) return value;
            const auto c = peek() == '\\' ? readEscape() : std::optional(text_[position_++]);
            if (!c) return std::nullopt;
            value += *c;
        }
        return std::nullopt;
    }

    std::optional<std::string> readValue() {
        std::string value;
        std::size_t significant = 0;  // blanks after this are only around the separator, unless escaped
        while (!atEnd()) {
            const char c = peek();
            if (c == ',' || c == ';' || c == '+') break;
            if (c == '"' || c == '<' || c == '>' || c == '\0') return std::nullopt;
            const auto next = c == '\\' ? readEscape() : std::optional(text_[position_++]);
            if (!next) return std::nullopt;
            value += *next;
            if (c != ' ') significant = value.size();
        }
        value.resize(significant);
        return value;
    }

    std::optional<char> readEscape() {
        ++position_;
        if (atEnd()) return std::nullopt;
        if (hexDigit(peek()) >= 0) return readHexPair();
        static constexpr std::string_view escapable = " \"#+,;<=>\\";
        if (escapable.find(peek()) == std::string_view::npos) return std::nullopt;
        return text_[position_++];
    }

    std::optional<char> readHexPair() {
        const auto byte = hexByte(text_, position_);
        if (byte) position_ += 2;
        return byte;
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

std::string foldType(const std::string& type) {
    std::string folded = CORE::asciiLower(type);
    if (folded.starts_with("oid.")) folded.erase(0, 4);
    return folded;
}

}  // namespace

std::optional<Dn> parseDn(std::string_view text) {
    return DnReader(text).read();
}

std::string escapeDnValue(std::string_view value) {
    static constexpr std::string_view special = "\"+,;<=>\\";
    const bool text = CORE::isValidUtf8(value);
    std::string out;
    out.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f || (byte >= 0x80 && !text)) {
            appendEscapedByte(out, c);
            continue;
        }
        const bool edgeBlank = c == ' ' && (i == 0 || i + 1 == value.size());
        if (edgeBlank || (c == '#' && i == 0) || special.find(c) != std::string_view::npos) out += '\\';
        out += c;
    }
    return out;
}

std::string dnToText(const Dn& dn) {
    std::string out;
    for (const Rdn& rdn : dn) {
        if (&rdn != &dn.front()) out += ',';
        for (const RdnPart& part : rdn) {
            if (&part != &rdn.front()) out += '+';
            out.append(part.type).append(1, '=').append(escapeDnValue(part.value));
        }
    }
    return out;
}

std::string dnKey(const Dn& dn) {
    Dn folded = dn;
    for (Rdn& rdn : folded) {
        for (RdnPart& part : rdn) {
            part.type = foldType(part.type);
            part.value = CORE::foldText(part.value);
        }
        std::sort(rdn.begin(), rdn.end(), [](const RdnPart& a, const RdnPart& b) {
            return a.type != b.type ? a.type < b.type : a.value < b.value;
        });
    }
    return dnToText(folded);
}

std::optional<std::string> dnKey(std::string_view text) {
    const auto dn = parseDn(text);
    if (!dn) return std::nullopt;
    return dnKey(*dn);
}

bool sameDn(std::string_view a, std::string_view b) {
    const auto key = dnKey(a);
    return key && key == dnKey(b);
}

std::optional<std::string> parentDn(std::string_view text) {
    auto dn = parseDn(text);
    if (!dn || dn->empty()) return std::nullopt;
    dn->erase(dn->begin());
    return dnToText(*dn);
}

std::optional<std::vector<std::string>> explodeDn(std::string_view text) {
    if (!parseDn(text)) return std::nullopt;
    std::vector<std::string> components;
    const auto take = [&components](std::string_view piece) {
        const auto first = piece.find_first_not_of(' ');
        if (first == std::string_view::npos) return;  // the root
        auto last = piece.find_last_not_of(' ');
        if (piece[last] == '\\' && last + 1 < piece.size()) ++last;  // an escaped blank belongs to the value
        components.emplace_back(piece.substr(first, last - first + 1));
    };
    std::size_t start = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\')
            ++i;
        else if (text[i] == '"')
            quoted = !quoted;
        else if (!quoted && (text[i] == ',' || text[i] == ';')) {
            take(text.substr(start, i - start));
            start = i + 1;
        }
    }
    take(text.substr(start));
    return components;
}

std::string dnsDomainOf(std::string_view dn) {
    const auto parsed = parseDn(dn);
    std::string name;
    for (auto rdn = parsed ? parsed->rbegin() : Dn::const_reverse_iterator();
         parsed && rdn != parsed->rend() && CORE::equalFolded(rdn->front().type, std::string_view("dc"));
         ++rdn)
        name.insert(0, name.empty() ? rdn->front().value : rdn->front().value + ".");
    return name;
}

std::string rdnValue(std::string_view text) {
    const auto dn = parseDn(text);
    return dn && !dn->empty() ? dn->front().front().value : std::string();
}

}  // namespace wsadmin::platform
