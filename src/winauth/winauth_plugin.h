// The module's plug-in object.
#pragma once

#include "framework/core/service.h"

namespace wsadmin {

class winauth_plugin : public CORE::mfwPluginDll {
  public:
    winauth_plugin();
    ~winauth_plugin() override;

    // The module's one plug-in; null before it is built and after it is destroyed.
    static winauth_plugin* current() noexcept;

    bool initialiseSynchronously() override { return true; }
    bool initialise() override;
    void cleanup() override;
};

}  // namespace wsadmin
