// The whole life of a federation, over life.jsonl; and random walks through its operations: flags, layers and
// trees are then what a small model of the flags allows. WS_WALK=SEED runs one walk alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "federation/federation_lab.h"
#include "support/rows.h"
#include "support/sanitizers.h"

namespace wstest {

namespace {

using Pairs = FederationLab::Pairs;

// What a server and its pod have.
struct Flags {
    int server = 0, pod = 0;
    bool operator==(const Flags&) const = default;
};
struct Known {
    Flags flags;
    std::string tree;        // "-" without a layer
    std::string federation;  // its GUID
    bool layer() const { return tree != "-"; }
    bool operator==(const Known&) const = default;
};
using State = std::map<std::string, Known>;

// The row of an operation in the table of flags.
struct Rule {
    std::string_view operation;
    std::optional<bool> layer{};     // that it wants
    std::optional<Flags> before{};   // that it wants,
    const wchar_t* otherwise = L"";  // and what it says of others
    bool marksServer = false, marksPod = false;
    int final = 0;
};
const Rule rules[] = {
    {"init", false, Flags{0, 0}, L"explicitly disabled", true, true, 1},
    {"join", false, Flags{0, 0}, L"explicitly disabled", true, true, 1},
    {"installReplica", false, Flags{0, 1}, L"in sync", true, false, 1},
    {"checkEnablement", true, Flags{1, 1}, L"explicitly enabled", false, false, 1},
    {"unjoin", true, Flags{1, 1}, L"explicitly enabled", true, true},
    {"uninit", true, Flags{1, 1}, L"explicitly enabled", true, true},
    {"uninstallReplica", true, Flags{1, 0}, L"in sync", true},
    {"eject"},
    {"removePodEndpoint", true},
    {"info", true},
};

// What keeps the operation from running; empty: nothing.
std::wstring refusal(const Rule& rule, const Known& known) {
    if (rule.layer && *rule.layer != known.layer())
        return known.layer() ? L"Global LDAP layer already exists" : L"Global LDAP layer does not exist";
    const auto pods = std::ranges::count(known.tree, ':');
    if (rule.operation == "unjoin" && pods <= 1) return L"More than one pod entry required";
    if (rule.operation == "uninit" && pods != 1) return L"More than one pod entry exists";
    if (!rule.before || known.flags == *rule.before) return {};
    return L"Local flags for the global LDAP layer state are not " + std::wstring(rule.otherwise);
}

class Walk {
  public:
    explicit Walk(unsigned seed) : chance_(seed) { state_ = state(); }

    void step() {
        const std::string machine = server(), other = server();
        const Rule& rule = rules[below(std::size(rules))];
        const std::wstring error =
            lab_.run(machine, rule.operation, requestOf(rule, other)).getErrorText().str();
        SCOPED_TRACE(machine + " " + std::string(rule.operation) + ": " + CORE::toUtf8(error));
        State after = state();
        const bool runs = refusal(rule, state_.at(machine)).empty();
        const bool needsSource = rule.operation == "join" || rule.operation == "installReplica";
        const bool hasSource = needsSource && other != machine && state_.at(other).layer();
        if (runs && !cut_ && (hasSource || (rule.marksServer && rule.final == 0))) {
            EXPECT_EQ(error, L"");
        }
        judge(rule, machine, after, error);
        cut_ = cut_ || rule.operation == "eject" || rule.operation == "removePodEndpoint";
        state_ = std::move(after);
    }

