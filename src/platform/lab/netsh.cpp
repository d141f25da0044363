// The command lines that a lab's machine understands.
#include <algorithm>
#include <optional>
#include <utility>

#include "framework/core/corestring.h"
#include "platform/lab/network_policy.h"

namespace wsadmin::platform::lab {

namespace {

using Words = std::vector<std::string_view>;

// What stands at the places of "{}" in a text of that form: each reaches up to the first text that follows
// its place in the form. Nothing where the text has another form.
std::optional<Words> wordsOf(std::string_view text, std::string_view form) {
    Words words;
    while (true) {
        const auto place = form.find("{}");
        const std::string_view before = form.substr(0, place);
        if (!text.starts_with(before)) return std::nullopt;
        text.remove_prefix(before.size());
        if (place == form.npos) return text.empty() ? std::optional(std::move(words)) : std::nullopt;
        form.remove_prefix(place + 2);
        const std::string_view after = form.substr(0, form.find("{}"));
        const auto end = after.empty() ? text.size() : text.find(after);
        if (end == text.npos || end == 0) return std::nullopt;
        words.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
}

bool addFirewallRule(const Words& words, NetworkPolicy& policy) {
    policy.firewallRules.push_back({.name = std::string(words[0]),
                                    .localIp = std::string(words[1]),
                                    .remoteIp = std::string(words[2]),
                                    .localPort = std::string(words[3]),
                                    .protocol = std::string(words[4])});
    return true;
}

// The key, which is the last word, is not kept.
bool addMainModeRule(const Words& words, NetworkPolicy& policy) {
    policy.mainMode.push_back({.name = std::string(words[0]),
                               .endpoint1 = std::string(words[1]),
                               .endpoint2 = std::string(words[2])});
    return true;
}

bool addQuickModeRule(const Words& words, NetworkPolicy& policy) {
    policy.quickMode.push_back({.name = std::string(words[0]),
                                .endpoint1 = std::string(words[1]),
                                .endpoint2 = std::string(words[3]),
                                .port1 = std::string(words[2]),
                                .port2 = std::string(words[4]),
                                .action = std::string(words[5])});
    return true;
}

template <auto rules>
bool deleteRule(const Words& words, NetworkPolicy& policy) {
    return std::erase_if(policy.*rules,
                         [&](const auto& rule) { return CORE::equalFolded(rule.name, words[0]); }) > 0;
}

struct Command {
    std::string_view form;
    bool (*run)(const Words& words, NetworkPolicy& policy);  // false: it fails, and nothing has changed
};

constexpr Command commands[] = {
    {R"(netsh advfirewall firewall add rule name="{}" localip={} remoteip={} enable=yes dir=in action=allow )"
     R"(profile=any localport={} protocol={})",
     addFirewallRule},
    {R"(netsh advfirewall firewall delete rule name="{}")", deleteRule<&NetworkPolicy::firewallRules>},
    {R"(netsh advfirewall mainmode add rule name="{}" endpoint1={} endpoint2={} enable=yes profile=any )"
     R"(type=static auth1=computerpsk auth1psk="{}" mmsecmethods=dhgroup2:aes128-sha256)",
     addMainModeRule},
    {R"(netsh advfirewall mainmode delete rule name="{}")", deleteRule<&NetworkPolicy::mainMode>},
    {R"(netsh advfirewall consec add rule name="{}" endpoint1={} port1={} endpoint2={} port2={} action={} )"
     R"(mode=transport enable=yes profile=any type=static protocol=tcp interfacetype=any auth1=computerpsk )"
     R"(auth1psk="{}" qmpfs=dhgroup2 qmsecmethods=esp:sha256-aes128)",
     addQuickModeRule},
    {R"(netsh advfirewall consec delete rule name="{}")", deleteRule<&NetworkPolicy::quickMode>},
};

int runCommand(std::string_view line, LabPolicy& policy) {
    for (const Command& command : commands)
        if (const auto words = wordsOf(line, command.form))
            return policy.change([&](NetworkPolicy& now) { return command.run(*words, now); }) ? 0 : 1;
    return 1;
}

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

}  // namespace

// As the interpreter does: "&" parts commands outside quotes, all of them run, and the last one's status
// counts.
int runCommandLine(std::string_view line, LabPolicy& policy) {
    int status = 0;
    bool quoted = false;
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= line.size(); ++at) {
        if (at < line.size() && line[at] == '"') quoted = !quoted;
        if (at < line.size() && (quoted || line[at] != '&')) continue;
        status = runCommand(trimmed(line.substr(begin, at - begin)), policy);
        begin = at + 1;
    }
    return status;
}

}  // namespace wsadmin::platform::lab
