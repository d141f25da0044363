// The tree of a federation of 50 sites, 500 pods and 5,000 servers, against a plain client of libldap that
// makes the same binds and searches one after the other and reads what they bring. Beside with-slapd.
#include <benchmark/benchmark.h>
#include <lber.h>
#include <ldap.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "federation/federation_tree.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ldap.h"
#include "support/temp_folder.h"

namespace {

using namespace wsadmin;
using platform::LdapEntry;

constexpr int sites = 50, pods = 500, endpoints = 5000;
const std::string base = "DC=vdiglobal,DC=talvex,DC=int", properties = "OU=Properties," + base,
                  podsDn = "OU=Pod," + properties, common = "CN=Common,OU=Global," + properties;

std::string environment(const char* name) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    if (!value) throw std::runtime_error(std::string(name) + " is not set: run this by ./bench.sh");
    return value;
}

template <class Done>
void require(const std::string& what, const Done& done) {
    if (!done) throw std::runtime_error(what + ": " + CORE::toUtf8(done.error().text));
}

std::shared_ptr<platform::Platform> server() {
    static const wstest::TempFolder folder;
    const std::string file =
        folder.write("layer.toml", "[global]\nhost = \"" + environment("WS_TEST_LDAP_HOST") +
                                       "\"\nport = " + environment("WS_TEST_LDAP_PORT") +
                                       "\nmethod = \"simple\"\nuser = \"" + environment("WS_TEST_LDAP_USER") +
                                       "\"\npassword = \"" + environment("WS_TEST_LDAP_PASSWORD") +
                                       "\"\nallow-password-in-clear = true\n");
    CORE::PropertyBag startup;
    startup.set(platform::configurationKey, CORE::toWide(file));
    auto made = platform::createPlatform(startup);
    require("no platform", made);
    return *made;
}

std::string siteDn(int i) {
    return "CN=site-" + std::to_string(i) + ",OU=Site," + properties;
}
std::string podDn(int i) {
    return "CN=pod-" + std::to_string(i) + "," + podsDn;
}

void fill(platform::LdapClient& client) {
    const auto session = client.open({.host = "127.0.0.1", .port = 22389});
    require("open", session);
    require("bind", (*session)->bind({}));
    const auto add = [&](const std::string& dn, const char* objectClass,
                         std::vector<platform::LdapAttribute> more = {}) {
        const auto end = dn.find(','), equals = dn.find('=');
        LdapEntry entry{dn,
                        {{"objectClass", {objectClass}},
                         {dn.substr(0, equals), {dn.substr(equals + 1, end - equals - 1)}}}};
        if (std::string_view(objectClass).starts_with("zre-"))
            for (const auto& [name, value] : {std::pair{"distinguishedName", dn.c_str()},
                                              {"whenCreated", "20240101000000.0Z"},
                                              {"whenChanged", "20240101000000.0Z"}})
                entry.attributes.push_back({name, {value}});
        for (auto& attribute : more) entry.attributes.push_back(std::move(attribute));
        require(dn, (*session)->add(entry));
    };
    add(base, "domainDNS");
    for (const std::string& dn : {properties, "OU=Global," + properties, podsDn, "OU=Site," + properties})
        add(dn, "organizationalUnit");
    add(common, "zre-GlobalProperties", {{"zre-GUID", {"7f1c2d10-0000-4000-8000-000000000001"}}});
    for (int i = 0; i < sites; ++i) add(siteDn(i), "zre-SiteProperties", {{"zre-DisplayName", {"Site"}}});
    for (int i = 0; i < pods; ++i)
        add(podDn(i), "zre-PodProperties",
            {{"zre-DisplayName", {"Pod"}}, {"zre-SiteDN", {siteDn(i % sites)}}});
    for (int i = 0; i < endpoints; ++i)
        add("CN=VCS" + std::to_string(i) + "," + podDn(i % pods), "zre-PodEndpoint",
            {{"zre-URL", {"https://vcs.corp.example:8472/"}}});
}

std::size_t count(const CORE::PropertyBag& bag, std::wstring_view key) {
    std::size_t found = 0, position = 0;
    while (bag.getNextBag(key, position)) ++found;
    return found;
}

void expect(const std::string& what, std::ptrdiff_t found, std::ptrdiff_t expected) {
    if (found != expected)
        throw std::runtime_error(what + ": " + std::to_string(found) + " instead of " +
                                 std::to_string(expected));
}

