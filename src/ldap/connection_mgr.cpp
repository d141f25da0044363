#include "ldap/connection_mgr.h"

#include <utility>

#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectoryCredentials;

ConnectionMgr::ConnectionMgr(DirectoryAccess access, CORE::ThreadGroup& threads, unsigned cleanupInterval)
    : coretimer(&threads),
      access_(std::move(access)),
      threads_(threads),
      cleanupInterval_(cleanupInterval),
      creatorThread_(access_.services),
      lock_(L"ConnectionMgr"),
      noReuse_(std::make_unique<NoReuseConnectionList>(access_)) {
    logDebug(L"Creating connection manager at 0x%x", this);
    StartTimer(cleanupInterval_);
}

ConnectionMgr::~ConnectionMgr() {
    logDebug(L"Removing connection manager at 0x%x", this);
    const CORE::coresync hold(lock_);
    lists_.clear();
    noReuse_.reset();
}

Result<DirectorySearchPtr> ConnectionMgr::getConnection(const std::string& binding, int scope,
                                                        const DirectoryCredentials& credentials) {
    return credentials.empty() ? getPooled(binding, scope) : getOwn(binding, scope, credentials);
}

Result<DirectorySearchPtr> ConnectionMgr::getPooled(const std::string& binding, int scope) {
    std::shared_ptr<ConnectionList> list;  // held, so that it outlives an entry that is still to be opened
    ConnectionEntry* entry = nullptr;
    {
        const CORE::coresync hold(lock_);
        auto& known = lists_[binding];
        if (known) {
            logDebug(L"Reusing a connection list (bind=%s)", binding);
        } else {
            logDebug(L"Creating and caching a connection list (bind=%s)", binding);
            known = std::make_shared<ConnectionList>(access_, binding);
        }
        list = known;
        entry = list->takeEntry();
    }
    auto search = list->open(*entry, scope);
    ConnectionEntries closing;
    if (!search) list->release(entry, closing);
    return search;
}

Result<DirectorySearchPtr> ConnectionMgr::getOwn(const std::string& binding, int scope,
                                                 const DirectoryCredentials& credentials) {
    ConnectionEntry* entry = nullptr;
    {
        const CORE::coresync hold(lock_);
        logDebug(L"Using the no-reuse connection list for bind=%s", binding);
        entry = noReuse_->takeEntry();
    }
    auto search = noReuse_->open(*entry, binding, scope, credentials);
    ConnectionEntries closing;
    if (!search) noReuse_->release(entry, closing);
    return search;
}

Result<DirectorySearchPtr> ConnectionMgr::getServerConnection(const std::string& serverOrDn,
                                                              const DirectoryCredentials& credentials) {
    return getConnection("LDAP://" + serverOrDn, subtree, credentials);
}

void ConnectionMgr::releaseConnection(const DirectorySearchPtr& search) {
    ConnectionEntries closing;
    const CORE::coresync hold(lock_);
    for (const auto& [binding, list] : lists_) {
        if (!list->release(search.get(), closing)) continue;
        logDebug(L"Released a binding (bind=%s)", binding);
        trim(closing);
        return;
    }
    if (noReuse_->release(search.get(), closing))
        logDebug(L"Released a no-reuse binding");
    else
        logWarning(L"Request to release a connection did not result in connection being found(pDS=0x%x)",
                   search.get());
}

void ConnectionMgr::trim(ConnectionEntries& closing) {
    if (lists_.size() <= maxLists) return;
    auto longest = lists_.end();
    std::int64_t since = 0;
    for (auto list = lists_.begin(); list != lists_.end(); ++list)
        if (const auto idle = list->second->idleSince(); idle && (longest == lists_.end() || *idle < since)) {
            longest = list;
            since = *idle;
        }
    if (longest == lists_.end()) return;
    longest->second->prune({.oldest = -1, .idle = -1}, closing);
    logDebug(L"No bindings remain - will remove cache entry (bind=%s)", longest->first);
    lists_.erase(longest);
}

void ConnectionMgr::prune() {
    ConnectionEntries closing;
    const CORE::coresync hold(lock_);
    for (auto next = lists_.begin(); next != lists_.end();) {
        const auto list = next++;
        list->second->prune({}, closing);
        if (list->second->holdsEntries()) continue;
        logDebug(L"No bindings remain - will remove cache entry (bind=%s)", list->first);
        lists_.erase(list);
    }
}

std::size_t ConnectionMgr::listCount() const {
    const CORE::coresync hold(lock_);
    return lists_.size();
}

// Closing a binding may block, so it runs on a thread of its own (not the timer's) that holds a reference.
void ConnectionMgr::OnTimer() {
    const bool started =
        threads_.start(L"StodeikConnectiomMgrTimerThread", [self = CORE::refptr<ConnectionMgr>::share(this)] {
            try {
                logDebug(L"Timer callback running to remove unused connections");
                const platform::DirectoryThread thread(*self->access_.services);
                self->prune();
            } catch (...) {
                self->StartTimer(self->cleanupInterval_);  // one failure does not end the cleanup
                throw;
            }
            self->StartTimer(self->cleanupInterval_);
        });
    if (started) return;
    logWarning(L"The thread that removes unused connections could not be started");
    StartTimer(cleanupInterval_);
}

}  // namespace wsadmin
