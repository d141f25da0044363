// hdqadmin: the administrator's tool.
#include <exception>
#include <filesystem>
#include <iostream>

#include "framework/core/console.h"
#include "framework/core/log.h"
#include "host/answer.h"
#include "host/error_lines.h"
#include "host/listing.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/request.h"
#include "host/sample_lab.h"
#include "host/terminal_text.h"

namespace hdqadmin {

namespace {

int complain(ExitStatus status, const std::string& sentence) {
    std::cerr << "hdqadmin: " << terminalText(sentence) << '\n';
    return status;
}

CORE::PropertyBag startupBag(const Options& options) {
    CORE::PropertyBag startup;
    if (options.configuration) {
        startup.set(CORE::startupConfiguration, *options.configuration);
    } else {
        startup.set(CORE::startupLabFolder, options.lab ? *options.lab : sampleLab(executableFolder()));
        startup.setBool(CORE::startupLabSave, options.save);
    }
    return startup;
}

std::shared_ptr<CORE::LogHandle> printLog(int fromLevel) {
    return CORE::addLogSink(fromLevel, [](int level, std::wstring_view module, std::wstring_view text) {
        std::cerr << logLine(level, module, text) + "\n";
    });
}

// Sends one request and prints its answer.
ExitStatus answer(Plugin& plugin, const Request& request, const Options& options) {
    Answer answer;
    answer.handled = plugin.send(request.operation, request.bag, answer.response);
    if (options.json) {
        printAnswerJson(std::cout, answer);
    } else {
        if (options.batchFile) std::cout << "== " << terminalText(request.operation) << '\n';
        printTree(std::cout, answer.response);
    }
    std::cout.flush();
    if (!answer.failed()) return exitAnswered;
    std::cerr << terminalText(answer.sentence()) << '\n';
    return exitError;
}

int describe(const Options& options) {
    const auto plugin = Plugin::load();
    if (!plugin) return complain(exitUnreachable, plugin.error());
    const CORE::PropertyBag operations = (*plugin)->describe();
    if (options.task == Options::Task::describe) {
        const auto print = options.json ? printOperationJson : printOperation;
        if (print(std::cout, operations, *options.operation)) return exitAnswered;
        return complain(exitUsage,
                        "there is no operation \"" + *options.operation + "\"; see hdqadmin --list");
    }
    if (options.json)
        printListJson(std::cout, operations);
    else
        printList(std::cout, operations);
    return exitAnswered;
}

int send(const Options& options) {
    const auto requests = buildRequests(options);
    if (!requests) return complain(exitUsage, requests.error());
    if (options.connect)
        return complain(exitUnreachable, "there is no transport to a running host in this build yet");

    const auto log = options.logLevel ? printLog(*options.logLevel) : nullptr;
    // Where it is missing, the operations that want to ask it say so.
    const auto authentication = Plugin::load(Plugin::authentication);
    const auto plugin = Plugin::load();
    if (!plugin) return complain(exitUnreachable, plugin.error());
    if (authentication) static_cast<void>((*authentication)->start(startupBag(options)));
    if (const auto started = (*plugin)->start(startupBag(options)); !started)
        return complain(exitUnreachable, started.error());

    int status = exitAnswered;
    for (const Request& request : *requests)
        status = std::max<int>(status, answer(**plugin, request, options));
    const auto stopped = (*plugin)->stop();
    // Changes that were to be saved and are not must not pass for success.
    if (!stopped)
        status = complain(options.save ? exitUnreachable : static_cast<ExitStatus>(status), stopped.error());
    return status;
}

int run(int argc, char** argv) {
    CORE::prepareStandardStreams();
    CORE::ProgramArguments arguments = CORE::programArguments(argc, argv);
    if (arguments.invalid)
        return complain(exitUsage,
                        "argument " + std::to_string(arguments.invalid) + " is not valid Unicode text");
    const auto options = parseOptions(std::move(arguments.values));
    if (!options) return complain(exitUsage, options.error() + "; see hdqadmin --help");

    int status = exitAnswered;
    switch (options->task) {
        case Options::Task::help:
            std::cout << usageText();
            break;
        case Options::Task::list:
        case Options::Task::describe:
            status = describe(*options);
            break;
        case Options::Task::request:
        case Options::Task::batch:
            status = send(*options);
            break;
    }
    std::cout.flush();
    if (!std::cout) return complain(exitUnreachable, "the answer could not be written to standard output");
    return status;
}

}  // namespace

}  // namespace hdqadmin

int main(int argc, char** argv) {
    try {
        return hdqadmin::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "hdqadmin: " << error.what() << '\n';
        return hdqadmin::exitUnreachable;
    }
}
