#include "framework/core/worker_registry.h"

#include <algorithm>
#include <deque>
#include <thread>
#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"

namespace CORE {

// All but the registration is under the registry's lock.
struct WorkerRegistry::Worker {
    explicit Worker(Registration r) : registration(std::move(r)) {}
    const Registration registration;
    int running = 0;
    // A serialised worker: who has the turn, how deeply nested, and who waits for it.
    std::thread::id holder;
    int depth = 0;
    std::deque<const Claim*> line;
};

bool WorkerRegistry::FoldedLess::operator()(std::wstring_view a, std::wstring_view b) const noexcept {
    return compareFolded(a, b) < 0;
}

WorkerRegistry::Claim::Claim(WorkerRegistry& registry, std::shared_ptr<Worker> worker)
    : registry_(&registry), worker_(std::move(worker)), visit_(worker_->registration.owner) {
    ++worker_->running;
}

WorkerRegistry::Claim::~Claim() {
    if (worker_) registry_->letGo(*worker_, turn_);
}

const Registration& WorkerRegistry::Claim::registration() const noexcept {
    return worker_->registration;
}

WorkerRegistry::Claim WorkerRegistry::Claim::again() const {
    std::lock_guard lock(registry_->mutex_);
    return Claim(*registry_, worker_);
}

bool WorkerRegistry::Claim::takeTurn(const std::function<bool()>& givenUp) {
    if (!worker_->registration.serialised) return !givenUp || !givenUp();
    Worker& worker = *worker_;
    const auto me = std::this_thread::get_id();
    std::unique_lock lock(registry_->mutex_);
    if (worker.depth == 0 || worker.holder != me) {
        worker.line.push_back(this);
        bool gone = false;
        registry_->changed_.wait(lock, [&] {
            gone = givenUp && givenUp();
            return gone || (worker.depth == 0 && worker.line.front() == this);
        });
        std::erase(worker.line, this);
        if (gone) {
            registry_->changed_.notify_all();  // the next in the line may be the first now
            return false;
        }
    }
    worker.holder = me;
    ++worker.depth;
    turn_ = true;
    return true;
}

void WorkerRegistry::letGo(Worker& worker, bool turn) {
    std::lock_guard lock(mutex_);
    if (turn) --worker.depth;
    if (--worker.running == 0 || turn) changed_.notify_all();
}

WorkerRegistry::Workers::const_iterator WorkerRegistry::find(std::wstring_view name) const {
    const auto [first, last] = workers_.equal_range(name);
    const auto found = std::find_if(first, last, [&](const auto& entry) {
        return entry.second->registration.foldNames || entry.first == name;
    });
    return found == last ? workers_.end() : found;
}

void WorkerRegistry::add(Registration registration) {
    if (registration.name.empty()) throw coreException(L"A worker needs a name");
    std::wstring name = registration.name;
    std::lock_guard lock(mutex_);
    const auto [first, last] = workers_.equal_range(name);
    const bool taken = std::any_of(first, last, [&](const auto& entry) {
        return registration.foldNames || entry.second->registration.foldNames || entry.first == name;
    });
    if (taken) throw coreException(L"Worker " + name + L" is already installed");
    workers_.emplace(std::move(name), std::make_shared<Worker>(std::move(registration)));
    changed_.notify_all();
}

bool WorkerRegistry::remove(std::wstring_view name, bool wait) {
    std::unique_lock lock(mutex_);
    const auto found = find(name);
    if (found == workers_.end()) return false;
    const std::shared_ptr<Worker> worker = found->second;
    workers_.erase(found);
    if (wait) changed_.wait(lock, [&] { return worker->running == 0; });
    return true;
}

WorkerRegistry::Claim WorkerRegistry::claim(std::wstring_view name) {
    std::lock_guard lock(mutex_);
    const auto found = find(name);
    return found == workers_.end() ? Claim() : Claim(*this, found->second);
}

bool WorkerRegistry::waitFor(std::wstring_view name, std::chrono::milliseconds limit,
                             const std::function<bool()>& givenUp) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit,
                      [&] { return waitsEnd_ || find(name) != workers_.end() || (givenUp && givenUp()); });
    return find(name) != workers_.end();
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

void WorkerRegistry::endWaits(bool ends) {
    std::lock_guard lock(mutex_);
    waitsEnd_ = ends;
    changed_.notify_all();
}

}  // namespace CORE
