// One binding taken from the pool and given back, of eight binding strings, by eight threads at once, against
// a map of free lists behind one lock: what the pool adds to a search that finds an open binding.
#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ldap/connection_mgr.h"
#include "platform/portable/system_clock.h"

namespace {

using namespace wsadmin;
using platform::DirectorySearch;

class Search : public DirectorySearch {
  public:
    Result<void> setPreference(platform::SearchPreference, int) override { return {}; }
    Result<std::unique_ptr<platform::DirectoryRows>> execute(const std::string&,
                                                             const std::vector<std::string>&) override {
        return fail(platform::adsNotImplemented, L"nothing to search");
    }
    bool usable() const noexcept override { return true; }
};

// Opening costs nothing here: the pool alone is measured.
class Services : public platform::DirectoryServices {
  public:
    Result<std::shared_ptr<DirectorySearch>> openSearch(const std::string&,
                                                        const platform::DirectoryCredentials&,
                                                        std::uint32_t) override {
        return std::make_shared<Search>();
    }
    Result<std::unique_ptr<platform::DirectoryObject>> openObject(const std::string&,
                                                                  const platform::DirectoryCredentials&,
                                                                  std::uint32_t) override {
        return fail(platform::adsNotImplemented, L"nothing to open");
    }
};

constexpr int threads = 8;

const std::string& bindingOf(const benchmark::State& state) {
    static const std::vector<std::string> bindings = [] {
        std::vector<std::string> all;
        all.reserve(threads);
        for (int i = 0; i < threads; ++i) all.push_back("LDAP://dc" + std::to_string(i) + ".corp.example");
        return all;
    }();
    return bindings[static_cast<std::size_t>(state.thread_index())];
}

void ours(benchmark::State& state) {
    static CORE::ThreadGroup group(L"bench");
    static const auto pool = CORE::refptr<ConnectionMgr>::adopt(
        new ConnectionMgr({std::make_shared<Services>(), platform::makeSystemClock()}, group));
    const std::string& binding = bindingOf(state);
    for (auto unused : state) {
        (void)unused;
        auto search = pool->getConnection(binding);
        benchmark::DoNotOptimize(search);
        if (search) pool->releaseConnection(*search);
    }
}

void peer(benchmark::State& state) {
    struct Free {
        std::mutex mutex;
        std::unordered_map<std::string, std::vector<std::shared_ptr<DirectorySearch>>> lists;
    };
    static Free free;
    const std::string& binding = bindingOf(state);
    for (auto unused : state) {
        (void)unused;
        std::shared_ptr<DirectorySearch> search;
        {
            const std::lock_guard hold(free.mutex);
            auto& list = free.lists[binding];
            if (list.empty()) {
                search = std::make_shared<Search>();
            } else {
                search = std::move(list.back());
                list.pop_back();
            }
        }
        benchmark::DoNotOptimize(search);
        const std::lock_guard hold(free.mutex);
        free.lists[binding].push_back(std::move(search));
    }
}

BENCHMARK(ours)->Name("pool/get_release")->Threads(threads)->UseRealTime();
BENCHMARK(peer)->Name("peer/get_release")->Threads(threads)->UseRealTime();

}  // namespace
