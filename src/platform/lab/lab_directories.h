// The directories of a lab: those that its files describe, and those that programs of its machine make.
#pragma once

#include "platform/lab/open_lab.h"

namespace wsadmin::platform::lab {

// Reads the directory's files and serves it. The failure's text is "file:line: what is wrong".
Result<void> openDirectory(Lab& lab, DirectoryDescription& description, const Owner& owner);

// A directory that a program of the machine makes; its file stands in the lab's folder when it is saved.
Result<void> openInstance(Lab& lab, DirectoryDescription description, const std::string& ldif);
bool isOwnInstance(const Lab& lab, DirectoryServer& server, const std::string& name);
// Answers whether this machine had an instance of that name. Its file stays in the lab's folder.
bool closeInstance(Lab& lab, const std::string& name);

}  // namespace wsadmin::platform::lab
