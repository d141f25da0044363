// The ports of a platform other than LDAP, in front of other ones: what passes is recorded, and where a test
// says so, a call fails. Codes are those of the port.
#pragma once

#include "framework/core/framework.h"
#include "netsec/ipsec_commands.h"
#include "support/port_calls.h"

namespace wstest {

// --- directory services

class CountingRows : public CountingOpened<DirectoryRows> {
  public:
    // `lost` is set when the server turns out to be gone.
    CountingRows(std::unique_ptr<DirectoryRows> rows, std::shared_ptr<PortCalls> calls, std::string search,
                 std::shared_ptr<std::atomic<bool>> lost)
        : CountingOpened(std::move(rows), std::move(calls), std::move(search)), lost_(std::move(lost)) {}

    Result<bool> next() override {
        auto more = call<&Real::next>(named("ads next"));
        if (!more && more.error().code == adsServerDown) lost_->store(true);
        return more;
    }
    WS_CALL(Result<std::optional<DirectoryColumn>>, column, (std::string_view name),
            named("ads column", name), name);
    WS_CALL(Result<std::vector<DirectoryColumn>>, columns, (), named("ads columns"));

  private:
    std::shared_ptr<std::atomic<bool>> lost_;
};

class CountingSearch : public CountingOpened<DirectorySearch> {
  public:
    using CountingOpened::CountingOpened;
    WS_CALL(Done, setPreference, (SearchPreference preference, int value), named("ads setPreference"),
            preference, value);
    Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                   const std::vector<std::string>& attributes) override {
        return counted<CountingRows>(call<&Real::execute>(named("ads execute", filter), filter, attributes),
                                     name_ + " " + filter, lost_);
    }
    bool usable() const noexcept override { return !*lost_ && real_->usable(); }
    LdapLimits limits() const override { return real_->limits(); }

  private:
    std::shared_ptr<std::atomic<bool>> lost_ = std::make_shared<std::atomic<bool>>(false);
};

class CountingObject : public CountingOpened<DirectoryObject> {
  public:
    using CountingOpened::CountingOpened;
    using Name = std::string_view;
    using Values = std::vector<DirectoryValue>;

    std::string path() const override { return real_->path(); }
    std::string className() const override { return real_->className(); }
    WS_CALL(Result<DirectoryValue>, get, (Name name), named("ads get", name), name);
    WS_CALL(Result<Values>, getEx, (Name name), named("ads getEx", name), name);
    WS_CALL(Done, put, (Name name, const DirectoryValue& value), named("ads put", name), name, value);
    WS_CALL(Done, putEx, (PutOperation operation, Name name, const Values& values), named("ads putEx", name),
            operation, name, values);
    WS_CHANGE(Done, setInfo, (), named("ads setInfo"));
    Result<std::unique_ptr<DirectoryObject>> create(Name objectClass, Name rdn) override {
        return counted<CountingObject>(call<&Real::create>(named("ads create", rdn), objectClass, rdn),
                                       std::string(rdn) + " below " + name_);
    }
    WS_CHANGE(Done, deleteObject, (), named("ads deleteObject"));
    WS_CHANGE(Done, removeChild, (Name objectClass, Name rdn), named("ads removeChild", rdn), objectClass,
              rdn);
    WS_CHANGE(Done, moveHere, (Name from, Name newRdn), named("ads moveHere", from), from, newRdn);
    WS_CALL(Result<std::vector<std::string>>, children, (), named("ads children"));
    WS_CHANGE(Done, setPassword, (const CORE::secretstring& password), named("ads setPassword"), password);
    WS_CALL(Done, putAccountDisabled, (bool disabled), named("ads putAccountDisabled"), disabled);
    WS_CHANGE(Done, addMember, (Name path), named("ads addMember", path), path);
};

class CountingDirectoryServices : public CountingPort<DirectoryServices> {
  public:
    using CountingPort::CountingPort;
    // What is opened from now on is opened by other services.
    void exchange(std::shared_ptr<DirectoryServices> services) { real_ = std::move(services); }

    Result<std::shared_ptr<DirectorySearch>> openSearch(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        return counted<CountingSearch>(
            call<&Real::openSearch>("ads openSearch " + path, path, credentials, flags), path);
    }
    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        return counted<CountingObject>(
            call<&Real::openObject>("ads openObject " + path, path, credentials, flags), path);
    }
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

class CountingToken : public CountingOpened<Token> {
  public:
    using CountingOpened::CountingOpened;
    WS_CALL(TokenResult<Sid>, user, (), "accounts token user");
    WS_CALL(TokenResult<std::vector<Sid>>, groups, (), "accounts token groups");
};

class CountingAccounts : public CountingPort<AccountAuthority> {
  public:
    using CountingPort::CountingPort;
    using OpenedToken = Result<std::unique_ptr<Token>>;

