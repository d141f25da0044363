#include "netsec/ipsec_commands.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace wsadmin::ipsec {

namespace {

using CORE::secretstring;

constexpr std::string_view product = "Talvex Vorn Security Server";
constexpr std::string_view listenerPort = "8009";

struct KeyExchange {
    std::string_view label;
    std::string_view port;
};
constexpr KeyExchange keyExchanges[] = {{"ISAKMP", "500"}, {"NAT-T ISAKMP", "4500"}};

// Without a temporary text, which would leave a key behind.
secretstring lineOf(std::initializer_list<std::string_view> parts) {
    secretstring line;
    for (const std::string_view part : parts) line.append(part);
    return line;
}

// Two commands as one line; the interpreter runs both, and the second one's status counts.
secretstring together(secretstring first, const secretstring& second) {
    first.append(" & ").append(second.view());
    return first;
}

template <class Command>
secretstring forEachExchange(Command command) {
    return together(command(keyExchanges[0]), command(keyExchanges[1]));
}

std::string endpoints(const Pairing& pairing) {
    return pairing.ownsListener ? "endpoint1=" + pairing.endpoint + " endpoint2=any"
                                : "endpoint1=any endpoint2=" + pairing.endpoint;
}

// The listener's port stands on the listener's side, which is always the second endpoint.
std::string endpointsAndPorts(const Pairing& pairing) {
    const std::string any = "any";
    return "endpoint1=" + (pairing.ownsListener ? pairing.endpoint : any) +
           " port1=any endpoint2=" + (pairing.ownsListener ? any : pairing.endpoint) +
           " port2=" + std::string(listenerPort);
}

secretstring deleteRule(std::string_view kind, std::string_view name) {
    return lineOf({"netsh advfirewall ", kind, " delete rule name=\"", name, "\""});
}

std::size_t findWord(std::string_view text, std::string_view word, std::size_t from) noexcept {
    for (; from + word.size() <= text.size(); ++from)
        if (CORE::equalFolded(text.substr(from, word.size()), word)) return from;
    return std::string_view::npos;
}

}  // namespace

std::string mainModeName(std::string_view endpoint) {
    return std::string(product) + " MM pairing with " + std::string(endpoint);
}

std::string quickModeName(std::string_view endpoint, std::string_view channel) {
    return std::string(product) + " QM pairing with " + std::string(endpoint) + " (" + std::string(channel) +
           ")";
}

std::string firewallRuleName(std::string_view endpoint, std::string_view label) {
    return std::string(product) + " pairing with " + std::string(endpoint) + " (" + std::string(label) +
           "-in)";
}

secretstring addFirewallRules(const Pairing& pairing) {
    return forEachExchange([&pairing](const KeyExchange& exchange) {
        return lineOf(
            {"netsh advfirewall firewall add rule name=\"",
             firewallRuleName(pairing.endpoint, exchange.label), "\" localip=any remoteip=", pairing.endpoint,
             " enable=yes dir=in action=allow profile=any localport=", exchange.port, " protocol=udp"});
    });
}

secretstring deleteFirewallRules(const Pairing& pairing) {
    return forEachExchange([&pairing](const KeyExchange& exchange) {
        return deleteRule("firewall", firewallRuleName(pairing.endpoint, exchange.label));
    });
}

secretstring addMainModeRule(const Pairing& pairing, std::string_view key) {
    return lineOf({"netsh advfirewall mainmode add rule name=\"", mainModeName(pairing.endpoint), "\" ",
                   endpoints(pairing), " enable=yes profile=any type=static auth1=computerpsk auth1psk=\"",
                   key, "\" mmsecmethods=dhgroup2:aes128-sha256"});
}

secretstring addQuickModeRule(const Pairing& pairing, std::string_view action, std::string_view key) {
    // Up to the key.
    constexpr std::string_view settings =
        " mode=transport enable=yes profile=any type=static protocol=tcp interfacetype=any auth1=computerpsk "
        "auth1psk=\"";
    return lineOf({"netsh advfirewall consec add rule name=\"",
                   quickModeName(pairing.endpoint, pairingChannel), "\" ", endpointsAndPorts(pairing),
                   " action=", action, settings, key, "\" qmpfs=dhgroup2 qmsecmethods=esp:sha256-aes128"});
}

secretstring deleteModeRules(const Pairing& pairing) {
    return together(deleteRule("mainmode", mainModeName(pairing.endpoint)),
                    deleteRule("consec", quickModeName(pairing.endpoint, pairingChannel)));
}

bool isRuleAction(std::string_view action) noexcept {
    static constexpr std::array<std::string_view, 5> known{"requireinrequireout", "requestinrequestout",
                                                           "requireinrequestout", "requireinclearout",
                                                           "noauthentication"};
    return std::ranges::find(known, action) != known.end();
}

bool staysQuoted(std::string_view key) noexcept {
    constexpr std::string_view lineEnds("\r\n\0", 3);
    if (key.find_first_of(lineEnds) != key.npos) return false;
    bool quoted = true;
    std::size_t percent = key.npos;
    for (std::size_t at = 0; at < key.size(); ++at) {
        const char c = key[at];
        if (c == '"') quoted = !quoted;
        if (!quoted && std::string_view("&|<>^").find(c) != std::string_view::npos) return false;
        if (c != '%') continue;
        if (percent != key.npos && at > percent + 1) return false;
        percent = at;
    }
    return true;
}

std::wstring maskedLine(std::string_view line) {
    std::wstring masked;
    std::size_t done = 0;
    while (true) {
        const std::size_t word = findWord(line, "auth1psk", done);
        const std::size_t open = word == line.npos ? word : line.find('"', word);
        const std::size_t close = open == line.npos ? open : line.find('"', open + 1);
        if (close == line.npos) break;
        masked += CORE::toWide(line.substr(done, open - done)) + L"\"*****\"";
        // A second "auth1psk" before the first quotation mark has the same quotes behind it.
        done = close + 1;
    }
    return masked + CORE::toWide(line.substr(done));
}

}  // namespace wsadmin::ipsec
