// The service on a lab whose ports are counted and fail when told to.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cases/recorded_ports.h"
#include "framework/core/file_service.h"
#include "framework/core/security.h"
#include "framework/ws_admin_operation.h"
#include "framework/ws_admin_service.h"
#include "platform/platform.h"
#include "support/counting_ldap.h"
#include "support/framework_worker.h"
#include "support/manual_clock.h"
#include "support/scripted_accounts.h"
#include "support/temp_folder.h"
#include "sweep/example_lab.h"
#include "winauth/winauth_service.h"

namespace sweep {

using CORE::PropertyBag;
using wstest::PortCalls;
using wstest::PortFault;

// What a service knows when a request comes: the domains, or that it has to ask for them first; or it stands
// on a machine that has accounts of its own.
enum class Setting { domainsKnown, domainsUnknown, ownAccounts };

struct Outcome {
    bool handled = false;
    PropertyBag answer;
    std::vector<PortCalls::Call> calls;
    std::vector<std::string> changed;  // what was written
    bool faultHappened = false;
    int leftOpen = 0;

    // Then threads have asked the domains side by side.
    bool asksDomains() const {
        return std::ranges::any_of(calls, [](const auto& call) { return call.name.starts_with("message"); });
    }
};

// Port and call of a call's name.
inline std::string kindOf(const std::string& call) {
    return call.substr(0, call.find(' ', call.find(' ') + 1));
}

inline std::shared_ptr<wstest::ScriptedAccounts> ownAccounts() {
    const std::string domain = "S-1-5-21-2000-2000-2000-";
    auto people = std::make_shared<wstest::ScriptedAccounts>();
    people->users = {{L"CORP\\alice", domain + "1103"},
                     {L"CORP\\bob", domain + "1104"},
                     {L"CORP\\dave", domain + "1106"},
                     {L"bob@mail.example", domain + "1104"},
                     {L"olga", "S-1-5-21-3000-3000-3000-1101"}};
    people->names = {{domain + "1205", {L"All Staff", L"CORP"}}, {domain + "1206", {L"Auditors", L"CORP"}}};
    people->process = people->logon = {.user = domain + "1103", .groups = {domain + "1205", domain + "1206"}};
    return people;
}

// Which threads are initialised for directory calls (COM's initialisation under Windows), and how often: a
// request's once, and once more where it asks the service itself.
struct WatchedServices : wstest::CountingDirectoryServices {
    using CountingDirectoryServices::CountingDirectoryServices;
    // Initialisations of this thread, and those that have not ended.
    static inline thread_local int begun = 0, open = 0;
    static void watch(const std::string& call) { EXPECT_TRUE(open > 0 || !call.starts_with("ads ")) << call; }
    bool initialiseThread() override {
        if (open == 0) ++begun;
        EXPECT_LT(open++, 2);
        return true;
    }
    void uninitialiseThread() override { --open; }
};

// One at a time, because the names of its workers are taken.
class LabService {
  public:
    explicit LabService(const ExampleLab& lab) : begin_(lab.time()) {
        calls_->before = WatchedServices::watch;
        startup_.set(wsadmin::platform::labFolderKey, std::wstring_view(folderOf(lab, labs_).wstring()));
        startup_.set(wsadmin::platform::labMachineKey, std::string_view(lab.machine));
        startup_.setBool(L"InitiateDomainChecks", false);
        authentication_ =
            CORE::refptr<wsadmin::winauth_service>::adopt(new wsadmin::winauth_service(startup_));
        CORE::SecurityManager::System().setKeyFile((keys_.path() / "key" / "host.key").wstring());
        CORE::serveFiles({.received = {received_.path()}});
        open();
        start();
    }
    ~LabService() {
        stop();
        CORE::stopServingFiles();
    }
    LabService(const LabService&) = delete;
    LabService& operator=(const LabService&) = delete;

