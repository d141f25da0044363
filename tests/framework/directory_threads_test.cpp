// Which threads are initialised for directory calls (COM's initialisation under Windows), and how often.
#include <thread>

#include "frame_fixture.h"
#include "framework/core/file_service.h"
#include "support/domain_workers.h"
#include "support/example_lab.h"
#include "support/manual_clock.h"

namespace wsadmin {
namespace {

// The directory services of a machine, with every initialisation of a thread counted.
class CountedServices : public platform::DirectoryServices {
  public:
    struct Counts {
        int begun = 0, ended = 0, nested = 0;
        bool operator==(const Counts&) const = default;
    };

    explicit CountedServices(std::shared_ptr<DirectoryServices> inner) : inner_(std::move(inner)) {}

    Result<std::shared_ptr<platform::DirectorySearch>> openSearch(
        const std::string& path, const platform::DirectoryCredentials& credentials,
        std::uint32_t flags) override {
        expectInitialised(path);
        return inner_->openSearch(path, credentials, flags);
    }
    Result<std::unique_ptr<platform::DirectoryObject>> openObject(
        const std::string& path, const platform::DirectoryCredentials& credentials,
        std::uint32_t flags) override {
        expectInitialised(path);
        return inner_->openObject(path, credentials, flags);
    }
    bool initialiseThread() override {
        const std::lock_guard hold(mutex_);
        Counts& counts = counts_[std::this_thread::get_id()];
        counts.nested += counts.begun++ > counts.ended;
        return true;
    }
    void uninitialiseThread() override {
        const std::lock_guard hold(mutex_);
        ++counts_[std::this_thread::get_id()].ended;
    }
    std::map<std::thread::id, Counts> takeCounts() {
        const std::lock_guard hold(mutex_);
        return std::exchange(counts_, {});
    }

  private:
    void expectInitialised(const std::string& path) {
        const std::lock_guard hold(mutex_);
        const Counts counts = counts_[std::this_thread::get_id()];
        EXPECT_GT(counts.begun, counts.ended) << path;
    }

    std::shared_ptr<DirectoryServices> inner_;
    std::mutex mutex_;
    std::map<std::thread::id, Counts> counts_;
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
        services = std::make_shared<CountedServices>(machine->directoryServices);
        machine->directoryServices = services;
        std::thread([this] { service = makeService({}); }).join();
        services->takeCounts();
    }

    const wstest::DomainWorkers domains{
        wstest::domainNames({{L"CORP", L"corp.example"}, {L"BRANCH", L"branch.example"}})};
    std::shared_ptr<CountedServices> services;
};

TEST_F(DirectoryThreads, AreInitialisedOnceInEveryRequest) {
    using Counts = CountedServices::Counts;
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
        auto counts = services->takeCounts();
        EXPECT_EQ(counts[std::this_thread::get_id()], (Counts{1, 1, 0})) << CORE::toUtf8(name);
        for (const auto& [thread, other] : counts)  // those that contact the domains
            EXPECT_EQ(other, (Counts{other.begun, other.begun, 0})) << CORE::toUtf8(name);
    }
    CORE::stopServingFiles();
}

}  // namespace
}  // namespace wsadmin
