// The request keys of the operations on the agents inside machines.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

inline constexpr Key agentTicket{L"ticket", KeyType::secret, L"", L"the connection ticket for the agent",
                                 Required::yes};
inline constexpr Key agentHost{L"ipAddress", KeyType::text, L"", L"the agent's network address",
                               Required::yes};
inline constexpr Key agentLogLevel{L"LogLevel", KeyType::text, L"", L"the level, as the agent names it"};
inline constexpr Key agentLog{L"filename", KeyType::text, L"", L"a log's name, as getAgentLogs lists it",
                              Required::yes};
inline constexpr Key localFile{L"localFilename", KeyType::text, L"",
                               L"the file to make on this server, which must not exist yet", Required::yes};

}  // namespace wsadmin::key
