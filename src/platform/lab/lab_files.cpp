#include "platform/lab/lab_files.h"

#include <algorithm>

#include "framework/core/corestring.h"

namespace wsadmin::platform::lab {

namespace {

constexpr int noFile = 2, noPath = 3;

template <class FileList>
auto fileAt(FileList& files, std::wstring_view path) {
    return std::ranges::find_if(files,
                                [&](const LabFile& file) { return CORE::equalFolded(file.path, path); });
}

auto absent() {
    return fail(noFile, L"The system cannot find the file specified.");
}

}  // namespace

LabFiles::LabFiles(std::vector<LabFile> files, std::wstring temporaryFolder)
    : files_(std::move(files)), temporaryFolder_(std::move(temporaryFolder)) {
    if (!temporaryFolder_.empty() && !temporaryFolder_.ends_with(L'\\')) temporaryFolder_ += L'\\';
}

bool LabFiles::isTemporary(std::wstring_view path) const {
    return !temporaryFolder_.empty() &&
           CORE::equalFolded(path.substr(0, temporaryFolder_.size()), temporaryFolder_);
}

Result<bool> LabFiles::exists(const std::wstring& path) const {
    return read(path).has_value();
}

Result<std::wstring> LabFiles::temporaryFolder() const {
    if (temporaryFolder_.empty()) return fail(noPath, L"The system cannot find the path specified.");
    return temporaryFolder_;
}

Result<std::wstring> LabFiles::makeTemporary(const std::wstring& folder, const std::wstring& prefix) {
    std::wstring path;
    files_.change([&](std::vector<LabFile>& files) {
        unsigned number = 0;
        do path = CORE::formatText(L"%s%s%x.tmp", folder, prefix, ++number);
        while (fileAt(files, path) != files.end());
        files.push_back({.path = path});
        return !isTemporary(path);
    });
    return path;
}

Result<void> LabFiles::write(const std::wstring& path, std::string_view content) {
    bool there = false;
    files_.change([&](std::vector<LabFile>& files) {
        const auto file = fileAt(files, path);
        there = file != files.end();
        if (there) file->content = content;
        return there && !isTemporary(path);
    });
    if (!there) return absent();
    return {};
}

std::optional<std::string> LabFiles::read(std::wstring_view path) const {
    const auto files = files_.now();
    const auto file = fileAt(files, path);
    return file == files.end() ? std::nullopt : std::optional(file->content);
}

void LabFiles::make(const std::wstring& path) {
    files_.change([&](std::vector<LabFile>& files) {
        if (fileAt(files, path) != files.end()) return false;
        files.push_back({.path = path});
        return !isTemporary(path);
    });
}

void LabFiles::removeEnding(const std::wstring& end) {
    files_.change([&](std::vector<LabFile>& files) {
        return std::erase_if(files, [&](const LabFile& file) {
                   return file.path.size() >= end.size() &&
                          CORE::equalFolded(file.path.substr(file.path.size() - end.size()), end);
               }) > 0;
    });
}

std::optional<std::vector<LabFile>> LabFiles::takeChanges() {
    auto changed = files_.takeChanges();
    if (changed) std::erase_if(*changed, [this](const LabFile& file) { return isTemporary(file.path); });
    return changed;
}

}  // namespace wsadmin::platform::lab
