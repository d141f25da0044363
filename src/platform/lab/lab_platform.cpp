#include "platform/lab/lab_platform.h"

#include <list>
#include <set>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/saved_file.h"
#include "platform/lab/simulated_machine.h"
#include "platform/module/topic_log.h"
#include "platform/portable/process_surroundings.h"
#include "platform/portable/system_clock.h"

namespace wsadmin::platform::lab {

namespace {

namespace fs = std::filesystem;

constexpr char machineFile[] = "machine.toml";

Result<std::string> readFile(const fs::path& path) {
    try {
        return std::string(CORE::withoutByteOrderMark(CORE::contentOf(path)));
    } catch (const CORE::coreException&) {
        return fail(1, L"the file cannot be read");
    }
}

// A file of the lab, with what tells its content from any other.
struct KeptFile {
    std::string name;
    std::size_t digest = 0;  // of the content that was read or written last
};

std::size_t digestOf(std::string_view text) {
    return std::hash<std::string_view>()(text);
}

// A lab that is open: what its parts are made of, and where they are kept.
struct Lab {
    fs::path folder;
    std::string machineText;
    KeptFile machine{machineFile};
    std::shared_ptr<Clock> clock;
    std::shared_ptr<LabRegistry> registry;
    std::shared_ptr<LabPolicy> policy;
    std::shared_ptr<LabNetwork> network = std::make_shared<LabNetwork>();
    struct Served {
        std::shared_ptr<DirectoryServer> server;
        std::vector<KeptFile> files;
    };
    std::vector<Served> directories;
    std::set<fs::path> contentFiles;  // of all directories, links followed
    std::mutex saving;
};

// The content files as they were read.
Result<std::vector<KeptFile>> loadFiles(Lab& lab, const DirectoryDescription& description,
                                        Directory& directory) {
    std::vector<KeptFile> read;
    const auto wrong = [&](const std::string& name, const std::wstring& text) {
        return fail(1, CORE::toWide(machineFile) + L":" + std::to_wstring(description.line) + L": " +
                           CORE::toWide(name) + L": " + text);
    };
    const auto each = [&](const std::vector<std::string>& names, auto reader) -> Result<void> {
        read.clear();
        for (const auto& name : names) {
            const auto text = readFile(lab.folder / name);
            if (!text) return wrong(name, text.error().text);
            if (auto done = (directory.*reader)(*text, name); !done) return done;
            read.push_back({name, digestOf(*text)});
        }
        return {};
    };
    if (auto done = each(description.schemaFiles, &Directory::readSchema); !done) return fail(done.error());
    if (auto done = each(description.files, &Directory::readContent); !done) return fail(done.error());
    directory.finish();
    // Each save would overwrite what the other directory has in the file.
    for (const auto& [name, digest] : read)
        if (!lab.contentFiles.insert(CORE::fileBehindLinks(lab.folder / name)).second)
            return wrong(name, L"the file belongs to a directory already");
    return read;
}

Result<void> openDirectory(Lab& lab, const MachineDescription& machine, DirectoryDescription& description) {
    const auto netBios = CORE::toUtf8(machine.netBiosName), dns = CORE::toUtf8(machine.dnsName);
    description.settings.hostName = netBios;
    description.settings.dnsHostName = dns;
    auto directory = std::make_unique<Directory>(description.settings, *lab.clock);
    auto files = loadFiles(lab, description, *directory);
    if (!files) return fail(files.error());
    auto address = description.address;
    if (address.hosts.empty()) address.hosts = {"", "localhost", "127.0.0.1", "::1", netBios, dns};
    auto server = std::make_shared<DirectoryServer>(std::move(directory), description.accounts,
                                                    description.faults, lab.clock);
    if (const auto taken = lab.network->listen(std::move(address), server))
        return fail(1, CORE::toWide(machineFile) + L":" + std::to_wstring(description.line) +
                           L": another directory is reached at " + CORE::toWide(*taken));
    lab.directories.push_back({std::move(server), std::move(*files)});
    return {};
}

// A file that is to be written, and what brings its change back when it is not.
struct Change {
    KeptFile* file;
    std::string text;
    std::function<void()> keep;
};

// What changed since the last call.
std::vector<Change> takeChanges(Lab& lab) {
    std::vector<Change> changes;
    for (auto& [server, files] : lab.directories) {
        Directory& directory = server->directory();
        for (auto& [number, text] : directory.takeChangedFiles())
            changes.push_back({&files.at(number), std::move(text),
                               [&directory, number = number] { directory.keepChanged(number); }});
    }
    const auto registry = lab.registry->takeChanges();
    const auto policy = lab.policy->takeChanges();
    if (!registry && !policy) return changes;
    std::string text = lab.machineText;
    if (registry) text = replaceRegistry(text, *registry);
    if (policy) text = replacePolicy(text, *policy);
    changes.push_back({&lab.machine, std::move(text), [&lab, both = std::pair(!!registry, !!policy)] {
                           if (both.first) lab.registry->keepChanged();
                           if (both.second) lab.policy->keepChanged();
                       }});
    return changes;
}

// Nobody else has changed the files since they were read: their changes would be lost. The folders are
// locked.
void requireUnchanged(const Lab& lab, const std::vector<Change>& changes) {
    for (const Change& change : changes) {
        const auto now = readFile(lab.folder / change.file->name);
        if (!now || digestOf(*now) != change.file->digest)
            throw CORE::coreException(
                CORE::toWide(change.file->name) +
                L" was changed by somebody else since it was read, and nothing is saved");
    }
}

// Puts the files in their places, one after the other, and takes the changes that were out of the list. All
// new contents are on the disk before the first takes its place, so that a full disk leaves all files as they
// were.
void replaceFiles(Lab& lab, std::vector<Change>& changes) {
    // In one order for everybody, so that two who save never wait for each other.
    std::set<fs::path> folders;
    for (const Change& change : changes)
        folders.insert(CORE::fileBehindLinks(lab.folder / change.file->name).parent_path());
    const std::list<CORE::FolderLock> locks(folders.begin(), folders.end());
    requireUnchanged(lab, changes);
    std::list<CORE::FileReplacement> replacements;
    for (const Change& change : changes)
        replacements.emplace_back(lab.folder / change.file->name, change.text);
    std::wstring replaced;
    for (; !changes.empty(); changes.erase(changes.begin()), replacements.pop_front()) {
        KeptFile& file = *changes.front().file;
        try {
            replacements.front().commit();
        } catch (const CORE::coreException& error) {
            // The next save finds its own content, and writes it again.
            if (replacements.front().inPlace()) file.digest = digestOf(changes.front().text);
            if (replaced.empty()) throw;
            throw CORE::coreException(error.text() + L"; saved before that:" + replaced);
        }
        replaced += L" " + CORE::toWide(file.name);
        file.digest = digestOf(changes.front().text);
        if (&file == &lab.machine) lab.machineText = std::move(changes.front().text);
    }
}

// Writes all that changed. What is not written is kept for the next time.
Result<void> save(Lab& lab) {
    const std::lock_guard lock(lab.saving);
    auto changes = takeChanges(lab);
    Result<void> outcome;
    try {
        for (const Change& change : changes)
            if (change.file == &lab.machine)
                if (auto readAgain = readMachineFile(change.text, machineFile); !readAgain)
                    throw CORE::coreException(readAgain.error().text);
        replaceFiles(lab, changes);
    } catch (const CORE::coreException& error) {
        outcome = fail(1, error.text());
    }
    for (const Change& change : changes) change.keep();
    return outcome;
}

// For a lab that is not saved: an administrator has to know that what was changed is gone.
Result<void> tellDropped(Lab& lab) {
    const std::lock_guard lock(lab.saving);
    std::string names;
    for (const Change& change : takeChanges(lab)) names += (names.empty() ? "" : ", ") + change.file->name;
    if (!names.empty()) logSavingWarning(L"What changed in %s is not kept: nothing was to be saved", names);
    return {};
}

}  // namespace

Result<std::shared_ptr<Platform>> openLab(const fs::path& folder, Changes changes) {
    auto lab = std::make_shared<Lab>();
    lab->folder = folder;
    auto text = readFile(folder / machineFile);
    if (!text) return fail(1, (folder / machineFile).wstring() + L": " + text.error().text);
    auto machine = readMachineFile(*text, machineFile);
    if (!machine) return fail(machine.error());
    lab->machine.digest = digestOf(*text);
    lab->machineText = std::move(*text);
    if (machine->fixedTime)
        lab->clock = std::make_shared<FixedClock>(*machine->fixedTime);
    else
        lab->clock = makeSystemClock();
    lab->registry = std::make_shared<LabRegistry>(machine->registry);
    lab->policy = std::make_shared<LabPolicy>(std::move(machine->policy));
    for (auto& description : machine->directories)
        if (const auto opened = openDirectory(*lab, *machine, description); !opened)
            return fail(opened.error());

    auto platform = std::make_shared<Platform>();
    // The network keeps the lab alive: its servers use the lab's clock.
    platform->ldap = std::shared_ptr<LdapClient>(lab, lab->network.get());
    platform->names = std::make_shared<LabNames>(machine->netBiosName, machine->dnsName);
    machine->process.environment.try_emplace(L"COMPUTERNAME", machine->netBiosName);
    platform->environment = makeGivenEnvironment(std::move(machine->process.environment));
    platform->guids = makeGuids(std::move(machine->process.firstGuid));
    platform->filtering = makeLabFiltering(lab->policy);
    platform->firewall = makeLabFirewall(lab->policy);
    platform->commands = makeLabCommands(lab->policy);
    platform->folders = std::make_shared<LabFolders>(*machine);
    platform->registry = lab->registry;
    platform->processes = std::make_shared<LabProcesses>(machine->programs, lab->clock);
    platform->clock = lab->clock;
    platform->installation = machine->installation;
    platform->startup = std::move(machine->startup);
    platform->processAccount = machine->account;
    platform->save = [lab, changes] { return changes == Changes::saved ? save(*lab) : tellDropped(*lab); };
    return platform;
}

}  // namespace wsadmin::platform::lab
