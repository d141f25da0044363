#include "cases/runner/lab_folder.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "platform/platform.h"

namespace wstest {

using namespace wsadmin::platform;
namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path& file) {
    if (!fs::is_regular_file(file)) throw std::runtime_error(file.string() + " cannot be read");
    return fileText(file);
}

lab::MachineDescription machineOf(const std::string& toml) {
    auto machine = lab::readMachineFile(toml, "machine.toml");
    if (!machine) throw std::runtime_error(CORE::toUtf8(machine.error().text));
    return std::move(*machine);
}

std::string joined(const Json& texts) {
    std::string all;
    for (const std::string& text : textsOf(texts)) all += (text.starts_with("dn:") ? "\n\n" : "\n") + text;
    return all + "\n";
}

// A JSON value as TOML; both write texts, numbers and lists alike.
std::string asToml(const Json& value) {
    if (!value.is_object()) {
        std::string list;
        if (!value.is_array()) return value.dump();
        for (const Json& one : value) list += (list.empty() ? "" : ", ") + asToml(one);
        return "[" + list + "]";
    }
    std::string table;
    for (const auto& [key, one] : value.items())
        table += (table.empty() ? "" : ", ") + key + " = " + asToml(one);
    return "{" + table + "}";
}

}  // namespace

LabFolder::LabFolder(const Block& block, const fs::path& root) {
    const fs::path source = root / block.keys.at("lab").get<std::string>();
    // Deep enough for files that a lab shares with others above it.
    path_ = folder_.path() / "1" / "2" / "3" / "lab";
    std::istringstream lines(contentOf(source / "machine.toml"));
    std::string toml;
    for (std::string line; std::getline(lines, line);)
        if (std::ranges::none_of(textsOf(block.keys.value("without", Json::array())),
                                 [&](const std::string& part) { return line.find(part) != line.npos; }))
            toml += line + "\n";
    if (block.keys.contains("toml")) toml += joined(block.keys["toml"]);
    machine_ = machineOf(toml);
    const Json more = block.keys.value("ldif", Json::object());
    std::size_t used = 0;
    const auto write = [&](const fs::path& file, const std::string& text) {
        fs::create_directories((path_ / file).parent_path());
        std::ofstream(path_ / file, std::ios::binary) << text;
    };
    write("machine.toml", toml);
    for (const auto& directory : machine_.directories)
        for (const std::string& file : directory.files) {
            const std::string name = fs::path(file).replace_extension().string();
            used += more.contains(name);
            write(file, contentOf(source / file) + (more.contains(name) ? joined(more[name]) : ""));
        }
    for (const auto& file : machine_.files)
        if (!file.source.empty()) write(file.source, contentOf(source / file.source));
    if (used != more.size()) throw std::runtime_error("the lab has no such LDIF file: " + more.dump());
}

Directories LabFolder::directories(std::shared_ptr<LdapClient> client) const {
    Directories found{std::move(client), {}};
    for (const auto& directory : machine_.directories) {
        const auto& [hosts, ports, tlsPorts] = directory.address;
        found.endpoints[directory.settings.name] = {.host = hosts.empty() ? "" : hosts.front(),
                                                    .port = ports.front()};
    }
    // Made by an operation, this one stands in no block.
    found.endpoints.try_emplace("TalvexHDQDSG", LdapEndpoint{.host = "", .port = 22389});
    return found;
}

Directories LabFolder::saved() const {
    CORE::PropertyBag startup;
    startup.set(labFolderKey, path_.wstring());
    auto opened = createPlatform(startup);
    if (!opened) throw std::runtime_error(CORE::toUtf8(opened.error().text));
    return directories((*opened)->ldap);
}

std::string LabFolder::domain() const {
    const std::string name = CORE::toUtf8(machine_.dnsName);
    return name.substr(std::min(name.find('.'), name.size() - 1) + 1);
}

lab::Faults faultsOf(const Json& faults) {
    return machineOf("[[directory]]\nsuffixes = [\"dc=x\"]\nfaults = " + asToml(faults) + "\n")
        .directories.front()
        .faults;
}

}  // namespace wstest
