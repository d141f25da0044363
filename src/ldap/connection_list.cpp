#include "ldap/connection_list.h"

#include <algorithm>
#include <utility>

#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectoryCredentials;
using platform::DirectorySearch;
using platform::SearchPreference;

namespace {

constexpr char catalogue[] = "GC:";

// A caller never releases a null interface; an entry without one is being opened by another thread.
bool holds(const ConnectionEntry& entry, const DirectorySearch* search) {
    return search && entry.search.get() == search;
}

}  // namespace

ConnectionList::ConnectionList(DirectoryAccess access, std::string binding)
    : lock_(L"ConnectionList"), access_(std::move(access)), binding_(std::move(binding)) {}

ConnectionList::~ConnectionList() {
    if (!inUse_.empty())
        logWarning(L"Removing a connection list with active connections (bind=%s)", binding_);
    for (const auto& entry : inUse_)
        logWarning(L"Freed an inuse binding (bind=%s, value=0x%x)", binding_, entry->search.get());
    for (const auto& entry : free_)
        logDebug(L"Freed an unused binding (bind=%s, value=0x%x)", binding_, entry->search.get());
}

ConnectionEntry* ConnectionList::takeEntry() {
    const CORE::coresync hold(lock_);
    if (free_.empty()) {
        inUse_.push_front(std::make_unique<ConnectionEntry>());
        logDebug(L"New connectionEntry created (bind=%s, connectionEntry=0x%x)", binding_,
                 inUse_.front().get());
    } else {
        inUse_.splice(inUse_.begin(), free_, free_.begin());
        logDebug(L"Reusing connectionEntry (bind=%s, connectionEntry=0x%x)", binding_, inUse_.front().get());
    }
    return inUse_.front().get();
}

template <class Matches>
ConnectionEntries ConnectionList::takeInUse(const Matches& matches) {
    ConnectionEntries taken;
    const auto entry = std::ranges::find_if(inUse_, matches);
    if (entry != inUse_.end()) taken.splice(taken.begin(), inUse_, entry);
    return taken;
}

// Keeps a released entry for the next user, who gets the one that was released last. A binding whose
// connection is lost is closed instead, and with it the free ones: the server that they lead to has gone.
bool ConnectionList::keep(ConnectionEntries released, ConnectionEntries& closing) {
    if (released.empty()) return false;
    logDebug(L"Releasing a connection to the freepool (bind=%s)", binding_);
    ConnectionEntry& entry = *released.front();
    if (entry.search && !entry.search->usable()) {
        closing.splice(closing.end(), free_);
        closing.splice(closing.end(), released);
        return true;
    }
    entry.released = access_.now();
    free_.splice(free_.begin(), released);
    return true;
}

bool ConnectionList::release(const ConnectionEntry* entry, ConnectionEntries& closing) {
    const CORE::coresync hold(lock_);
    return keep(takeInUse([entry](const auto& held) { return held.get() == entry; }), closing);
}

bool ConnectionList::release(const DirectorySearch* search, ConnectionEntries& closing) {
    const CORE::coresync hold(lock_);
    return keep(takeInUse([search](const auto& held) { return holds(*held, search); }), closing);
}

Result<DirectorySearchPtr> ConnectionList::open(ConnectionEntry& entry, int scope) const {
    return openEntry(entry, binding_, scope, {});
}

Result<DirectorySearchPtr> ConnectionList::openEntry(ConnectionEntry& entry, const std::string& binding,
                                                     int scope,
                                                     const DirectoryCredentials& credentials) const {
    if (!entry.search) {
        auto opened =
            binding == catalogue ? openGlobalCatalog(credentials) : openBinding(binding, credentials);
        if (!opened) return opened;
        const CORE::coresync hold(lock_);  // a release of another binding looks at this entry meanwhile
        entry.search = std::move(*opened);
        entry.opened = access_.now();
        logDebug(L"pDS=0x%x created for connectionEntry=0x%x", entry.search.get(), &entry);
    }
    // With another scope than the caller's a search would answer, but not what was asked for.
    if (const auto set = entry.search->setPreference(SearchPreference::scope, scope); !set) {
        logError(L"Failed to set the search scope on %s (%s)", binding, set.error().text);
        return fail(set.error());
    }
    logDebug(L"pDS=0x%x being used by connectionEntry=0x%x", entry.search.get(), &entry);
    return entry.search;
}

