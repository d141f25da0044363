// Stands for the system's ldifde.exe under Wine: loads the file as the lab's own program of that name does,
// but into the server that the configuration file "windows.toml" in the test's folder leads to.
#include "windows/stand_ins/programs/hanging.h"
// After windows.h:
#include <algorithm>
#include <iterator>
#include <string>

#include "platform/lab/instance_tools.h"
#include "platform/platform.h"
#include "platform/text/command_line.h"

int wmain() {
    using namespace wsadmin::platform;
    hangWhereAsked(L"ldifde");
    CORE::PropertyBag startup;
    startup.set(configurationKey, std::wstring_view((testFolder() / "windows.toml").wstring()));
    const auto platform = createPlatform(startup);
    if (!platform) return 2;

    const std::wstring program = L"C:\\Windows\\system32\\ldifde.exe", line = GetCommandLineW();
    std::vector<lab::LabFile> files{{.path = program}};
    for (const std::wstring& word : splitArguments(line))
        if (std::ifstream file{std::filesystem::path(word), std::ios::binary})
            files.push_back({.path = word, .content = {std::istreambuf_iterator<char>(file), {}}});
    lab::InstanceMachine machine{.files = std::make_shared<lab::LabFiles>(std::move(files), L""),
                                 .services = {},
                                 .registry = {},
                                 .network = {},
                                 .open = {},
                                 .close = {},
                                 .owns = {},
                                 .ldap = (*platform)->ldap};
    // Behind the program's own name.
    const auto end = line.starts_with(L'"') ? line.find(L'"', 1) + 1 : line.find(L' ');
    return lab::runInstanceTool(machine, program, line.substr(std::min(end, line.size()))).value_or(3);
}
