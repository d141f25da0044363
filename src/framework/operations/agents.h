// Rows of the operations on the agents inside machines, each reached over a channel that a ticket opens.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr KeyInfo agentTicket{L"ticket", L"secret", L"",
                                     L"required; the connection ticket for the agent"};
inline constexpr KeyInfo agentAddress{L"ipAddress", L"text", L"", L"required; the agent's network address"};
inline constexpr KeyInfo agentRequest[] = {agentTicket, agentAddress};

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

inline constexpr KeyInfo setAgentLogLevelRequest[] = {
    agentTicket,
    agentAddress,
    {L"LogLevel", L"text", L"", L"the level, as the agent names it"},
};
inline constexpr Operation setAgentLogLevel{
    .name = L"setAgentLogLevel",
    .changes = true,
    .text = L"Tells an agent how much to log and answers its reply as it is.",
    .request = setAgentLogLevelRequest,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11 LogLevel=debug",
};

inline constexpr KeyInfo getAgentLogsResult[] = {
    {L"<log>", L"text", L"", L"one for each log file, under the log's name: its path on the agent's machine"},
};
inline constexpr Operation getAgentLogs{
    .name = L"getAgentLogs",
    .text = L"Lists the log files that an agent has, or nothing when it does not tell.",
    .request = agentRequest,
    .result = getAgentLogsResult,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11",
};

inline constexpr KeyInfo copyAgentLogRequest[] = {
    agentTicket,
    agentAddress,
    {L"filename", L"text", L"", L"required; a log's name, as getAgentLogs lists it"},
    {L"localFilename", L"text", L"", L"required; the file to make on this server, which must not exist yet"},
};
inline constexpr Operation copyAgentLog{
    .name = L"copyAgentLog",
    .changes = true,
    .text = L"Copies a log file of an agent to this server.",
    .request = copyAgentLogRequest,
    .example =
        L"ticket=@ticket.txt ipAddress=10.0.1.11 filename=agent.log localFilename=\"C:\\Temp\\agent.log\"",
};

inline constexpr KeyInfo createAgentDCTRequest[] = {
    agentTicket,
    agentAddress,
    {L"localFilename", L"text", L"", L"required; the file to make on this server, which must not exist yet"},
};
inline constexpr Operation createAgentDCT{
    .name = L"createAgentDCT",
    .changes = true,
    .text = L"Has an agent make a diagnostic bundle, and moves the bundle to this server.",
    .request = createAgentDCTRequest,
    .example = L"ticket=@ticket.txt ipAddress=10.0.1.11 localFilename=\"C:\\Temp\\vm-sales-01.zip\"",
};

}  // namespace wsadmin::row
