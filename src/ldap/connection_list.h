// Opened bindings of one binding string: free ones to be used again, and those in use.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "framework/core/corelock.h"
#include "ldap/directory_access.h"

namespace wsadmin {

using DirectorySearchPtr = std::shared_ptr<platform::DirectorySearch>;

// One binding. Times are seconds since 1970-01-01 UTC; 0: never.
struct ConnectionEntry {
    DirectorySearchPtr search;  // null until opened
    std::int64_t released = 0;
    std::int64_t opened = 0;
};
using ConnectionEntries = std::list<std::unique_ptr<ConnectionEntry>>;

// How long a binding is kept, in seconds.
struct BindingAges {
    std::int64_t oldest = 600;  // since it was opened
    std::int64_t idle = 180;    // since it was released
};

// Any thread may call; the list's lock guards its two lists of entries. An entry in use belongs to the thread
// that took it, which opens it without the lock. The caller closes the entries in `closing` after it has left
// all locks, because closing a connection may block.
class ConnectionList {
  public:
    ConnectionList(DirectoryAccess access, std::string binding);
    virtual ~ConnectionList();  // closes all
    ConnectionList(const ConnectionList&) = delete;
    ConnectionList& operator=(const ConnectionList&) = delete;

    // A free entry, or a new one that is still to be opened. It is in use from now on and stays the list's.
    virtual ConnectionEntry* takeEntry();
    // Back to the free entries. False when the list has no such entry in use.
    virtual bool release(const ConnectionEntry* entry, ConnectionEntries& closing);
    virtual bool release(const platform::DirectorySearch* search, ConnectionEntries& closing);
    const std::string& binding() const noexcept { return binding_; }
    // Opens the entry where it is not open yet, and sets the scope. A failure of either is logged.
    Result<DirectorySearchPtr> open(ConnectionEntry& entry, int scope) const;
    // Moves free entries that are too old, or idle for too long, to `closing`.
    void prune(const BindingAges& ages, ConnectionEntries& closing);
    bool holdsEntries() const;  // free or in use
    // When the last of its entries was released; nothing while one is in use, or where there is none.
    std::optional<std::int64_t> idleSince() const;

  protected:
    Result<DirectorySearchPtr> openEntry(ConnectionEntry& entry, const std::string& binding, int scope,
                                         const platform::DirectoryCredentials& credentials) const;
    // Takes the first matching entry out of those in use; empty when there is none. Under the lock.
    template <class Matches>
    ConnectionEntries takeInUse(const Matches& matches);

    mutable CORE::corecritsec lock_;
    ConnectionEntries free_;
    ConnectionEntries inUse_;

  private:
    bool keep(ConnectionEntries released, ConnectionEntries& closing);
    Result<DirectorySearchPtr> openBinding(const std::string& binding,
                                           const platform::DirectoryCredentials& credentials) const;
    Result<DirectorySearchPtr> openGlobalCatalog(const platform::DirectoryCredentials& credentials) const;

    DirectoryAccess access_;
    std::string binding_;
};

// Bindings with credentials of their own: never shared, closed when they are released.
class NoReuseConnectionList : public ConnectionList {
  public:
    explicit NoReuseConnectionList(DirectoryAccess access);
    ~NoReuseConnectionList() override;

    ConnectionEntry* takeEntry() override;
    bool release(const ConnectionEntry* entry, ConnectionEntries& closing) override;
    bool release(const platform::DirectorySearch* search, ConnectionEntries& closing) override;
    using ConnectionList::open;
    Result<DirectorySearchPtr> open(ConnectionEntry& entry, const std::string& binding, int scope,
                                    const platform::DirectoryCredentials& credentials) const;
};

}  // namespace wsadmin
