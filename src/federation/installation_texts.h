// The texts that an installation is made of: the installer's answer file and the LDIF that fills the new
// directory. Plain functions; what stands in a name or a value is escaped and cannot add a line.
#pragma once

#include <string>
#include <string_view>

#include "platform/directory_services.h"

namespace wsadmin::qrv {

// What the texts say of this server and its pod. UTF-8.
struct Installed {
    std::string netBiosName;
    std::string hostName;  // fully qualified
    std::string podGuid;
    std::string podName;
    std::string federationGuid;
};

// What the installer is told of this machine. UTF-8.
struct AnswersOfMachine {
    std::string administrators;  // the local group as DOMAIN\name
    std::string dataFolder;
};
// For a directory of its own, and for a replica of the one of `source`, which is asked as the account unless
// that is empty. With a password in it.
CORE::secretstring answerFile(const AnswersOfMachine& machine);
CORE::secretstring replicaAnswerFile(const AnswersOfMachine& machine, std::string_view source,
                                     const platform::DirectoryCredentials& account);
// The entry that makes the partition known; `address` is host and port of this server's instance.
std::string crossReference(std::string_view guid, std::string_view address);
// Containers, federation, first site, pod, this server as its disabled endpoint, and the pod's groups.
std::string starterData(const Installed& installed);
// The pod's groups as members of the layer's roles.
std::string roleMembership(std::string_view podGuid);

// Names of entries of the layer.
std::string podEntry(std::string_view podGuid);
std::string podGroups(std::string_view podGuid);  // the container of its groups
std::string endpointEntry(std::string_view netBiosName, std::string_view podGuid);

}  // namespace wsadmin::qrv
