// The pool of directory bindings, one list a binding string. Bindings without credentials are used again
// until they are ten minutes old or were idle for three; every two minutes a timer removes those.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "framework/core/corelock.h"
#include "framework/core/coretimer.h"
#include "framework/core/threads.h"
#include "ldap/connection_list.h"

namespace wsadmin {

// Reference counted; any thread may call. Lock order: the manager's lock before a list's.
class ConnectionMgr : public CORE::coretimer {
  public:
    // Search scopes; subtree is the usual one.
    static constexpr int base = 0;
    static constexpr int subtree = 2;
    static constexpr unsigned cleanupMs = 120000;
    // The limit of the cache: each user whose groups are read adds a binding string, and each may hold a
    // connection. Beyond it the least recently used list is closed.
    static constexpr std::size_t maxLists = 256;

    // Starts the cleanup timer, which fires every so many milliseconds. `threads` counts the pool's threads
    // and outlives it.
    ConnectionMgr(DirectoryAccess access, CORE::ThreadGroup& threads, unsigned cleanupInterval = cleanupMs);
    ~ConnectionMgr() override;

    // A search interface with that scope (ADSI's code), to be given back by releaseConnection, and not to be
    // used afterwards. A failure is logged. With credentials it is opened for this caller alone.
    Result<DirectorySearchPtr> getConnection(const std::string& binding, int scope = subtree,
                                             const platform::DirectoryCredentials& credentials = {});
    // "LDAP://" and the server or name.
    Result<DirectorySearchPtr> getServerConnection(const std::string& serverOrDn,
                                                   const platform::DirectoryCredentials& credentials = {});
    void releaseConnection(const DirectorySearchPtr& search);
    // What the timer does: closes old and idle bindings.
    void prune();

    std::size_t listCount() const;

  protected:
    void OnTimer() override;

  private:
    Result<DirectorySearchPtr> getPooled(const std::string& binding, int scope);
    void trim(ConnectionEntries& closing);  // under the lock
    Result<DirectorySearchPtr> getOwn(const std::string& binding, int scope,
                                      const platform::DirectoryCredentials& credentials);

    DirectoryAccess access_;
    CORE::ThreadGroup& threads_;
    const unsigned cleanupInterval_;
    CreatorDirectoryThread creatorThread_;
    mutable CORE::corecritsec lock_;
    std::map<std::string, std::shared_ptr<ConnectionList>, std::less<>> lists_;
    std::unique_ptr<NoReuseConnectionList> noReuse_;
};

// Holds a pooled binding for a scope.
class PooledSearch {
  public:
    PooledSearch(ConnectionMgr& pool, DirectorySearchPtr search) : pool_(pool), search_(std::move(search)) {}
    ~PooledSearch() { pool_.releaseConnection(search_); }
    PooledSearch(const PooledSearch&) = delete;
    PooledSearch& operator=(const PooledSearch&) = delete;
    platform::DirectorySearch* operator->() const noexcept { return search_.get(); }
    platform::DirectorySearch& operator*() const noexcept { return *search_; }

  private:
    ConnectionMgr& pool_;
    DirectorySearchPtr search_;
};

}  // namespace wsadmin