    // A new service on the lab as it was opened.
    void restart(Setting setting) {
        stop();
        restore();
        platform_->accounts.reset();
        if (setting == Setting::ownAccounts)
            platform_->accounts = std::make_shared<wstest::CountingAccounts>(ownAccounts(), calls_);
        start();
        if (setting != Setting::domainsUnknown) learnDomains();
    }
    // The lab as it was before requests changed it.
    void restore() {
        if (changed_) open();
        changed_ = false;
    }
    void learnDomains() {
        PropertyBag request;
        request.setBool(L"forceReload", true);
        static_cast<void>(run(L"getDomainHealth", request));
    }
    Outcome run(std::wstring_view operation, const PropertyBag& request,
                std::optional<PortFault> fault = {}) {
        calls_->restart(std::move(fault));
        // Whatever earlier requests have waited for.
        clock_->advance(begin_ - clock_->now().time_since_epoch() / std::chrono::seconds(1));
        Outcome done;
        // A copy takes no place that is taken.
        for (const auto& entry : std::filesystem::directory_iterator(received_.path()))
            std::filesystem::remove(entry.path());
        wsadmin::ws_admin_operation item(service_);
        WatchedServices::begun = 0;
        done.handled = item.MessageHandler(std::wstring(operation).c_str(), request, done.answer);
        EXPECT_EQ(WatchedServices::begun, 1);
        EXPECT_EQ(WatchedServices::open, 0);
        done.calls = calls_->calls();
        done.changed = calls_->changed();
        done.faultHappened = calls_->faultHappened();
        changed_ = changed_ || !done.changed.empty();
        calls_->restart();
        constexpr int longerThanABindingIsKept = 3600;
        clock_->advance(longerThanABindingIsKept);
        service_->connections()->prune();
        clock_->advance(-longerThanABindingIsKept);
        done.leftOpen = calls_->live;
        return done;
    }

  private:
    // Opens the lab anew. The directory services stay the same object, because the service keeps them.
    void open() {
        auto made = wsadmin::platform::createPlatform(startup_);
        if (!made) throw std::runtime_error(CORE::toUtf8(made.error().text));
        const auto accounts = std::exchange(*platform_, **made).accounts;
        wstest::recorded(*platform_, calls_);
        services_->exchange((*made)->directoryServices);
        platform_->directoryServices = services_;
        platform_->ldap = std::make_shared<wstest::CountingLdapClient>((*made)->ldap, calls_);
        platform_->clock = clock_;
        platform_->accounts = accounts;
        platform_->save = nullptr;
    }
    // What the service shares initialises the thread that makes it for as long as it lives, so that is no
    // thread of a request.
    void start() {
        std::jthread([this] {
            service_ = CORE::refptr<wsadmin::ws_admin_service>::adopt(
                new wsadmin::ws_admin_service(startup_, platform_, threads_));
        }).join();
        wsadmin::ws_admin_service::setCurrent(service_);
        service_->registerWorker();
    }
    void stop() {
        service_->unregisterWorker();
        service_->shutDown();
        wsadmin::ws_admin_service::setCurrent({});
        service_.reset();
    }
    bool authenticate(std::wstring_view operation, const PropertyBag& request, PropertyBag& response) {
        const std::string domain(request.utf8(L"initialDomain"));
        const int code = calls_->enter("message winauth " + CORE::toUtf8(operation) +
                                       (domain.empty() ? "" : " " + domain));
        if (code == notHandled) return false;
        if (code) response.setError(code, L"injected");
        if (code) return true;
        response &= operation == L"getTrustedDomains" ? authentication_->getTrustedDomains(request, false)
                                                      : authentication_->setDomainConfig(request, false);
        return true;
    }

    std::int64_t begin_;  // the time of each request, in seconds since 1970
    wstest::TempFolder keys_, labs_;
    const wstest::TempFolder received_;  // takes copies
    PropertyBag startup_;
    std::shared_ptr<wstest::PortCalls> calls_ = std::make_shared<wstest::PortCalls>();
    std::shared_ptr<wstest::ManualClock> clock_ = std::make_shared<wstest::ManualClock>();
    std::shared_ptr<wsadmin::platform::Platform> platform_ = std::make_shared<wsadmin::platform::Platform>();
    std::shared_ptr<WatchedServices> services_ = std::make_shared<WatchedServices>(nullptr, calls_);
    CORE::refptr<wsadmin::winauth_service> authentication_;
    wstest::FrameworkWorker<0> worker_{
        L"winauth", [this](std::wstring_view operation, const PropertyBag& request, PropertyBag& response) {
            return authenticate(operation, request, response);
        }};
    CORE::ThreadGroup threads_{L"sweep"};
    CORE::refptr<wsadmin::ws_admin_service> service_;
    bool changed_ = false;  // since the lab was opened
};

}  // namespace sweep
