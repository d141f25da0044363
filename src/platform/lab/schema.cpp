#include "platform/lab/schema.h"

#include <algorithm>
#include <charconv>

#include "framework/core/corestring.h"

namespace wsadmin::platform::lab {

namespace {

std::vector<std::string_view> splitWords(std::string_view line) {
    std::vector<std::string_view> words;
    constexpr std::string_view blanks = " \t\r";
    for (std::size_t at = 0; (at = line.find_first_not_of(blanks, at)) != line.npos && line[at] != '#';) {
        const auto end = std::min(line.find_first_of(blanks, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

}  // namespace

Schema::Schema() {
    const auto built = read(builtInSchema, "built-in schema");
    if (!built) throw std::logic_error(CORE::toUtf8(built.error().text));
}

Result<void> Schema::read(std::string_view text, std::string_view file) {
    int number = 0;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size());
        ++number;
        if (const auto words = splitWords(text.substr(at, end - at)); !words.empty())
            if (const auto wrong = readLine(words))
                return fail(1, CORE::toWide(file) + L":" + std::to_wstring(number) + L": " + *wrong);
        at = end + 1;
    }
    return {};
}

std::optional<std::wstring> Schema::readLine(const std::vector<std::string_view>& words) {
    if (words[0] == "attribute") return readAttribute(words);
    const bool auxiliary = words[0] == "auxiliary";
    if (!auxiliary && words[0] != "class")
        return L"expected attribute, class or auxiliary, found " + inQuotes(words[0]);
    if (words.size() != 3) return L"expected " + CORE::toWide(words[0]) + L" NAME SUPERIOR";
    if (findClass(words[1])) return L"the class " + inQuotes(words[1]) + L" is there already";
    if (!findClass(words[2]) && words[2] != "-")
        return L"there is no class " + inQuotes(words[2]) + L" before this line";
    classByName_.emplace(foldText(words[1]), classes_.size());
    classes_.push_back({std::string(words[1]), std::string(words[2]), auxiliary});
    return std::nullopt;
}

std::optional<std::wstring> Schema::readAttribute(const std::vector<std::string_view>& words) {
    const bool linked = words.size() == 6 && words[4] == "link";
    const bool hidden = words.size() == 5 && words[4] == "hidden";
    if (words.size() != 4 && !linked && !hidden)
        return L"expected attribute NAME SYNTAX single|multi [link NUMBER|hidden]";
    const auto syntax = syntaxOfName(words[2]);
    if (!syntax) return L"there is no syntax " + inQuotes(words[2]);
    if (words[3] != "single" && words[3] != "multi")
        return L"expected single or multi, found " + inQuotes(words[3]);
    AttributeType type{std::string(words[1]), *syntax, words[3] == "single", 0, true, hidden};
    if (linked) {
        const auto [end, error] =
            std::from_chars(words[5].data(), words[5].data() + words[5].size(), type.link);
        if (error != std::errc{} || end != words[5].data() + words[5].size() || type.link < 2)
            return L"a link number is 2 or more, not " + inQuotes(words[5]);
        if (*syntax != Syntax::dn) return L"only an attribute of syntax dn can be linked";
    }
    const auto id = intern(words[1]);
    if (attributes_[id].declared) return L"the attribute " + inQuotes(words[1]) + L" is there already";
    attributes_[id] = std::move(type);
    return std::nullopt;
}

std::optional<AttributeId> Schema::find(std::string_view name) const {
    const auto found = byName_.find(foldText(name));
    if (found == byName_.end()) return std::nullopt;
    return found->second;
}

AttributeId Schema::intern(std::string_view name) {
    const auto [at, added] = byName_.emplace(foldText(name), static_cast<AttributeId>(attributes_.size()));
    if (added) attributes_.push_back({std::string(name), Syntax::text, false, 0, false, false});
    return at->second;
}

std::optional<AttributeId> Schema::forwardOf(AttributeId backLink) const {
    for (AttributeId id = 0; id < attributes_.size(); ++id)
        if (attributes_[id].link == attributes_[backLink].link - 1 && attributes_[id].forwardLink())
            return id;
    return std::nullopt;
}

const ObjectClass* Schema::findClass(std::string_view name) const {
    const auto found = classByName_.find(foldText(name));
    return found == classByName_.end() ? nullptr : &classes_[found->second];
}

bool Schema::auxiliary(std::string_view className) const {
    const ObjectClass* known = findClass(className);
    return known != nullptr && known->auxiliary;
}

std::vector<std::string> Schema::withSuperiors(const std::vector<std::string>& names) const {
    std::vector<std::string> result;
    const auto addOnce = [&](const std::string& name) {
        const auto folded = foldText(name);
        if (std::none_of(result.begin(), result.end(),
                         [&](const auto& has) { return equalFolded(has, folded); }))
            result.push_back(name);
    };
    addOnce("top");
    for (const auto& name : names) {
        std::vector<std::string> chain;
        const ObjectClass* known = findClass(name);
        if (!known) chain.push_back(name);
        for (; known; known = findClass(known->superior)) chain.push_back(known->name);
        std::for_each(chain.rbegin(), chain.rend(), addOnce);
    }
    return result;
}

std::vector<std::string> Schema::withoutSuperiors(const std::vector<std::string>& names) const {
    std::vector<std::string> result;
    for (const auto& name : names) {
        const auto folded = foldText(name);
        const bool implied = std::any_of(names.begin(), names.end(), [&](const std::string& other) {
            const ObjectClass* known = findClass(other);
            if (known == nullptr) return folded == "top" && !equalFolded(other, "top");
            while ((known = findClass(known->superior)))
                if (equalFolded(known->name, folded)) return true;
            return false;
        });
        if (!implied) result.push_back(name);
    }
    return result;
}

}  // namespace wsadmin::platform::lab
