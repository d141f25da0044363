// A block's lab: a copy of its files in a temporary folder, with what the block adds.
#pragma once

#include "cases/runner/judge.h"
#include "platform/lab/machine_file.h"
#include "support/temp_folder.h"

namespace wstest {

class LabFolder {
  public:
    // "lab" is relative to `root`. Throws when the lab's files cannot be read.
    LabFolder(const Block& block, const std::filesystem::path& root);

    const std::filesystem::path& path() const noexcept { return path_; }
    // The lab's directories, as whoever has opened it reaches them.
    Directories directories(std::shared_ptr<wsadmin::platform::LdapClient> client) const;
    // The same, from the files.
    Directories saved() const;
    // The machine's own domain.
    std::string domain() const;

  private:
    TempFolder folder_;
    std::filesystem::path path_;
    wsadmin::platform::lab::MachineDescription machine_;
};

// Of a directory, as the lab's machine.toml has them.
wsadmin::platform::lab::Faults faultsOf(const Json& faults);

}  // namespace wstest
