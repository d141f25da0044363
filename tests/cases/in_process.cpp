#include "cases/in_process.h"

#include <sstream>

#include "cases/recorded_ports.h"
#include "cases/runner/lab_folder.h"
#include "framework/core/file_service.h"
#include "framework/core/framework.h"
#include "framework/core/message.h"
#include "framework/core/security.h"
#include "framework/ws_admin_service.h"
#include "host/answer.h"
#include "host/bag_json.h"
#include "platform/lab/lab_network.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ldap.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"
#include "winauth/winauth_service.h"

namespace wstest {

using namespace wsadmin;
using CORE::PropertyBag;

namespace {

// As the plug-in merges them: what the host gives counts more.
PropertyBag startupOf(const LabFolder& folder, const PropertyBag& ofTheLab = {}) {
    PropertyBag startup = ofTheLab;
    startup.set(platform::labFolderKey, folder.path().wstring());
    startup.setBool(L"InitiateDomainChecks", false);
    return startup;
}

// Both workers, known to the framework as long as it lives. One at a time.
class Workers {
  public:
    Workers(const LabFolder& folder, const std::shared_ptr<platform::Platform>& machine)
        : winauth_(CORE::refptr<winauth_service>::adopt(new winauth_service(startupOf(folder)))),
          admin_(CORE::refptr<ws_admin_service>::adopt(
              new ws_admin_service(startupOf(folder, machine->startup), machine, threads_))) {
        winauth_service::setCurrent(winauth_);
        winauth_->registerWorker(threads_);
        ws_admin_service::setCurrent(admin_);
        admin_->registerWorker();
    }
    ~Workers() {
        admin_->unregisterWorker();
        admin_->shutDown();
        ws_admin_service::setCurrent({});
        winauth_->unregisterWorker();
        winauth_->stop();
        winauth_service::setCurrent({});
        admin_.reset();
        threads_.waitForAll();
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

  private:
    CORE::ThreadGroup threads_{L"cases"};
    CORE::refptr<winauth_service> winauth_;
    CORE::refptr<ws_admin_service> admin_;
};

Json ask(const Case& one) {
    auto request = nlohmann::json::parse(one.request().dump());
    auto bag = hdqadmin::bagFromJson(request);
    if (!bag) throw std::runtime_error(bag.error());
    hdqadmin::Answer answer;
    answer.handled =
        CORE::MessageHandler::SendMsg(L"ws_admin", CORE::toWide(one.operation()), *bag, answer.response);
    std::ostringstream text;
    hdqadmin::printAnswerJson(text, answer);
    return Json::parse(text.str());
}

std::vector<std::string> linesOf(const LogCapture& log) {
    std::vector<std::string> lines;
    for (const LogLine& line : log.lines())
        lines.push_back(CORE::toUtf8(CORE::logLevelName(line.level)) + " " + CORE::toUtf8(line.text));
    return lines;
}

// The lab's platform, with everything that goes to its directories counted.
class CountedLab {
  public:
    explicit CountedLab(const LabFolder& folder) : machine(made(folder)), network_(machine->ldap) {
        machine->ldap = std::make_shared<CountingLdapClient>(network_, counts);
        machine->directoryServices = platform::makePortableDirectoryServices(machine->ldap, folder.domain());
        recorded(*machine, calls);
        directories = folder.directories(network_);
        CORE::serveFiles({.received = {received.path()}});
    }
    ~CountedLab() { CORE::stopServingFiles(); }
    CountedLab(const CountedLab&) = delete;
    CountedLab& operator=(const CountedLab&) = delete;
    void setFaults(const Json& faults) const {
        auto& network = dynamic_cast<platform::lab::LabNetwork&>(*network_);
        for (const auto& [name, ofServer] : faults.items()) {
            auto* server = network.named(name);
            if (!server && !ofServer.empty()) throw std::runtime_error("the lab has no directory " + name);
            if (server) server->setFaults(faultsOf(ofServer));  // the operation may have removed it
        }
    }

