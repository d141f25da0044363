#include "host/service/permit.h"

#include "framework/core/framework.h"
#include "framework/core/security.h"
#include "host/described.h"
#include "host/plugin.h"

namespace mfwhost {

channel::Permit permitOf(const CORE::PropertyBag& operations) {
    return [operations](channel::Rights rights, const std::wstring& worker,
                        const std::wstring& operation) -> std::optional<std::wstring> {
        if (rights == channel::Rights::agent) return std::nullopt;  // the framework asks the worker
        const bool encrypts = CORE::equalFolded(worker, CORE::systemWorkerName) &&
                              CORE::equalFolded(operation, CORE::encryptOperation);
        if (!encrypts && !CORE::equalFolded(worker, hdqadmin::Plugin::administration))
            return L"The ticket does not reach worker " + worker;
        if (encrypts || rights == channel::Rights::all) return std::nullopt;
        const CORE::PropertyBag* known = hdqadmin::operationNamed(operations, CORE::toUtf8(operation));
        if (known && known->getBool(L"changes"))
            return L"The ticket does not permit operations that change something";
        return std::nullopt;
    };
}

}  // namespace mfwhost
