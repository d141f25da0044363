// Search filters: reading strict and lax ones, writing strict ones.
#include <algorithm>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"
#include "framework/core/format.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"
#include "platform/text/hex.h"

namespace wsadmin::platform {

namespace {

// Far above what any real filter needs, far below what the stack bears.
constexpr int maximumDepth = 100;

bool isBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trimmed(std::string_view text) noexcept {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

// An attribute description, a matching rule's name or an OID, with options.
bool isDescription(std::string_view text) noexcept {
    const auto allowed = [](char c) {
        return CORE::isAsciiAlphanumeric(c) || c == '-' || c == '.' || c == ';' || c == '_';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), allowed);
}

class FilterReader {
  public:
    explicit FilterReader(std::string_view text) : text_(text) {}

    Result<Filter> read() {
        skipBlanks();
        if (atEnd()) return wrong("the filter is empty");
        Result<Filter> filter = peek() == '(' ? readBracketed(0) : readInner(0);
        if (!filter) return filter;
        skipBlanks();
        if (!atEnd()) return wrong(peek() == ')' ? "')' without '('" : "text after the filter's end");
        return filter;
    }

  private:
    bool atEnd() const noexcept { return position_ == text_.size(); }
    char peek() const noexcept { return text_[position_]; }
    void skipBlanks() noexcept {
        while (!atEnd() && isBlank(peek())) ++position_;
    }

    tl::unexpected<Failure> wrong(std::string_view what) const {
        return fail(ldapFilterError, CORE::formatText(L"%s: %s at character %d",
                                                      ldapErrorText(ldapFilterError), what, position_ + 1));
    }

    Result<Filter> readBracketed(int depth) {
        ++position_;
        skipBlanks();
        Result<Filter> filter = readInner(depth);
        if (!filter) return filter;
        if (atEnd() || peek() != ')') return wrong("')' is missing");
        ++position_;
        return filter;
    }

    // What stands between parentheses, or a whole filter without them.
    Result<Filter> readInner(int depth) {
        if (depth >= maximumDepth) return wrong("the filter is nested too deeply");
        if (atEnd()) return wrong("the filter ends early");
        switch (peek()) {
            case '&':
                return readList(Filter::Kind::all, depth);
            case '|':
                return readList(Filter::Kind::any, depth);
            case '!':
                return readNot(depth);
            case '(':
                return wrong("'(' is not expected");
            default:
                return readItem();
        }
    }

    Result<Filter> readList(Filter::Kind kind, int depth) {
        Filter list;
        list.kind = kind;
        for (++position_, skipBlanks(); !atEnd() && peek() == '('; skipBlanks()) {
            Result<Filter> part = readBracketed(depth + 1);
            if (!part) return part;
            list.parts.push_back(std::move(*part));
        }
        if (!atEnd() && peek() != ')') return wrong("'(' is missing");
        return list;
    }

    Result<Filter> readNot(int depth) {
        ++position_;
        skipBlanks();
        Result<Filter> part = !atEnd() && peek() == '(' ? readBracketed(depth + 1) : readInner(depth + 1);
        if (!part) return part;
        skipBlanks();
        Filter filter;
        filter.kind = Filter::Kind::no;
        filter.parts.push_back(std::move(*part));
        return filter;
    }

    Result<Filter> readItem() {
        const std::size_t start = position_;
        while (!atEnd() && peek() != '=' && peek() != '(' && peek() != ')') ++position_;
        if (atEnd() || peek() != '=') return wrong("'=' is missing");
        std::string_view left = text_.substr(start, position_ - start);
        ++position_;
        Filter filter;
        filter.kind = Filter::Kind::equal;
        if (!left.empty()) {
            static constexpr std::string_view marks = "><~:";
            static constexpr Filter::Kind kinds[] = {Filter::Kind::greaterOrEqual, Filter::Kind::lessOrEqual,
                                                     Filter::Kind::approximately, Filter::Kind::extensible};
            if (const auto mark = marks.find(left.back()); mark != std::string_view::npos) {
                filter.kind = kinds[mark];
                left.remove_suffix(1);
            }
        }
        const bool described = filter.kind == Filter::Kind::extensible ? describeExtensible(left, filter)
                                                                       : isDescription(trimmed(left));
        if (!described) {
            position_ = start;
            return wrong("no attribute name");
        }
        if (filter.kind != Filter::Kind::extensible) filter.attribute = trimmed(left);
        return readValue(std::move(filter));
    }