    std::shared_ptr<PortCalls> counts = std::make_shared<PortCalls>();  // of the directories
    std::shared_ptr<PortCalls> calls = std::make_shared<PortCalls>();   // of other ports
    std::shared_ptr<platform::Platform> machine;
    Directories directories;    // not counted
    const TempFolder received;  // takes copies

  private:
    static std::shared_ptr<platform::Platform> made(const LabFolder& folder) {
        auto platform = platform::createPlatform(startupOf(folder));
        if (!platform) throw std::runtime_error(CORE::toUtf8(platform.error().text));
        (*platform)->save = nullptr;  // nobody is to be told that nothing is kept
        return *platform;
    }
    std::shared_ptr<platform::LdapClient> network_;
};

Problems judgeCounts(const Case& one, const CountedLab& lab) {
    Problems problems;
    const auto expect = [&](const std::string& what, const Json& wanted, const Json& got) {
        if (wanted != got) problems.push_back(what + ": " + got.dump() + " in place of " + wanted.dump());
    };
    if (one.keys.contains("searches"))
        for (const auto& [part, count] : one.keys["searches"].items())
            expect("searches for " + part, count, lab.counts->searchesFor(part));
    if (!one.keys.contains("changes")) return problems;
    // Where nothing of the directories changes, of the machine nothing does but what the case names.
    const Json& changes = one.keys["changes"];
    const bool none = changes.is_array() || changes == 0;
    expect("changes", none ? Json(0) : changes, lab.counts->changes.load());
    if (none) expect("changes", changes.is_array() ? changes : Json::array(), lab.calls->changed());
    return problems;
}

Problems judgeFiles(const Json& wanted, const std::filesystem::path& folder) {
    nlohmann::json found = nlohmann::json::object();
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        found[entry.path().filename().string()] = fileText(entry.path());
    if (found == nlohmann::json(wanted)) return {};
    return {"the files are " + found.dump() + " in place of " + wanted.dump()};
}

void run(const Case& one, const CountedLab& lab, Problems& problems) {
    const Json& keys = one.keys;
    const Json faults = keys.value("faults", Json::object());
    if (keys.contains("wait"))
        lab.machine->clock->wait(std::chrono::seconds(keys["wait"].get<int>()), nullptr);
    lab.counts->restart();
    lab.calls->restart();
    if (keys.contains("fault")) lab.calls->restart(faultOf(keys["fault"]));
    lab.setFaults(faults);
    const LogCapture log;
    const Json answer = ask(one);
    if (lab.calls->faultHappened() != keys.contains("fault")) problems.push_back("the fault does not happen");
    for (const auto& [name, unused] : faults.items()) lab.setFaults({{name, Json::object()}});
    for (const Problems& some :
         {judgeAnswer(one, answer), judgeLog(one, linesOf(log)), judgeCounts(one, lab),
          judgeStored(keys.value("stored", Json::array()), lab.directories),
          keys.contains("files") ? judgeFiles(keys["files"], lab.received.path()) : Problems()})
        for (const std::string& problem : some)
            problems.push_back("line " + std::to_string(one.line) + ", " + one.name() + ": " + problem);
    lab.calls->restart();  // without the fault
}

}  // namespace

Problems runInProcess(const Block& block) {
    const LabFolder folder(block, WS_SOURCE_DIR);
    CORE::SecurityManager::System().setKeyFile((folder.path() / "key" / "host.key").wstring());
    const CountedLab lab(folder);
    lab.machine->installation.ipv6 = block.keys.value("ipv6", false);
    Problems problems;
    LogCapture log(CORE::logWarning);
    {
        const Workers workers(folder, lab.machine);
        for (const Case& one : block.cases)
            if (one.askedAt("process")) run(one, lab, problems);
        log.forget();
    }
    for (const std::string& line : linesOf(log)) problems.push_back("at the end: " + line);
    if (const auto open = CORE::MessageFrameWork::System().OpenChannels())
        problems.push_back(std::to_string(open) + " channels are left open");
    if (const int live = lab.counts->live + lab.calls->live)
        problems.push_back(std::to_string(live) + " sessions are left open");
    return problems;
}

}  // namespace wstest
