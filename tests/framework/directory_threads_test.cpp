// Which threads are initialised for directory calls (COM's initialisation under Windows), and how often.
#include <thread>

#include "frame_fixture.h"
#include "support/domain_workers.h"
#include "support/manual_clock.h"
#include "support/typed_request.h"

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
    void open(const char* lab) {
        CORE::PropertyBag startup;
        startup.set(platform::labFolderKey,
                    std::wstring_view(CORE::toWide(WS_SOURCE_DIR "/labs/") + CORE::toWide(lab)));
        const auto made = platform::createPlatform(startup);
        if (!made) throw std::runtime_error(CORE::toUtf8(made.error().text));
        machine = *made;
        machine->clock = std::make_shared<wstest::ManualClock>();
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
    for (const char* lab : {"sample", "federated"}) {
        open(lab);
        for (const Operation& operation : operationTable()) {
            if (!operation.built() || wstest::labOf(operation.name) != lab) continue;
            const std::wstring name(operation.name);
            CORE::PropertyBag request;
            const auto pairs = wstest::typedPairs(operation.example).value();
            for (const auto& [key, value] : pairs) request.add(key, std::wstring_view(value));
            const Outcome outcome = dispatch(name.c_str(), request);
            EXPECT_EQ(outcome.response.getErrorText(), L"") << CORE::toUtf8(name);
            auto counts = services->takeCounts();
            EXPECT_EQ(counts[std::this_thread::get_id()], (Counts{1, 1, 0})) << CORE::toUtf8(name);
            for (const auto& [thread, other] : counts)  // those that contact the domains
                EXPECT_EQ(other, (Counts{other.begun, other.begun, 0})) << CORE::toUtf8(name);
        }
    }
}

}  // namespace
}  // namespace wsadmin
