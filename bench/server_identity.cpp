// Who a user is and what the user may use, as the plug-in answers it, against OpenLDAP's ldapsearch, which
// fetches the same from the same servers; and many accounts' names at once against one by one. Beside
// with-pod and with-corp.
//
// The peer is a process that connects, binds, searches and prints LDIF. It is given what the operations have
// to find out: the user's DN, the groups' SIDs, the filters. It reads no answer in pages, types no value and
// looks for no domain-local groups beyond tokenGroups. The plug-in has its map of domains and its pool of
// bindings, as in a service that runs.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/core/library.h"
#include "framework/core/message.h"
#include "framework/core/plugin_api.h"
#include "identity/account_lookup.h"
#include "identity/entitlement_filters.h"
#include "platform/ldap/ldap_text.h"
#include "platform/text/hex.h"
#include "support/test_service.h"

namespace {

using namespace wsadmin;
using platform::LdapEntry;
using platform::Sid;

constexpr int groups = 1000;      // whose names are asked for
constexpr int usersGroups = 200;  // those of them that the user is in: half directly, half through these
constexpr int entitledSids = 1001;
const std::string place = "OU=Bench,DC=corp,DC=example";
const std::string userDn = "CN=Bench User," + place;

std::runtime_error wrong(const std::string& what, std::wstring_view why) {
    return std::runtime_error(what + ": " + CORE::toUtf8(why));
}

std::string environment(const char* name) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    if (!value) throw std::runtime_error(std::string(name) + " is not set: run this by ./bench.sh");
    return value;
}

CORE::PropertyBag startup() {
    CORE::PropertyBag bag;
    bag.set(platform::configurationKey, CORE::toWide(environment("WS_TEST_CONFIG")));
    bag.setBool(L"InitiateDomainChecks", false);
    return bag;
}

std::shared_ptr<platform::Platform> servers() {
    auto made = platform::createPlatform(startup());
    if (!made) throw wrong("no platform", made.error().text);
    return *made;
}

// A plug-in, from its start to its exit.
class Plugin {
  public:
    explicit Plugin(const std::string& name) {
        std::wstring failure;
        library_ = CORE::library::load(CORE::toWide(WS_BIN_DIR "/" + name + ".so"), failure);
        if (!library_) throw wrong(name, failure);
        const CORE::PropertyBag bag = startup();
        if (!library_->function<CORE::PluginParamsFunction>(CORE::pluginParamsName)(&bag) ||
            !library_->function<CORE::PluginInitFunction>(CORE::pluginInitName)(nullptr, nullptr, nullptr,
                                                                                nullptr))
            throw std::runtime_error(name + " does not start");
    }
    ~Plugin() { library_->function<CORE::PluginExitFunction>(CORE::pluginExitName)(); }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

  private:
    std::unique_ptr<CORE::library> library_;
};

CORE::PropertyBag ask(std::wstring_view operation, const CORE::PropertyBag& request) {
    CORE::PropertyBag answer;
    CORE::MessageHandler::SendMsg(L"ws_admin", operation, request, answer);
    if (answer.getError()) throw wrong(CORE::toUtf8(operation), answer.getErrorText());
    return answer;
}

std::size_t count(const CORE::PropertyBag& bag, std::wstring_view key) {
    std::size_t records = 0, position = 0;
    while (bag.getNextBag(key, position)) ++records;
    return records;
}

void expect(const std::string& what, std::size_t found, std::size_t expected) {
    if (found == expected) return;
    throw std::runtime_error(what + ": " + std::to_string(found) + " instead of " + std::to_string(expected));
}

// The user and the groups in the users' domain, while this lives.
class People {
  public:
    explicit People(platform::LdapClient& client) : session_(open(client)) {
        remove();  // what an interrupted run has left
        add({place, {{"objectClass", {"organizationalUnit"}}}});
        add({userDn,
             {{"objectClass", {"user"}},
              {"sAMAccountName", {"benchuser"}},
              {"userAccountControl", {"544"}}}});
        for (int i = 0; i < groups; ++i) addGroup(i);
        readBack();
    }
    ~People() { remove(); }
    People(const People&) = delete;
    People& operator=(const People&) = delete;

    const std::string& user() const { return user_; }  // the SID
    const std::vector<Sid>& usersGroupSids() const { return tokenGroups_; }
    const std::vector<Sid>& groupSids() const { return groups_; }

