// The ports of a platform other than LDAP, in front of other ones: what passes is recorded, and where a test
// says so, a call fails. Codes are those of the port.
#pragma once

#include "framework/core/framework.h"
#include "netsec/ipsec_commands.h"
#include "support/port_calls.h"

namespace wstest {

// --- directory services

struct CountingRows : CountingOpened<DirectoryRows> {
    Result<bool> next() override {
        auto more = call<&Real::next>(named<0>("ads next"));
        if (!more && more.error().code == adsServerDown) lost->store(true);
        return more;
    }
    WS_CALL("ads column", column, 1, 1);
    WS_CALL("ads columns", columns, 0, 0);

    std::shared_ptr<std::atomic<bool>> lost;  // set when the server turns out to be gone
};

struct CountingSearch : CountingOpened<DirectorySearch> {
    WS_CALL("ads setPreference", setPreference, 2, 0);
    Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                   const std::vector<std::string>& attributes) override {
        auto rows = counted<CountingRows>(
            call<&Real::execute>(named<1>("ads execute", filter), filter, attributes), name_ + " " + filter);
        if (rows && *rows) static_cast<CountingRows&>(**rows).lost = lost_;
        return rows;
    }
    bool usable() const noexcept override { return !*lost_ && real_->usable(); }
    LdapLimits limits() const override { return real_->limits(); }

  private:
    std::shared_ptr<std::atomic<bool>> lost_ = std::make_shared<std::atomic<bool>>(false);
};

struct CountingObject : CountingOpened<DirectoryObject> {
    std::string path() const override { return real_->path(); }
    std::string className() const override { return real_->className(); }
    WS_CALL("ads get", get, 1, 1);
    WS_CALL("ads getEx", getEx, 1, 1);
    WS_CALL("ads put", put, 2, 1);
    WS_CALL("ads putEx", putEx, 3, 2);
    WS_CHANGE("ads setInfo", setInfo, 0, 0);
    Result<std::unique_ptr<DirectoryObject>> create(std::string_view objectClass,
                                                    std::string_view rdn) override {
        return counted<CountingObject>(call<&Real::create>(named<1>("ads create", rdn), objectClass, rdn),
                                       std::string(rdn) + " below " + name_);
    }
    WS_CHANGE("ads deleteObject", deleteObject, 0, 0);
    WS_CHANGE("ads removeChild", removeChild, 2, 2);
    WS_CHANGE("ads moveHere", moveHere, 2, 1);
    WS_CALL("ads children", children, 0, 0);
    WS_CHANGE("ads setPassword", setPassword, 1, 0);
    WS_CALL("ads putAccountDisabled", putAccountDisabled, 1, 0);
    WS_CHANGE("ads addMember", addMember, 1, 1);
};

struct CountingDirectoryServices : CountingPort<DirectoryServices> {
    using CountingPort::CountingPort;
    // What is opened from now on is opened by other services.
    void exchange(std::shared_ptr<DirectoryServices> services) { real_ = std::move(services); }

    WS_OPEN("ads openSearch", CountingSearch, openSearch, 3, 1);
    WS_OPEN("ads openObject", CountingObject, openObject, 3, 1);
    bool initialiseThread() override {
        const bool owed = real_->initialiseThread();
        if (owed) ++calls_->live;
        return owed;
    }
    void uninitialiseThread() override {
        --calls_->live;
        real_->uninitialiseThread();
    }
};

// --- accounts

struct CountingToken : CountingOpened<Token> {
    WS_CALL("accounts token user", user, 0, 0);
    WS_CALL("accounts token groups", groups, 0, 0);
};
struct CountingAccounts : CountingPort<AccountAuthority> {
    using CountingPort::CountingPort;
    WS_CALL("accounts bufferSizesFor", bufferSizesFor, 1, 1);
    WS_CALL("accounts lookUp", lookUp, 2, 1);
    WS_CALL("accounts namesOf", namesOf, 1, 0);
    WS_OPEN("accounts threadToken", CountingToken, threadToken, 0, 0);
    WS_OPEN("accounts processToken", CountingToken, processToken, 0, 0);
    WS_OPEN("accounts logOn", CountingToken, logOn, 2, 1);
};

// --- the machine

struct CountingNames : CountingPort<ComputerNames> {
    WS_CONST_CALL("names netBios", netBios, 0, 0);
    WS_CONST_CALL("names dns", dnsFullyQualified, 0, 0);
};
struct CountingEnvironment : CountingPort<Environment> {
    WS_CONST_CALL("environment variable", variable, 1, 1);
};
struct CountingFolders : CountingPort<Folders> {
    WS_CONST_CALL("folders get", get, 1, 1);
    WS_CONST_CALL("folders windows", windowsDirectory, 0, 0);
};
struct CountingRegistry : CountingPort<Registry> {
    WS_CONST_CALL("registry read", read, 2, 2);
    WS_CHANGE("registry write", write, 3, 2);
    WS_CHANGE("registry remove", remove, 2, 2);
    WS_CONST_CALL("registry values", values, 1, 1);
};
struct CountingProcesses : CountingPort<Processes> {
    WS_CHANGE("processes run", run, 2, 2);
};
struct CountingFiles : CountingPort<Files> {
    using CountingPort::CountingPort;
    WS_CONST_CALL("files exists", exists, 1, 1);
    WS_CONST_CALL("files temporaryFolder", temporaryFolder, 0, 0);
    WS_CHANGE("files makeTemporary", makeTemporary, 2, 0);
    WS_CHANGE("files write", write, 2, 1);
};

