#include "platform/lab/lab_directories.h"

#include <algorithm>
#include <iterator>

#include "framework/core/corestring.h"
#include "framework/core/saved_file.h"

namespace wsadmin::platform::lab {

namespace {

namespace fs = std::filesystem;

// The content files as they were read.
Result<std::vector<KeptFile>> loadFiles(Lab& lab, const DirectoryDescription& description, const Owner& owner,
                                        Directory& directory) {
    std::vector<KeptFile> read;
    const auto wrong = [&](const std::string& name, const std::wstring& text) {
        return fail(1, CORE::toWide(owner.file) + L":" + std::to_wstring(description.line) + L": " +
                           CORE::toWide(name) + L": " + text);
    };
    const auto each = [&](const std::vector<std::string>& names, auto reader) -> Result<void> {
        read.clear();
        for (const auto& name : names) {
            const auto text = readLabFile(lab.folder / name);
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
    for (const KeptFile& file : read)
        if (!lab.contentFiles.insert(CORE::fileBehindLinks(lab.folder / file.name)).second)
            return wrong(file.name, L"the file belongs to a directory already");
    return read;
}

Result<void> serve(Lab& lab, const DirectoryDescription& description, const Owner& owner,
                   std::unique_ptr<Directory> directory, std::vector<KeptFile> files) {
    auto address = description.address;
    if (address.hosts.empty()) {
        std::vector<std::string> names{owner.netBiosName, owner.dnsName};
        names.insert(names.end(), description.replicasOn.begin(), description.replicasOn.end());
        const bool isHere = std::ranges::any_of(
            names, [&](const std::string& name) { return CORE::equalFolded(name, lab.netBiosName); });
        if (!lab.sharesNetwork && (owner.isThisMachine || isHere))
            address.hosts = {"", "localhost", "127.0.0.1", "::1"};
        std::ranges::move(names, std::back_inserter(address.hosts));
    }
    auto server = std::make_shared<DirectoryServer>(std::move(directory), description.accounts,
                                                    description.faults, lab.clock);
    if (const auto taken = lab.network->listen(std::move(address), server))
        return fail(1, CORE::toWide(owner.file) + L":" + std::to_wstring(description.line) +
                           L": another directory is reached at " + CORE::toWide(*taken));
    const std::lock_guard lock(lab.saving);
    lab.directories.push_back(
        std::make_shared<Lab::Served>(Lab::Served{std::move(server), std::move(files)}));
    return {};
}

}  // namespace

Result<void> openDirectory(Lab& lab, DirectoryDescription& description, const Owner& owner) {
    description.settings.hostName = owner.netBiosName;
    description.settings.dnsHostName = owner.dnsName;
    auto directory = std::make_unique<Directory>(description.settings, *lab.clock);
    auto files = loadFiles(lab, description, owner, *directory);
    if (!files) return fail(files.error());
    return serve(lab, description, owner, std::move(directory), std::move(*files));
}

Result<void> openInstance(Lab& lab, DirectoryDescription description, const std::string& ldif) {
    // The name becomes that of a file in the lab's folder.
    if (description.settings.name.find_first_of("/\\:") != std::string::npos)
        return fail(1, L"An instance cannot be named \"" + CORE::toWide(description.settings.name) + L"\"");
    description.settings.hostName = lab.netBiosName;
    description.settings.dnsHostName = lab.dnsName;
    std::string name = description.settings.name + ".ldif";
    for (int number = 2; fs::exists(lab.folder / name); ++number)
        name = description.settings.name + "-" + std::to_string(number) + ".ldif";
    description.files = {name};
    auto directory = std::make_unique<Directory>(description.settings, *lab.clock);
    if (auto read = directory->readContent(ldif, name); !read) return read;
    directory->finish();
    directory->keepChanged(0);
    const Owner owner{lab.machine.name, lab.netBiosName, lab.dnsName, true};
    if (auto served = serve(lab, description, owner, std::move(directory), {{name, digestOf({}), true}});
        !served)
        return served;
    lab.instances.change([&](InstanceChanges& changes) {
        changes.made.push_back(std::move(description));
        return true;
    });
    return {};
}

bool isOwnInstance(const Lab& lab, DirectoryServer& server, const std::string& name) {
    const DirectorySettings& settings = server.directory().settings();
    return settings.name == name && settings.hostName == lab.netBiosName;
}

bool closeInstance(Lab& lab, const std::string& name) {
    const std::lock_guard lock(lab.saving);
    const auto served = std::ranges::find_if(
        lab.directories, [&](const auto& one) { return isOwnInstance(lab, *one->server, name); });
    if (served == lab.directories.end()) return false;
    lab.network->leave(*(*served)->server);
    lab.directories.erase(served);
    lab.instances.change([&](InstanceChanges& changes) {
        std::erase_if(changes.made,
                      [&](const DirectoryDescription& one) { return one.settings.name == name; });
        changes.removed.push_back(name);  // it may have been saved already
        return true;
    });
    return true;
}

}  // namespace wsadmin::platform::lab
