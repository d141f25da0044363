// hdqadmin: the administrator's tool.
#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "channel/channel_client.h"
#include "framework/core/console.h"
#include "framework/core/file_service.h"
#include "framework/core/framework.h"
#include "framework/core/log.h"
#include "framework/core/security.h"
#include "host/answer.h"
#include "host/described.h"
#include "host/interrupt.h"
#include "host/listing.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/request.h"
#include "host/request_check.h"
#include "host/sample_lab.h"
#include "host/shown_log.h"
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
        if (options.machine) startup.set(CORE::startupLabMachine, *options.machine);
        startup.setBool(CORE::startupLabSave, options.save);
    }
    return startup;
}

// Where requests go, for a person who may have meant another place.
std::string targetOf(const CORE::PropertyBag& startup) {
    if (const auto file = startup.utf8(CORE::startupConfiguration); !file.empty())
        return "works on the directories of " + std::string(file);
    const std::string machine(startup.utf8(CORE::startupLabMachine));
    return (machine.empty() ? "works on the lab " : "works on " + machine + " of the lab ") +
           std::string(startup.utf8(CORE::startupLabFolder)) +
           (startup.getBool(CORE::startupLabSave) ? " and saves what changes"
                                                  : "; changes are not kept without --save");
}

// What a line of standard error says of a failed answer. Null: the table does not have the operation.
std::string sentenceOf(const Answer& answer, const CORE::PropertyBag* operation) {
    if (!operation || operation->getBool(L"built")) return answer.sentence();
    return std::string(operation->utf8(L"name")) + " is not available yet (error " +
           std::to_string(answer.response.getError()) + ").";
}

// Whether the answer is less than was asked for. An operation that changes something may succeed without a
// word.
bool lacksSomething(const Answer& answer, const CORE::PropertyBag* operation) {
    const bool changes = operation && operation->getBool(L"changes");
    return answer.failed() || !answer.nested().empty() || (answer.empty() && !changes);
}

// Operations on the federation take long. Their steps are shown once, as progress or as lines of the log.
Progress::Form progressOf(const std::vector<Request>& requests, int logLevel) {
    constexpr std::string_view onFederation = "qrvLdap";
    const bool takesLong = std::ranges::any_of(requests, [&](const Request& request) {
        return CORE::equalFolded(request.operation.substr(0, onFederation.size()), onFederation);
    });
    if (!takesLong) return Progress::Form::none;
    if (logLevel <= CORE::logInfo) return Progress::Form::flags;
    return CORE::standardErrorIsTerminal() ? Progress::Form::bar : Progress::Form::lines;
}

// The plug-ins, and what is said of them while they work.
struct Session {
    ShownLog log;
    Outcome<std::unique_ptr<Plugin>> authentication, administration;
    CORE::PropertyBag operations;

    Session(int logLevel, Progress::Form progress)
        : log(std::cerr, logLevel, progress),
          authentication(Plugin::load(Plugin::authentication)),
          administration(Plugin::load()) {
        if (administration) operations = (*administration)->describe();
    }
    // The first interrupt. What the service waits for ends, but for a program that an operation started.
    void interrupt() {
        log.say("stopping; a program that was started runs to its end (interrupt again to end at once)");
        (*administration)->stop();
    }
    // Why an answer lacks something: what was logged, and that the authentication worker is missing.
    void explain() {
        log.showWarnings();
        if (!authentication) std::cerr << "hdqadmin: " << terminalText(authentication.error()) << '\n';
    }
};

// A channel to the host that answers, closed with the object. Where none was opened, this process answers.
class HostChannel {
  public:
    HostChannel() = default;
    ~HostChannel() { CORE::MessageFrameWork::System().CloseChannel(channel_); }
    HostChannel(const HostChannel&) = delete;
    HostChannel& operator=(const HostChannel&) = delete;

    bool open(std::string_view ticket, const std::string& address) {
        CORE::mstr utf8(ticket);
        CORE::wstr text = utf8.to_wstr();
        utf8.clearAndWipe();
        channel_ = CORE::MessageFrameWork::System().ConnectChannelByTicket(CORE::channelByTicket, text,
                                                                           CORE::toWide(address));
        text.clearAndWipe();
        return channel_ != nullptr;
    }
    CORE::RespType send(std::wstring_view worker, std::wstring_view operation,
                        const CORE::PropertyBag& request, CORE::PropertyBag& response) const {
        CORE::RespType type = CORE::RespType::notHandled;
        CORE::MessageHandler::SendMsg(worker, operation, request, response,
                                      {.channel = channel_.get(), .type = &type});
        return type;
    }
    // Under the key of the host that answers.
    Outcome<std::string> encrypt(std::string_view plain) const {
        CORE::PropertyBag request, response;
        request.set(CORE::encryptText, plain);
        if (send(CORE::systemWorkerName, CORE::encryptOperation, request, response) !=
            CORE::RespType::handled)
            return refuse(CORE::toUtf8(response.getErrorText()));
        return std::string(response.utf8(CORE::encryptText));
    }

  private:
    std::shared_ptr<CORE::MessageChannel> channel_;
};

