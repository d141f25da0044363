// The parts of the real machine under Windows.
#pragma once

#include <memory>

#include "platform/files.h"
#include "platform/filtering_engine.h"
#include "platform/firewall_policy.h"
#include "platform/local_machine.h"
#include "platform/replication.h"
#include "platform/service_control.h"

namespace wsadmin::platform::windows {

std::shared_ptr<Folders> makeFolders();
std::shared_ptr<Files> makeFiles();
// The 64-bit view. Texts with %NAME% are read expanded; values of other types than the port's are read as
// bytes.
std::shared_ptr<Registry> makeRegistry();
std::shared_ptr<Processes> makeProcesses();

// COM is initialised for each policy that is opened, on the thread that opens it.
std::shared_ptr<Firewall> makeFirewall();
std::shared_ptr<FilteringPlatform> makeFiltering();
std::shared_ptr<CommandInterpreter> makeCommandInterpreter();
std::shared_ptr<ServiceControl> makeServiceControl();
std::shared_ptr<Replication> makeReplication();

}  // namespace wsadmin::platform::windows
