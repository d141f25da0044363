// A search through a pooled binding against one through a binding of its own, on the domain controller of
// with-corp.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include "ldap/connection_mgr.h"
#include "platform/platform.h"

namespace {

using namespace wsadmin;

std::shared_ptr<platform::Platform> server() {
    const char* const configuration = std::getenv("WS_TEST_CONFIG");  // NOLINT(concurrency-mt-unsafe)
    if (!configuration) throw std::runtime_error("to be run in tests/servers/with-corp");
    CORE::PropertyBag startup;
    startup.set(platform::configurationKey, CORE::toWide(configuration));
    auto made = platform::createPlatform(startup);
    if (!made) throw std::runtime_error(CORE::toUtf8(made.error().text));
    return *made;
}

const std::string binding = "LDAP://corp.example/DC=corp,DC=example";

// One entry by its account name.
void searchOnce(platform::DirectorySearch& search) {
    auto rows = search.execute("(sAMAccountName=alice)", {"objectSid"});
    if (!rows || !(*rows)->next().value_or(false)) throw std::runtime_error("nothing found");
    benchmark::DoNotOptimize((*rows)->column("objectSid"));
}

void pooled(benchmark::State& state) {
    const auto machine = server();
    CORE::ThreadGroup threads(L"bench");
    const auto pool = CORE::refptr<ConnectionMgr>::adopt(
        new ConnectionMgr({machine->directoryServices, machine->clock}, threads));
    for (auto unused : state) {
        (void)unused;
        const PooledSearch search(*pool, pool->getConnection(binding).value());
        searchOnce(*search);
    }
    pool->StopTimerWithWait();
}

void fresh(benchmark::State& state) {
    const auto machine = server();
    for (auto unused : state) {
        (void)unused;
        const auto search =
            machine->directoryServices->openSearch(binding, {}, platform::adsSecureAuthentication);
        if (!search) throw std::runtime_error(CORE::toUtf8(search.error().text));
        (void)(*search)->setPreference(platform::SearchPreference::scope, ConnectionMgr::subtree);
        searchOnce(**search);
    }
}

// As many searches each time, so that the first binding counts alike.
constexpr int searches = 1000;
BENCHMARK(pooled)->Name("pooled/search")->Iterations(searches)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(fresh)->Name("peer/search")->Iterations(searches)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
