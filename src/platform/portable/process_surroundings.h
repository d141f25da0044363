// What a process finds about itself: environment variables and new GUIDs, the system's or given ones.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/local_machine.h"

namespace wsadmin::platform {

// The process's own variables, with the given ones before them.
std::shared_ptr<Environment> makeEnvironment(std::map<std::wstring, std::wstring> given = {});
// The given variables alone; case does not count.
std::shared_ptr<Environment> makeGivenEnvironment(std::map<std::wstring, std::wstring> given);
// Random GUIDs; with a first one, that one and those that follow it.
std::shared_ptr<Guids> makeGuids(std::wstring first = {});

}  // namespace wsadmin::platform
