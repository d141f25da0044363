// The ports of a platform other than LDAP, in front of other ones: what passes is recorded, and where a test
// says so, a call fails. Codes are those of the port.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "support/counting_ldap.h"

namespace wstest {

using PortCallsPtr = std::shared_ptr<PortCalls>;

// What all of them have in common. `failed` makes a failure of a code.
using MakeFailure = tl::unexpected<wsadmin::Failure> (*)(int code);

inline tl::unexpected<wsadmin::Failure> adsFault(int code) {
    using namespace wsadmin::platform;
    return wsadmin::fail(code, directoryErrorText(code, adsCodeText(code), 0, {}));
}
inline tl::unexpected<wsadmin::Failure> systemFault(int code) {
    return wsadmin::fail(code, L"injected");
}

// Carries a call out, unless it is the one that fails.
template <class Carry>
auto carry(PortCalls& calls, const std::string& name, MakeFailure failed, const Carry& carryOut)
    -> decltype(carryOut()) {
    if (const int code = calls.enter(name)) return failed(code);
    return carryOut();
}
// The same of a call that changes something.
template <class Carry>
auto change(PortCalls& calls, const std::string& name, MakeFailure failed, const Carry& carryOut)
    -> decltype(carryOut()) {
    ++calls.changes;
    auto done = carry(calls, name, failed, carryOut);
    if (done) calls.changed(name);
    return done;
}

// --- directory services

// Something that is open, with the path that it was opened by.
class OpenThing {
  public:
    OpenThing(PortCallsPtr calls, std::string path) : calls_(std::move(calls)), path_(std::move(path)) {
        ++calls_->live;
        ++calls_->opened;
    }
    ~OpenThing() { --calls_->live; }
    OpenThing(const OpenThing&) = delete;
    OpenThing& operator=(const OpenThing&) = delete;

    // "ads", the call, the path and what else there is to say.
    std::string name(const char* call, const std::string& more = {}) const {
        return std::string("ads ") + call + " " + path_ + (more.empty() ? "" : " " + more);
    }
    template <class Carry>
    auto call(const std::string& name, const Carry& carryOut) const {
        return carry(*calls_, name, adsFault, carryOut);
    }
    template <class Carry>
    auto change(const std::string& name, const Carry& carryOut) const {
        return wstest::change(*calls_, name, adsFault, carryOut);
    }
    const PortCallsPtr& calls() const { return calls_; }

  private:
    PortCallsPtr calls_;
    std::string path_;
};

class CountingRows : public wsadmin::platform::DirectoryRows {
  public:
    // `lost` is set when the server turns out to be gone.
    CountingRows(std::unique_ptr<DirectoryRows> rows, PortCallsPtr calls, std::string search,
                 std::shared_ptr<std::atomic<bool>> lost)
        : rows_(std::move(rows)), open_(std::move(calls), std::move(search)), lost_(std::move(lost)) {}

    wsadmin::Result<bool> next() override {
        auto more = open_.call(open_.name("next"), [&] { return rows_->next(); });
        if (!more && more.error().code == wsadmin::platform::adsServerDown) lost_->store(true);
        return more;
    }
    wsadmin::Result<std::optional<wsadmin::platform::DirectoryColumn>> column(
        std::string_view name) override {
        return open_.call(open_.name("column", std::string(name)), [&] { return rows_->column(name); });
    }
    wsadmin::Result<std::vector<wsadmin::platform::DirectoryColumn>> columns() override {
        return open_.call(open_.name("columns"), [&] { return rows_->columns(); });
    }

  private:
    std::unique_ptr<DirectoryRows> rows_;
    OpenThing open_;
    std::shared_ptr<std::atomic<bool>> lost_;
};

class CountingSearch : public wsadmin::platform::DirectorySearch {
  public:
    CountingSearch(std::shared_ptr<DirectorySearch> search, PortCallsPtr calls, const std::string& path)
        : search_(std::move(search)), path_(path), open_(std::move(calls), path) {}

