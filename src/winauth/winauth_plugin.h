// The module's plug-in object.
#pragma once

#include "framework/core/service.h"

namespace wsadmin {

class winauth_plugin : public CORE::mfwPluginDll {
  public:
    bool initialiseSynchronously() override { return true; }
    bool initialise() override;
    void cleanup() override;
};

}  // namespace wsadmin
