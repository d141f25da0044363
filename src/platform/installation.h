// The port to what this installation is: its role, the generation of the operating system that it runs on,
// the rights of its process and the addresses that it uses.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "framework/core/framework.h"
#include "framework/core/security.h"

namespace wsadmin::platform {

// As the host says, unless a lab or a configuration file says otherwise.
struct Installation {
    std::uint32_t role = CORE::GetInstRole().GetType();         // bits of CORE::InstType
    int osLevel = CORE::coreosver::level();                     // on the scale of CORE::coreosver
    bool administrator = CORE::coreportable::isAdmin(nullptr);  // of this machine; Linux: root
    bool ipv6 = false;  // this server reaches itself at "::1" and not at "127.0.0.1"
};

// What a lab or a configuration file says of the process in place of the system.
struct GivenProcess {
    std::map<std::wstring, std::wstring> environment;
    std::wstring firstGuid;  // empty: new GUIDs are random
};

}  // namespace wsadmin::platform