    wsadmin::Result<void> setPreference(wsadmin::platform::SearchPreference preference, int value) override {
        return open_.call(open_.name("setPreference"),
                          [&] { return search_->setPreference(preference, value); });
    }
    wsadmin::Result<std::unique_ptr<wsadmin::platform::DirectoryRows>> execute(
        const std::string& filter, const std::vector<std::string>& attributes) override {
        using Rows = std::unique_ptr<wsadmin::platform::DirectoryRows>;
        return open_.call(open_.name("execute", filter), [&]() -> wsadmin::Result<Rows> {
            auto rows = search_->execute(filter, attributes);
            if (!rows) return rows;
            return std::make_unique<CountingRows>(std::move(*rows), open_.calls(), path_ + " " + filter,
                                                  lost_);
        });
    }
    bool usable() const noexcept override { return !*lost_ && search_->usable(); }

  private:
    std::shared_ptr<DirectorySearch> search_;
    std::string path_;
    OpenThing open_;
    std::shared_ptr<std::atomic<bool>> lost_ = std::make_shared<std::atomic<bool>>(false);
};

class CountingObject : public wsadmin::platform::DirectoryObject {
  public:
    using Value = wsadmin::platform::DirectoryValue;
    using Done = wsadmin::Result<void>;
    using Object = std::unique_ptr<DirectoryObject>;

    CountingObject(Object object, PortCallsPtr calls, const std::string& path)
        : object_(std::move(object)), path_(path), open_(std::move(calls), path) {}

    std::string path() const override { return object_->path(); }
    std::string className() const override { return object_->className(); }
    wsadmin::Result<Value> get(std::string_view name) override {
        return open_.call(open_.name("get", std::string(name)), [&] { return object_->get(name); });
    }
    wsadmin::Result<std::vector<Value>> getEx(std::string_view name) override {
        return open_.call(open_.name("getEx", std::string(name)), [&] { return object_->getEx(name); });
    }
    Done put(std::string_view name, const Value& value) override {
        return open_.call(open_.name("put", std::string(name)), [&] { return object_->put(name, value); });
    }
    Done putEx(wsadmin::platform::PutOperation operation, std::string_view name,
               const std::vector<Value>& values) override {
        return open_.call(open_.name("putEx", std::string(name)),
                          [&] { return object_->putEx(operation, name, values); });
    }
    Done setInfo() override {
        return open_.change(open_.name("setInfo"), [&] { return object_->setInfo(); });
    }
    wsadmin::Result<Object> create(std::string_view objectClass, std::string_view rdn) override {
        const std::string child = std::string(rdn) + " below " + path_;
        return open_.call(open_.name("create", std::string(rdn)), [&]() -> wsadmin::Result<Object> {
            auto made = object_->create(objectClass, rdn);
            if (!made) return made;
            return std::make_unique<CountingObject>(std::move(*made), open_.calls(), child);
        });
    }
    Done deleteObject() override {
        return open_.change(open_.name("deleteObject"), [&] { return object_->deleteObject(); });
    }
    Done removeChild(std::string_view objectClass, std::string_view rdn) override {
        return open_.change(open_.name("removeChild", std::string(rdn)),
                            [&] { return object_->removeChild(objectClass, rdn); });
    }
    Done moveHere(std::string_view from, std::string_view newRdn) override {
        return open_.change(open_.name("moveHere", std::string(from)),
                            [&] { return object_->moveHere(from, newRdn); });
    }
    wsadmin::Result<std::vector<std::string>> children() override {
        return open_.call(open_.name("children"), [&] { return object_->children(); });
    }

  private:
    Object object_;
    std::string path_;
    OpenThing open_;
};

class CountingDirectoryServices : public wsadmin::platform::DirectoryServices {
  public:
    CountingDirectoryServices(std::shared_ptr<DirectoryServices> services, PortCallsPtr calls)
        : services_(std::move(services)), calls_(std::move(calls)) {}

