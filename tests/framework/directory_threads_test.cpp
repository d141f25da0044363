// Which threads are initialised for directory calls (COM's initialisation under Windows), and how often.
#include <thread>

#include "frame_fixture.h"
#include "framework/core/file_service.h"
#include "support/domain_workers.h"
#include "support/example_lab.h"
#include "support/manual_clock.h"

namespace wsadmin {
namespace {

thread_local int begun = 0, open = 0;  // initialisations of this thread, and those that have not ended

class WatchedServices : public platform::DirectoryServices {
  public:
    explicit WatchedServices(std::shared_ptr<DirectoryServices> inner) : inner_(std::move(inner)) {}

    Result<std::shared_ptr<platform::DirectorySearch>> openSearch(
        const std::string& path, const platform::DirectoryCredentials& credentials,
        std::uint32_t flags) override {
        EXPECT_EQ(open, 1) << path;
        return inner_->openSearch(path, credentials, flags);
    }
    Result<std::unique_ptr<platform::DirectoryObject>> openObject(
        const std::string& path, const platform::DirectoryCredentials& credentials,
        std::uint32_t flags) override {
        EXPECT_EQ(open, 1) << path;
        return inner_->openObject(path, credentials, flags);
    }
    bool initialiseThread() override {
        ++begun;
        nested += open++;
        ++openEverywhere;
        return true;
    }
    void uninitialiseThread() override {
        --open;
        --openEverywhere;
    }

    std::atomic<int> openEverywhere{0}, nested{0};

  private:
    std::shared_ptr<DirectoryServices> inner_;
};

class DirectoryThreads : public FrameTest {
  protected:
    // A service on that lab. Its shared objects initialise the thread that makes them for as long as they
    // live, so that is no thread of a request.
    void open(const wstest::ExampleLab& lab) {
        CORE::PropertyBag startup;
        const wstest::TempFolder copies;
        startup.set(platform::labFolderKey, std::wstring_view(wstest::folderOf(lab, copies).wstring()));
        startup.set(platform::labMachineKey, std::string_view(lab.machine));
        const auto made = platform::createPlatform(startup);
        if (!made) throw std::runtime_error(CORE::toUtf8(made.error().text));
        machine = *made;
        const auto clock = std::make_shared<wstest::ManualClock>();
        clock->advance(lab.time - clock->now().time_since_epoch() / std::chrono::seconds(1));
        machine->clock = clock;
        services = std::make_shared<WatchedServices>(machine->directoryServices);
        machine->directoryServices = services;
        std::thread([this] { service = makeService({}); }).join();
        services->openEverywhere = services->nested = 0;
    }

    const wstest::DomainWorkers domains{
        wstest::domainNames({{L"CORP", L"corp.example"}, {L"BRANCH", L"branch.example"}})};
    std::shared_ptr<WatchedServices> services;
};

TEST_F(DirectoryThreads, AreInitialisedOnceInEveryRequest) {
    const wstest::TempFolder keys;
    CORE::SecurityManager::System().setKeyFile((keys.path() / "key" / "host.key").wstring());
    const wstest::TempFolder received;
    CORE::serveFiles({.received = {received.path()}});
    std::string opened;
    for (const Operation& operation : operationTable()) {
        if (!operation.built()) continue;
        const wstest::ExampleLab lab = wstest::labOf(operation.name);
        // What an operation on a federation leaves is none for the next.
        if (lab.folder != opened || lab.folder != "sample") open(lab);
        opened = lab.folder;
        const std::wstring name(operation.name);
        const auto request = wstest::requestOf(operation, operation.example, {WS_SOURCE_DIR});
        const Outcome outcome = dispatch(name.c_str(), request);
        EXPECT_EQ(outcome.response.getErrorText(), L"") << CORE::toUtf8(name);
        EXPECT_EQ(std::exchange(begun, 0), 1) << CORE::toUtf8(name);
        EXPECT_EQ(services->openEverywhere, 0) << CORE::toUtf8(name);
        EXPECT_EQ(services->nested, 0) << CORE::toUtf8(name);
    }
    CORE::stopServingFiles();
}

}  // namespace
}  // namespace wsadmin
