// The service control manager: Wine's own, but for the query of a service's configuration, in which Wine's
// has no dependencies. The handles that are open are counted.
#pragma once

#include <windows.h>

#include <string>

namespace test {

// What the query answers: the dependencies, or a failure, or success before it was given memory.
struct ConfigQuery {
    std::wstring dependencies;  // each with a NUL behind it
    DWORD failure = ERROR_SUCCESS;
    bool succeedsAtOnce = false;
    int openHandles = 0;
};
extern ConfigQuery configQuery;

}  // namespace test