  private:
    static std::unique_ptr<platform::LdapSession> open(platform::LdapClient& client) {
        auto session = client.open({.host = "corp.example"});
        if (!session) throw wrong("corp.example", session.error().text);
        if (const auto bound = (*session)->bind({}); !bound) throw wrong("corp.example", bound.error().text);
        return std::move(*session);
    }
    static std::string groupDn(int i) { return "CN=bench-" + std::to_string(i) + "," + place; }

    // The first half of the user's groups list the user, each of the second half lists one of these; every
    // other one of the second half is domain-local.
    void addGroup(int i) {
        constexpr const char* global = "-2147483646";
        constexpr const char* domainLocal = "-2147483644";
        constexpr int direct = usersGroups / 2;
        LdapEntry group{groupDn(i),
                        {{"objectClass", {"group"}}, {"sAMAccountName", {"bench-" + std::to_string(i)}}}};
        const bool nested = i >= direct && i < usersGroups;
        group.attributes.push_back({"groupType", {nested && i % 2 ? domainLocal : global}});
        if (i < usersGroups) group.attributes.push_back({"member", {nested ? groupDn(i - direct) : userDn}});
        add(group);
    }
    void add(const LdapEntry& entry) {
        if (const auto added = session_->add(entry); !added) throw wrong(entry.dn, added.error().text);
    }
    void remove() {
        static_cast<void>(session_->remove(place, {{platform::controls::treeDelete, {}, true}}));
    }

    std::vector<LdapEntry> search(const platform::LdapSearch& search) {
        auto found = session_->search(search);
        if (!found) throw wrong(search.filter, found.error().text);
        return std::move(found->entries);
    }
    static Sid sid(const std::string& bytes) { return Sid::fromBytes(bytes).value(); }
    void readBack() {
        const auto user = search({.base = userDn,
                                  .scope = platform::LdapScope::base,
                                  .filter = "(objectClass=*)",
                                  .attributes = {"objectSid", "tokenGroups"}});
        user_ = sid(user.at(0).all("objectSid").at(0)).text();
        for (const std::string& bytes : user.at(0).all("tokenGroups")) tokenGroups_.push_back(sid(bytes));
        for (const LdapEntry& group :
             search({.base = place, .filter = "(objectClass=group)", .attributes = {"objectSid"}}))
            groups_.push_back(sid(group.all("objectSid").at(0)));
        expect("groups", groups_.size(), groups);
        // Domain Users, and Users of the machine, beside those made here.
        expect("groups of the user", tokenGroups_.size(), usersGroups + 2);
    }

    std::unique_ptr<platform::LdapSession> session_;
    std::string user_;
    std::vector<Sid> tokenGroups_, groups_;
};

// --- the peer

struct Server {
    std::string host, user, password;
};

Server pod() {
    return {environment("WS_TEST_LDAP_HOST"),
            environment("WS_TEST_LDAP_USER") + "@" + environment("WS_TEST_LDAP_DOMAIN"),
            environment("WS_TEST_LDAP_PASSWORD")};
}

Server corp() {
    return {environment("WS_TEST_CORP_HOST"), environment("WS_TEST_CORP_USER"),
            environment("WS_TEST_CORP_PASSWORD")};
}

