#include "platform/lab/lab_directory.h"

#include <mutex>

#include "platform/lab/changes.h"
#include "platform/lab/content.h"
#include "platform/lab/domain_accounts.h"
#include "platform/lab/matcher.h"

namespace wsadmin::platform::lab {

Directory::Directory(DirectorySettings settings, const Clock& clock)
    : settings_(std::move(settings)), store_(clock) {
    store_.constructs = settings_.activeDirectory;
    for (const auto& suffix : settings_.suffixes) store_.addContext(suffix);
    prepareContexts(store_);
    // A file may hold entries of the configuration, which stands beside the suffixes; a domain's stands below
    // its suffix and may be the file's own.
    if (!settings_.activeDirectory) makeConfiguration();
}

Result<void> Directory::readSchema(std::string_view text, std::string_view file) {
    return store_.schema.read(text, file);
}

Result<void> Directory::readContent(std::string_view text, std::string_view file) {
    return loadLdif(store_, text, file, files_++);
}

void Directory::finish() {
    if (settings_.activeDirectory) makeConfiguration();
    makeSchemaEntries();
    makeRootEntry();
    resolveReferences(store_);
}

Result<std::vector<NodeId>> Directory::find(const LdapSearch& search, bool showDeleted,
                                            bool allContexts) const {
    const std::shared_lock lock(mutex_);
    return findEntries(store_, search, {showDeleted, allContexts});
}

Result<std::vector<LdapEntry>> Directory::show(const std::vector<NodeId>& ids, std::size_t& at,
                                               std::size_t count, const LdapSearch& search,
                                               bool showDeleted) const {
    const std::shared_lock lock(mutex_);
    const auto filter = parseFilter(search.filter);
    if (!filter) return fail(filter.error());
    const Matcher matcher(store_, *filter);
    const Selection selection(store_, search, static_cast<std::size_t>(settings_.rangeSize));
    std::vector<LdapEntry> entries;
    for (; at < ids.size() && entries.size() < count; ++at) {
        const Node& node = store_.tree.at(ids[at]);
        if (node.gone || (node.deleted && !showDeleted) || !matcher.matches(ids[at])) continue;
        auto entry = selection.show(ids[at]);
        if (!entry) return fail(entry.error());
        entries.push_back(std::move(*entry));
    }
    return entries;
}

Result<void> Directory::add(const LdapEntry& entry) {
    const std::unique_lock lock(mutex_);
    if (const auto added = addEntry(store_, entry); !added) return fail(added.error());
    return {};
}

Result<void> Directory::modify(const std::string& dn, const std::vector<LdapModification>& changes) {
    const std::unique_lock lock(mutex_);
    return modifyEntry(store_, dn, changes);
}

Result<void> Directory::remove(const std::string& dn, bool wholeTree) {
    const std::unique_lock lock(mutex_);
    return removeEntry(store_, dn, wholeTree);
}

Result<void> Directory::rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                               bool deleteOldRdn) {
    const std::unique_lock lock(mutex_);
    return renameEntry(store_, dn, newRdn, newParent, deleteOldRdn);
}

bool Directory::holds(const std::string& context) const {
    const std::shared_lock lock(mutex_);
    const auto id = store_.resolve(context);
    return id && store_.tree.at(*id).contextHead;
}

std::uint64_t Directory::lastUsn() const {
    const std::shared_lock lock(mutex_);
    return store_.usn;
}

ReplicatedChanges Directory::changesAfter(const std::string& context, std::uint64_t usn) const {
    const std::shared_lock lock(mutex_);
    const auto id = store_.resolve(context);
    return id ? lab::changesAfter(store_, *id, usn) : ReplicatedChanges{};
}

void Directory::takeOver(const ReplicatedChanges& changes, Meeting meeting) {
    const std::unique_lock lock(mutex_);
    lab::takeOver(store_, changes, meeting);
}

std::vector<ReplicationLink> Directory::links() const {
    const std::shared_lock lock(mutex_);
    return linksOf(store_);
}

std::optional<bool> Directory::admits(const LdapCredentials& credentials) const {
    const std::shared_lock lock(mutex_);
    return admitsAccount(store_, credentials);
}

std::size_t Directory::size() const {
    const std::shared_lock lock(mutex_);
    return store_.tree.size() - 1;
}

std::vector<std::pair<std::size_t, std::string>> Directory::takeChangedFiles() {
    const std::unique_lock lock(mutex_);
    std::vector<std::pair<std::size_t, std::string>> files;
    for (const auto number : std::exchange(store_.changedFiles, {}))
        files.emplace_back(number, writeLdif(store_, number));
    return files;
}

void Directory::keepChanged(std::size_t file) {
    const std::unique_lock lock(mutex_);
    store_.changedFiles.insert(static_cast<std::uint16_t>(file));
}

}  // namespace wsadmin::platform::lab
