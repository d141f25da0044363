// The files of a lab's machine: what stands of them in machine.toml, and the port that reads and makes them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "platform/lab/changing.h"

namespace wsadmin::platform::lab {

struct LabFile {
    std::wstring path{};   // on the machine; case does not count
    std::string source{};  // the file of the lab's folder with its content; empty: made by the machine
    std::string content{};
    int line = 0;  // in machine.toml
};

// Any thread. Temporary files are never written to the lab's file.
class LabFiles final : public Files {
  public:
    // An empty temporary folder cannot be obtained.
    LabFiles(std::vector<LabFile> files, std::wstring temporaryFolder);

    Result<bool> exists(const std::wstring& path) const override;
    Result<std::wstring> temporaryFolder() const override;
    Result<std::wstring> makeTemporary(const std::wstring& folder, const std::wstring& prefix) override;
    Result<void> write(const std::wstring& path, std::string_view content) override;

    // What is in a file; nothing where there is none.
    std::optional<std::string> read(std::wstring_view path) const;
    // Makes an empty file, unless there is one; and removes all whose paths end so.
    void make(const std::wstring& path);
    void removeEnding(const std::wstring& end);

    // All but the temporary ones, if any of these came or went since the last call.
    std::optional<std::vector<LabFile>> takeChanges();
    void keepChanged() { files_.keepChanged(); }

  private:
    bool isTemporary(std::wstring_view path) const;

    Changing<std::vector<LabFile>> files_;
    std::wstring temporaryFolder_;  // with a backslash at its end
};

}  // namespace wsadmin::platform::lab