// Opens the channel where the options name a host. The exit status when it cannot be opened.
std::optional<int> openHost(HostChannel& host, const Options& options, ShownLog& log) {
    if (!options.connect) return std::nullopt;
    const auto ticket = readTextFile(*options.ticket);
    if (!ticket) return complain(exitUsage, ticket.error());
    if (host.open(ticket->view(), *options.connect)) return std::nullopt;
    log.showWarnings();
    return complain(exitUnreachable,
                    "the host at " + *options.connect + " cannot be reached with this ticket");
}

// Sends one request and prints its answer.
ExitStatus answer(Session& session, const HostChannel& host, const Request& request, const Options& options) {
    Answer answer;
    const CORE::RespType type =
        host.send(Plugin::administration, CORE::toWide(request.operation), request.bag, answer.response);
    answer.handled = type == CORE::RespType::handled;
    session.log.endProgress();
    if (options.json) {
        printAnswerJson(std::cout, answer);
    } else {
        if (options.batchFile) std::cout << "== " << terminalText(request.operation) << '\n';
        printTree(std::cout, answer.response);
    }
    std::cout.flush();
    const CORE::PropertyBag* operation = operationNamed(session.operations, request.operation);
    if (lacksSomething(answer, operation))
        session.explain();
    else
        session.log.forgetWarnings();
    for (const NestedError& error : answer.nested())
        std::cerr << terminalText(error.path + ": " + error.text + " (error " + std::to_string(error.code) +
                                  ")")
                  << '\n';
    if (!answer.failed()) return exitAnswered;
    std::cerr << terminalText(sentenceOf(answer, operation)) << '\n';
    return options.connect && type == CORE::RespType::cancelled ? exitUnreachable : exitError;
}

int describe(const Options& options) {
    const auto plugin = Plugin::load();
    if (!plugin) return complain(exitUnreachable, plugin.error());
    const CORE::PropertyBag operations = (*plugin)->describe();
    if (options.task == Options::Task::describe) {
        const auto print = options.json ? printOperationJson : printOperation;
        if (print(std::cout, operations, *options.operation)) return exitAnswered;
        return complain(exitUsage, noOperation(operations, *options.operation));
    }
    if (options.json)
        printListJson(std::cout, operations);
    else
        printList(std::cout, operations);
    return exitAnswered;
}

int encrypt(const Options& options) {
    const auto secret = readValue("value", *options.secret);
    if (!secret) return complain(exitUsage, secret.error());
    ShownLog log(std::cerr, options.logLevel.value_or(CORE::logError));
    const channel::CarrierInUse carrier;
    HostChannel host;
    if (const auto failed = openHost(host, options, log)) return *failed;
    const auto encrypted = host.encrypt(secret->view());
    if (!encrypted) return complain(exitUnreachable, encrypted.error());
    std::cout << *encrypted << '\n';
    return exitAnswered;
}

int sendInProcess(Session& session, const std::vector<Request>& requests, const Options& options) {
    const auto& plugin = session.administration;
    const CORE::PropertyBag startup = startupBag(options);
    if (CORE::standardErrorIsTerminal()) std::cerr << "hdqadmin: " << terminalText(targetOf(startup)) << '\n';
    // What is copied from agents is for whoever calls the tool: it may stand in his folder, and below it.
    std::error_code gone;
    if (const auto folder = std::filesystem::current_path(gone); !gone)
        CORE::serveFiles({.received = {folder}});
    // Where it does not start, the operations that ask it say so.
    if (session.authentication) static_cast<void>((*session.authentication)->start(startup));
    if (const auto started = (*plugin)->start(startup); !started) {
        session.explain();
        return complain(exitUnreachable, started.error());
    }
    const HostChannel none;
    int status = exitAnswered;
    const Interrupt interrupt([&session] { session.interrupt(); });
    for (const Request& request : requests)
        if (!interrupt.happened()) status = std::max<int>(status, answer(session, none, request, options));
    (*plugin)->stop();
    if (const auto flags = session.log.stateFlags(); interrupt.happened() && !flags.empty())
        session.log.say("the state flags: " + flags + " (-1: an operation did not come to its end)");
    // Changes that were to be saved and are not must not pass for success.
    if (session.log.savingFailed()) status = complain(exitUnreachable, "what was changed is not saved");
    return status;
}

int send(const Options& options) {
    auto requests = buildRequests(options);
    if (!requests) return complain(exitUsage, requests.error());
    const int logLevel = options.logLevel.value_or(CORE::logError);
    Session session(logLevel, progressOf(*requests, logLevel));
    if (!session.administration) return complain(exitUnreachable, session.administration.error());
    if (!options.unchecked)
        if (const auto checked = checkRequests(session.operations, *requests); !checked)
            return complain(exitUsage, checked.error());
    const channel::CarrierInUse carrier;  // also of the plug-in, which reaches agents
    HostChannel host;
    if (const auto failed = openHost(host, options, session.log)) return *failed;
    const auto encrypted = encryptUnseen(session.operations, *requests,
                                         [&host](std::string_view plain) { return host.encrypt(plain); });
    if (!encrypted) return complain(exitUnreachable, encrypted.error());
    if (!options.connect) return sendInProcess(session, *requests, options);
    // An interrupt ends the tool, and with its channel what it waits for.
    int status = exitAnswered;
    for (const Request& request : *requests)
        status = std::max<int>(status, answer(session, host, request, options));
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
        case Options::Task::encrypt:
            status = encrypt(*options);
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
