// The first pod, with each of its steps failing, over faults.jsonl.
#include "federation/local_layer.h"
#include "federation/qrvldap.h"
#include "federation/sample_pod.h"
#include "support/log_capture.h"
#include "support/rows.h"
#include "support/temp_folder.h"

namespace wstest {

namespace {

using namespace wsadmin;

constexpr char sampleLab[] = WS_SOURCE_DIR "/labs/sample";

// The sample lab's machine file without the lines that have one text, and with another one at its end.
std::string machineFile(const Json& in) {
    std::istringstream lines(fileText(std::string(sampleLab) + "/machine.toml"));
    const std::string without = in.value("without", std::string("\n"));
    std::string text;
    for (std::string line; std::getline(lines, line);)
        if (line.find(without) == line.npos) text += line + "\n";
    return text + in.value("toml", std::string());
}

// "set" is an entry of the pod's directory, an attribute and its value, or null for none.
void setStored(const Platform& machine, const Json& set) {
    const auto session = machine.ldap->open({}).value();
    ASSERT_TRUE(session->bind({}));
    std::vector<std::string> values;
    if (!set[2].is_null()) values.push_back(set[2]);
    ASSERT_TRUE(session->modify(set[0].get<std::string>() + ",dc=vdi,dc=talvex,dc=int",
                                {{LdapModify::replace, set[1], values}}));
}

// Sentence, outcome code, progress, flags of server and pod, whether the layer is there, and the other
// warnings.
Json outcomeOf(const SamplePod& pod, const CORE::PropertyBag& answer, const LogCapture& log) {
    const std::string outcome(answer.utf8(L"QuorinLastError"));
    EXPECT_EQ(pod.ofServer("zre-QuorinLastError"), outcome);
    Json found{CORE::toUtf8(answer.getErrorText()), outcome, pod.ofServer("zre-QuorinEnabledPercent"),
               pod.flags(), qrv::layerExists(*pod.machine).value_or(true)};
    std::wstring last;
    int times = 1;
    for (const auto& [level, text] : log.lines()) {
        if (text == answer.getErrorText() || text.find(L"VIPA") != text.npos) continue;  // no service is here
        times = text == last ? times + 1 : 1;
        if (times == 1)
            found.push_back(CORE::toUtf8(text));
        else
            found.back() = std::to_string(times) + " times " + CORE::toUtf8(text);
        last = text;
    }
    return found;
}

Json firstPod(const Json& in) {
    static const TempFolder folder;
    std::filesystem::copy(
        sampleLab, folder.path(),
        std::filesystem::copy_options::recursive | std::filesystem::copy_options::skip_existing);
    folder.write("machine.toml", machineFile(in));
    SamplePod pod(folder.utf8(""));
    pod.machine->installation.ipv6 = in.value("ipv6", false);
    if (in.contains("set")) setStored(*pod.machine, in["set"]);
    const auto cleanup = in.value("cleanup", std::string("true"));
    EXPECT_TRUE(
        pod.machine->registry->write(qrv::productKey, L"CleanupFailedQrvInit", CORE::toWide(cleanup)));
    const auto calls = recorded(*pod.machine);
    calls->restart(faultOf(in));
    const LogCapture log(CORE::logWarning);
    const auto answer = ask<&Qrvldap::init, OnFailure::keeps>(pod.service);
    EXPECT_EQ(calls->faultHappened(), in.contains("call"));
    EXPECT_EQ(calls->changes > 0, answer.contains(L"QuorinLastError"));
    calls->restart();
    Json outcome = outcomeOf(pod, answer, log);
    // After a fault that passes only temporary files are left.
    if (in.contains("call")) {
        EXPECT_EQ(ask<&Qrvldap::init>(pod.service).getErrorText(), L"");
    }
    return outcome;
}

}  // namespace

TEST(FirstPod, EachFailureIsToldAndCleanedUp) {
    tryRows(WS_SOURCE_DIR "/tests/federation/faults.jsonl", {{"firstPod", firstPod}});
}

// An installer whose exit code is not known has failed, as far as anybody can tell.
TEST(FirstPod, AnInstallerWithoutAnExitCodeHasFailed) {
    class Lost final : public Processes {
        Result<std::optional<int>> run(const std::wstring&, const std::wstring&) override {
            return std::nullopt;
        }
    };
    SamplePod pod(sampleLab);
    pod.machine->processes = std::make_shared<Lost>();
    const LogCapture log(CORE::logWarning);
    EXPECT_EQ(ask<&Qrvldap::init>(pod.service).getErrorText(),
              L"Global LDAP instance create command failed - exit status 1 (failed)");
    EXPECT_TRUE(
        log.contains(CORE::logWarning, L"Unable to get exit code for C:\\Windows\\adam\\adaminstall.exe"));
}

}  // namespace wstest