Result<DirectorySearchPtr> ConnectionList::openBinding(const std::string& binding,
                                                       const DirectoryCredentials& credentials) const {
    auto opened = access_.services->openSearch(binding, credentials, platform::adsSecureAuthentication);
    if (!opened) logError(L"Failed to bind to %s (%s)", binding, opened.error().text);
    return opened;
}

// The root of the global catalogue's namespace cannot be searched; its only child, the forest, can. Looking
// at the namespace takes no credentials; the binding to the forest is the caller's own.
Result<DirectorySearchPtr> ConnectionList::openGlobalCatalog(const DirectoryCredentials& credentials) const {
    const auto root = access_.services->openObject(catalogue, {}, platform::adsSecureAuthentication);
    if (!root) {
        logError(L"Failed to bind to \"GC:\" error=0x%x (%s)", root.error().code, root.error().text);
        return fail(root.error());
    }
    const auto children = (*root)->children();
    if (!children) {
        logError(L"Cannot enumerate contents of GC: error=0x%x (%s)", children.error().code,
                 children.error().text);
        return fail(children.error());
    }
    auto opened = children->empty() ? Result<DirectorySearchPtr>(fail(platform::adsNoSuchObject, L"no child"))
                                    : access_.services->openSearch(children->front(), credentials,
                                                                   platform::adsSecureAuthentication);
    if (!opened)
        logError(L"Failed to obtain GC from enumeration error=0x%x %s", opened.error().code,
                 opened.error().text);
    return opened;
}

void ConnectionList::prune(const BindingAges& ages, ConnectionEntries& closing) {
    const std::int64_t now = access_.now();
    const CORE::coresync hold(lock_);
    for (auto next = free_.begin(); next != free_.end();) {
        const auto entry = next++;
        if (now - (*entry)->opened <= ages.oldest && now - (*entry)->released <= ages.idle) continue;
        logDebug(L"Preparing binding for removal (bind=%s, connectionEntry=0x%x)", binding_, entry->get());
        closing.splice(closing.end(), free_, entry);
    }
}

bool ConnectionList::holdsEntries() const {
    const CORE::coresync hold(lock_);
    return !free_.empty() || !inUse_.empty();
}

std::optional<std::int64_t> ConnectionList::idleSince() const {
    const CORE::coresync hold(lock_);
    if (!inUse_.empty() || free_.empty()) return std::nullopt;
    return free_.front()->released;
}

NoReuseConnectionList::NoReuseConnectionList(DirectoryAccess access)
    : ConnectionList(std::move(access), {}) {}

NoReuseConnectionList::~NoReuseConnectionList() {
    ConnectionEntries inUse;
    inUse.swap(inUse_);
    if (!inUse.empty()) logWarning(L"Removing a connection list with active (no-reuse) connections");
    for (const auto& entry : inUse) logWarning(L"Freed a no-reuse binding (value=0x%x)", entry->search.get());
}

ConnectionEntry* NoReuseConnectionList::takeEntry() {
    const CORE::coresync hold(lock_);
    inUse_.push_front(std::make_unique<ConnectionEntry>());
    logDebug(L"New (no-reuse) connectionEntry created (connectionEntry=0x%x)", inUse_.front().get());
    return inUse_.front().get();
}

bool NoReuseConnectionList::release(const ConnectionEntry* entry, ConnectionEntries& closing) {
    const CORE::coresync hold(lock_);
    ConnectionEntries released = takeInUse([entry](const auto& held) { return held.get() == entry; });
    if (released.empty()) return false;
    logDebug(L"Releasing a (no-reuse) connection");
    closing.splice(closing.end(), released);
    return true;
}

bool NoReuseConnectionList::release(const DirectorySearch* search, ConnectionEntries& closing) {
    const CORE::coresync hold(lock_);
    ConnectionEntries released = takeInUse([search](const auto& held) { return holds(*held, search); });
    if (released.empty()) return false;
    logDebug(L"Releasing a (no-reuse) connection matching pDS");
    closing.splice(closing.end(), released);
    return true;
}

Result<DirectorySearchPtr> NoReuseConnectionList::open(ConnectionEntry& entry, const std::string& binding,
                                                       int scope,
                                                       const DirectoryCredentials& credentials) const {
    return openEntry(entry, binding, scope, credentials);
}

}  // namespace wsadmin
