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
        : CountingOpened(std::move(rows), std::move(calls)),
          search_(std::move(search)),
          lost_(std::move(lost)) {}

    Result<bool> next() override {
        auto more = call<&Real::next>("ads next " + search_);
        if (!more && more.error().code == adsServerDown) lost_->store(true);
        return more;
    }
    Result<std::optional<DirectoryColumn>> column(std::string_view name) override {
        return call<&Real::column>(nameOf({"ads column", search_, name}), name);
    }
    Result<std::vector<DirectoryColumn>> columns() override {
        return call<&Real::columns>("ads columns " + search_);
    }

  private:
    std::string search_;
    std::shared_ptr<std::atomic<bool>> lost_;
};

class CountingSearch : public CountingOpened<DirectorySearch> {
  public:
    CountingSearch(std::shared_ptr<DirectorySearch> search, std::shared_ptr<PortCalls> calls,
                   std::string path)
        : CountingOpened(std::move(search), std::move(calls)), path_(std::move(path)) {}

    Result<void> setPreference(SearchPreference preference, int value) override {
        return call<&Real::setPreference>("ads setPreference " + path_, preference, value);
    }
    Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                   const std::vector<std::string>& attributes) override {
        const std::string search = path_ + " " + filter;
        return counted<CountingRows>(call<&Real::execute>("ads execute " + search, filter, attributes),
                                     search, lost_);
    }
    bool usable() const noexcept override { return !*lost_ && real_->usable(); }
    LdapLimits limits() const override { return real_->limits(); }

  private:
    std::string path_;
    std::shared_ptr<std::atomic<bool>> lost_ = std::make_shared<std::atomic<bool>>(false);
};

class CountingObject : public CountingOpened<DirectoryObject> {
  public:
    using Name = std::string_view;
    using Done = Result<void>;
    using Values = std::vector<DirectoryValue>;

    CountingObject(std::unique_ptr<DirectoryObject> object, std::shared_ptr<PortCalls> calls,
                   std::string path)
        : CountingOpened(std::move(object), std::move(calls)), path_(std::move(path)) {}

    std::string path() const override { return real_->path(); }
    std::string className() const override { return real_->className(); }
    Result<DirectoryValue> get(Name name) override { return call<&Real::get>(named("get", name), name); }
    Result<Values> getEx(Name name) override { return call<&Real::getEx>(named("getEx", name), name); }
    Done put(Name name, const DirectoryValue& value) override {
        return call<&Real::put>(named("put", name), name, value);
    }
    Done putEx(PutOperation operation, Name name, const Values& values) override {
        return call<&Real::putEx>(named("putEx", name), operation, name, values);
    }
    Done setInfo() override { return change<&Real::setInfo>(named("setInfo")); }
    Result<std::unique_ptr<DirectoryObject>> create(Name objectClass, Name rdn) override {
        return counted<CountingObject>(call<&Real::create>(named("create", rdn), objectClass, rdn),
                                       std::string(rdn) + " below " + path_);
    }
    Done deleteObject() override { return change<&Real::deleteObject>(named("deleteObject")); }
    Done removeChild(Name objectClass, Name rdn) override {
        return change<&Real::removeChild>(named("removeChild", rdn), objectClass, rdn);
    }
    Done moveHere(Name from, Name newRdn) override {
        return change<&Real::moveHere>(named("moveHere", from), from, newRdn);
    }
    Result<std::vector<std::string>> children() override { return call<&Real::children>(named("children")); }
    Done setPassword(const CORE::secretstring& password) override {
        return change<&Real::setPassword>(named("setPassword"), password);
    }
    Done putAccountDisabled(bool disabled) override {
        return call<&Real::putAccountDisabled>(named("putAccountDisabled"), disabled);
    }
    Done addMember(Name path) override { return change<&Real::addMember>(named("addMember", path), path); }

  private:
    std::string named(Name call, Name more = {}) const { return nameOf({"ads", call, path_, more}); }
    std::string path_;
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
    TokenResult<Sid> user() override { return call<&Real::user>("accounts token user"); }
    TokenResult<std::vector<Sid>> groups() override { return call<&Real::groups>("accounts token groups"); }
};

class CountingAccounts : public CountingPort<AccountAuthority> {
  public:
    using CountingPort::CountingPort;
    using OpenedToken = Result<std::unique_ptr<Token>>;

