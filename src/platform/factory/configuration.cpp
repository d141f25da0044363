#include "platform/factory/configuration.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "framework/core/format.h"
#include "platform/factory/paths.h"
#include "platform/ldap/ldap_request.h"
#include "platform/text/toml_machine.h"

namespace wsadmin::platform {

namespace {

using std::filesystem::path;
using Method = LdapCredentials::Method;

// The Windows client trusts whom the machine trusts, and permissions of files are another matter there.
constexpr bool isWindows = path::preferred_separator == '\\';

constexpr std::int64_t longestTimeout = 3'600'000;  // milliseconds: an hour
constexpr std::int64_t longestSearch = 24 * longestTimeout;
constexpr std::int64_t mostEntries = 1'000'000'000;
constexpr std::int64_t mostBytes = std::int64_t{1} << 40;

// What a file holds, overwritten when it goes.
std::optional<CORE::secretstring> contentOf(const path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) return std::nullopt;
    std::string text;
    char part[4096];
    while (stream.read(part, sizeof part) || stream.gcount() > 0)
        text.append(part, static_cast<std::size_t>(stream.gcount()));
    CORE::secretstring content(text);
    CORE::wipeMemory(part, sizeof part);
    CORE::wipeMemory(text.data(), text.size());
    if (stream.bad()) return std::nullopt;
    return content;
}

void warnWhenOthersCanRead(const path& file, Configuration& configuration) {
    using std::filesystem::perms;
    std::error_code error;
    const perms permissions = std::filesystem::status(file, error).permissions();
    if (!isWindows && !error && (permissions & (perms::group_read | perms::others_read)) != perms::none)
        configuration.warnings.push_back(
            CORE::formatText(L"%s holds a password and others than its owner can read it", utf8Of(file)));
}

CORE::secretstring passwordFromFile(const TomlSection& section, const path& file,
                                    Configuration& configuration) {
    const auto content = contentOf(file);
    if (!content) section.wrong("password-file", "the password file " + utf8Of(file) + " cannot be read");
    warnWhenOthersCanRead(file, configuration);
    std::string_view password = CORE::withoutByteOrderMark(content->view());
    if (password.ends_with('\n')) password.remove_suffix(1);
    if (password.ends_with('\r')) password.remove_suffix(1);
    if (password.empty()) section.wrong("password-file", "the password file " + utf8Of(file) + " is empty");
    return CORE::secretstring(password);
}

std::optional<LdapCredentials> readCredentials(TomlSection& section, const path& file,
                                               Configuration& configuration) {
    LdapCredentials credentials;
    std::string passwordFile;
    tomlChoice<Method>(
        section, "method", credentials.method,
        {{"negotiate", Method::negotiate}, {"simple", Method::simple}, {"anonymous", Method::anonymous}});
    section.text("user", credentials.user);
    section.text("domain", credentials.domain);
    section.secret("password", credentials.password);
    section.text("password-file", passwordFile);

    const bool hasMethod = section.raw().contains("method");
    const bool hasPassword = !credentials.password.empty() || !passwordFile.empty();
    if (!credentials.password.empty() && !passwordFile.empty())
        section.wrong("password-file", "password and password-file exclude each other");
    if (credentials.user.empty()) {
        for (const char* key : {"domain", "password", "password-file"})
            if (section.raw().contains(key)) section.wrong(key, std::string(key) + " needs a user");
        if (credentials.method == Method::simple) section.wrong("method", "the method simple needs a user");
        if (!hasMethod || credentials.method == Method::negotiate) return std::nullopt;  // as the process
        return credentials;
    }
    if (credentials.method == Method::anonymous) section.wrong("user", "the method anonymous takes no user");
    if (!hasPassword) section.wrong("user", "the user needs a password or a password-file");
    if (!credentials.password.empty())
        warnWhenOthersCanRead(file, configuration);
    else
        credentials.password =
            passwordFromFile(section, file.parent_path() / pathOf(passwordFile), configuration);
    return credentials;
}

// tls = true, false or "starttls". Answers whether the file rules TLS out.
bool readTls(TomlSection& section, DirectoryRoute& route) {
    const auto* node = section.find("tls");
    if (!node) return false;
    if (node->is_string() && node->as_string()->get() == "starttls")
        route.startTls = StartTls::required;
    else if (node->is_boolean())
        route.tls = node->as_boolean()->get();
    else
        section.wrong("tls", R"(tls is true, false or "starttls")");
    if (route.tls || route.startTls == StartTls::required) return false;
    route.startTls = StartTls::never;
    return true;
}

void readCertificates(TomlSection& section, const path& file, bool plain, DirectoryRoute& route,
                      Configuration& configuration) {
    section.flag("verify-certificate", route.verifyCertificate);
    section.text("ca-file", route.caFile);
    for (const char* key : {"ca-file", "verify-certificate"})
        if (plain && section.raw().contains(key)) section.wrong(key, std::string(key) + " needs TLS");
    if (!route.verifyCertificate)
        configuration.warnings.push_back(CORE::formatText(
            L"The certificate of %s is not checked: whoever answers in its place gets what is sent",
            hostOf({.host = route.host})));
    if (route.caFile.empty()) return;
    if (isWindows)
        section.wrong("ca-file",
                      "under Windows the certificate's issuer has to be in the machine's own store");
    const path ca = file.parent_path() / pathOf(route.caFile);
    if (!std::ifstream(ca)) section.wrong("ca-file", "the file " + utf8Of(ca) + " cannot be read");
    route.caFile = utf8Of(ca);
}

// The keys that every directory has.
void readEndpoint(TomlSection& section, const path& file, DirectoryRoute& route,
                  Configuration& configuration) {
    section.text("host", route.host);
    if (!checkEndpoint({.host = route.host})) section.wrong("host", "\"" + route.host + "\" is no host");
    section.number("port", route.port, 1, 65535);
    const bool plain = readTls(section, route);
    readCertificates(section, file, plain, route, configuration);
    section.flag("allow-password-in-clear", route.passwordInClear);
    section.number("connect-timeout", route.connectTimeout, 1, longestTimeout);
    section.number("operation-timeout", route.operationTimeout, 1, longestTimeout);
    section.number("search-timeout", route.limits.time, 1, longestSearch);
    section.number("max-entries", route.limits.entries, 1, mostEntries);
    section.number("max-bytes", route.limits.bytes, 1, mostBytes);
}

void addRoute(TomlSection& section, const path& file, DirectoryRoute route, Configuration& configuration) {
    readEndpoint(section, file, route, configuration);
    route.credentials = readCredentials(section, file, configuration);
    configuration.routes.push_back(std::move(route));
}

DirectoryRoute thisServer(std::uint16_t port) {
    DirectoryRoute route;
    route.askedPort = port;
    return route;
}

void readServer(TomlSection& section, const path& file, Configuration& configuration) {
    DirectoryRoute route;
    section.text("for", route.askedHost);
    if (route.askedHost.empty()) section.wrong("for", "a server needs for = \"the host that is asked for\"");
    section.number("for-port", route.askedPort, 1, 65535);
    for (const DirectoryRoute& other : configuration.routes)
        if (CORE::equalFolded(other.askedHost, route.askedHost) && other.askedPort == route.askedPort)
            section.wrong("for", "there is a server for " + route.askedHost + " already");
    route.host = route.askedHost;
    addRoute(section, file, std::move(route), configuration);
}

void readDefaultDomain(TomlSection& top, Configuration& configuration) {
    std::string& domain = configuration.defaultDomain;
    top.text("default-domain", domain);
    if (!checkEndpoint({.host = domain})) top.wrong("default-domain", "\"" + domain + "\" is no domain");
}

// "data-folder", relative to the configuration file's folder.
void readDataFolder(TomlSection& top, const path& file, Configuration& configuration) {
    std::string folder;
    top.text("data-folder", folder);
    if (!folder.empty())
        configuration.dataFolder = utf8Of((file.parent_path() / pathOf(folder)).lexically_normal());
}

void readDirectoryServices(TomlSection& top, Configuration& configuration) {
    using Kind = DirectoryServicesKind;
    tomlChoice<Kind>(top, "directory-services", configuration.directoryServices,
                     {{"adsi", Kind::adsi}, {"portable", Kind::portable}});
    if (!isWindows && configuration.directoryServices == Kind::adsi)
        top.wrong("directory-services", "there is no ADSI but under Windows");
}

// ADSI binds as the process, whatever the file says: the configured user's permissions would not count.
void refuseUsersWithAdsi(const TomlSection& top, const Configuration& configuration) {
    const bool user = std::ranges::any_of(
        configuration.routes, [](const DirectoryRoute& route) { return route.credentials.has_value(); });
    if (user && configuration.directoryServices == DirectoryServicesKind::adsi)
        top.wrong("directory-services",
                  "ADSI binds as the process and not as a configured user; use \"portable\"");
}

}  // namespace

Result<Configuration> readConfiguration(const path& file) {
    const auto text = contentOf(file);
    if (!text) return fail(1, CORE::toWide(utf8Of(file)) + L": the file cannot be read");
    Configuration configuration;
    const auto read = readToml(text->view(), utf8Of(file), [&](TomlSection& top) {
        readDefaultDomain(top, configuration);
        readDirectoryServices(top, configuration);
        top.text("process-account", configuration.processAccount);
        readDataFolder(top, file, configuration);
        readInstallation(top, configuration.installation);
        readFirstGuid(top, configuration.process);
        readEnvironment(top, configuration.process);
        readStartup(top, configuration.startup);
        const auto own = [&](std::uint16_t port) {
            return
                [&, port](TomlSection& section) { addRoute(section, file, thisServer(port), configuration); };
        };
        top.table("directory", own(configurationDirectoryPort));
        top.table("global", own(globalDirectoryPort));
        top.tables("server", [&](TomlSection& section) { readServer(section, file, configuration); });
        refuseUsersWithAdsi(top, configuration);
    });
    if (!read) return fail(read.error());
    return configuration;
}

}  // namespace wsadmin::platform
