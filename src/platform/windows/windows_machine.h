// The parts of the real machine under Windows.
#pragma once

#include <memory>

#include "platform/filtering_engine.h"
#include "platform/firewall_policy.h"
#include "platform/local_machine.h"

namespace wsadmin::platform::windows {

std::shared_ptr<Folders> makeFolders();
// The 64-bit view. Texts with %NAME% are read expanded; values of other types than the port's are read as
// bytes.
std::shared_ptr<Registry> makeRegistry();
// Programs run in a job, without a window, without input and without handles of ours; one that has to end is
// terminated with all that it started. Batch files are refused (193): their arguments would go through the
// command interpreter.
std::shared_ptr<Processes> makeProcesses();

// COM is initialised for each policy that is opened, on the thread that opens it.
std::shared_ptr<Firewall> makeFirewall();
std::shared_ptr<FilteringPlatform> makeFiltering();
std::shared_ptr<CommandInterpreter> makeCommandInterpreter();

}  // namespace wsadmin::platform::windows
