// The labs that the examples of the operation table are for, and the requests that they make.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/core/security.h"
#include "framework/operation_table.h"
#include "platform/lab/lab_platform.h"
#include "platform/portable/portable_directory.h"
#include "support/temp_folder.h"
#include "support/test_service.h"
#include "support/typed_request.h"

namespace wstest {

// Below labs/; what is done there before, each on a machine of the lab.
struct ExampleLab {
    struct Before {
        const char* machine;
        const wchar_t *operation, *keys;
        bool operator==(const Before&) const = default;
    };
    std::string folder = "sample", machine{};
    std::vector<Before> before{};
    // The seconds since 1970 on the lab's clock, where that has to be the machine's.
    int time = before.empty() ? 1'700'000'000 : 1'767'225'600;
    bool operator==(const ExampleLab&) const = default;
};

// Operations on a federation are asked where there is one, and on a server that may be asked.
inline ExampleLab labOf(std::wstring_view operation) {
    const ExampleLab federated{.folder = "federated"};
    const ExampleLab::Before founded{"VCS1", L"qrvLdapInit", L""},
        replicated{"VCS2", L"qrvLdapInstallReplica", L"servername=vcs1.corp.example"},
        dissolved{"VCS1", L"qrvLdapUninit", L""};
    const std::pair<std::wstring_view, ExampleLab> labs[] = {
        {L"getGlobalEntitledDesktops", federated},
        {L"qrvLdapInfo", federated},
        {L"qrvLdapCheckEnablement", federated},
        {L"qrvLdapEject", federated},
        {L"qrvLdapUnjoin", federated},
        {L"qrvLdapJoin", {"federation", "VCS3", {founded}}},
        {L"qrvLdapInstallReplica", {"federation", "VCS2", {founded}}},
        {L"qrvLdapUninit", {"federation", "VCS1", {founded}}},
        {L"qrvLdapRemovePodEndpoint", {"federation", "VCS1", {founded, replicated}}},
        {L"qrvLdapUninstallReplica", {"federation", "VCS2", {founded, replicated, dissolved}}},
    };
    for (const auto& [name, lab] : labs)
        if (name == operation) return lab;
    return {};
}

// A request as the tool makes it: what travels encrypted is encrypted. A value "@FILE" is the text of a file
// below one of the roots, where there is one; the terminal's is the password of the labs' administrator.
inline CORE::PropertyBag requestOf(const wsadmin::Operation& operation, std::wstring_view keys,
                                   const std::vector<std::filesystem::path>& roots = {}) {
    CORE::PropertyBag bag;
    const auto pairs = typedPairs(keys).value();
    for (const auto& [name, typed] : pairs) {
        std::string text = CORE::toUtf8(typed);
        for (const auto& root : roots)
            if (text.starts_with('@'))
                if (const std::string read = fileText(root / text.substr(1)); !read.empty())
                    text = read.ends_with('\n') ? read.substr(0, read.size() - 1) : read;
        if (text == "@-") text = "Passw0rd.Fix";
        const auto key = std::ranges::find(operation.request, name, &wsadmin::Key::name);
        if (key != operation.request.end() && key->type == wsadmin::KeyType::encrypted)
            text = CORE::toUtf8(CORE::SecurityManager::System().Encrypt(text));
        bag.add(name, std::string_view(text));
    }
    return bag;
}

// The folder of the lab; where something is done there before, a copy below `copies`.
inline std::filesystem::path folderOf(const ExampleLab& lab, const TempFolder& copies) {
    using namespace wsadmin::platform;
    const std::filesystem::path labs = WS_SOURCE_DIR "/labs";
    if (lab.before.empty()) return labs / lab.folder;
    std::filesystem::copy(labs, copies.path() / "labs", std::filesystem::copy_options::recursive);
    const std::filesystem::path folder = copies.path() / "labs" / lab.folder;
    // Nobody needs them, and all machines of a lab are opened together.
    for (const char* other : {"VCS4.toml", "VCS5.toml", "VCS6.toml"}) std::filesystem::remove(folder / other);
    for (const ExampleLab::Before& step : lab.before) {
        auto machine = lab::openLab(folder, lab::Changes::saved, step.machine).value();
        machine->directoryServices = makePortableDirectoryServices(machine->ldap, "corp.example");
        TestService service(machine);
        const wsadmin::Operation& operation = *wsadmin::findOperation(step.operation);
        CORE::PropertyBag response;
        const auto request = requestOf(operation, step.keys);
        if (!operation.run(service, wsadmin::Request(request, operation.request), response) ||
            !machine->save())
            throw std::runtime_error(CORE::toUtf8(response.getErrorText()));
    }
    return folder;
}

}  // namespace wstest
