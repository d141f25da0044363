#include "framework/core/permitted_path.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string>

#include "framework/core/ascii.h"
#include "framework/core/plain_files.h"

namespace CORE {

namespace fs = std::filesystem;

namespace {

#if defined(_WIN32)
constexpr bool windowsNames = true;
#else
constexpr bool windowsNames = false;
#endif

bool isSafe(const fs::path& component) {
    const std::string name = utf8OfPath(component);
    return name != ".." && name != "." && !name.empty() && !(windowsNames && isWindowsTrap(name));
}

}  // namespace

// "nul", "com1.txt" and "lpt\u00b9" are devices in every folder.
bool isWindowsTrap(std::string_view name) {
    if (name.find(':') != name.npos || name.ends_with('.') || name.ends_with(' ')) return true;
    std::string stem(name.substr(0, name.find('.')));
    std::ranges::transform(stem, stem.begin(), asciiLower<char>);
    while (stem.ends_with(' ')) stem.pop_back();
    const auto isOneOf = [](std::string_view text, std::initializer_list<std::string_view> texts) {
        return std::ranges::find(texts, text) != texts.end();
    };
    if (isOneOf(stem, {"con", "prn", "aux", "nul", "conin$", "conout$"})) return true;
    if (!stem.starts_with("com") && !stem.starts_with("lpt")) return false;
    const std::string number = stem.substr(3);
    return (number.size() == 1 && number >= "0" && number <= "9") ||
           isOneOf(number, {"\u00b9", "\u00b2", "\u00b3"});
}

fs::path pathOfUtf8(std::string_view utf8) {
    return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string utf8OfPath(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::optional<fs::path> permittedPath(std::string_view utf8, const std::vector<fs::path>& folders) {
    if (utf8.empty() || folders.empty() || utf8.find('\0') != std::string_view::npos) return std::nullopt;
    fs::path path = pathOfUtf8(utf8);
    if (path.has_root_name() && path.is_relative()) return std::nullopt;  // "C:name"
    if (path.is_relative()) path = folders.front() / path;
    for (const fs::path& folder : folders) {
        const fs::path below = path.lexically_relative(folder);
        if (below.empty() || !std::all_of(below.begin(), below.end(), isSafe)) continue;
        fs::path at = folder;
        if (std::all_of(below.begin(), std::prev(below.end()),
                        [&at](const fs::path& name) { return kindOf(at /= name) == FileKind::folder; }))
            return at / below.filename();
    }
    return std::nullopt;
}

}  // namespace CORE
