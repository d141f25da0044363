// Labs of some servers with a directory instance each, whose files a test writes.
#pragma once

#include <optional>
#include <string>

#include "platform/lab/lab_platform.h"
#include "support/rows.h"
#include "support/temp_folder.h"

namespace wstest {

// The servers VCS1 (vcs1.corp.example), VCS2 and so on; their instances hold one naming context, at port
// 22389.
struct SmallLab {
    std::string instance, partition;
    TempFolder folder{};

    // With further lines of the machine's file and of its directory's table; without that one it has none.
    void add(int number, const std::string& machine, const std::optional<std::string>& directory,
             const std::string& ldif = "") const {
        const std::string digit = std::to_string(number);
        std::string toml = "[machine]\nnetbios-name = \"VCS" + digit + "\"\ndns-name = \"vcs" + digit +
                           ".corp.example\"\n" + machine;
        if (directory)
            toml += "[[directory]]\nname = \"" + instance + "\"\nsuffixes = [\"" + partition +
                    "\"]\nports = [22389]\nfiles = [\"" + digit + ".ldif\"]\n" + *directory;
        folder.write("VCS" + digit + ".toml", toml);
        folder.write(digit + ".ldif", ldif);
    }
    std::shared_ptr<wsadmin::platform::Platform> open(const std::string& machine,
                                                      wsadmin::platform::lab::Changes changes) const {
        auto opened = wsadmin::platform::lab::openLab(folder.path(), changes, machine);
        if (!opened) throw std::runtime_error(CORE::toUtf8(opened.error().text));
        return *opened;
    }
};

inline constexpr char smallLabsAccount[] =
    "[[directory.account]]\nname = \"admin\"\ndomain = \"CORP\"\npassword = \"right\"\n";

// The faults of a directory: lines of their table, and orders, each an operation, its code, how often it
// fails and how often it succeeds before.
inline std::string faultsOf(const Json& orders, const std::string& lines = "") {
    std::string toml = "[directory.faults]\n" + lines;
    for (const Json& order : orders) {
        constexpr const char* keys[] = {"operation", "code", "times", "skip"};
        toml += "[[directory.faults.fail]]\n";
        for (std::size_t i = 0; i < order.size(); ++i)
            toml += std::string(keys[i]) + " = " + order[i].dump() + "\n";
    }
    return toml;
}

}  // namespace wstest
