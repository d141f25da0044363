// Paths of directory services.
#include <charconv>

#include "platform/directory_services.h"
#include "platform/ldap/ldap_request.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {

namespace {

constexpr std::string_view rootName = "rootDSE";

bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (!CORE::equalFolded(text.substr(0, prefix.size()), prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

bool takePort(std::string_view text, DirectoryPath& path) {
    if (text.empty()) return true;
    if (text.front() != ':') return false;
    std::uint16_t port = 0;
    const char* last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data() + 1, last, port);
    if (error != std::errc{} || end != last || port == 0) return false;
    path.port = port;
    return true;
}

// "host", "host:port", "[v6]", "[v6]:port".
bool takeServer(std::string_view text, DirectoryPath& path) {
    const bool bracketed = text.starts_with('[');
    const auto end = text.find(bracketed ? ']' : ':');
    if (bracketed && end == std::string_view::npos) return false;
    path.server = bracketed ? text.substr(1, end - 1) : text.substr(0, end);
    const bool isV6 = path.server.find(':') != std::string::npos;
    if (path.server.empty() || isV6 != bracketed || !checkEndpoint({.host = path.server})) return false;
    return end == std::string_view::npos || takePort(text.substr(bracketed ? end + 1 : end), path);
}

bool isRootDse(std::string_view name) {
    return CORE::equalFolded(name, rootName);
}

// A name in a path may have its slashes escaped, which is no escape of names.
std::string withoutSlashEscapes(std::string_view name) {
    std::string plain;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool escape = name[i] == '\\' && i + 1 < name.size();
        if (!escape || name[i + 1] != '/') plain += name[i];
        if (escape) plain += name[++i];
    }
    return plain;
}

// "<SID=...>" and "<GUID=...>" name entries as well.
bool isName(const std::string& dn) {
    return parseDn(dn) || (dn.starts_with('<') && dn.ends_with('>'));
}

bool takeName(std::string_view text, DirectoryPath& path) {
    path.rootDse = isRootDse(text);
    if (!path.rootDse) path.dn = withoutSlashEscapes(text);
    return isName(path.dn);
}

}  // namespace

std::optional<DirectoryPath> parseDirectoryPath(std::string_view text) {
    DirectoryPath path;
    if (takePrefix(text, "GC:"))
        path.globalCatalog = true;
    else if (!takePrefix(text, "LDAP:"))
        return std::nullopt;
    if (text.empty()) return path;
    if (!takePrefix(text, "//") || text.empty() || text.find('\0') != std::string_view::npos)
        return std::nullopt;
    // A name may hold slashes, so only what stands before the first one can be a server.
    const auto slash = text.find('/');
    const std::string_view first = text.substr(0, slash);
    const bool serverless = first.find('=') != std::string_view::npos || isRootDse(first);
    if (serverless) {
        if (takeName(text, path)) return path;
    } else if (takeServer(first, path)) {
        if (slash == std::string_view::npos || takeName(text.substr(slash + 1), path)) return path;
    }
    return std::nullopt;
}

std::string directoryPathText(const DirectoryPath& path) {
    std::string text = path.globalCatalog ? "GC:" : "LDAP:";
    if (path.server.empty() && path.dn.empty() && !path.rootDse) return text;
    text += "//";
    if (!path.server.empty()) {
        const bool isV6 = path.server.find(':') != std::string::npos;
        text += isV6 ? '[' + path.server + ']' : path.server;
        if (path.port) text += ':' + std::to_string(*path.port);
        if (path.dn.empty() && !path.rootDse) return text;
        text += '/';
    }
    if (path.rootDse) return text.append(rootName);
    return text + escapeSlashes(path.dn);
}

std::string escapeSlashes(std::string_view dn) {
    std::string text;
    for (std::size_t i = 0; i < dn.size(); ++i) {
        if (dn[i] == '/') text += '\\';
        text += dn[i];
        if (dn[i] == '\\' && i + 1 < dn.size()) text += dn[++i];
    }
    return text;
}

}  // namespace wsadmin::platform
