// The labs that the examples of the operation table are for, and the requests that they make.
#pragma once

#include <array>
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
#include "sweep/sweep_data.h"

namespace sweep {

// As labs.jsonl has it.
struct ExampleLab {
    std::string folder = "sample", machine{};
    std::vector<std::array<std::string, 3>> before{};
    // The seconds since 1970 on the lab's clock, where that has to be the machine's.
    int time() const { return before.empty() ? 1'700'000'000 : 1'767'225'600; }
    bool operator==(const ExampleLab&) const = default;
};

inline ExampleLab labOf(const std::string& operation) {
    for (const auto& row : rowsOf("labs.jsonl"))
        if (std::ranges::count(row.at("of"), Row(operation)) > 0)
            return {row.at("folder"), row.value("machine", ""),
                    row.value("before", std::vector<std::array<std::string, 3>>())};
    return {};
}

// A request as the tool makes it: what travels encrypted is encrypted. A value "@FILE" is the text of a file
// below one of the roots, where there is one; the terminal's is the password of the labs' administrator.
inline CORE::PropertyBag requestOf(const wsadmin::Operation& operation, std::wstring_view keys,
                                   const std::vector<std::filesystem::path>& roots = {}) {
    CORE::PropertyBag bag;
    const auto pairs = wstest::typedPairs(keys).value();
    for (const auto& [name, typed] : pairs) {
        std::string text = CORE::toUtf8(typed);
        for (const auto& root : roots)
            if (text.starts_with('@') && is_regular_file(root / text.substr(1)))
                text = wstest::fileText(root / text.substr(1));
        if (text.ends_with('\n')) text.pop_back();
        if (text == "@-") text = "Passw0rd.Fix";
        const auto key = std::ranges::find(operation.request, name, &wsadmin::Key::name);
        if (key != operation.request.end() && key->type == wsadmin::KeyType::encrypted)
            text = CORE::toUtf8(CORE::SecurityManager::System().Encrypt(text));
        bag.add(name, std::string_view(text));
    }
    return bag;
}

// The folder of the lab; where something is done there before, a copy below `copies`.
inline std::filesystem::path folderOf(const ExampleLab& lab, const wstest::TempFolder& copies) {
    using namespace wsadmin::platform;
    const std::filesystem::path labs = WS_SOURCE_DIR "/labs";
    if (lab.before.empty()) return labs / lab.folder;
    std::filesystem::copy(labs, copies.path() / "labs", std::filesystem::copy_options::recursive);
    const std::filesystem::path folder = copies.path() / "labs" / lab.folder;
    // Nobody needs them, and all machines of a lab are opened together.
    for (const char* other : {"VCS4.toml", "VCS5.toml", "VCS6.toml"}) std::filesystem::remove(folder / other);
    for (const auto& [name, asked, keys] : lab.before) {
        auto machine = lab::openLab(folder, lab::Changes::saved, name).value();
        machine->directoryServices = makePortableDirectoryServices(machine->ldap, "corp.example");
        wstest::TestService service(machine);
        const wsadmin::Operation& operation = *wsadmin::findOperation(CORE::toWide(asked));
        CORE::PropertyBag response;
        const auto request = requestOf(operation, CORE::toWide(keys));
        if (!operation.run(service, wsadmin::Request(request, operation.request), response) ||
            !machine->save())
            throw std::runtime_error(CORE::toUtf8(response.getErrorText()));
    }
    return folder;
}

}  // namespace sweep
