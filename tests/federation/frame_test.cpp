// Operations beside each other, and what a stop of the service ends.
#include <future>

#include "federation/federation_lab.h"
#include "support/log_capture.h"

namespace wstest {

namespace {

// The first program waits until the test lets it run. Where the processes of the machine are gone, none has
// an exit code.
struct GatedProcesses final : Processes {
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        if (!std::exchange(begun, true)) {
            begins.set_value();
            opened.wait();
        }
        if (!real) return std::nullopt;
        return real->run(program, arguments);
    }
    std::shared_ptr<Processes> real;
    std::promise<void> begins, opens;
    std::shared_future<void> opened = opens.get_future().share();
    bool begun = false;
};

// An installation whose installer waits, and beside it a second operation that waits for its turn.
class TwoOperations : public testing::Test {
  protected:
    TwoOperations() {
        gate->real = std::exchange(machine->processes, gate);
        first = std::async(std::launch::async, [this] { return FederationLab::run(service, "init"); });
        gate->begins.get_future().wait();
        std::promise<void> waits;
        const auto sink =
            CORE::addLogSink(CORE::logVerbose, [&](int, std::wstring_view, std::wstring_view text) {
                if (text == L"Contention on QRV state sync, waiting") waits.set_value();
            });
        second =
            std::async(std::launch::async, [this] { return FederationLab::run(service, "checkEnablement"); });
        waits.get_future().wait();
    }

    FederationLab lab;
    const std::shared_ptr<Platform> machine = lab.machines.at("VCS1");
    const std::shared_ptr<GatedProcesses> gate = std::make_shared<GatedProcesses>();
    TestService service{machine};
    std::future<CORE::PropertyBag> first, second;
};

}  // namespace

TEST_F(TwoOperations, RunOneAfterTheOtherAndInformationDoesNotWait) {
    EXPECT_EQ(lab.flags("VCS1"), "-1 -1");
    EXPECT_EQ(lab.tree("VCS1"), "-");
    gate->opens.set_value();
    EXPECT_EQ(first.get().getErrorText(), L"");
    // It found the layer that the first made, and its flags.
    EXPECT_EQ(second.get().getErrorText(), L"");
    EXPECT_EQ(lab.flags("VCS1"), "1 1");
    EXPECT_EQ(lab.tree("VCS1"), "POD1: VCS1");
}

TEST_F(TwoOperations, AStopEndsTheWaitAndLetsTheOtherChangeNothing) {
    const LogCapture log(CORE::logWarning);
    service.stop();
    gate->opens.set_value();
    const auto answer = first.get();
    EXPECT_EQ(answer.getErrorText(), L"Unable to install global LDAP instance - unable to do final enable");
    EXPECT_EQ(answer.get(L"QuorinLastError"), L"QRV_OP_CANNOT_APPLY_DATA");
    EXPECT_TRUE(log.contains(CORE::logWarning, L"Interrupted for service shutdown"));
    EXPECT_TRUE(log.contains(CORE::logWarning, L"Automatically cleaning up global LDAP layer"));
    EXPECT_EQ(second.get().getErrorText(), L"The service is stopping");
    EXPECT_EQ(lab.flags("VCS1"), "0 0");
    EXPECT_EQ(lab.ofServer("VCS1", "zre-QuorinEnabledPercent"), "80");
}

TEST_F(TwoOperations, AnInstallerWithoutAnExitCodeHasFailedAsFarAsAnybodyCanTell) {
    const LogCapture log(CORE::logWarning);
    gate->real.reset();
    gate->opens.set_value();
    EXPECT_EQ(first.get().getErrorText(),
              L"Global LDAP instance create command failed - exit status 1 (failed)");
    EXPECT_TRUE(
        log.contains(CORE::logWarning, L"Unable to get exit code for C:\\Windows\\adam\\adaminstall.exe"));
    EXPECT_EQ(second.get().getErrorText(), L"Global LDAP layer does not exist");
}

}  // namespace wstest
