// One request to the worker "ws_admin": finds the operation in the table, runs it and folds its result into
// the response. Made for one call and destroyed by the framework.
#pragma once

#include "framework/core/coreref.h"
#include "framework/core/service.h"
#include "framework/operation_table.h"
#include "framework/request_service.h"
#include "framework/ws_admin_service.h"

namespace wsadmin {

inline constexpr int errorNotImplemented = 120;

class ws_admin_operation : public CORE::serviceOperation {
  public:
    explicit ws_admin_operation(CORE::refptr<ws_admin_service> service);

    bool MessageHandler(const wchar_t* operation, const CORE::PropertyBag& request,
                        CORE::PropertyBag& response) override;
    void AbortHandler() override { context_.cancel(); }

  private:
    bool run(const Operation& operation, const CORE::PropertyBag& request, CORE::PropertyBag& response);

    CORE::refptr<ws_admin_service> service_;
    RequestService context_;
};

}  // namespace wsadmin
