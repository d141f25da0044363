// The port to the service control manager of this machine: descriptions and dependencies of services. Codes
// of failures are the system's. What is opened is used by one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/result.h"

namespace wsadmin::platform {

inline constexpr int serviceDoesNotExist = 1060;

// The step at which a query failed. It asks for the size of the answer first and expects to be refused for
// want of memory; a success there is a failure of its own.
enum class ServiceQueryStep { unexpectedSuccess, memory, query };
struct ServiceQueryFailure {
    ServiceQueryStep step = ServiceQueryStep::query;
    Failure cause;
};
template <class T>
using ServiceQueryResult = tl::expected<T, ServiceQueryFailure>;

// A service that was opened; closed when it is dropped.
class MachineService {
  public:
    virtual ~MachineService() = default;
    virtual ServiceQueryResult<std::wstring> description() = 0;
    virtual Result<void> setDescription(const std::wstring& description) = 0;
    // The names of the services, and with a leading "+" of the groups, that it starts after.
    virtual ServiceQueryResult<std::vector<std::wstring>> dependencies() = 0;
    virtual Result<void> setDependencies(const std::vector<std::wstring>& names) = 0;
};

class ServiceManager {
  public:
    virtual ~ServiceManager() = default;
    // Fails with serviceDoesNotExist where there is none of that name, whose case does not count.
    virtual Result<std::unique_ptr<MachineService>> openService(const std::wstring& name) = 0;
};

class ServiceControl {
  public:
    virtual ~ServiceControl() = default;
    // With full access.
    virtual Result<std::unique_ptr<ServiceManager>> open() = 0;
};

}  // namespace wsadmin::platform
