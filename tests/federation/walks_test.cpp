// Random walks through the operations of a federation, some with a call of a port that fails: flags, layers
// and trees are then what a small model of the flags allows. WS_WALK=SEED runs one walk alone.
#include <cstdlib>
#include <random>

#include "federation/federation_lab.h"
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
    std::optional<bool> layer;  // that it wants
    std::optional<Flags> before;
    std::wstring sentence;  // where they are others
    bool marksServer, marksPod;
    int final;
    bool cleansUp;
};
const std::wstring flagsAre = L"Local flags for the global LDAP layer state are not ";
const Rule rules[] = {
    {"init", false, Flags{0, 0}, flagsAre + L"explicitly disabled", true, true, 1, true},
    {"join", false, Flags{0, 0}, flagsAre + L"explicitly disabled", true, true, 1, true},
    {"installReplica", false, Flags{0, 1}, flagsAre + L"in sync", true, false, 1, true},
    {"checkEnablement", true, Flags{1, 1}, flagsAre + L"explicitly enabled", false, false, 1, false},
    {"unjoin", true, Flags{1, 1}, flagsAre + L"explicitly enabled", true, true, 0, false},
    {"uninit", true, Flags{1, 1}, flagsAre + L"explicitly enabled", true, true, 0, false},
    {"uninstallReplica", true, Flags{1, 0}, flagsAre + L"in sync", true, false, 0, false},
    {"eject", {}, {}, L"", false, false, 0, false},
    {"removePodEndpoint", true, {}, L"", false, false, 0, false},
    {"info", true, {}, L"", false, false, 0, false},
};

// What keeps the operation from running; empty: nothing.
std::wstring refusal(const Rule& rule, const Known& known) {
    if (rule.layer && *rule.layer != known.layer())
        return known.layer() ? L"Global LDAP layer already exists" : L"Global LDAP layer does not exist";
    const auto pods = std::ranges::count(known.tree, ':');
    if (rule.operation == "unjoin" && pods <= 1) return L"More than one pod entry required";
    if (rule.operation == "uninit" && pods != 1) return L"More than one pod entry exists";
    return rule.before && known.flags != *rule.before ? rule.sentence : L"";
}

// What is left of the flags.
Flags expected(const Rule& rule, const Known& before, const Known& after, bool failed) {
    int value = rule.final;
    if (failed) value = rule.cleansUp && !after.layer() ? 0 : -1;
    return Flags{rule.marksServer ? value : before.flags.server, rule.marksPod ? value : before.flags.pod};
}

class Walk {
  public:
    explicit Walk(unsigned seed) : chance_(seed) {
        for (auto& [name, machine] : lab_.machines) {
            // Where a folder is not told, the layer is looked for in another one.
            const auto folders = machine->folders;
            recorded(*machine, calls_);
            machine->folders = folders;
        }
        state_ = state();
    }

    void step() {
        const std::string machine = server();
        const Rule& rule = rules[below(std::size(rules))];
        const Pairs request = requestOf(rule);
        const bool faulty = below(4) == 0;
        calls_->restart();
        if (faulty) calls_->restart(PortFault{.code = 5, .number = 1 + below(below(3) == 0 ? 400 : 40)});
        const auto answer = lab_.run(machine, rule.operation, request);
        const bool happened = calls_->faultHappened();
        EXPECT_EQ(calls_->live, 0);
        calls_->restart();
        disturbed_ = disturbed_ || happened;
        SCOPED_TRACE(machine + " " + std::string(rule.operation) + (happened ? " with a fault: " : ": ") +
                     CORE::toUtf8(answer.getErrorText()));
        State after = state();
        if (!disturbed_ && !cut_ && succeeds(rule, machine, other_)) {
            EXPECT_EQ(answer.getErrorText().str(), L"");
        }
        judge(rule, machine, state_, after, answer.getErrorText().str(), happened);
        cut_ = cut_ || rule.operation == "eject" || rule.operation == "removePodEndpoint";
        state_ = std::move(after);
    }

  private:
    // Whether nothing keeps the operation from what it does, as far as no call has failed yet.
    bool succeeds(const Rule& rule, const std::string& machine, const std::string& source) const {
        if (!refusal(rule, state_.at(machine)).empty()) return false;
        if (rule.operation == "join" || rule.operation == "installReplica")
            return source != machine && state_.at(source).layer();
        return rule.final == 0 && rule.marksServer;
    }
    void judge(const Rule& rule, const std::string& machine, const State& before, const State& after,
               const std::wstring& error, bool happened) {
        const Known &had = before.at(machine), &has = after.at(machine);
        const std::wstring refused = refusal(rule, had);
        if (!refused.empty()) {
            EXPECT_TRUE(happened ? !error.empty() : error == refused) << CORE::toUtf8(refused);
            EXPECT_EQ(before, after);
            return;
        }
        // A fault may have come before the flags were marked, or when they were written.
        if (!happened || error.empty()) {
            EXPECT_EQ(has.flags, expected(rule, had, has, !error.empty()));
        }
        if (error.empty() && rule.layer) {
            EXPECT_EQ(has.layer(), rule.final == 1 || !rule.marksServer);
        }
        for (const auto& [name, known] : after) {
            const Known& was = before.at(name);
            const bool samePod = podOf(name) == podOf(machine);
            if (name == machine) continue;
            EXPECT_EQ(known.layer(), was.layer()) << name;
            EXPECT_EQ(known.flags, (Flags{was.flags.server, samePod ? has.flags.pod : was.flags.pod}))
                << name;
        }
        if (!disturbed_) agree(after);
    }
    // The servers that take part in one federation have one tree.
    static void agree(const State& state) {
        std::map<std::string, std::string> trees;
        for (const auto& [name, known] : state) {
            if (!known.layer() || known.flags != Flags{1, 1}) continue;
            EXPECT_EQ(known.tree, trees.try_emplace(known.federation, known.tree).first->second) << name;
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
    Pairs requestOf(const Rule& rule) {
        const std::string& other = other_ = server();
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
    std::shared_ptr<PortCalls> calls_ = std::make_shared<PortCalls>();
    State state_;
    std::string other_;       // the server that the request names
    bool disturbed_ = false;  // a call has failed
    bool cut_ = false;        // an administrator has removed entries, maybe of servers that are there
};

}  // namespace

TEST(FederationWalks, KeepToTheTableOfFlags) {
#ifdef _WIN32  // through Wine, where one takes as long as under a sanitizer
    constexpr unsigned walks = 200;
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
