#include "host/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "framework/core/corestring.h"

namespace hdqadmin {

namespace {

constexpr const char* levelNames[] = {"debug", "verbose", "info", "warning", "error"};

struct Parser {
    CLI::App app{
        "Sends requests to the administration back-end of a connection server and prints its answers.\n\n"
        "  hdqadmin [options] OPERATION [NAME=VALUE ...]   one request; a NAME may repeat\n"
        "  hdqadmin --list [--json]                        the operations\n"
        "  hdqadmin OPERATION --help                       keys, types, defaults, results"};
    Options options;
    std::string logLevel;
    bool help = false;
    bool list = false;

    Parser() {
        app.name("hdqadmin");
        app.set_help_flag();  // --help of an operation is not --help of the program
        app.allow_windows_style_options(false);
        app.add_option("OPERATION", options.operation, "the operation's name");
        app.add_option(
               "NAME=VALUE", options.pairs,
               "request entries; NAME=@FILE reads the value from a file, NAME=@- from the terminal unseen")
            ->type_name("");
        app.add_flag("-h,--help", help, "this text, or the keys of OPERATION");
        app.add_flag("--list", list, "list the operations");
        app.add_option("--lab", options.lab, "work on the lab in DIR (default: the sample lab)")
            ->type_name("DIR");
        app.add_option("--machine", options.machine, "in a lab of several machines, the one to work on")
            ->type_name("NAME");
        app.add_flag("--save", options.save,
                     "write what the requests changed back into the lab's files (with --lab)");
        app.add_option("--config", options.configuration, "work on the real directories named in FILE")
            ->type_name("FILE");
        app.add_option("--connect", options.connect, "work through a running host")->type_name("HOST:PORT");
        app.add_option("--ticket", options.ticket, "the ticket for --connect")->type_name("FILE");
        app.add_flag("--json", options.json, "print answers as JSON and nothing else");
        app.add_flag(
            "--unchecked", options.unchecked,
            "send operations, keys and values as they are, also those that the operation does not have");
        app.add_option("--log", logLevel,
                       "log lines of that level and above on standard error (errors are there in any case)")
            ->type_name("debug|verbose|info|warning|error");
        app.add_option("--request", options.requestFile,
                       "read request entries as JSON from FILE (-: standard input)")
            ->type_name("FILE");
        app.add_option(
               "--encrypt", options.secret,
               "print VALUE encrypted under this machine's key, for a configuration, or with --connect "
               "under the host's; @FILE and @- as above")
            ->type_name("VALUE");
        app.add_option("--batch", options.batchFile,
                       "answer a request a line: {\"operation\": NAME, \"request\": [[NAME, VALUE], ...]}")
            ->type_name("FILE");
    }
};

// What may not stand together; empty: all is well.
std::string contradiction(const Options& o, bool list) {
    if (o.lab.has_value() + o.configuration.has_value() + o.connect.has_value() > 1)
        return "--lab, --config and --connect exclude each other";
    if (o.connect.has_value() != o.ticket.has_value()) return "--connect and --ticket belong together";
    if (o.save && !o.lab) return "--save needs --lab";
    if (o.machine && !o.lab) return "--machine needs --lab";
    for (const auto& [given, name] : {std::pair(list, "--list"), {o.secret.has_value(), "--encrypt"}})
        if (given && (o.operation || o.batchFile || o.requestFile))
            return std::string(name) + " takes no operation and no request";
    if (o.batchFile && (o.operation || o.requestFile))
        return "--batch takes no operation and no other request";
    if (!o.operation && o.requestFile) return "--request needs an operation";
    return {};
}

std::optional<int> parseLevel(std::string_view text) {
    const auto level = std::find_if(std::begin(levelNames), std::end(levelNames), [&](const char* name) {
        return CORE::equalFolded(text, std::string_view(name));
    });
    if (level == std::end(levelNames)) return std::nullopt;
    return static_cast<int>(level - std::begin(levelNames));
}

// The library would take such an argument apart at its commas.
bool looksLikeList(const std::string& argument) {
    return argument.starts_with('[') && argument.ends_with(']') && argument.find('=') != std::string::npos;
}

Options::Task taskOf(const Parser& parser) {
    if (parser.help) return parser.options.operation ? Options::Task::describe : Options::Task::help;
    if (parser.list) return Options::Task::list;
    if (parser.options.secret) return Options::Task::encrypt;
    return parser.options.batchFile ? Options::Task::batch : Options::Task::request;
}

}  // namespace

Outcome<Options> parseOptions(std::vector<std::string> arguments) {
    if (const auto list = std::ranges::find_if(arguments, looksLikeList); list != arguments.end())
        return refuse("a NAME cannot begin with a bracket: \"" + *list + "\"");
    Parser parser;
    try {
        std::reverse(arguments.begin(), arguments.end());  // the order that the library takes
        parser.app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return refuse(error.what());
    }

    Options& options = parser.options;
    if (std::string problem = contradiction(options, parser.list); !problem.empty()) return refuse(problem);
    if (!parser.logLevel.empty()) {
        options.logLevel = parseLevel(parser.logLevel);
        if (!options.logLevel) return refuse("--log takes debug, verbose, info, warning or error");
    }
    options.task = taskOf(parser);
    if (options.task == Options::Task::request && !options.operation) return refuse("no operation is given");
    return std::move(options);
}

std::string usageText() {
    return Parser().app.help();
}

}  // namespace hdqadmin
