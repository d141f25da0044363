// A folder of a test's own, gone with the test.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

namespace wstest {

inline std::string fileText(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

class TempFolder {
  public:
    TempFolder() {
        std::random_device chance;
        do {
            path_ = std::filesystem::temp_directory_path() / ("ws_admin_test_" + std::to_string(chance()));
        } while (!std::filesystem::create_directory(path_));
    }
    ~TempFolder() {
        std::error_code stays;
        std::filesystem::remove_all(path_, stays);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }
    std::string utf8(const std::string& name) const {
        const std::u8string utf8 = (path_ / name).u8string();
        return std::string(utf8.begin(), utf8.end());
    }
    std::string write(const std::string& name, std::string_view content) const {
        std::ofstream(path_ / name, std::ios::binary) << content;
        return utf8(name);
    }
    std::string read(const std::string& name) const { return fileText(path_ / name); }

  private:
    std::filesystem::path path_;
};

}  // namespace wstest