    // What is opened from now on is opened by other services.
    void exchange(std::shared_ptr<DirectoryServices> services) { services_ = std::move(services); }

    wsadmin::Result<std::shared_ptr<wsadmin::platform::DirectorySearch>> openSearch(
        const std::string& path, const wsadmin::platform::DirectoryCredentials& credentials,
        std::uint32_t flags) override {
        if (const int code = calls_->enter("ads openSearch " + path)) return adsFault(code);
        auto opened = services_->openSearch(path, credentials, flags);
        if (!opened) return opened;
        return std::make_shared<CountingSearch>(std::move(*opened), calls_, path);
    }
    wsadmin::Result<std::unique_ptr<wsadmin::platform::DirectoryObject>> openObject(
        const std::string& path, const wsadmin::platform::DirectoryCredentials& credentials,
        std::uint32_t flags) override {
        if (const int code = calls_->enter("ads openObject " + path)) return adsFault(code);
        auto opened = services_->openObject(path, credentials, flags);
        if (!opened) return opened;
        return std::make_unique<CountingObject>(std::move(*opened), calls_, path);
    }
    bool initialiseThread() override {
        const bool owed = services_->initialiseThread();
        if (owed) ++calls_->live;
        return owed;
    }
    void uninitialiseThread() override {
        --calls_->live;
        services_->uninitialiseThread();
    }

  private:
    std::shared_ptr<DirectoryServices> services_;
    PortCallsPtr calls_;
};

// --- accounts

class CountingToken : public wsadmin::platform::Token {
  public:
    using Sid = wsadmin::platform::Sid;
    template <class T>
    using Asked = wsadmin::platform::TokenResult<T>;

    CountingToken(std::unique_ptr<Token> token, PortCallsPtr calls)
        : token_(std::move(token)), calls_(std::move(calls)) {
        ++calls_->live;
    }
    ~CountingToken() override { --calls_->live; }
    Asked<Sid> user() override {
        if (const int code = calls_->enter("accounts token user")) return failure(code);
        return token_->user();
    }
    Asked<std::vector<Sid>> groups() override {
        if (const int code = calls_->enter("accounts token groups")) return failure(code);
        return token_->groups();
    }

  private:
    static tl::unexpected<wsadmin::platform::TokenFailure> failure(int code) {
        using namespace wsadmin::platform;
        const TokenStep step = code == accountInsufficientBuffer ? TokenStep::size
                               : code == accountNotEnoughMemory  ? TokenStep::memory
                                                                 : TokenStep::data;
        return tl::unexpected(TokenFailure{step, {code, L"injected"}});
    }
    std::unique_ptr<Token> token_;
    PortCallsPtr calls_;
};

// A port in front of the real one.
template <class Port>
class CountingPort : public Port {
  public:
    CountingPort(std::shared_ptr<Port> real, PortCallsPtr calls)
        : real_(std::move(real)), calls_(std::move(calls)) {}

  protected:
    template <class Carry>
    auto call(const std::string& name, const Carry& carryOut) const {
        return carry(*calls_, name, systemFault, carryOut);
    }
    template <class Carry>
    auto change(const std::string& name, const Carry& carryOut) const {
        return wstest::change(*calls_, name, systemFault, carryOut);
    }
    std::shared_ptr<Port> real_;
    PortCallsPtr calls_;
};

class CountingAccounts : public CountingPort<wsadmin::platform::AccountAuthority> {
  public:
    using CountingPort::CountingPort;
    using Sid = wsadmin::platform::Sid;
    using Sizes = wsadmin::platform::AccountBufferSizes;
    using Names = std::vector<std::optional<wsadmin::platform::AccountName>>;
    using OpenedToken = wsadmin::Result<std::unique_ptr<wsadmin::platform::Token>>;

