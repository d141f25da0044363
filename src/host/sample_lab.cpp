#include "host/sample_lab.h"

#include <filesystem>

namespace hdqadmin {

namespace fs = std::filesystem;

std::string sampleLab(const std::string& executableFolder) {
    const fs::path start(std::u8string(executableFolder.begin(), executableFolder.end()));
    for (fs::path folder = start; folder != folder.parent_path(); folder = folder.parent_path()) {
        std::error_code unreadable;
        const fs::path lab = folder / "labs" / "sample";
        if (!fs::is_directory(lab, unreadable)) continue;
        const std::u8string text = lab.u8string();
        return std::string(text.begin(), text.end());
    }
    return WS_SAMPLE_LAB;
}

}  // namespace hdqadmin
