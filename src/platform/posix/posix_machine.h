// The parts of the real machine under Linux.
#pragma once

#include <memory>

#include "platform/local_machine.h"

namespace wsadmin::platform::posix {

// commonAppData is /var/lib, where a service keeps what it writes; programFiles is /opt, where packages stand
// that are not the distribution's; localAppData is XDG_DATA_HOME or ~/.local/share. There is no Windows
// directory.
std::shared_ptr<Folders> makeFolders();

// Programs run in a process group of their own, without input and without open files of ours. One that has to
// end gets SIGTERM with its whole group, and SIGKILL half a second later. The exit code of a program that a
// signal ended is 128 and the signal's number.
std::shared_ptr<Processes> makeProcesses();

}  // namespace wsadmin::platform::posix
