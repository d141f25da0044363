// Rows of the operations on the agents inside machines, each reached over a channel that a ticket opens.
#pragma once

#include "framework/operation_table.h"
#include "machines/agent_keys.h"
#include "machines/agent_operations.h"

namespace wsadmin::row {

inline constexpr Key agentRequest[] = {key::agentTicket, key::agentHost};

inline constexpr Operation getAgentVersion{
    .name = L"getAgentVersion",
    .run = answer<&RemoteAgent::getVersion>,
    .text = L"Asks an agent for its version and answers its reply as it is.",
    .request = agentRequest,
    .example = L"ticket=@labs/sample/ticket.txt ipAddress=10.0.1.11",
};

inline constexpr Operation getAgentLogLevel{
    .name = L"getAgentLogLevel",
    .run = answer<&RemoteAgent::getLogLevel>,
    .text = L"Asks an agent how much it logs and answers its reply as it is.",
    .request = agentRequest,
    .example = L"ticket=@labs/sample/ticket.txt ipAddress=10.0.1.11",
};

inline constexpr Key setAgentLogLevelRequest[] = {
    key::agentTicket,
    key::agentHost,
    key::agentLogLevel,
};
inline constexpr Operation setAgentLogLevel{
    .name = L"setAgentLogLevel",
    .run = answer<&RemoteAgent::setLogLevel>,
    .changes = true,
    .text = L"Tells an agent how much to log and answers its reply as it is.",
    .request = setAgentLogLevelRequest,
    .example = L"ticket=@labs/sample/ticket.txt ipAddress=10.0.1.11 LogLevel=debug",
};

inline constexpr Key getAgentLogsResult[] = {
    {L"<log>", KeyType::text, L"",
     L"one for each log file, under the log's name: its path on the agent's machine"},
};
inline constexpr Operation getAgentLogs{
    .name = L"getAgentLogs",
    .run = answer<&RemoteAgent::getLogs>,
    .text = L"Lists the log files that an agent has, or nothing when it does not tell.",
    .request = agentRequest,
    .result = getAgentLogsResult,
    .example = L"ticket=@labs/sample/ticket.txt ipAddress=10.0.1.11",
};

inline constexpr Key copyAgentLogRequest[] = {
    key::agentTicket,
    key::agentHost,
    key::agentLog,
    key::localFile,
};
inline constexpr Operation copyAgentLog{
    .name = L"copyAgentLog",
    .run = answer<&RemoteAgent::copyLog>,
    .changes = true,
    .text = L"Copies a log file of an agent to this server.",
    .request = copyAgentLogRequest,
    .example =
        L"ticket=@labs/sample/ticket.txt ipAddress=10.0.1.11 filename=agent.log localFilename=agent.log",
};

inline constexpr Key createAgentDCTRequest[] = {
    key::agentTicket,
    key::agentHost,
    key::localFile,
};
inline constexpr Operation createAgentDCT{
    .name = L"createAgentDCT",
    .run = answer<&RemoteAgent::createBundle>,
    .changes = true,
    .text = L"Has an agent make a diagnostic bundle, and moves the bundle to this server.",
    .request = createAgentDCTRequest,
    .example = L"ticket=@labs/sample/ticket.txt ipAddress=10.0.1.11 localFilename=vm-sales-01.zip",
};

}  // namespace wsadmin::row
