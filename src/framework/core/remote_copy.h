// Copies a file of a remote machine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/channel.h"
#include "framework/core/corestring.h"

namespace CORE {

// Of a message of the file service; nothing for what is no number.
std::optional<std::uint64_t> numberOf(const PropertyBag& message, std::wstring_view key);

struct RemoteCopy {
    MessageChannel& channel;
    wstr remoteFile;
    std::uint64_t largest;  // bytes; a greater file is refused

    // The content is written beside the file and put in its place when it is whole; on failure nothing is
    // left. The failure is a sentence.
    std::optional<std::wstring> to(const std::filesystem::path& file, bool overwrite) const;

  private:
    struct Part {
        std::optional<std::wstring> failure;
        std::uint64_t size = 0;  // of the whole file
        wstr identity;
        std::vector<std::uint8_t> bytes;
    };
    Part fetch(std::uint64_t offset) const;
    std::optional<std::wstring> receive(const std::filesystem::path& file) const;
};

}  // namespace CORE
