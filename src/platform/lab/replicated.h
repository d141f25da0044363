// What one directory takes from another that holds the same naming context.
#pragma once

#include <string>
#include <vector>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

// Attributes of the top entry of a naming context that each directory has for itself: where it takes changes
// from, and whom it tells of its own, each as "host:port".
inline constexpr char repsFromAttribute[] = "repsFrom";
inline constexpr char repsToAttribute[] = "repsTo";

struct ReplicationLink {
    std::string context;  // the name of the naming context
    std::string source;   // "host:port"
};

// An entry as it is in the other directory, its values as files show them.
struct ReplicatedEntry {
    LdapEntry entry;
    Guid guid{};
    bool deleted = false;
    Seconds created{}, changed{};
};

struct ReplicatedChanges {
    std::uint64_t usn = 0;                 // of the last one
    std::vector<ReplicatedEntry> entries;  // parents first
};

// Where the directory takes changes from.
std::vector<ReplicationLink> linksOf(const Store& store);

// The entries of the naming context that changed after that number. What a directory made for itself is left
// out, but for what stands for servers.
ReplicatedChanges changesAfter(const Store& store, NodeId context, std::uint64_t usn);

// Takes them over. An entry that was deleted in either directory is deleted. The first time, when nobody
// knows which of two changes of an entry the other one has seen, the later one counts.
enum class Meeting { first, later };
void takeOver(Store& store, const ReplicatedChanges& changes, Meeting meeting);

}  // namespace wsadmin::platform::lab
