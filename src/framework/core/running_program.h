// The programs that this process waits for, so that a host that stops can name them.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/export.h"

namespace CORE {

// One of them, as long as the object lives. Any thread.
class MFWCORE_API RunningProgram {
  public:
    explicit RunningProgram(std::wstring_view name);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    static std::vector<std::wstring> names();

  private:
    std::list<std::wstring>::iterator at_;
};

}  // namespace CORE
