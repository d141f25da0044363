// mfwhost: the service host. It loads the plug-ins and answers requests that come over channels, or it is the
// agent of a machine.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <optional>

#include "framework/core/console.h"
#include "host/service/complain.h"
#include "host/service/serve.h"
#include "host/service/ticket_commands.h"

namespace mfwhost {

namespace {

struct CommandLine {
    CLI::App app{"Runs the plug-ins and answers requests over channels, until a signal stops it.", "mfwhost"};
    std::string configuration;
    std::optional<std::string> level;
    bool agent = false;
    TicketOptions ticket;
    CLI::App *make = nullptr, *list = nullptr, *revoke = nullptr;

    CommandLine() {
        app.allow_windows_style_options(false);
        app.add_option("--config", configuration, "the host's configuration")->type_name("FILE")->required();
        app.add_flag("--agent", agent, "be the agent of a machine: no plug-ins, but the agent's workers");
        app.add_option("--log", level, "log lines of that level and above on standard error")
            ->type_name("debug|verbose|info|warning|error");
        CLI::App* tickets = app.add_subcommand("ticket", "make, list and revoke the tickets of this host");
        tickets->require_subcommand(1);
        make =
            tickets->add_subcommand("make", "make a ticket, write it to a new file and print its identity");
        make->add_option("--rights", ticket.rights, "what it permits")->type_name("read|all|agent");
        make->add_option("--days", ticket.days, "how long it is valid")->check(CLI::Range(1, 3650));
        make->add_option("--label", ticket.label, "for people, as the list shows it");
        make->add_option("FILE", ticket.file, "the file to make")->required();
        list = tickets->add_subcommand("list", "identity, rights, days left and label of each ticket");
        revoke = tickets->add_subcommand("revoke", "make a ticket invalid and close its channels");
        revoke->add_option("ID", ticket.id, "the ticket's identity")->required();
    }
};

int runCommand(const CommandLine& line) {
    const auto settings = readHostFile(line.configuration);
    if (!settings) return complain(hdqadmin::exitUsage, settings.error());
    const auto ofFile = std::optional(line.agent ? settings->agent.logLevel : CORE::logInfo);
    const auto level = line.level ? levelNamed(CORE::toWide(*line.level)) : ofFile;
    if (!level) return complain(hdqadmin::exitUsage, "--log takes debug, verbose, info, warning or error");
    HostLog log(std::cerr, *level);
    if (line.make->parsed() || line.list->parsed() || line.revoke->parsed()) {
        channel::TicketStore store(settings->tickets);
        if (line.make->parsed()) return makeTicket(store, line.ticket);
        return line.list->parsed() ? listTickets(store, std::cout) : revokeTicket(store, line.ticket.id);
    }
    if (!line.agent) return serveOperations(*settings);
    return serveAgent(*settings, log);
}

int run(int argc, char** argv) {
    CORE::prepareStandardStreams();
    CORE::ProgramArguments arguments = CORE::programArguments(argc, argv);
    if (arguments.invalid) return complain(hdqadmin::exitUsage, "an argument is not valid Unicode text");
    CommandLine line;
    std::ranges::reverse(arguments.values);  // the order that the library takes
    try {
        line.app.parse(std::move(arguments.values));
    } catch (const CLI::CallForHelp&) {
        std::cout << line.app.help();
        return hdqadmin::exitAnswered;
    } catch (const CLI::ParseError& error) {
        return complain(hdqadmin::exitUsage, std::string(error.what()) + "; see mfwhost --help");
    }
    return runCommand(line);
}

}  // namespace

}  // namespace mfwhost

int main(int argc, char** argv) {
    try {
        return mfwhost::run(argc, argv);
    } catch (const std::exception& error) {
        return mfwhost::complain(hdqadmin::exitUnreachable, error.what());
    }
}
