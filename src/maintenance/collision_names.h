// What replication conflicts and deletions leave behind in names, and what is told of it in the end.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/ldap/ldap_text.h"

namespace wsadmin {

// What a name says of its entry, or of one above it: that it lost its name to another one in a replication
// conflict ("\0ACNF:"), or that it is deleted ("\0ADEL:"). A deleted conflict entry is a deletion: nothing
// can be renamed any more.
enum class Leftover { none, collision, deletion };
Leftover leftoverOf(std::string_view dn);

// The name before the conflict: without each conflict marker and what follows it in its component.
platform::Dn cleanName(platform::Dn name);

struct CollisionCounts {
    int collisions = 0;        // references to conflict entries: found, or resolved
    int deleted = 0;           // references to deleted entries: found, or removed
    int collisionEntries = 0;  // conflict entries
};
std::vector<std::wstring> collisionSummary(const CollisionCounts& counts, bool resolving);

}  // namespace wsadmin
