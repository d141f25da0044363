// The first pod, with each call of the machine failing: sentence, outcome, progress and flags. What the
// programs and the directory do wrong stands in tests/cases/federation.jsonl.
#include <gtest/gtest.h>

#include "federation/qrvldap.h"
#include "federation/sample_pod.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"

namespace wstest {

namespace {

using namespace wsadmin;

struct FailedCall {
    const char* call;
    int occurrence;
    std::wstring sentence;
    const char* outcome;  // without what all begin with
    const char* progress;
    std::wstring warning;  // empty: none of its own
};

const std::wstring temp = L"C:\\Windows\\Temp\\";
const std::wstring noFile = L"Unable to install global LDAP instance - unable to create temporary file",
                   underTemp = L"Unable to create temporary file under " + temp,
                   noStarter = L"Unable to generate starter data - unable to open temporary file - " + temp;

const FailedCall failedCalls[] = {
    {"files temporaryFolder", 1, noFile, "FILESYSTEM_ERROR", "0",
     L"Unable to determine temporary folder path"},
    {"files makeTemporary", 1, noFile, "FILESYSTEM_ERROR", "0", underTemp},
    {"files write C:\\Windows\\Temp\\qrv1.tmp",
     1,
     L"Unable to install global LDAP instance - unable to open temporary file",
     "FILESYSTEM_ERROR",
     "0",
     {}},
    {"processes run C:\\Windows\\adam\\adaminstall.exe /answer:\"C:\\Windows\\Temp\\qrv1.tmp\" /quiet",
     1,
     L"Global LDAP instance create command failed - exit status 1 (failed)",
     "ERROR",
     "0",
     {}},
    {"registry read HKLM\\Software\\Talvex, Inc.\\Talvex HDQ ServerInstallPath",
     1,
     L"Unable to install global LDAP instance - cannot find install path",
     "FILESYSTEM_ERROR",
     "30",
     {}},
    {"files makeTemporary", 2, noFile, "FILESYSTEM_ERROR", "30", underTemp},
    {"files write C:\\Windows\\Temp\\qrv2.tmp",
     1,
     L"Unable to generate crossref data - unable to open temporary file - " + temp + L"qrv2.tmp",
     "CANNOT_APPLY_DATA",
     "30",
     {}},
    {"files makeTemporary", 3, noFile, "FILESYSTEM_ERROR", "80", underTemp},
    {"files write C:\\Windows\\Temp\\qrv3.tmp", 1, noStarter + L"qrv3.tmp", "FILESYSTEM_ERROR", "80", {}},
    {"names dns", 1, L"Failed to obtain server fully qualified hostname", "FILESYSTEM_ERROR", "80", {}},
    {"files makeTemporary", 4, noFile, "CANNOT_APPLY_DATA", "80", underTemp},
    {"files write C:\\Windows\\Temp\\qrv4.tmp", 1, noStarter + L"qrv4.tmp", "CANNOT_APPLY_DATA", "80", {}},
};

}  // namespace

TEST(FirstPod, EachFailedCallIsToldAndCleanedUp) {
    for (const FailedCall& row : failedCalls) {
        SCOPED_TRACE(std::string(row.call) + " #" + std::to_string(row.occurrence));
        SamplePod pod(WS_SOURCE_DIR "/labs/sample");
        const auto calls = std::make_shared<PortCalls>();
        pod.machine->files = std::make_shared<CountingFiles>(pod.machine->files, calls);
        pod.machine->processes = std::make_shared<CountingProcesses>(pod.machine->processes, calls);
        pod.machine->registry = std::make_shared<CountingRegistry>(pod.machine->registry, calls);
        pod.machine->names = std::make_shared<CountingNames>(pod.machine->names, calls);
        calls->restart(PortFault{.call = row.call, .occurrence = row.occurrence, .code = 5});
        const LogCapture log(CORE::logWarning);
        const auto answer = ask<&Qrvldap::init, OnFailure::keeps>(pod.service);
        EXPECT_TRUE(calls->faultHappened());
        EXPECT_EQ(answer.getErrorText(), row.sentence);
        const std::string outcome = std::string("QRV_OP_") + row.outcome;
        EXPECT_EQ(answer.utf8(L"QuorinLastError"), outcome);
        EXPECT_EQ(pod.ofServer("zre-QuorinLastError"), outcome);
        EXPECT_EQ(pod.ofServer("zre-QuorinEnabledPercent"), row.progress);
        EXPECT_EQ(pod.flags(), "0 0");
        EXPECT_TRUE(row.warning.empty() || log.contains(CORE::logWarning, row.warning));
        // What is left is no more than temporary files.
        calls->restart();
        EXPECT_EQ(ask<&Qrvldap::init>(pod.service).getErrorText(), L"");
    }
}

// An installer whose exit code is not known has failed, as far as anybody can tell.
TEST(FirstPod, AnInstallerWithoutAnExitCodeHasFailed) {
    class Lost final : public Processes {
        Result<std::optional<int>> run(const std::wstring&, const std::wstring&) override {
            return std::nullopt;
        }
    };
    SamplePod pod(WS_SOURCE_DIR "/labs/sample");
    pod.machine->processes = std::make_shared<Lost>();
    const LogCapture log(CORE::logWarning);
    EXPECT_EQ(ask<&Qrvldap::init>(pod.service).getErrorText(),
              L"Global LDAP instance create command failed - exit status 1 (failed)");
    EXPECT_TRUE(
        log.contains(CORE::logWarning, L"Unable to get exit code for C:\\Windows\\adam\\adaminstall.exe"));
}

}  // namespace wstest