    Sizes bufferSizesFor(const std::wstring& name) override {
        if (const int code = calls_->enter("accounts bufferSizesFor " + CORE::toUtf8(name)))
            return {.error = code};
        return real_->bufferSizesFor(name);
    }
    wsadmin::Result<wsadmin::platform::Account> lookUp(const std::wstring& name,
                                                       const Sizes& sizes) override {
        return call("accounts lookUp " + CORE::toUtf8(name), [&] { return real_->lookUp(name, sizes); });
    }
    wsadmin::Result<Names> namesOf(const std::vector<Sid>& sids) override {
        return call("accounts namesOf", [&] { return real_->namesOf(sids); });
    }
    OpenedToken threadToken() override {
        return call("accounts threadToken", [&] { return counted(real_->threadToken()); });
    }
    OpenedToken processToken() override {
        return call("accounts processToken", [&] { return counted(real_->processToken()); });
    }
    wsadmin::platform::LogonResult logOn(const std::wstring& upn, const std::string& origin) override {
        using namespace wsadmin::platform;
        if (const int code = calls_->enter("accounts logOn " + CORE::toUtf8(upn))) {
            const LogonStep step = code == accountNoServer        ? LogonStep::connect
                                   : code == accountNoSuchPackage ? LogonStep::package
                                                                  : LogonStep::logon;
            return tl::unexpected(LogonFailure{step, {code, L"injected"}});
        }
        return counted(real_->logOn(upn, origin));
    }

  private:
    template <class Opened>
    Opened counted(Opened token) const {
        if (!token) return token;
        return std::make_unique<CountingToken>(std::move(*token), calls_);
    }
};

// --- the machine

class CountingNames : public CountingPort<wsadmin::platform::ComputerNames> {
  public:
    using CountingPort::CountingPort;
    wsadmin::Result<std::wstring> netBios() const override {
        return call("names netBios", [&] { return real_->netBios(); });
    }
    wsadmin::Result<std::wstring> dnsFullyQualified() const override {
        return call("names dns", [&] { return real_->dnsFullyQualified(); });
    }
};

class CountingFolders : public CountingPort<wsadmin::platform::Folders> {
  public:
    using CountingPort::CountingPort;
    wsadmin::Result<std::wstring> get(wsadmin::platform::Folder folder) const override {
        return call("folders get " + std::to_string(static_cast<int>(folder)),
                    [&] { return real_->get(folder); });
    }
    wsadmin::Result<std::wstring> windowsDirectory() const override {
        return call("folders windows", [&] { return real_->windowsDirectory(); });
    }
};

class CountingRegistry : public CountingPort<wsadmin::platform::Registry> {
  public:
    using CountingPort::CountingPort;
    using Data = wsadmin::platform::RegistryData;
    using Text = std::wstring_view;

    wsadmin::Result<std::optional<Data>> read(Text key, Text value) const override {
        return call(name("read", key, value), [&] { return real_->read(key, value); });
    }
    wsadmin::Result<void> write(Text key, Text value, const Data& data) override {
        return change(name("write", key, value), [&] { return real_->write(key, value, data); });
    }
    wsadmin::Result<void> remove(Text key, Text value) override {
        return change(name("remove", key, value), [&] { return real_->remove(key, value); });
    }
    wsadmin::Result<std::vector<std::pair<std::wstring, Data>>> values(Text key) const override {
        return call(name("values", key, {}), [&] { return real_->values(key); });
    }

  private:
    static std::string name(const char* call, Text key, Text value) {
        return std::string("registry ") + call + " " + CORE::toUtf8(key) + " " + CORE::toUtf8(value);
    }
};

class CountingProcesses : public CountingPort<wsadmin::platform::Processes> {
  public:
    using CountingPort::CountingPort;
    wsadmin::Result<wsadmin::platform::ProcessOutcome> run(
        const wsadmin::platform::ProcessRequest& request) override {
        std::string name = "processes run " + CORE::toUtf8(request.program);
        for (const std::wstring& argument : request.arguments) name += " " + CORE::toUtf8(argument);
        return change(name, [&] { return real_->run(request); });
    }
};

}  // namespace wstest
