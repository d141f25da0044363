// The module's plug-in object: builds the service when the host initialises the module and lets go of it at
// exit.
#pragma once

#include "framework/core/service.h"

namespace wsadmin {

class ws_admin_plugin : public CORE::mfwPluginDll {
  public:
    bool initialiseSynchronously() override { return true; }
    // Throws coreException, with the reason, when the start-up bag asks for a platform that cannot be had.
    bool initialise() override;
    void cleanup() override;
};

}  // namespace wsadmin