  private:
    void judge(const Rule& rule, const std::string& machine, const State& after, const std::wstring& error) {
        const Known &had = state_.at(machine), &has = after.at(machine);
        if (const std::wstring refused = refusal(rule, had); !refused.empty()) {
            EXPECT_EQ(error, refused);
            EXPECT_EQ(state_, after);
            return;
        }
        // What has failed has cleaned up, or its flags stay pending.
        const int left = error.empty() ? rule.final : has.layer() || rule.final == 0 ? -1 : 0;
        EXPECT_EQ(has.flags,
                  (Flags{rule.marksServer ? left : had.flags.server, rule.marksPod ? left : had.flags.pod}));
        if (error.empty() && rule.layer) {
            EXPECT_EQ(has.layer(), rule.final == 1 || !rule.marksServer);
        }
        std::map<std::string, std::string> trees;  // one of each federation
        for (const auto& [name, known] : after) {
            if (known.layer() && known.flags == Flags{1, 1}) {
                EXPECT_EQ(known.tree, trees.try_emplace(known.federation, known.tree).first->second) << name;
            }
            if (name == machine) continue;
            const Known& was = state_.at(name);
            const int pod = podOf(name) == podOf(machine) ? has.flags.pod : was.flags.pod;
            EXPECT_EQ(known.layer(), was.layer()) << name;
            EXPECT_EQ(known.flags, (Flags{was.flags.server, pod})) << name;
        }
    }
    State state() {
        State state;
        for (const auto& [name, unused] : lab_.machines) {
            const auto info = lab_.run(name, "info");
            state[name] = {{std::stoi(lab_.ofServer(name, "zre-QuorinEnabled")),
                            std::stoi(lab_.stored(name, "cn=common,ou=global", "zre-QuorinEnabled"))},
                           FederationLab::treeOf(info),
                           std::string(info.getBag(L"qrv-common").utf8(L"guid"))};
        }
        return state;
    }
    static Pairs requestOf(const Rule& rule, const std::string& other) {
        const std::wstring name = CORE::toWide(other);
        if (rule.operation == "join") return FederationLab::from(name.c_str());
        if (rule.operation == "installReplica") return {{L"servername", name}};
        if (rule.operation == "eject") return {{L"podname", L"Cluster-POD" + std::to_wstring(podOf(other))}};
        if (rule.operation == "removePodEndpoint")
            return {{L"podEndpoint", name}, {L"podEndpointFQHN", name + L".corp.example"}};
        return {};
    }
    static int podOf(const std::string& server) { return (server.back() - '1') / 2 + 1; }
    std::string server() { return "VCS" + std::to_string(1 + below(6)); }
    std::size_t below(std::size_t end) { return chance_() % end; }

    std::mt19937 chance_;
    FederationLab lab_;
    State state_;
    bool cut_ = false;  // an administrator has removed entries, maybe of servers that are there
};

// What is asked succeeds, and every server that has the layer has the same content.
Json asked(FederationLab& lab, const Json& in) {
    const std::string machine = in["at"], from = in.value("from", std::string());
    Pairs keys = from.empty() ? Pairs() : FederationLab::from(CORE::toWide(from).c_str());
    const Json given = in.value("keys", Json::object());
    for (const auto& [name, value] : given.items())
        keys[CORE::toWide(name)] = CORE::toWide(value.get<std::string>());
    const std::string operation = in["do"];
    EXPECT_EQ(lab.run(machine, operation, keys).getErrorText(), L"");
    std::set<std::string> trees, first, difference;
    std::string servers;
    for (const auto& [name, unused] : lab.machines) {
        const std::string tree = lab.tree(name);
        if (tree == "-") continue;
        trees.insert(tree);
        servers += name.back();
        const auto content = lab.contentOf(name);
        if (first.empty()) first = content;
        std::ranges::set_symmetric_difference(content, first, std::inserter(difference, difference.end()));
    }
    EXPECT_EQ(difference, std::set<std::string>());
    return {trees.empty() ? "-" : joined(trees), servers, lab.flags(machine)};
}

}  // namespace

TEST(FederationLife, FromNothingToNothing) {
    FederationLab lab;
    tryRows(WS_SOURCE_DIR "/tests/federation/life.jsonl",
            {{"ask", [&lab](const Json& in) { return asked(lab, in); }}});
}

TEST(FederationWalks, KeepToTheTableOfFlags) {
#ifdef _WIN32  // through Wine, where one takes as long as under a sanitizer
    constexpr unsigned walks = 200;
#elif defined(__SANITIZE_THREAD__)  // a walk goes one step after the other
    constexpr unsigned walks = 50;
#else
    constexpr unsigned walks = underSanitizer ? 200 : 2000;
#endif
    constexpr int steps = 12;
    const char* alone = std::getenv("WS_WALK");
    const unsigned first = alone ? static_cast<unsigned>(std::atoi(alone)) : 1;
    for (unsigned seed = first; seed < (alone ? first + 1 : walks + 1) && !HasFailure(); ++seed) {
        SCOPED_TRACE("WS_WALK=" + std::to_string(seed));
        Walk walk(seed);
        for (int step = 0; step < steps && !HasFailure(); ++step) walk.step();
    }
}

}  // namespace wstest
