// The same work on many things at once, on a bounded number of threads.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "framework/core/threads.h"

namespace wsadmin {

// Calls task(0) ... task(count - 1), each once, on the caller's thread and at most `bound` - 1 others of that
// name; returns when all are done. Where threads cannot be had, fewer do it. What a task throws ends the call
// with that exception, after the running tasks have ended; no further task begins then.
void concurrently(std::size_t count, std::size_t bound, CORE::ThreadGroup& threads,
                  const std::wstring& threadName, const std::function<void(std::size_t)>& task);

}  // namespace wsadmin