// The layer, filled by whoever comes first, whose searches are counted then.
platform::Platform& layer() {
    static const auto machine = [] {
        auto made = server();
        fill(*made->ldap);
        const auto client = made->ldap;
        const auto calls = std::make_shared<wstest::PortCalls>();
        const auto directoryServices = made->directoryServices;
        made->directoryServices = platform::makePortableDirectoryServices(
            std::make_shared<wstest::CountingLdapClient>(client, calls), "");
        const auto tree = qrv::readFederation(*made);
        require("the tree", tree);
        made->directoryServices = directoryServices;
        expect("sites", static_cast<std::ptrdiff_t>(count(tree->sites, L"site")), sites);
        expect("pods", static_cast<std::ptrdiff_t>(count(tree->pods, L"pod")), pods);
        expect("endpoints", static_cast<std::ptrdiff_t>(count(tree->endpoints, L"endpoint")), endpoints);
        expect("searches for sites", calls->searchesFor("zre-SiteProperties"), 1);
        expect("searches for pods", calls->searchesFor("zre-PodProperties"), sites);
        expect("searches for endpoints", calls->searchesFor("zre-PodEndpoint"), pods);
        return made;
    }();
    return *machine;
}

void ours(benchmark::State& state) {
    platform::Platform& machine = layer();
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(qrv::readFederation(machine));
    }
}

// One bind with its searches. Values are read, and the DNs kept.
class Peer {
  public:
    Peer() {
        const std::string url =
            "ldap://" + environment("WS_TEST_LDAP_HOST") + ":" + environment("WS_TEST_LDAP_PORT");
        check(ldap_initialize(&session_, url.c_str()));
        const int version = LDAP_VERSION3;
        ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
        std::string password = environment("WS_TEST_LDAP_PASSWORD");
        berval secret{password.size(), password.data()};
        check(ldap_sasl_bind_s(session_, environment("WS_TEST_LDAP_USER").c_str(), LDAP_SASL_SIMPLE, &secret,
                               nullptr, nullptr, nullptr));
    }
    ~Peer() { ldap_unbind_ext_s(session_, nullptr, nullptr); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    std::vector<std::string> search(const std::string& where, int scope, const std::string& filter,
                                    std::vector<const char*> attributes, bool paged = true) {
        attributes.push_back(nullptr);
        LDAPControl* page = nullptr;
        if (paged) check(ldap_create_page_control(session_, 1000, nullptr, 0, &page));
        LDAPControl* controls[] = {page, nullptr};
        LDAPMessage* answer = nullptr;
        check(ldap_search_ext_s(session_, where.c_str(), scope, filter.c_str(),
                                const_cast<char**>(attributes.data()), 0, controls, nullptr, nullptr, 0,
                                &answer));
        if (page) ldap_control_free(page);
        auto names = read(answer);
        ldap_msgfree(answer);
        return names;
    }

  private:
    static void check(int code) {
        if (code != LDAP_SUCCESS) throw std::runtime_error(ldap_err2string(code));
    }
    std::vector<std::string> read(LDAPMessage* answer) {
        std::vector<std::string> names;
        for (auto* entry = ldap_first_entry(session_, answer); entry;
             entry = ldap_next_entry(session_, entry)) {
            char* dn = ldap_get_dn(session_, entry);
            names.emplace_back(dn);
            ldap_memfree(dn);
            BerElement* place = nullptr;
            for (char* name = ldap_first_attribute(session_, entry, &place); name;
                 name = ldap_next_attribute(session_, entry, place)) {
                berval** values = ldap_get_values_len(session_, entry, name);
                benchmark::DoNotOptimize(values);
                ldap_value_free_len(values);
                ldap_memfree(name);
            }
            ber_free(place, 0);
        }
        return names;
    }

    LDAP* session_ = nullptr;
};

void peer(benchmark::State& state) {
    layer();
    const char* const any = "(objectClass=*)";
    const auto found = [&](const std::string& where, const std::string& filter, const char* last) {
        Peer bound;
        bound.search(where, LDAP_SCOPE_BASE, any, {"1.1"}, false);
        return bound.search(where, LDAP_SCOPE_SUBTREE, filter,
                            {"cn", last, "distinguishedName", "whenCreated", "whenChanged"});
    };
    for (auto unused : state) {
        (void)unused;
        Peer().search(common, LDAP_SCOPE_BASE, any, {}, false);
        std::size_t servers = 0;
        for (const auto& site : found(properties, "(objectClass=zre-SiteProperties)", "zre-DisplayName"))
            for (const auto& pod :
                 found(podsDn, "(&(objectClass=zre-PodProperties)(zre-SiteDN=" + site + "))",
                       "zre-DisplayName"))
                servers += found(pod, "(objectClass=zre-PodEndpoint)", "zre-URL").size();
        expect("endpoints", static_cast<std::ptrdiff_t>(servers), endpoints);
    }
}

BENCHMARK(ours)->Name("tree/5000")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(peer)->Name("peer/5000")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