    WS_CALL(AccountBufferSizes, bufferSizesFor, (const std::wstring& name),
            named("accounts bufferSizesFor", name), name);
    WS_CALL(Result<Account>, lookUp, (const std::wstring& name, const AccountBufferSizes& sizes),
            named("accounts lookUp", name), name, sizes);
    WS_CALL(Result<std::vector<std::optional<AccountName>>>, namesOf, (const std::vector<Sid>& sids),
            "accounts namesOf", sids);
    OpenedToken threadToken() override {
        return counted<CountingToken>(call<&Real::threadToken>("accounts threadToken"));
    }
    OpenedToken processToken() override {
        return counted<CountingToken>(call<&Real::processToken>("accounts processToken"));
    }
    LogonResult logOn(const std::wstring& upn, const std::string& origin) override {
        return counted<CountingToken>(call<&Real::logOn>(named("accounts logOn", upn), upn, origin));
    }
};

// --- the machine

class CountingNames : public CountingPort<ComputerNames> {
  public:
    using CountingPort::CountingPort;
    WS_CALL(Result<std::wstring>, netBios, () const, "names netBios");
    WS_CALL(Result<std::wstring>, dnsFullyQualified, () const, "names dns");
};

class CountingEnvironment : public CountingPort<Environment> {
  public:
    using CountingPort::CountingPort;
    WS_CALL(Result<std::optional<std::wstring>>, variable, (std::wstring_view name) const,
            named("environment variable", name), name);
};

class CountingFolders : public CountingPort<Folders> {
  public:
    using CountingPort::CountingPort;
    WS_CALL(Result<std::wstring>, get, (Folder folder) const,
            "folders get " + std::to_string(static_cast<int>(folder)), folder);
    WS_CALL(Result<std::wstring>, windowsDirectory, () const, "folders windows");
};

class CountingRegistry : public CountingPort<Registry> {
  public:
    using CountingPort::CountingPort;
    using Text = std::wstring_view;
    WS_CALL(Result<std::optional<RegistryData>>, read, (Text key, Text value) const,
            named("registry read", key, value), key, value);
    WS_CHANGE(Done, write, (Text key, Text value, const RegistryData& data),
              named("registry write", key, value), key, value, data);
    WS_CHANGE(Done, remove, (Text key, Text value), named("registry remove", key, value), key, value);
    Result<std::vector<std::pair<std::wstring, RegistryData>>> values(Text key) const override {
        return call<&Real::values>(named("registry values", key), key);
    }
};

class CountingProcesses : public CountingPort<Processes> {
  public:
    using CountingPort::CountingPort;
    WS_CHANGE(Result<std::optional<int>>, run, (const std::wstring& program, const std::wstring& arguments),
              named("processes run", program, arguments), program, arguments);
};

class CountingFiles : public CountingPort<Files> {
  public:
    using CountingPort::CountingPort;
    WS_CALL(Result<bool>, exists, (const std::wstring& path) const, named("files exists", path), path);
    WS_CALL(Result<std::wstring>, temporaryFolder, () const, "files temporaryFolder");
    WS_CHANGE(Result<std::wstring>, makeTemporary, (const std::wstring& folder, const std::wstring& prefix),
              "files makeTemporary", folder, prefix);
    WS_CHANGE(Result<void>, write, (const std::wstring& path, std::string_view content),
              named("files write", path), path, content);
};

// --- services

class CountingService : public CountingOpened<MachineService> {
  public:
    using CountingOpened::CountingOpened;
    WS_CALL(ServiceQueryResult<std::wstring>, description, (), named("services description"));
    WS_CHANGE(Done, setDescription, (const std::wstring& description), named("services setDescription"),
              description);
    WS_CALL(ServiceQueryResult<std::vector<std::wstring>>, dependencies, (), named("services dependencies"));
    WS_CHANGE(Done, setDependencies, (const std::vector<std::wstring>& names),
              named("services setDependencies"), names);
};

class CountingServiceManager : public CountingOpened<ServiceManager> {
  public:
    using CountingOpened::CountingOpened;
    Result<std::unique_ptr<MachineService>> openService(const std::wstring& name) override {
        return counted<CountingService>(call<&Real::openService>(named("services openService", name), name),
                                        CORE::toUtf8(name));
    }
};

class CountingServiceControl : public CountingPort<ServiceControl> {
  public:
    using CountingPort::CountingPort;
    Result<std::unique_ptr<ServiceManager>> open() override {
        return counted<CountingServiceManager>(call<&Real::open>("services open"));
    }
};

// --- replication and the network

