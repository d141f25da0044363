// One dispatch of a trivial operation - name, hooks, handler, merge - against a call through a plain hash map
// of functions that runs the same handler.
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "framework/service_operations.h"
#include "framework/ws_admin_operation.h"
#include "framework/ws_admin_service.h"

namespace {

using namespace wsadmin;

struct Service {
    CORE::ThreadGroup threads{L"bench"};
    CORE::refptr<ws_admin_service> service = CORE::refptr<ws_admin_service>::adopt(
        new ws_admin_service({}, std::make_shared<platform::Platform>(), threads));
};

// As the framework does for each request: a new object, one call.
bool dispatch(const CORE::refptr<ws_admin_service>& service, const wchar_t* name,
              const CORE::PropertyBag& request, CORE::PropertyBag& response) {
    const auto operation = CORE::refptr<ws_admin_operation>::adopt(new ws_admin_operation(service));
    return operation->MessageHandler(name, request, response);
}

void ours(benchmark::State& state, const wchar_t* name) {
    const Service setup;
    const CORE::PropertyBag request;
    for (auto unused : state) {
        (void)unused;
        CORE::PropertyBag response;
        benchmark::DoNotOptimize(dispatch(setup.service, name, request, response));
    }
}

void peer(benchmark::State& state, const wchar_t* name) {
    const Service setup;
    const CORE::PropertyBag request;
    std::unordered_map<std::wstring, std::function<bool(ServiceContext&, const Request&, CORE::PropertyBag&)>>
        handlers;
    for (const Operation& operation : operationTable()) handlers.emplace(operation.name, operation.run);
    for (auto unused : state) {
        (void)unused;
        CORE::PropertyBag response;
        const auto found = handlers.find(name);
        if (found != handlers.end() && found->second)
            found->second(*setup.service, Request(request), response);
        benchmark::DoNotOptimize(response);
    }
}

BENCHMARK_CAPTURE(ours, trivial, L"setServiceConfiguration")->Name("dispatch/trivial");
BENCHMARK_CAPTURE(peer, trivial, L"setServiceConfiguration")->Name("peer/trivial");
BENCHMARK_CAPTURE(ours, unknown, L"noSuchOperation")->Name("dispatch/unknown");
BENCHMARK_CAPTURE(peer, unknown, L"noSuchOperation")->Name("peer/unknown");

}  // namespace
