// Replication between the directories of a lab's network. Links are kept in the directories, and whoever
// opens a session finds what they bring.
#pragma once

#include <memory>

#include "platform/lab/lab_network.h"
#include "platform/replication.h"

namespace wsadmin::platform::lab {

std::shared_ptr<Replication> makeLabReplication(std::shared_ptr<LabNetwork> network);

// The first value of an attribute of an entry; empty where there is none. The empty name is the root entry's.
std::string valueIn(const Directory& directory, const std::string& dn, const std::string& attribute);

}  // namespace wsadmin::platform::lab
