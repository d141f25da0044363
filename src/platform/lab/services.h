// The services of a lab's machine: what stands of them in machine.toml, and the port that reads and changes
// them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/lab/changing.h"
#include "platform/platform.h"

namespace wsadmin::platform::lab {

struct LabService {
    std::wstring name{};
    std::wstring description{};
    std::vector<std::wstring> dependencies{};
};

using LabServices = Changing<std::vector<LabService>>;

std::shared_ptr<ServiceControl> makeLabServiceControl(std::shared_ptr<LabServices> services);

}  // namespace wsadmin::platform::lab
