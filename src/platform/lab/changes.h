// Changing a directory. Every function changes all that it is asked to or nothing. The failure's code is what
// AD answers; its text explains to the author of a lab what is wrong.
#pragma once

#include <string>
#include <vector>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

Result<NodeId> addEntry(Store& store, const LdapEntry& given);
Result<void> modifyEntry(Store& store, const std::string& name, const std::vector<LdapModification>& changes);
Result<void> removeEntry(Store& store, const std::string& name, bool wholeTree);
Result<void> renameEntry(Store& store, const std::string& name, const std::string& newRdn,
                         const std::string& newParent, bool deleteOldRdn);

// When entries were made that say nothing of it.
inline constexpr Seconds defaultCreated = std::chrono::sys_days(std::chrono::year(2024) / 1 / 1);
// The GUID of an entry that brings none: always the same for the same name (as dnKey gives it).
Guid derivedGuid(std::string key, unsigned attempt = 0);
// The file that the next entry below this parent is written to: where its newest sibling is.
std::uint16_t fileForChild(const Store& store, NodeId parent);
// The container of the tombstones of the entry's naming context; made when it is missing.
NodeId tombstonesOf(Store& store, NodeId id);
// Notes that an entry changed.
void touch(Store& store, NodeId id);

}  // namespace wsadmin::platform::lab
