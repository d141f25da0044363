// Paths of files as UTF-8, whatever the platform's own form is.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace wsadmin::platform {

inline std::filesystem::path pathOf(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

inline std::string utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace wsadmin::platform
