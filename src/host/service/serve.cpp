#include "host/service/serve.h"

#include <functional>
#include <iostream>
#include <optional>

#include "channel/channel_client.h"
#include "framework/core/running_program.h"
#include "host/plugin.h"
#include "host/service/complain.h"
#include "host/service/desktop_manager.h"
#include "host/service/permit.h"
#include "host/service/stop_signals.h"

namespace mfwhost {

namespace {

using hdqadmin::Plugin;

constexpr std::chrono::seconds betweenNames{10};
constexpr std::wstring_view source = L"mfwhost";

// What a stop waits for.
std::vector<std::wstring> runningIn(const channel::ChannelServer& server) {
    std::vector<std::wstring> names;
    for (const std::wstring& operation : server.running()) names.push_back(L"operation " + operation);
    for (const std::wstring& program : CORE::RunningProgram::names()) names.push_back(L"program " + program);
    return names;
}

// What both kinds of hosts have: files, the carrier and the server.
int serve(const HostSettings& settings, StopSignals& signals, channel::Permit permit,
          const std::function<void()>& endWorkers) {
    const channel::TicketStore tickets(settings.tickets);
    CORE::serveFiles(settings.files);
    channel::ChannelServer server(settings.address, settings.port, tickets, std::move(permit),
                                  settings.limits);
    const bool bare = settings.address.find(':') == std::string::npos;  // no address of IPv6
    std::cout << "mfwhost: listening at " << (bare ? settings.address : "[" + settings.address + "]") << ':'
              << server.port() << std::endl;
    const auto stop = [&] {
        CORE::__SysMessage(CORE::logInfo, source, L"Stopping: new requests are refused");
        server.refuse();
        endWorkers();
        CORE::stopServingFiles();
        server.waitForAnswers();
        server.stop();
    };
    signals.waitAndRun([&server] { return runningIn(server); }, stop);
    CORE::__SysMessage(CORE::logInfo, source, L"Stopped");
    return hdqadmin::exitAnswered;
}

}  // namespace

int serveOperations(const HostSettings& settings) {
    StopSignals signals(betweenNames);  // first: a signal during the start ends what has begun, too
    channel::ClientLimits ofAgents;
    ofAgents.link.answers = ofAgents.link.requests;  // no list of a pod comes from an agent
    const channel::CarrierInUse carrier(ofAgents);
    auto authentication = Plugin::load(Plugin::authentication);
    auto administration = Plugin::load();
    if (!administration) return complain(hdqadmin::exitUnreachable, administration.error());
    if (!authentication) return complain(hdqadmin::exitUnreachable, authentication.error());
    if (const auto started = (*authentication)->start(settings.startup); !started)
        return complain(hdqadmin::exitUnreachable, started.error());
    if (const auto started = (*administration)->start(settings.startup); !started)
        return complain(hdqadmin::exitUnreachable, started.error());
    return serve(settings, signals, permitOf((*administration)->describe()), [&] {
        (*administration)->stop();
        (*authentication)->stop();
    });
}

int serveAgent(const HostSettings& settings, HostLog& log) {
    StopSignals signals(betweenNames);
    const Agent agent{settings.agent.version, log, settings.files};
    std::optional<DesktopManager> worker(agent);
    return serve(settings, signals, permitOf({}), [&] { worker.reset(); });
}

}  // namespace mfwhost