// --- services

struct CountingService : CountingOpened<MachineService> {
    WS_CALL("services description", description, 0, 0);
    WS_CHANGE("services setDescription", setDescription, 1, 0);
    WS_CALL("services dependencies", dependencies, 0, 0);
    WS_CHANGE("services setDependencies", setDependencies, 1, 0);
};
struct CountingServiceManager : CountingOpened<ServiceManager> {
    WS_OPEN("services openService", CountingService, openService, 1, 1);
};
struct CountingServiceControl : CountingPort<ServiceControl> {
    using CountingPort::CountingPort;
    WS_OPEN("services open", CountingServiceManager, open, 0, 0);
};

// --- replication and the network

struct CountingBinding : CountingOpened<ReplicationBinding> {
    WS_CALL("replication pendingOperations", pendingOperations, 0, 0);
    WS_CHANGE("replication updateTopology", updateTopology, 0, 0);
    WS_CHANGE("replication addReference", addReference, 3, 1);
    WS_CHANGE("replication addLink", addLink, 3, 1);
    WS_CHANGE("replication synchronise", synchronise, 2, 1);
    WS_CHANGE("replication synchroniseAll", synchroniseAll, 3, 1);
};
struct CountingReplication : CountingPort<Replication> {
    WS_CALL("replication makeCredentials", makeCredentials, 3, 0);
    WS_OPEN("replication bind", CountingBinding, bind, 2, 1);
};
struct CountingProbe : CountingPort<NetworkProbe> {
    WS_CALL("network probe", probe, 3, 1);
};

// The name has the line as the log shows it, without a key.
struct CountingCommands : CountingPort<CommandInterpreter> {
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent* stop) override {
        return change<&Real::run>("commands run " + CORE::toUtf8(ipsec::maskedLine(line.view())), line, stop);
    }
};

// --- the firewall

struct CountingRule : CountingOpened<FirewallRule> {
    WS_CALL("firewall rule name", name, 0, 0);
    WS_CALL("firewall rule enabled", enabled, 0, 0);
    WS_CHANGE("firewall rule setEnabled", setEnabled, 1, 0);
};
struct CountingRules : CountingOpened<FirewallRules> {
    WS_OPEN("firewall next", CountingRule, next, 0, 0);
};
struct CountingPolicy : CountingOpened<FirewallPolicy> {
    WS_CALL("firewall currentProfiles", currentProfiles, 0, 0);
    WS_CALL("firewall enabled", enabled, 1, 0);
    WS_OPEN("firewall rules", CountingRules, rules, 0, 0);
};
struct CountingFirewall : CountingPort<Firewall> {
    WS_OPEN("firewall open", CountingPolicy, open, 0, 0);
};

// --- the filtering engine

struct CountingAssociations : CountingOpened<FilteringEntries<SecurityAssociation>> {
    WS_CALL("filtering next associations", next, 0, 0);
};
struct CountingContexts : CountingOpened<FilteringEntries<MainModeContext>> {
    WS_CALL("filtering next contexts", next, 0, 0);
};
struct CountingEngine : CountingOpened<FilteringEngine> {
    WS_OPEN("filtering associations", CountingAssociations, securityAssociations, 0, 0);
    WS_OPEN("filtering contexts", CountingContexts, mainModeContexts, 0, 0);
};
struct CountingFiltering : CountingPort<FilteringPlatform> {
    WS_OPEN("filtering open", CountingEngine, open, 0, 0);
    WS_CALL("filtering addressText", addressText, 0, 0);
};

// --- the agents of machines

class CountingChannel : public CORE::MessageChannel {
  public:
    CountingChannel(std::shared_ptr<CORE::MessageChannel> real, std::shared_ptr<PortCalls> calls)
        : real_(std::move(real)), calls_(std::move(calls)) {
        ++calls_->live;
    }
    ~CountingChannel() override { --calls_->live; }
    CORE::RespType send(std::wstring_view worker, std::wstring_view operation,
                        const CORE::PropertyBag& request, CORE::PropertyBag& response,
                        const CORE::SendOptions& options) override {
        const int code = calls_->enter("agents send " + CORE::toUtf8(operation));
        if (code == 0) return real_->send(worker, operation, request, response, options);
        response.setError(code, L"injected");
        return CORE::RespType::notHandled;
    }
    void close() noexcept override { CORE::MessageFrameWork::System().CloseChannel(real_); }

  private:
    std::shared_ptr<CORE::MessageChannel> real_;
    std::shared_ptr<PortCalls> calls_;
};

struct CountingAgents : CountingPort<AgentChannels> {
    std::shared_ptr<CORE::MessageChannel> open(std::wstring_view ticket, std::wstring_view address,
                                               const CORE::coreevent& stop) override {
        if (calls_->enter("agents open") != 0) return nullptr;
        auto opened = real_->open(ticket, address, stop);
        if (!opened) return nullptr;
        auto channel = std::make_shared<CountingChannel>(std::move(opened), calls_);
        CORE::MessageFrameWork::System().OpenChannel(channel);
        return channel;
    }
};

}  // namespace wstest
