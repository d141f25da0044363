// The service and the authentication worker in this process, on a block's lab.
#pragma once

#include "cases/runner/judge.h"

namespace wstest {

// Asks the block's cases in order. The problems, each with its case; the directories' sessions that are left
// open and what the pools of bindings miss at the end are among them.
Problems runInProcess(const Block& block);

}  // namespace wstest
