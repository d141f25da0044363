// A lab that is open: what its parts are made of, and where they are kept.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/lab/lab_files.h"
#include "platform/lab/services.h"
#include "platform/lab/simulated_machine.h"

namespace wsadmin::platform::lab {

// Without a byte order mark.
Result<std::string> readLabFile(const std::filesystem::path& path);

// A file of the lab, with what tells its content from any other.
struct KeptFile {
    std::string name;
    std::size_t digest = 0;  // of the content that was read or written last
    bool isNew = false;      // it is still to be made
};

inline std::size_t digestOf(std::string_view text) {
    return std::hash<std::string_view>()(text);
}

// Directory instances that programs of the machine made or removed.
struct InstanceChanges {
    std::vector<DirectoryDescription> made{};
    std::vector<std::string> removed{};
};

// A lab that is open: what its parts are made of, and where they are kept.
struct Lab {
    std::filesystem::path folder;
    std::string machineText;
    KeptFile machine;
    std::string netBiosName, dnsName;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<LabRegistry> registry;
    std::shared_ptr<LabPolicy> policy;
    std::shared_ptr<LabServices> services;
    std::shared_ptr<LabFiles> files;
    Changing<InstanceChanges> instances;
    std::shared_ptr<LabNetwork> network = std::make_shared<LabNetwork>();
    bool sharesNetwork = false;  // which then knows the machine's loopback names
    struct Served {
        std::shared_ptr<DirectoryServer> server;
        std::vector<KeptFile> files;
    };
    std::vector<std::shared_ptr<Served>> directories;
    std::set<std::filesystem::path> contentFiles;  // of all directories, links followed
    std::mutex saving;                             // guards the directories, too
};

// Whose directory it is: its names, and the file that describes it.
struct Owner {
    std::string file, netBiosName, dnsName;
    bool isThisMachine;
};

}  // namespace wsadmin::platform::lab
