#include "platform/lab/lab_platform.h"

#include <algorithm>

#include "framework/core/corestring.h"
#include "platform/lab/instance_tools.h"
#include "platform/lab/lab_directories.h"
#include "platform/lab/lab_replication.h"
#include "platform/lab/lab_saving.h"
#include "platform/portable/process_surroundings.h"
#include "platform/portable/system_clock.h"

namespace wsadmin::platform::lab {

namespace {

namespace fs = std::filesystem;

constexpr char onlyMachineFile[] = "machine.toml";
constexpr char machineSuffix[] = ".toml";

// The machines of a lab that has several, by their files' names without the suffix, in order.
std::vector<std::string> machinesOf(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        if (entry.path().extension() == machineSuffix) names.push_back(entry.path().stem().string());
    std::ranges::sort(names);
    return names;
}

// The file of the machine that is asked for.
Result<std::string> machineFileOf(const fs::path& folder, std::string_view name) {
    const auto wrong = [&](const std::string& text) {
        return fail(folder.wstring() + L": " + CORE::toWide(text));
    };
    if (fs::exists(folder / onlyMachineFile)) {
        if (name.empty()) return std::string(onlyMachineFile);
        return wrong("there is one machine, that of machine.toml");
    }
    const auto names = machinesOf(folder);
    if (names.empty()) return std::string(onlyMachineFile);  // whose absence is told then
    std::string known;
    for (const std::string& one : names) {
        if (CORE::equalFolded(one, name)) return one + machineSuffix;
        known += (known.empty() ? "" : ", ") + one;
    }
    return wrong((name.empty() ? "which machine is meant has to be said"
                               : "there is no machine \"" + std::string(name) + "\"") +
                 " (there are " + known + ")");
}

Owner ownerOf(const MachineDescription& machine, std::string file, bool isThisMachine) {
    return {std::move(file), CORE::toUtf8(machine.netBiosName), CORE::toUtf8(machine.dnsName), isThisMachine};
}

Result<void> openDirectories(Lab& lab, MachineDescription& machine, const Owner& owner) {
    for (const std::string& name : {owner.netBiosName, owner.dnsName}) lab.network->addHost(name);
    for (auto& description : machine.directories)
        if (auto opened = openDirectory(lab, description, owner); !opened) return opened;
    return {};
}

// The machine of that file; the lab keeps the file's text.
Result<MachineDescription> readMachine(Lab& lab, const fs::path& folder, std::string file) {
    lab.folder = folder;
    lab.machine.name = std::move(file);
    auto text = readLabFile(folder / lab.machine.name);
    if (!text) return fail(1, (folder / lab.machine.name).wstring() + L": " + text.error().text);
    auto machine = readMachineFile(*text, lab.machine.name);
    if (!machine) return fail(machine.error());
    lab.machine.digest = digestOf(*text);
    lab.machineText = std::move(*text);
    return machine;
}

// What the other machines of the lab serve on the network that they share.
Result<void> openOthers(Lab& lab) {
    if (lab.machine.name == onlyMachineFile) return {};
    for (const std::string& name : machinesOf(lab.folder)) {
        const std::string file = name + machineSuffix;
        if (file == lab.machine.name) continue;
        const auto text = readLabFile(lab.folder / file);
        if (!text) return fail(1, CORE::toWide(file) + L": " + text.error().text);
        auto machine = readMachineFile(*text, file);
        if (!machine) return fail(machine.error());
        const Owner owner = ownerOf(*machine, file, false);
        if (auto opened = openDirectories(lab, *machine, owner); !opened) return opened;
    }
    return {};
}

// The content of the machine's files that the lab's folder holds.
Result<std::vector<LabFile>> withContent(const Lab& lab, std::vector<LabFile> files) {
    for (LabFile& file : files) {
        if (file.source.empty()) continue;
        auto text = readLabFile(lab.folder / file.source);
        if (!text)
            return fail(1, CORE::toWide(lab.machine.name) + L":" + std::to_wstring(file.line) + L": " +
                               CORE::toWide(file.source) + L": " + text.error().text);
        file.content = std::move(*text);
    }
    return files;
}

// A variable that the machine has unless its file says otherwise.
void giveVariable(GivenProcess& process, const wchar_t* name, const std::wstring& value) {
    const auto same = [&](const auto& known) { return CORE::equalFolded(known.first, name); };
    if (!value.empty() && std::ranges::none_of(process.environment, same))
        process.environment.emplace(name, value);
}

Result<void> openParts(Lab& lab, MachineDescription& machine) {
    lab.netBiosName = CORE::toUtf8(machine.netBiosName);
    lab.dnsName = CORE::toUtf8(machine.dnsName);
    if (lab.sharesNetwork) lab.network = std::make_shared<LabNetwork>(*lab.network, lab.netBiosName);
    if (!lab.clock && machine.fixedTime) lab.clock = std::make_shared<FixedClock>(*machine.fixedTime);
    if (!lab.clock) lab.clock = makeSystemClock();
    lab.registry = std::make_shared<LabRegistry>(machine.registry);
    lab.policy = std::make_shared<LabPolicy>(std::move(machine.policy));
    lab.services = std::make_shared<LabServices>(std::move(machine.services));
    auto files = withContent(lab, std::move(machine.files));
    if (!files) return fail(files.error());
    for (const char* name : {"localhost", "127.0.0.1", "::1"}) lab.network->addHost(name);
    for (UnreachableHost& host : machine.unreachable)
        lab.network->addUnreachable(std::move(host.name), host.meets);
    lab.files = std::make_shared<LabFiles>(std::move(*files), machine.temporaryFolder);
    return openDirectories(lab, machine, ownerOf(machine, lab.machine.name, true));
}

std::shared_ptr<Processes> makeProcesses(const std::shared_ptr<Lab>& lab, std::vector<ProgramRule> rules) {
    const auto machine = std::make_shared<InstanceMachine>(InstanceMachine{
        lab->files, lab->services, lab->registry, lab->network,
        [lab](DirectoryDescription instance, const std::string& ldif) {
            return openInstance(*lab, std::move(instance), ldif);
        },
        [lab](const std::string& name) { return closeInstance(*lab, name); },
        [lab](DirectoryServer& server, const std::string& name) { return isOwnInstance(*lab, server, name); },
        lab->network});
    return std::make_shared<LabProcesses>(
        std::move(rules), lab->clock, [machine](const std::wstring& program, const std::wstring& arguments) {
            return runInstanceTool(*machine, program, arguments);
        });
}

std::shared_ptr<Platform> platformOf(const std::shared_ptr<Lab>& lab, MachineDescription& machine) {
    auto platform = std::make_shared<Platform>();
    // The network keeps the lab alive: its servers use the lab's clock.
    const std::shared_ptr<LabNetwork> network(lab, lab->network.get());
    platform->ldap = network;
    platform->network = network;
    platform->replication = makeLabReplication(network);
    platform->names = std::make_shared<LabNames>(machine.netBiosName, machine.dnsName);
    giveVariable(machine.process, L"COMPUTERNAME", machine.netBiosName);
    giveVariable(machine.process, L"WINDIR", machine.windowsDirectory);
    platform->environment = makeGivenEnvironment(std::move(machine.process.environment));
    platform->guids = makeGuids(std::move(machine.process.firstGuid));
    platform->filtering = makeLabFiltering(lab->policy);
    platform->firewall = makeLabFirewall(lab->policy);
    platform->processes = makeProcesses(lab, std::move(machine.programs));
    platform->commands = makeLabCommands(lab->policy, platform->processes);
    platform->services = makeLabServiceControl(lab->services);
    platform->folders = std::make_shared<LabFolders>(machine);
    platform->files = lab->files;
    platform->registry = lab->registry;
    platform->clock = lab->clock;
    platform->agents = makeLabAgents(std::move(machine.agents));
    platform->installation = machine.installation;
    platform->startup = std::move(machine.startup);
    platform->processAccount = machine.account;
    return platform;
}

}  // namespace

Result<std::shared_ptr<Platform>> openLab(const fs::path& folder, Changes changes, std::string_view machine) {
    auto lab = std::make_shared<Lab>();
    const auto file = machineFileOf(folder, machine);
    if (!file) return fail(file.error());
    auto description = readMachine(*lab, folder, *file);
    if (!description) return fail(description.error());
    if (const auto opened = openParts(*lab, *description); !opened) return fail(opened.error());
    if (const auto opened = openOthers(*lab); !opened) return fail(opened.error());
    auto platform = platformOf(lab, *description);
    platform->save = [lab, changes] { return changes == Changes::saved ? saveLab(*lab) : tellDropped(*lab); };
    return platform;
}

Result<std::map<std::string, std::shared_ptr<Platform>>> openLabMachines(const fs::path& folder) {
    std::map<std::string, std::shared_ptr<Platform>> machines;
    const auto network = std::make_shared<LabNetwork>();
    std::shared_ptr<Clock> clock;
    for (const std::string& name : machinesOf(folder)) {
        auto lab = std::make_shared<Lab>();
        lab->network = network;
        lab->sharesNetwork = true;
        lab->clock = clock;
        auto machine = readMachine(*lab, folder, name + machineSuffix);
        if (!machine) return fail(machine.error());
        if (const auto opened = openParts(*lab, *machine); !opened) return fail(opened.error());
        clock = lab->clock;
        machines.emplace(lab->netBiosName, platformOf(lab, *machine));
    }
    return machines;
}

}  // namespace wsadmin::platform::lab
