#include "integration/directory.h"

#include <openssl/evp.h>

#include <sstream>
#include <stdexcept>

#include "integration/command.h"
#include "support/temp_folder.h"

namespace integration {

namespace {

std::vector<std::string> client(const std::string& program) {
    std::string user = environment("WS_TEST_LDAP_USER");
    if (const std::string domain = environment("WS_TEST_LDAP_DOMAIN"); !domain.empty()) user += "@" + domain;
    return {program, "-x",
            "-H",    "ldap://" + environment("WS_TEST_LDAP_HOST") + ":" + environment("WS_TEST_LDAP_PORT"),
            "-D",    user,
            "-w",    environment("WS_TEST_LDAP_PASSWORD")};
}

std::string fromBase64(const std::string& text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    const int size =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (size < 0) throw std::runtime_error("not base64: " + text);
    const std::size_t padding = text.size() - text.find_last_not_of('=') - 1;
    bytes.resize(static_cast<std::size_t>(size) - padding);
    return bytes;
}

Outcome search(const std::string& dn, const std::string& attribute) {
    std::vector<std::string> command = client("ldapsearch");
    for (const char* word : {"-LLL", "-o", "ldif-wrap=no", "-s", "base", "-b"}) command.emplace_back(word);
    command.insert(command.end(), {dn, "(objectClass=*)", attribute});
    return run(command);
}

}  // namespace

std::vector<std::string> values(const std::string& dn, const std::string& attribute) {
    const Outcome found = search(dn, attribute);
    if (found.status != 0) throw std::runtime_error(dn + ": " + found.errors);
    std::vector<std::string> values;
    std::istringstream lines(found.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(attribute + ":: "))
            values.push_back(fromBase64(line.substr(attribute.size() + 3)));
        if (line.starts_with(attribute + ": ")) values.push_back(line.substr(attribute.size() + 2));
    }
    return values;
}

bool exists(const std::string& dn) {
    constexpr int noSuchObject = 32;
    const Outcome found = search(dn, "1.1");
    if (found.status != 0 && found.status != noSuchObject) throw std::runtime_error(dn + ": " + found.errors);
    return found.status == 0;
}

void put(const std::string& dn, const std::string& attribute, const std::string& value) {
    const wstest::TempFolder folder;
    std::string change = "dn: " + dn + "\nchangetype: modify\nreplace: " + attribute + "\n";
    if (!value.empty()) change += attribute + ": " + value + "\n";
    std::vector<std::string> command = client("ldapmodify");
    command.insert(command.end(), {"-f", folder.write("change.ldif", change)});
    const Outcome changed = run(command);
    if (changed.status != 0) throw std::runtime_error(dn + ": " + changed.errors);
}

}  // namespace integration
