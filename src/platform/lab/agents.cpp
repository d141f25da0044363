#include "platform/lab/agents.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "framework/core/file_service.h"
#include "framework/core/framework.h"
#include "platform/module/module_log.h"

namespace wsadmin::platform::lab {

namespace {

using CORE::PropertyBag;
using CORE::RespType;
namespace files = CORE::files;

class Agent {
  public:
    explicit Agent(AgentDescription description) : told_(std::move(description)) {}

    bool isAt(std::wstring_view address) const { return CORE::toWide(told_.address) == address; }
    bool admits(std::wstring_view ticket) const {
        return !told_.faults.refuseConnections && CORE::toWide(told_.ticket.view()) == ticket;
    }
    const AgentFaults& faults() const { return told_.faults; }

    void answer(std::wstring_view operation, const PropertyBag& request, PropertyBag& response,
                CORE::MsgBinary* attachment);

  private:
    using Handler = void (Agent::*)(const PropertyBag&, PropertyBag&, CORE::MsgBinary*);
    struct Row {
        const wchar_t* name;
        Handler run;
    };
    static constexpr std::size_t operationCount = 7;
    static const std::array<Row, operationCount> operations;
    friend bool lab::isAgentOperation(std::string_view name) noexcept;

    void version(const PropertyBag&, PropertyBag& response, CORE::MsgBinary*) {
        response.set(L"Version", std::string_view(told_.version));
    }
    void logLevel(const PropertyBag&, PropertyBag& response, CORE::MsgBinary*) {
        response.set(L"LogLevel", std::string_view(told_.logLevel));
    }
    void setLogLevel(const PropertyBag& request, PropertyBag& response, CORE::MsgBinary*) {
        const std::string_view level = request.utf8(L"LogLevel");
        if (level.empty()) return response.setError(1, L"The log level is missing");
        told_.logLevel = level;
    }
    void createBundle(const PropertyBag&, PropertyBag& response, CORE::MsgBinary*) {
        if (told_.bundle.empty()) return;
        const std::string path = "C:\\Temp\\bundle-" + std::to_string(++bundlesMade_) + ".zip";
        bundles_.push_back({{}, path, told_.bundle});
        response.set(files::fileName, std::string_view(path));
    }
    void listLogs(const PropertyBag&, PropertyBag& response, CORE::MsgBinary*) {
        for (const AgentLog& log : told_.logs) response.addUtf8(log.name, log.path);
    }
    void readFile(const PropertyBag& request, PropertyBag& response, CORE::MsgBinary* attachment);
    void deleteFile(const PropertyBag& request, PropertyBag& response, CORE::MsgBinary*) {
        const auto isNamed = [&](const AgentLog& file) { return file.path == request.utf8(files::fileName); };
        if (std::erase_if(bundles_, isNamed) == 0) response.setError(1, L"There is no such file");
    }

    std::mutex mutex_;  // one request at a time
    AgentDescription told_;
    std::vector<AgentLog> bundles_;
    int bundlesMade_ = 0;
};

const std::array<Agent::Row, Agent::operationCount> Agent::operations{{
    {L"GetAgentVersion", &Agent::version},
    {L"GetAgentLogLevel", &Agent::logLevel},
    {L"SetAgentLogLevel", &Agent::setLogLevel},
    {L"CreateAgentDCT", &Agent::createBundle},
    {files::getLogFiles, &Agent::listLogs},
    {files::readFile, &Agent::readFile},
    {files::deleteFile, &Agent::deleteFile},
}};

void Agent::readFile(const PropertyBag& request, PropertyBag& response, CORE::MsgBinary* attachment) {
    const AgentLog* found = nullptr;
    for (const auto* list : {&told_.logs, &bundles_})
        for (const AgentLog& file : *list)
            if (file.path == request.utf8(files::fileName)) found = &file;
    if (!found) return response.setError(1, L"There is no such file");
    const CORE::mstr text(request.utf8(files::offset));
    const std::size_t offset =
        std::min<std::size_t>(std::strtoull(text.c_str(), nullptr, 10), found->content.size());
    // Parts that are smaller than the service's let a break fall inside of a file.
    constexpr std::size_t partSize = 16;
    const std::string_view part = std::string_view(found->content).substr(offset, partSize);
    if (attachment) attachment->bytes().assign(part.begin(), part.end());
    response.set(files::size, std::string_view(std::to_string(found->content.size())));
}

void Agent::answer(std::wstring_view operation, const PropertyBag& request, PropertyBag& response,
                   CORE::MsgBinary* attachment) {
    const std::lock_guard lock(mutex_);
    const auto row = std::ranges::find(operations, operation, &Row::name);
    if (row == operations.end()) return response.setError(120);
    if (std::ranges::find(told_.faults.failing, CORE::toUtf8(operation)) != told_.faults.failing.end())
        return response.setError(5, L"The agent failed in " + std::wstring(operation));
    (this->*row->run)(request, response, attachment);
}

class AgentChannel final : public CORE::MessageChannel {
  public:
    explicit AgentChannel(std::shared_ptr<Agent> agent) : agent_(std::move(agent)) {}

    RespType send(std::wstring_view, std::wstring_view operation, const PropertyBag& request,
                  PropertyBag& response, const CORE::SendOptions& options) override {
        if (!closed_) agent_->answer(operation, request, response, options.responseBinary);
        if (options.responseBinary && agent_->faults().breakAfterBytes &&
            (read_ += options.responseBinary->bytes().size()) >
                static_cast<std::size_t>(*agent_->faults().breakAfterBytes))
            closed_ = true;
        if (!closed_) return response.getError() == 0 ? RespType::handled : RespType::notHandled;
        response.clear();
        response.setError(1, L"The channel is closed");
        return RespType::cancelled;
    }
    void close() noexcept override { closed_ = true; }

  private:
    std::shared_ptr<Agent> agent_;
    std::atomic<bool> closed_{false};
    std::atomic<std::size_t> read_{0};
};

class LabAgents final : public AgentChannels {
  public:
    explicit LabAgents(std::vector<AgentDescription> descriptions) {
        for (AgentDescription& one : descriptions) agents_.push_back(std::make_shared<Agent>(std::move(one)));
    }
    std::shared_ptr<CORE::MessageChannel> open(std::wstring_view ticket, std::wstring_view address,
                                               const CORE::coreevent&) override {
        const auto found =
            std::ranges::find_if(agents_, [&](const auto& agent) { return agent->isAt(address); });
        if (found == agents_.end() || !(*found)->admits(ticket)) {
            logWarning(L"No channel to %s: %s", address,
                       found == agents_.end() ? L"no agent is there" : L"the agent refuses the connection");
            return nullptr;
        }
        auto channel = std::make_shared<AgentChannel>(*found);
        CORE::MessageFrameWork::System().OpenChannel(channel);
        return channel;
    }

  private:
    std::vector<std::shared_ptr<Agent>> agents_;
};

}  // namespace

bool isAgentOperation(std::string_view name) noexcept {
    return std::ranges::any_of(Agent::operations, [name](const auto& row) {
        return std::ranges::equal(std::wstring_view(row.name), name, {}, {},
                                  [](char c) { return static_cast<wchar_t>(c); });
    });
}

std::shared_ptr<AgentChannels> makeLabAgents(std::vector<AgentDescription> descriptions) {
    return std::make_shared<LabAgents>(std::move(descriptions));
}

}  // namespace wsadmin::platform::lab