class CountingBinding : public CountingOpened<ReplicationBinding> {
  public:
    using CountingOpened::CountingOpened;
    using Text = std::wstring;
    WS_CALL(Result<std::optional<std::uint32_t>>, pendingOperations, (),
            named("replication pendingOperations"));
    WS_CHANGE(Done, updateTopology, (), named("replication updateTopology"));
    WS_CHANGE(Done, addReference, (const Text& context, const Text& destination, const InstanceGuid& guid),
              named("replication addReference", context), context, destination, guid);
    WS_CHANGE(Done, addLink, (const Text& context, const Text& dsa, const Text& source),
              named("replication addLink", context), context, dsa, source);
    WS_CHANGE(Done, synchronise, (const Text& context, const InstanceGuid& guid),
              named("replication synchronise", context), context, guid);
    WS_CHANGE(Done, synchroniseAll,
              (const Text& context, SyncDirection direction, const SyncProgress& progress),
              named("replication synchroniseAll", context), context, direction, progress);
};

class CountingReplication : public CountingPort<Replication> {
  public:
    using CountingPort::CountingPort;
    WS_CALL(Result<std::unique_ptr<ReplicationCredentials>>, makeCredentials,
            (const std::wstring& domain, const std::wstring& user, const CORE::secretstring& password),
            "replication makeCredentials", domain, user, password);
    Result<std::unique_ptr<ReplicationBinding>> bind(const std::wstring& server,
                                                     const ReplicationCredentials* credentials) override {
        return counted<CountingBinding>(
            call<&Real::bind>(named("replication bind", server), server, credentials), CORE::toUtf8(server));
    }
};

class CountingProbe : public CountingPort<NetworkProbe> {
  public:
    using CountingPort::CountingPort;
    ProbeOutcome probe(const std::wstring& host, std::uint16_t port, const CORE::coreevent* stop) override {
        if (calls_->enter(named("network probe", host))) return ProbeOutcome::otherFailure;
        return real_->probe(host, port, stop);
    }
};

// The name has the line as the log shows it, without a key.
class CountingCommands : public CountingPort<CommandInterpreter> {
  public:
    using CountingPort::CountingPort;
    WS_CHANGE(Result<int>, run, (const CORE::secretstring& line, const CORE::coreevent* stop),
              "commands run " + CORE::toUtf8(ipsec::maskedLine(line.view())), line, stop);
};

// --- the firewall

class CountingRule : public CountingOpened<FirewallRule> {
  public:
    using CountingOpened::CountingOpened;
    WS_CALL(Result<std::wstring>, name, (), "firewall rule name");
    WS_CALL(Result<FirewallFlag>, enabled, (), "firewall rule enabled");
    WS_CHANGE(Result<void>, setEnabled, (bool enabled), "firewall rule setEnabled", enabled);
};

class CountingRules : public CountingOpened<FirewallRules> {
  public:
    using CountingOpened::CountingOpened;
    Result<std::unique_ptr<FirewallRule>> next() override {
        auto rule = call<&Real::next>("firewall next");
        if (!rule || !*rule) return rule;
        return counted<CountingRule>(std::move(rule));
    }
};

class CountingPolicy : public CountingOpened<FirewallPolicy> {
  public:
    using CountingOpened::CountingOpened;
    WS_CALL(Result<std::int32_t>, currentProfiles, (), "firewall currentProfiles");
    WS_CALL(Result<FirewallFlag>, enabled, (FirewallProfile profile), "firewall enabled", profile);
    Result<std::unique_ptr<FirewallRules>> rules() override {
        return counted<CountingRules>(call<&Real::rules>("firewall rules"));
    }
};

class CountingFirewall : public CountingPort<Firewall> {
  public:
    using CountingPort::CountingPort;
    Result<std::unique_ptr<FirewallPolicy>> open() override {
        return counted<CountingPolicy>(call<&Real::open>("firewall open"));
    }
};

// --- the filtering engine

template <class Entry>
class CountingEntries : public CountingOpened<FilteringEntries<Entry>> {
  public:
    using CountingOpened<FilteringEntries<Entry>>::CountingOpened;
    Result<std::vector<Entry>> next() override {
        return this->template call<&FilteringEntries<Entry>::next>(this->named("filtering next"));
    }
};

class CountingEngine : public CountingOpened<FilteringEngine> {
  public:
    using CountingOpened::CountingOpened;
    Result<std::unique_ptr<FilteringEntries<SecurityAssociation>>> securityAssociations() override {
        return counted<CountingEntries<SecurityAssociation>>(
            call<&Real::securityAssociations>("filtering associations"), std::string("associations"));
    }
    Result<std::unique_ptr<FilteringEntries<MainModeContext>>> mainModeContexts() override {
        return counted<CountingEntries<MainModeContext>>(call<&Real::mainModeContexts>("filtering contexts"),
                                                         std::string("contexts"));
    }
};

class CountingFiltering : public CountingPort<FilteringPlatform> {
  public:
    using CountingPort::CountingPort;
    Result<std::unique_ptr<FilteringEngine>> open() override {
        return counted<CountingEngine>(call<&Real::open>("filtering open"));
    }
    WS_CALL(Result<AddressText>, addressText, (), "filtering addressText");
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

class CountingAgents : public CountingPort<AgentChannels> {
  public:
    using CountingPort::CountingPort;
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
