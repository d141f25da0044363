#include "framework/core/worker_registry.h"

#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"

namespace CORE {

struct WorkerRegistry::Worker {
    const Registration registration;
    int running = 0;  // number of claims; guarded by the registry's mutex
};

bool WorkerRegistry::FoldedLess::operator()(std::wstring_view a, std::wstring_view b) const noexcept {
    return compareFolded(a, b) < 0;
}

WorkerRegistry::Claim::Claim(WorkerRegistry& registry, std::shared_ptr<Worker> worker)
    : registry_(&registry), worker_(std::move(worker)), visit_(worker_->registration.owner) {
    ++worker_->running;
}

WorkerRegistry::Claim::~Claim() {
    if (worker_) registry_->letGo(*worker_);
}

const Registration& WorkerRegistry::Claim::registration() const noexcept {
    return worker_->registration;
}

WorkerRegistry::Claim WorkerRegistry::Claim::again() const {
    std::lock_guard lock(registry_->mutex_);
    return Claim(*registry_, worker_);
}

void WorkerRegistry::letGo(Worker& worker) {
    std::lock_guard lock(mutex_);
    if (--worker.running == 0) changed_.notify_all();
}

void WorkerRegistry::add(Registration registration) {
    if (registration.name.empty()) throw coreException(L"A worker needs a name");
    std::wstring name = registration.name;
    std::lock_guard lock(mutex_);
    if (workers_.contains(name)) throw coreException(L"Worker " + name + L" is already installed");
    workers_.emplace(std::move(name), std::make_shared<Worker>(Worker{std::move(registration)}));
    changed_.notify_all();
}

bool WorkerRegistry::remove(std::wstring_view name, bool wait) {
    std::unique_lock lock(mutex_);
    const auto found = workers_.find(name);
    if (found == workers_.end()) return false;
    const std::shared_ptr<Worker> worker = found->second;
    workers_.erase(found);
    if (wait) changed_.wait(lock, [&] { return worker->running == 0; });
    return true;
}

WorkerRegistry::Claim WorkerRegistry::claim(std::wstring_view name) {
    std::lock_guard lock(mutex_);
    const auto found = workers_.find(name);
    return found == workers_.end() ? Claim() : Claim(*this, found->second);
}

bool WorkerRegistry::waitFor(std::wstring_view name, std::chrono::milliseconds limit,
                             const std::function<bool()>& givenUp) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit, [&] { return workers_.contains(name) || (givenUp && givenUp()); });
    return workers_.contains(name);
}

std::vector<std::wstring> WorkerRegistry::localNames() const {
    std::lock_guard lock(mutex_);
    std::vector<std::wstring> names;
    for (const auto& [name, worker] : workers_)
        if (worker->registration.local) names.push_back(name);
    return names;
}

void WorkerRegistry::wake() {
    std::lock_guard lock(mutex_);
    changed_.notify_all();
}

}  // namespace CORE
