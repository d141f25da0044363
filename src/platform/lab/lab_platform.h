// A lab: directories and a machine read from a folder, all in memory.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "platform/platform.h"

namespace wsadmin::platform::lab {

enum class Changes { saved, dropped };

// The failure's text is "file:line: what is wrong". Where changes are dropped, the platform's save says in
// the log what is not kept. Without a name the machine is that of machine.toml; in a lab of several machines
// each has a file of its own, and this one reaches what the others serve.
Result<std::shared_ptr<Platform>> openLab(const std::filesystem::path& folder,
                                          Changes changes = Changes::saved, std::string_view machine = {});

// All machines of a lab of several, by their NetBIOS names, on one network and one clock: what one changes is
// there for the others at once. Nothing of it is saved.
Result<std::map<std::string, std::shared_ptr<Platform>>> openLabMachines(const std::filesystem::path& folder);

}  // namespace wsadmin::platform::lab
