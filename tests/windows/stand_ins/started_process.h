// The platform's start of a process: it is noted, and fails where it is told to.
#pragma once

#include <windows.h>

#include <set>
#include <string>

namespace test {

struct StartedProcess {
    std::wstring program, commandLine;
    DWORD failure = ERROR_SUCCESS;  // of the next start
    std::set<HANDLE> open;          // of process and thread
};
extern StartedProcess started;

}  // namespace test
