// Rows of the operations on the agents inside machines, each reached over a channel that a ticket opens.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr Key agentTicket{L"ticket", KeyType::secret, L"", L"the connection ticket for the agent",
                                 Required::yes};
inline constexpr Key agentAddress{L"ipAddress", KeyType::text, L"", L"the agent's network address",
                                  Required::yes};
inline constexpr Key agentRequest[] = {agentTicket, agentAddress};

inline constexpr Operation getAgentVersion{
    .name = L"getAgentVersion",
    .text = L"Asks an agent for its version and answers its reply as it is.",
    .request = agentRequest,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11",
};

inline constexpr Operation getAgentLogLevel{
    .name = L"getAgentLogLevel",
    .text = L"Asks an agent how much it logs and answers its reply as it is.",
    .request = agentRequest,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11",
};

inline constexpr Key setAgentLogLevelRequest[] = {
    agentTicket,
    agentAddress,
    {L"LogLevel", KeyType::text, L"", L"the level, as the agent names it"},
};
inline constexpr Operation setAgentLogLevel{
    .name = L"setAgentLogLevel",
    .changes = true,
    .text = L"Tells an agent how much to log and answers its reply as it is.",
    .request = setAgentLogLevelRequest,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11 LogLevel=debug",
};

inline constexpr Key getAgentLogsResult[] = {
    {L"<log>", KeyType::text, L"",
     L"one for each log file, under the log's name: its path on the agent's machine"},
};
inline constexpr Operation getAgentLogs{
    .name = L"getAgentLogs",
    .text = L"Lists the log files that an agent has, or nothing when it does not tell.",
    .request = agentRequest,
    .result = getAgentLogsResult,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11",
};

inline constexpr Key copyAgentLogRequest[] = {
    agentTicket,
    agentAddress,
    {L"filename", KeyType::text, L"", L"a log's name, as getAgentLogs lists it", Required::yes},
    {L"localFilename", KeyType::text, L"", L"the file to make on this server, which must not exist yet",
     Required::yes},
};
inline constexpr Operation copyAgentLog{
    .name = L"copyAgentLog",
    .changes = true,
    .text = L"Copies a log file of an agent to this server.",
    .request = copyAgentLogRequest,
    .example =
        L"ticket=@ticket.txt ipAddress=10.0.1.11 filename=agent.log localFilename=\"C:\\Temp\\agent.log\"",
};

inline constexpr Key createAgentDCTRequest[] = {
    agentTicket,
    agentAddress,
    {L"localFilename", KeyType::text, L"", L"the file to make on this server, which must not exist yet",
     Required::yes},
};
inline constexpr Operation createAgentDCT{
    .name = L"createAgentDCT",
    .changes = true,
    .text = L"Has an agent make a diagnostic bundle, and moves the bundle to this server.",
    .request = createAgentDCTRequest,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11 localFilename=\"C:\\Temp\\vm-sales-01.zip\"",
};

}  // namespace wsadmin::row
