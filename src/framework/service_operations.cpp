#include "framework/service_operations.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "ldap/configuration_folder.h"
#include "ldap/domain_queries.h"
#include "platform/module/module_log.h"

namespace wsadmin {

Result<void> ServiceOperations::diag() {
    const CORE::PropertyBag none;
    CORE::PropertyBag health;
    answer<&DomainQueries::getDomainHealth, OnFailure::keeps>(service(), Request(none), health);
    result().addBag(L"DOMAINHEALTH", std::move(health));
    return {};
}

Result<void> ServiceOperations::setServiceConfiguration() {
    // A value that is there but is no number is refused: it is not taken for the default.
    const int minutes = request().text(key::forestCheckInterval).toInt(0);
    if (minutes < minimumForestCheckMinutes)
        return fail(CORE::formatText(L"forestCheckInterval must be a minimum of %d minutes",
                                     minimumForestCheckMinutes));
    constexpr std::int64_t longest = std::numeric_limits<int>::max();
    service().setMinimumDomainCheckInterval(static_cast<int>(std::min(std::int64_t{minutes} * 60, longest)));
    // The line names the smallest interval whatever the request gave; administrators' log searches rely on
    // it.
    logInfo(L"Domain configuration will be checked with a minimum interval of %d minutes",
            minimumForestCheckMinutes);
    return {};
}

Result<void> ServiceOperations::getAppdataLocation() {
    result().set(L"appdataLocation", configurationFolder(*service().platform().folders));
    return {};
}

}  // namespace wsadmin