// One run, with a simple bind as the plug-in has it; what it prints goes nowhere.
void ldapsearch(const Server& server, std::vector<std::string> arguments) {
    std::vector<std::string> all = {"ldapsearch", "-x",        "-H",          "ldap://" + server.host,
                                    "-D",         server.user, "-w",          server.password,
                                    "-LLL",       "-o",        "ldif-wrap=no"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> words;
    words.reserve(all.size() + 1);
    for (std::string& word : all) words.push_back(word.data());
    words.push_back(nullptr);
    char* noVariables[] = {nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    const int started = posix_spawnp(&process, "ldapsearch", &actions, nullptr, words.data(), noVariables);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (started != 0 || waitpid(process, &status, 0) != process || status != 0)
        throw std::runtime_error("ldapsearch fails");
}

std::vector<std::string> search(const std::string& base, const std::string& scope, const std::string& filter,
                                const std::vector<std::string>& attributes) {
    std::vector<std::string> arguments = {"-b", base, "-s", scope, filter};
    arguments.insert(arguments.end(), attributes.begin(), attributes.end());
    return arguments;
}

void fetchUser() {
    ldapsearch(corp(), search(userDn, "base", "(objectClass=*)",
                              {"cn", "sn", "givenName", "mail", "sAMAccountName", "userPrincipalName",
                               "userAccountControl", "msDS-User-Account-Control-Computed", "accountExpires",
                               "logonHours", "objectSid", "distinguishedName", "tokenGroups"}));
}

void fetchNames(const std::vector<Sid>& sids) {
    std::string filter = "(|";
    for (const Sid& sid : sids) {
        filter += "(objectSid=";
        for (const char byte : sid.bytes()) platform::appendEscapedByte(filter, byte);
        filter += ")";
    }
    ldapsearch(corp(),
               search("DC=corp,DC=example", "sub", filter + ")",
                      {"objectClass", "groupType", "sAMAccountName", "objectSid", "distinguishedName"}));
}

// --- the measures

// What they work on.
struct World {
    const People& people;
    platform::AccountAuthority& accounts;
    SidList entitledSids;

    void context(bool listNames) const {
        CORE::PropertyBag request;
        request.set(L"SID", std::string_view(people.user()));
        request.setBool(L"listNames", listNames);
        const CORE::PropertyBag answer = ask(L"getUserContext", request);
        expect("getUserContext", count(answer.getBag(L"group-list"), L"group"),
               people.usersGroupSids().size());
    }
    void names(const std::vector<Sid>& sids) const {
        const auto found = accounts.namesOf(sids);
        if (!found) throw wrong("names", found.error().text);
        const auto known = std::ranges::count_if(*found, [](const auto& name) { return name.has_value(); });
        expect("names", static_cast<std::size_t>(known), sids.size());
    }
    void entitlements() const {
        CORE::PropertyBag request;
        for (const Sid& sid : entitledSids) request.add(L"sid", std::string_view(sid.text()));
        expect("getEntitledDesktops", count(ask(L"getEntitledDesktops", request), L"entitlement"), 1);
    }
};

const World*& world() {
    static const World* one = nullptr;
    return one;
}

void measure(benchmark::State& state, void (*work)(const World&)) {
    for (auto unused : state) {
        (void)unused;
        work(*world());
    }
}

void contextSids(const World& world) {
    world.context(false);
}
void peerSids(const World&) {
    fetchUser();
}
void contextNames(const World& world) {
    world.context(true);
}
void peerNames(const World& world) {
    fetchUser();
    fetchNames(world.people.usersGroupSids());
}
void namesAtOnce(const World& world) {
    world.names(world.people.groupSids());
}
void namesOneByOne(const World& world) {
    for (const Sid& sid : world.people.groupSids()) world.names({sid});
}
void entitlements(const World& world) {
    world.entitlements();
}
void peerEntitlements(const World& world) {
    ldapsearch(pod(), search("DC=vdi,DC=talvex,DC=int", "sub", desktopFilter(world.entitledSids),
                             {"cn", "zre-DisplayName", "zre-Disabled", "Description", "zre-AdminFolderDN"}));
}

#define MEASURE(function, name) \
    BENCHMARK_CAPTURE(measure, function, function)->Name(name)->UseRealTime()->Unit(benchmark::kMillisecond)
MEASURE(contextSids, "context/sids");
MEASURE(peerSids, "peer/sids");
MEASURE(contextNames, "context/names");
MEASURE(peerNames, "peer/names");
MEASURE(namesAtOnce, "at_once/1000_names");
MEASURE(namesOneByOne, "peer/1000_names");
MEASURE(entitlements, "entitlements/1001_sids");
MEASURE(peerEntitlements, "peer/1001_sids");

// One of them is entitled to one desktop.
SidList manySids() {
    const Sid entitled = Sid::parse("S-1-5-21-2000-2000-2000-1102").value();
    SidList sids = {entitled};
    for (int rid = 50000; static_cast<int>(sids.size()) < entitledSids; ++rid)
        sids.push_back(Sid::parse(entitled.domain().text() + "-" + std::to_string(rid)).value());
    return sids;
}

void run() {
    const Plugin authentication("winauth"), admin("ws_admin");
    CORE::PropertyBag force;
    force.setBool(L"forceReload", true);
    ask(L"getDomainHealth", force);

    const auto machine = servers();
    const People people(*machine->ldap);
    CORE::ThreadGroup threads(L"bench");
    const DirectoryAccess access{machine->directoryServices, machine->clock};
    wstest::TestService service(machine);
    service.pool = CORE::refptr<ConnectionMgr>::adopt(new ConnectionMgr(access, threads));
    service.domainMap = CORE::refptr<Domain>::adopt(new Domain(access, threads, false));
    service.domainMap->getDomainMap(true);
    DomainBindings domains(service);
    const auto accounts = accountsOf(domains);

    const World measured{people, *accounts, manySids()};
    world() = &measured;
    benchmark::RunSpecifiedBenchmarks();
    service.pool->StopTimerWithWait();
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    try {
        run();
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
        return 1;
    }
}