    AccountBufferSizes bufferSizesFor(const std::wstring& name) override {
        return call<&Real::bufferSizesFor>("accounts bufferSizesFor " + CORE::toUtf8(name), name);
    }
    Result<Account> lookUp(const std::wstring& name, const AccountBufferSizes& sizes) override {
        return call<&Real::lookUp>("accounts lookUp " + CORE::toUtf8(name), name, sizes);
    }
    Result<std::vector<std::optional<AccountName>>> namesOf(const std::vector<Sid>& sids) override {
        return call<&Real::namesOf>("accounts namesOf", sids);
    }
    OpenedToken threadToken() override {
        return counted<CountingToken>(call<&Real::threadToken>("accounts threadToken"));
    }
    OpenedToken processToken() override {
        return counted<CountingToken>(call<&Real::processToken>("accounts processToken"));
    }
    LogonResult logOn(const std::wstring& upn, const std::string& origin) override {
        return counted<CountingToken>(call<&Real::logOn>("accounts logOn " + CORE::toUtf8(upn), upn, origin));
    }
};

// --- the machine

class CountingNames : public CountingPort<ComputerNames> {
  public:
    using CountingPort::CountingPort;
    Result<std::wstring> netBios() const override { return call<&Real::netBios>("names netBios"); }
    Result<std::wstring> dnsFullyQualified() const override {
        return call<&Real::dnsFullyQualified>("names dns");
    }
};

class CountingEnvironment : public CountingPort<Environment> {
  public:
    using CountingPort::CountingPort;
    Result<std::optional<std::wstring>> variable(std::wstring_view name) const override {
        return call<&Real::variable>("environment variable " + CORE::toUtf8(name), name);
    }
};

class CountingFolders : public CountingPort<Folders> {
  public:
    using CountingPort::CountingPort;
    Result<std::wstring> get(Folder folder) const override {
        return call<&Real::get>("folders get " + std::to_string(static_cast<int>(folder)), folder);
    }
    Result<std::wstring> windowsDirectory() const override {
        return call<&Real::windowsDirectory>("folders windows");
    }
};

class CountingRegistry : public CountingPort<Registry> {
  public:
    using CountingPort::CountingPort;
    using Text = std::wstring_view;

    Result<std::optional<RegistryData>> read(Text key, Text value) const override {
        return call<&Real::read>(named("read", key, value), key, value);
    }
    Result<void> write(Text key, Text value, const RegistryData& data) override {
        return change<&Real::write>(named("write", key, value), key, value, data);
    }
    Result<void> remove(Text key, Text value) override {
        return change<&Real::remove>(named("remove", key, value), key, value);
    }
    Result<std::vector<std::pair<std::wstring, RegistryData>>> values(Text key) const override {
        return call<&Real::values>(named("values", key, {}), key);
    }

  private:
    static std::string named(std::string_view call, Text key, Text value) {
        return nameOf({"registry", call, CORE::toUtf8(key), CORE::toUtf8(value)});
    }
};

class CountingProcesses : public CountingPort<Processes> {
  public:
    using CountingPort::CountingPort;
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        return change<&Real::run>(nameOf({"processes run", CORE::toUtf8(program), CORE::toUtf8(arguments)}),
                                  program, arguments);
    }
};

class CountingFiles : public CountingPort<Files> {
  public:
    using CountingPort::CountingPort;
    Result<bool> exists(const std::wstring& path) const override {
        return call<&Real::exists>("files exists " + CORE::toUtf8(path), path);
    }
    Result<std::wstring> temporaryFolder() const override {
        return call<&Real::temporaryFolder>("files temporaryFolder");
    }
    Result<std::wstring> makeTemporary(const std::wstring& folder, const std::wstring& prefix) override {
        return change<&Real::makeTemporary>("files makeTemporary", folder, prefix);
    }
    Result<void> write(const std::wstring& path, std::string_view content) override {
        return change<&Real::write>("files write " + CORE::toUtf8(path), path, content);
    }
};

// --- services

class CountingService : public CountingOpened<MachineService> {
  public:
    CountingService(std::unique_ptr<MachineService> service, std::shared_ptr<PortCalls> calls,
                    std::string name)
        : CountingOpened(std::move(service), std::move(calls)), name_(std::move(name)) {}
    ServiceQueryResult<std::wstring> description() override {
        return call<&Real::description>("services description " + name_);
    }
    Result<void> setDescription(const std::wstring& description) override {
        return change<&Real::setDescription>("services setDescription " + name_, description);
    }
    ServiceQueryResult<std::vector<std::wstring>> dependencies() override {
        return call<&Real::dependencies>("services dependencies " + name_);
    }
    Result<void> setDependencies(const std::vector<std::wstring>& names) override {
        return change<&Real::setDependencies>("services setDependencies " + name_, names);
    }

