#include "platform/lab/lab_platform.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "framework/core/corestring.h"
#include "platform/lab/simulated_machine.h"
#include "platform/portable/system_clock.h"

namespace wsadmin::platform::lab {

namespace {

namespace fs = std::filesystem;

constexpr char machineFile[] = "machine.toml";

Result<std::string> readFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) return fail(1, L"the file cannot be read");
    std::ostringstream text;
    text << stream.rdbuf();
    return std::string(CORE::withoutByteOrderMark(text.view()));
}

Result<void> writeFile(const fs::path& path, std::string_view text) {
    auto temporary = path;
    temporary += ".new";
    std::error_code error;
    {
        std::ofstream stream(temporary, std::ios::binary);
        // What only its owner may read stays so, from the first byte on: labs hold passwords.
        if (const auto before = fs::status(path, error); !error)
            fs::permissions(temporary, before.permissions(), error);
        stream << text;
        if (!stream.flush()) return fail(1, temporary.wstring() + L": the file cannot be written");
    }
    fs::rename(temporary, path, error);
    if (error) return fail(error.value(), path.wstring() + L": " + CORE::toWide(error.message()));
    return {};
}

// A lab that is open: what its parts are made of, and where they are kept.
struct Lab {
    fs::path folder;
    std::string machineText;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<LabRegistry> registry;
    std::shared_ptr<LabNetwork> network = std::make_shared<LabNetwork>();
    struct Served {
        std::shared_ptr<DirectoryServer> server;
        std::vector<std::string> files;
    };
    std::vector<Served> directories;
    std::mutex saving;
};

Result<void> loadFiles(const Lab& lab, const DirectoryDescription& description, Directory& directory) {
    const auto each = [&](const std::vector<std::string>& names, auto read) -> Result<void> {
        for (const auto& name : names) {
            const auto text = readFile(lab.folder / name);
            if (!text)
                return fail(1, CORE::toWide(machineFile) + L":" + std::to_wstring(description.line) + L": " +
                                   CORE::toWide(name) + L": " + text.error().text);
            if (auto done = (directory.*read)(*text, name); !done) return done;
        }
        return {};
    };
    if (auto done = each(description.schemaFiles, &Directory::readSchema); !done) return done;
    if (auto done = each(description.files, &Directory::readContent); !done) return done;
    directory.finish();
    return {};
}

Result<void> openDirectory(Lab& lab, const MachineDescription& machine, DirectoryDescription& description) {
    const auto netBios = CORE::toUtf8(machine.netBiosName), dns = CORE::toUtf8(machine.dnsName);
    description.settings.hostName = netBios;
    description.settings.dnsHostName = dns;
    auto directory = std::make_unique<Directory>(description.settings, *lab.clock);
    if (auto loaded = loadFiles(lab, description, *directory); !loaded) return loaded;
    auto address = description.address;
    if (address.hosts.empty()) address.hosts = {"", "localhost", "127.0.0.1", "::1", netBios, dns};
    auto server = std::make_shared<DirectoryServer>(std::move(directory), description.accounts,
                                                    description.faults, lab.clock);
    if (const auto taken = lab.network->listen(std::move(address), server))
        return fail(1, CORE::toWide(machineFile) + L":" + std::to_wstring(description.line) +
                           L": another directory is reached at " + CORE::toWide(*taken));
    lab.directories.push_back({std::move(server), description.files});
    return {};
}

Result<void> saveRegistry(Lab& lab) {
    const auto registry = lab.registry->takeChanges();
    if (!registry) return {};
    auto text = replaceRegistry(lab.machineText, *registry);
    Result<void> written;
    if (const auto readAgain = readMachineFile(text, machineFile); !readAgain)
        written = fail(readAgain.error());
    else
        written = writeFile(lab.folder / machineFile, text);
    if (written)
        lab.machineText = std::move(text);
    else
        lab.registry->keepChanged();
    return written;
}

// Writes all that changed. What cannot be written is kept for the next time, and the first such failure is
// told.
Result<void> save(Lab& lab) {
    const std::lock_guard lock(lab.saving);
    Result<void> outcome;
    for (auto& [server, files] : lab.directories)
        for (const auto& [number, text] : server->directory().takeChangedFiles())
            if (auto written = writeFile(lab.folder / files.at(number), text); !written) {
                server->directory().keepChanged(number);
                if (outcome) outcome = std::move(written);
            }
    if (auto written = saveRegistry(lab); !written && outcome) outcome = std::move(written);
    return outcome;
}

}  // namespace

Result<std::shared_ptr<Platform>> openLab(const fs::path& folder) {
    auto lab = std::make_shared<Lab>();
    lab->folder = folder;
    auto text = readFile(folder / machineFile);
    if (!text) return fail(1, (folder / machineFile).wstring() + L": " + text.error().text);
    auto machine = readMachineFile(*text, machineFile);
    if (!machine) return fail(machine.error());
    lab->machineText = std::move(*text);
    if (machine->fixedTime)
        lab->clock = std::make_shared<FixedClock>(*machine->fixedTime);
    else
        lab->clock = makeSystemClock();
    lab->registry = std::make_shared<LabRegistry>(machine->registry);
    for (auto& description : machine->directories)
        if (const auto opened = openDirectory(*lab, *machine, description); !opened)
            return fail(opened.error());

    auto platform = std::make_shared<Platform>();
    // The network keeps the lab alive: its servers use the lab's clock.
    platform->ldap = std::shared_ptr<LdapClient>(lab, lab->network.get());
    platform->names = std::make_shared<LabNames>(machine->netBiosName, machine->dnsName);
    platform->folders = std::make_shared<LabFolders>(*machine);
    platform->registry = lab->registry;
    platform->processes = std::make_shared<LabProcesses>(machine->programs, lab->clock);
    platform->clock = lab->clock;
    platform->installation = machine->installation;
    platform->startup = std::move(machine->startup);
    platform->processAccount = machine->account;
    platform->save = [lab] { return save(*lab); };
    return platform;
}

}  // namespace wsadmin::platform::lab
