#include "framework/core/running_program.h"

#include <mutex>

namespace CORE {

namespace {

struct Running {
    std::mutex mutex;
    std::list<std::wstring> names;
};

// Never destroyed: threads of plug-ins may outlive the statics of this library.
Running& running() {
    static auto* const one = new Running;
    return *one;
}

}  // namespace

RunningProgram::RunningProgram(std::wstring_view name) {
    const std::lock_guard lock(running().mutex);
    at_ = running().names.emplace(running().names.end(), name);
}

RunningProgram::~RunningProgram() {
    const std::lock_guard lock(running().mutex);
    running().names.erase(at_);
}

std::vector<std::wstring> RunningProgram::names() {
    const std::lock_guard lock(running().mutex);
    return {running().names.begin(), running().names.end()};
}

}  // namespace CORE
