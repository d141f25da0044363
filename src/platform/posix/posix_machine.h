// The parts of the real machine under Linux.
#pragma once

#include <memory>

#include "platform/files.h"
#include "platform/local_machine.h"

namespace wsadmin::platform::posix {

// commonAppData is /var/lib, where a service keeps what it writes; programFiles is /opt, where packages stand
// that are not the distribution's; localAppData is XDG_DATA_HOME or ~/.local/share. There is no Windows
// directory.
std::shared_ptr<Folders> makeFolders();

// Paths may have backslashes, which stand for slashes.
std::string nativePath(std::wstring_view path);
std::shared_ptr<Files> makeFiles();

// Programs run in a session of their own. The exit code of a program that a signal ended is 128 and the
// signal's number.
std::shared_ptr<Processes> makeProcesses();

}  // namespace wsadmin::platform::posix
