#include "platform/lab/lab_saving.h"

#include <fstream>
#include <functional>
#include <list>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/saved_file.h"
#include "platform/module/topic_log.h"

namespace wsadmin::platform::lab {

namespace {

namespace fs = std::filesystem;

// A file that is to be written, and what brings its change back when it is not.
struct Change {
    KeptFile* file;
    std::string text;
    std::function<void()> keep;
};

// A change of the machine's file, and what brings it back when it is not written.
struct Edit {
    std::function<std::string(std::string_view)> apply;
    std::function<void()> keep;
};

template <class Part, class Replace>
void addEdit(std::vector<Edit>& edits, Part& part, Replace replace) {
    if (auto content = part.takeChanges())
        edits.push_back({[replace, changed = std::move(*content)](std::string_view text) {
                             return replace(text, changed);
                         },
                         [&part] { part.keepChanged(); }});
}

std::string replaceInstances(std::string_view text, const InstanceChanges& changes) {
    std::string edited(text);
    for (const std::string& name : changes.removed) edited = withoutDirectory(edited, name);
    for (const DirectoryDescription& one : changes.made)
        edited = withDirectory(withoutDirectory(edited, one.settings.name), one);
    return edited;
}

// What changed since the last call.
std::vector<Change> takeChanges(Lab& lab) {
    std::vector<Change> changes;
    for (const auto& served : lab.directories) {
        Directory& directory = served->server->directory();
        for (auto& [number, text] : directory.takeChangedFiles())
            changes.push_back({&served->files.at(number), std::move(text), [served, number = number] {
                                   served->server->directory().keepChanged(number);
                               }});
    }
    std::vector<Edit> edits;
    addEdit(edits, *lab.registry, replaceRegistry);
    addEdit(edits, *lab.policy, replacePolicy);
    addEdit(edits, *lab.services, replaceServices);
    addEdit(edits, *lab.files, replaceFiles);
    addEdit(edits, lab.instances, replaceInstances);
    if (edits.empty()) return changes;
    std::string text = lab.machineText;
    for (const Edit& edit : edits) text = edit.apply(text);
    changes.push_back({&lab.machine, std::move(text), [edits = std::move(edits)] {
                           for (const Edit& edit : edits) edit.keep();
                       }});
    return changes;
}

// So that there is a file for the first content to take the place of. An empty one that stays behind after a
// failure holds nothing.
void makeNewFiles(const Lab& lab, const std::vector<Change>& changes) {
    for (const Change& change : changes)
        if (std::exchange(change.file->isNew, false))
            std::ofstream(lab.folder / change.file->name, std::ios::app);
}

// Nobody else has changed the files since they were read: their changes would be lost. The folders are
// locked.
void requireUnchanged(const Lab& lab, const std::vector<Change>& changes) {
    for (const Change& change : changes) {
        const auto now = readLabFile(lab.folder / change.file->name);
        if (!now || digestOf(*now) != change.file->digest)
            throw CORE::coreException(
                CORE::toWide(change.file->name) +
                L" was changed by somebody else since it was read, and nothing is saved");
    }
}

// Puts the files in their places, one after the other, and takes the changes that were out of the list. All
// new contents are on the disk before the first takes its place, so that a full disk leaves all files as they
// were.
void putInPlace(Lab& lab, std::vector<Change>& changes) {
    makeNewFiles(lab, changes);
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

}  // namespace

Result<void> saveLab(Lab& lab) {
    lab.network->settle();
    const std::lock_guard lock(lab.saving);
    auto changes = takeChanges(lab);
    Result<void> outcome;
    try {
        for (const Change& change : changes)
            if (change.file == &lab.machine)
                if (auto readAgain = readMachineFile(change.text, lab.machine.name); !readAgain)
                    throw CORE::coreException(readAgain.error().text);
        putInPlace(lab, changes);
    } catch (const CORE::coreException& error) {
        outcome = fail(1, error.text());
    }
    for (const Change& change : changes) change.keep();
    return outcome;
}

Result<void> tellDropped(Lab& lab) {
    const std::lock_guard lock(lab.saving);
    std::string names;
    for (const Change& change : takeChanges(lab)) names += (names.empty() ? "" : ", ") + change.file->name;
    if (!names.empty()) logSavingWarning(L"What changed in %s is not kept: nothing was to be saved", names);
    return {};
}

}  // namespace wsadmin::platform::lab