    // attribute[:dn][:rule] or [:dn]:rule
    static bool describeExtensible(std::string_view left, Filter& filter) {
        const auto colon = left.find(':');
        filter.attribute = trimmed(left.substr(0, colon));
        std::string_view rest = colon == std::string_view::npos ? std::string_view() : left.substr(colon + 1);
        if (colon != std::string_view::npos) {
            const auto next = rest.find(':');
            const std::string_view first = trimmed(rest.substr(0, next));
            if (first == "dn" || first == "DN" || first == "Dn" || first == "dN") {
                filter.dnAttributes = true;
                rest = next == std::string_view::npos ? std::string_view() : rest.substr(next + 1);
                if (next != std::string_view::npos && trimmed(rest).empty()) return false;
            } else if (first.empty()) {
                return false;
            }
        }
        filter.rule = trimmed(rest);
        if (filter.attribute.empty() && filter.rule.empty()) return false;
        return (filter.attribute.empty() || isDescription(filter.attribute)) &&
               (filter.rule.empty() || isDescription(filter.rule));
    }

    Result<Filter> readValue(Filter filter) {
        std::vector<std::string> pieces(1);
        for (; !atEnd() && peek() != ')'; ++position_) {
            const char c = peek();
            if (c == '(') return wrong("'(' inside a value");
            if (c == '\0') return wrong("a NUL inside a value");
            if (c == '*' && filter.kind == Filter::Kind::equal) {
                pieces.emplace_back();
            } else if (c == '\\') {
                const auto byte = hexByte(text_, position_ + 1);
                if (!byte) return wrong("'\\' without two hexadecimal digits");
                pieces.back() += *byte;
                position_ += 2;
            } else {
                pieces.back() += c;
            }
        }
        if (pieces.size() == 1) {
            filter.value = std::move(pieces.front());
            return filter;
        }
        // "a**b" is "a*b": only the first and the last piece may be empty.
        pieces.erase(
            std::remove_if(pieces.begin() + 1, pieces.end() - 1, [](const auto& p) { return p.empty(); }),
            pieces.end() - 1);
        if (pieces.size() == 2 && pieces.front().empty() && pieces.back().empty()) {
            filter.kind = Filter::Kind::present;
            return filter;
        }
        filter.kind = Filter::Kind::substrings;
        filter.fragments = std::move(pieces);
        return filter;
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

void appendItem(std::string& out, const Filter& filter) {
    out += filter.attribute;
    switch (filter.kind) {
        case Filter::Kind::present:
            out += "=*";
            return;
        case Filter::Kind::substrings:
            out += '=';
            for (const std::string& fragment : filter.fragments) {
                if (&fragment != &filter.fragments.front()) out += '*';
                out += escapeFilterValue(fragment);
            }
            return;
        case Filter::Kind::greaterOrEqual:
            out += ">=";
            break;
        case Filter::Kind::lessOrEqual:
            out += "<=";
            break;
        case Filter::Kind::approximately:
            out += "~=";
            break;
        case Filter::Kind::extensible:
            if (filter.dnAttributes) out += ":dn";
            if (!filter.rule.empty()) out.append(1, ':').append(filter.rule);
            out += ":=";
            break;
        default:
            out += '=';
    }
    out += escapeFilterValue(filter.value);
}

void appendFilter(std::string& out, const Filter& filter) {
    out += '(';
    switch (filter.kind) {
        case Filter::Kind::all:
        case Filter::Kind::any:
        case Filter::Kind::no:
            out += filter.kind == Filter::Kind::all ? '&' : filter.kind == Filter::Kind::any ? '|' : '!';
            for (const Filter& part : filter.parts) appendFilter(out, part);
            break;
        default:
            appendItem(out, filter);
    }
    out += ')';
}

}  // namespace

Result<Filter> parseFilter(std::string_view text) {
    return FilterReader(text).read();
}

std::string filterToText(const Filter& filter) {
    std::string out;
    appendFilter(out, filter);
    return out;
}

Result<std::string> normaliseFilter(std::string_view text) {
    const Result<Filter> filter = parseFilter(text);
    if (!filter) return fail(filter.error());
    return filterToText(*filter);
}

std::string escapeFilterValue(std::string_view value) {
    const bool text = CORE::isValidUtf8(value);  // other bytes would not survive the way to the server
    std::string out;
    out.reserve(value.size());
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        const bool special = c == '*' || c == '(' || c == ')' || c == '\\';
        if (special || byte < 0x20 || byte == 0x7f || (byte >= 0x80 && !text))
            appendEscapedByte(out, c);
        else
            out += c;
    }
    return out;
}

std::string filterTerm(std::string_view attribute, std::string_view value) {
    return "(" + std::string(attribute) + "=" + escapeFilterValue(value) + ")";
}

}  // namespace wsadmin::platform
