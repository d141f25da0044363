// A directory in memory with the behaviour of AD LDS that this system relies on. Any number of sessions on
// any threads may use it; what it answers are copies.
#pragma once

#include <string>
#include <vector>

#include "framework/core/corelock.h"
#include "platform/lab/replicated.h"
#include "platform/lab/selection.h"
#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

struct DirectorySettings {
    std::string name;                   // of the instance, as in "CN=HOST$name,CN=Servers,..."
    std::vector<std::string> suffixes;  // the naming contexts that its files hold, the first the default one
    std::string hostName;               // NetBIOS name of the machine it runs on
    std::string dnsHostName;
    bool activeDirectory = false;  // a domain's directory: its configuration stands below its suffix
    int pageSize = 1000;           // the most entries that one answer holds
    int rangeSize = 1500;          // the most values of one attribute that one answer holds
};

// The name of the naming context that holds a directory's configuration.
std::string configurationContextOf(const DirectorySettings& settings);

class Directory {
  public:
    // The clock must outlive the directory.
    Directory(DirectorySettings settings, const Clock& clock);

    // Loading, by one thread before anybody else uses the directory: schema and content files, then finish.
    // Failures say "file:line: what is wrong".
    Result<void> readSchema(std::string_view text, std::string_view file);
    Result<void> readContent(std::string_view text, std::string_view file);
    void finish();

    const DirectorySettings& settings() const noexcept { return settings_; }

    // What a search finds, and the entries themselves, as many as `count` from `at` on; `at` moves past those
    // shown. Entries that no longer match are left out.
    Result<std::vector<NodeId>> find(const LdapSearch& search, bool showDeleted, bool allContexts) const;
    Result<std::vector<LdapEntry>> show(const std::vector<NodeId>& ids, std::size_t& at, std::size_t count,
                                        const LdapSearch& search, bool showDeleted) const;

    Result<void> add(const LdapEntry& entry);
    Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes);
    Result<void> remove(const std::string& dn, bool wholeTree);
    Result<void> rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                        bool deleteOldRdn);

    // Replication of a naming context that the directory holds.
    bool holds(const std::string& context) const;
    std::uint64_t lastUsn() const;
    ReplicatedChanges changesAfter(const std::string& context, std::uint64_t usn) const;
    void takeOver(const ReplicatedChanges& changes, Meeting meeting);
    std::vector<ReplicationLink> links() const;

    // Whether an account of the directory may bind; nothing where it has none of that name with a password.
    std::optional<bool> admits(const LdapCredentials& credentials) const;

    std::size_t size() const;  // entries, tombstones and what was generated included
    // Content files that changed since they were read, with their new text, by number (from 0, in the order
    // of reading). Taking them resets the changes; keepChanged marks a file that could not be written.
    std::vector<std::pair<std::size_t, std::string>> takeChangedFiles();
    void keepChanged(std::size_t file);

  private:
    void makeConfiguration();
    void makeSchemaEntries();
    void makeRootEntry();
    void makeEntry(const std::string& dn, std::vector<LdapAttribute> attributes);

    DirectorySettings settings_;
    mutable CORE::SharedMutex mutex_;
    Store store_;
    std::uint16_t files_ = 0;
};

}  // namespace wsadmin::platform::lab