  private:
    std::string name_;
};

class CountingServiceManager : public CountingOpened<ServiceManager> {
  public:
    using CountingOpened::CountingOpened;
    Result<std::unique_ptr<MachineService>> openService(const std::wstring& name) override {
        const std::string service = CORE::toUtf8(name);
        return counted<CountingService>(call<&Real::openService>("services openService " + service, name),
                                        service);
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
    CountingBinding(std::unique_ptr<ReplicationBinding> binding, std::shared_ptr<PortCalls> calls,
                    std::string server)
        : CountingOpened(std::move(binding), std::move(calls)), server_(std::move(server)) {}
    Result<std::optional<std::uint32_t>> pendingOperations() override {
        return call<&Real::pendingOperations>(named("pendingOperations"));
    }
    Result<void> updateTopology() override { return change<&Real::updateTopology>(named("updateTopology")); }
    Result<void> addReference(const std::wstring& context, const std::wstring& destination,
                              const InstanceGuid& guid) override {
        return change<&Real::addReference>(named("addReference", context), context, destination, guid);
    }
    Result<void> addLink(const std::wstring& context, const std::wstring& dsa,
                         const std::wstring& source) override {
        return change<&Real::addLink>(named("addLink", context), context, dsa, source);
    }
    Result<void> synchronise(const std::wstring& context, const InstanceGuid& guid) override {
        return change<&Real::synchronise>(named("synchronise", context), context, guid);
    }
    Result<void> synchroniseAll(const std::wstring& context, SyncDirection direction,
                                const SyncProgress& progress) override {
        return change<&Real::synchroniseAll>(named("synchroniseAll", context), context, direction, progress);
    }

  private:
    std::string named(std::string_view call, const std::wstring& context = {}) const {
        return nameOf({"replication", call, server_, CORE::toUtf8(context)});
    }
    std::string server_;
};

class CountingReplication : public CountingPort<Replication> {
  public:
    using CountingPort::CountingPort;
    Result<std::unique_ptr<ReplicationCredentials>> makeCredentials(
        const std::wstring& domain, const std::wstring& user, const CORE::secretstring& password) override {
        return call<&Real::makeCredentials>("replication makeCredentials", domain, user, password);
    }
    Result<std::unique_ptr<ReplicationBinding>> bind(const std::wstring& server,
                                                     const ReplicationCredentials* credentials) override {
        const std::string name = CORE::toUtf8(server);
        return counted<CountingBinding>(call<&Real::bind>("replication bind " + name, server, credentials),
                                        name);
    }
};

class CountingProbe : public CountingPort<NetworkProbe> {
  public:
    using CountingPort::CountingPort;
    ProbeOutcome probe(const std::wstring& host, std::uint16_t port, const CORE::coreevent* stop) override {
        if (calls_->enter("network probe " + CORE::toUtf8(host))) return ProbeOutcome::otherFailure;
        return real_->probe(host, port, stop);
    }
};

// The name has the line as the log shows it, without a key.
class CountingCommands : public CountingPort<CommandInterpreter> {
  public:
    using CountingPort::CountingPort;
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent* stop) override {
        return change<&Real::run>("commands run " + CORE::toUtf8(ipsec::maskedLine(line.view())), line, stop);
    }
};

// --- the firewall

class CountingRule : public CountingOpened<FirewallRule> {
  public:
    using CountingOpened::CountingOpened;
    Result<std::wstring> name() override { return call<&Real::name>("firewall rule name"); }
    Result<FirewallFlag> enabled() override { return call<&Real::enabled>("firewall rule enabled"); }
    Result<void> setEnabled(bool enabled) override {
        return change<&Real::setEnabled>("firewall rule setEnabled", enabled);
    }
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
    Result<std::int32_t> currentProfiles() override {
        return call<&Real::currentProfiles>("firewall currentProfiles");
    }
    Result<FirewallFlag> enabled(FirewallProfile profile) override {
        return call<&Real::enabled>("firewall enabled", profile);
    }
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
    CountingEntries(std::unique_ptr<FilteringEntries<Entry>> entries, std::shared_ptr<PortCalls> calls,
                    std::string kind)
        : CountingOpened<FilteringEntries<Entry>>(std::move(entries), std::move(calls)),
          kind_(std::move(kind)) {}
    Result<std::vector<Entry>> next() override {
        return this->template call<&FilteringEntries<Entry>::next>("filtering next " + kind_);
    }

  private:
    std::string kind_;
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
    Result<AddressText> addressText() override { return call<&Real::addressText>("filtering addressText"); }
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
