#include "host/bag_json.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace hdqadmin {

using nlohmann::json;

namespace {

constexpr int deepestBag = 100;

// What is written, in pieces that are worth a call of the stream; answers may carry secrets.
class Writer {
  public:
    explicit Writer(std::ostream& out) : out_(out) { buffer_.reserve(2 * pieceSize); }
    ~Writer() { CORE::wipeMemory(buffer_.data(), buffer_.capacity()); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void text(std::string_view text) {
        if (std::ranges::all_of(text, isPlain)) {
            ((buffer_ += '"') += text) += '"';
        } else {
            auto escaped = json(text).dump(-1, ' ', false, json::error_handler_t::replace);
            buffer_ += escaped;
            CORE::wipeMemory(escaped.data(), escaped.size());
        }
        if (buffer_.size() >= pieceSize) flush();
    }
    void bag(const CORE::PropertyBag& bag) {
        buffer_ += '[';
        for (std::size_t i = 0; i < bag.size(); ++i) {
            buffer_ += i ? ", [" : "[";
            text(bag.nameUtf8(i));
            buffer_ += ", ";
            if (bag.isBag(i))
                this->bag(bag.getBag(i));
            else
                text(bag.utf8(i));
            buffer_ += ']';
        }
        buffer_ += ']';
    }
    void flush() {
        out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        buffer_.clear();
    }

  private:
    static constexpr std::size_t pieceSize = 65536;

    // Stands in JSON as it is.
    static bool isPlain(char c) noexcept { return c >= ' ' && c < 0x7f && c != '"' && c != '\\'; }

    std::ostream& out_;
    std::string buffer_;
};

bool isPair(const json& value) {
    return value.is_array() && value.size() == 2 && value[0].is_string();
}

void wipe(json& text) {
    auto& characters = text.get_ref<std::string&>();
    CORE::wipeMemory(characters.data(), characters.size());
}

Outcome<CORE::PropertyBag> readBag(json& value, int depth) {
    if (!value.is_array()) return refuse("a bag must be an array of [name, value] pairs");
    if (depth > deepestBag) return refuse("bags are nested too deep");
    CORE::PropertyBag bag;
    for (json& pair : value) {
        if (!isPair(pair))
            return refuse("an entry of a bag must be a pair [name, value] with a string as its name");
        const auto& name = pair[0].get_ref<const std::string&>();
        if (name.empty()) return refuse("an entry of a bag has an empty name");
        if (pair[1].is_string()) {
            bag.addUtf8(name, pair[1].get_ref<const std::string&>());
            wipe(pair[1]);
            continue;
        }
        if (!pair[1].is_array()) return refuse("the value of \"" + name + "\" must be a string or a bag");
        auto nested = readBag(pair[1], depth + 1);
        if (!nested) return nested;
        bag.addBagUtf8(name, std::move(*nested));
    }
    return bag;
}

// The library's text without its own tag and without the piece of input that it quotes: that may hold a
// secret.
std::string problemOf(const json::exception& error) {
    std::string text = error.what();
    if (const auto tag = text.find("] "); tag != std::string::npos) text.erase(0, tag + 2);
    for (const char* before : {"; last read:", " parsing '"})
        if (const auto quote = text.find(before); quote != std::string::npos) text.erase(quote);
    return text;
}

}  // namespace

void writeJsonText(std::ostream& out, std::string_view text) {
    Writer writer(out);
    writer.text(text);
    writer.flush();
}

void writeJson(std::ostream& out, const CORE::PropertyBag& bag) {
    Writer writer(out);
    writer.bag(bag);
    writer.flush();
}

Outcome<json> parseJson(std::string_view text) {
    try {
        return json::parse(text);
    } catch (
        const json::exception& error) {  // a number that is too great is no error of parsing to the library
        return refuse(problemOf(error));
    }
}

Outcome<CORE::PropertyBag> bagFromJson(json& value) {
    return readBag(value, 1);
}

}  // namespace hdqadmin
