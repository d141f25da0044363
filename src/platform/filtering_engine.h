// The port to the network filtering engine: the security associations that are alive and the main-mode
// policies that it has. Codes of failures are the engine's. What is opened is used by one thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/result.h"

namespace wsadmin::platform {

inline constexpr std::uint32_t filteringBatch = 20;  // entries asked for at a time

using Ipv4 = std::uint32_t;  // in the host's byte order
using Ipv6 = std::array<std::uint8_t, 16>;

struct SecurityAssociation {
    std::optional<std::wstring>
        filterName;  // of the transport filter; nothing where it has no filter or name
    std::variant<std::monostate, Ipv4, Ipv6> remote;  // of the traffic; nothing of another IP version
};

struct MainModeContext {
    std::optional<std::wstring> name;
};

template <class Entry>
class FilteringEntries {
  public:
    virtual ~FilteringEntries() = default;  // releases the enumeration
    // Up to filteringBatch entries. A batch with fewer is the last one.
    virtual Result<std::vector<Entry>> next() = 0;
};

class FilteringEngine {
  public:
    virtual ~FilteringEngine() = default;  // closes it; what it enumerates is released before
    virtual Result<std::unique_ptr<FilteringEntries<SecurityAssociation>>> securityAssociations() = 0;
    virtual Result<std::unique_ptr<FilteringEntries<MainModeContext>>> mainModeContexts() = 0;
};

// The text of an address, nothing where the system cannot say it. May throw std::bad_alloc.
using AddressText = std::function<std::optional<std::string>(const SecurityAssociation&)>;

class FilteringPlatform {
  public:
    virtual ~FilteringPlatform() = default;
    virtual Result<std::unique_ptr<FilteringEngine>> open() = 0;
    // The system's conversion of addresses into texts, which is looked up when it is asked for.
    virtual Result<AddressText> addressText() = 0;
};

}  // namespace wsadmin::platform
