// Stands for the system's adaminstall.exe under Wine: has the command in WS_TEST_LAYER_SERVER start a real
// server on the port of the answer file, waits until it serves, and leaves the database file and the service.
// It makes no replicas.
#include "windows/stand_ins/programs/hanging.h"
// After windows.h:
#include <map>
#include <string>

namespace {

std::map<std::string, std::string> answersIn(const std::filesystem::path& file) {
    std::map<std::string, std::string> answers;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);)
        if (const auto equals = line.find('='); equals != line.npos)
            answers[line.substr(0, equals)] = line.substr(equals + 1);
    return answers;
}

std::wstring wide(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

// A program of the system below, which Windows cannot wait for.
bool startServer(const std::wstring& port) {
    std::wstring line = L"sh -c \"exec " + std::wstring(_wgetenv(L"WS_TEST_LAYER_SERVER")) + L"\" sh " + port;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    return CreateProcessW(L"Z:\\bin\\sh", line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &started) != 0;
}

bool serves() {
    constexpr int attempts = 1000;
    for (int attempt = 0; attempt < attempts; ++attempt, Sleep(50))
        if (std::filesystem::exists(testFolder() / "serves")) return true;
    return false;
}

bool makeService(const std::string& instance) {
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    return CreateServiceW(manager, (L"ADAM_" + wide(instance)).c_str(), nullptr, SERVICE_ALL_ACCESS,
                          SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                          L"C:\\none.exe", nullptr, nullptr, nullptr, nullptr, nullptr) ||
           GetLastError() == ERROR_SERVICE_EXISTS;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    constexpr std::wstring_view option = L"/answer:";
    const std::wstring first = count > 1 ? arguments[1] : L"";
    if (!first.starts_with(option)) return 2;
    hangWhereAsked(L"adaminstall");
    auto given = answersIn(first.substr(option.size()));
    if (given["InstallType"] == "Replica") return 5;
    if (!startServer(wide(given["LocalLDAPPortToListenOn"])) || !serves()) return 3;
    const std::filesystem::path folder(given["DataFilesPath"]);
    std::filesystem::create_directories(folder);
    return std::ofstream(folder / "adamntds.dit") && makeService(given["InstanceName"]) ? 0 : 4;
}
