// The operations of the service itself: those that no worker owns.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

inline constexpr int minimumForestCheckMinutes = 15;

namespace key {
inline constexpr Key forestCheckInterval{
    L"forestCheckInterval", KeyType::integer, L"15",
    L"minutes that the knowledge of the domains is kept before it is gathered anew; at least 15"};
}  // namespace key

class ServiceOperations : public Worker {
  public:
    using Worker::Worker;

    // "DOMAINHEALTH": what getDomainHealth answers, its error included.
    Result<void> diag();
    Result<void> setServiceConfiguration();
    Result<void> getAppdataLocation();
};

}  // namespace wsadmin
