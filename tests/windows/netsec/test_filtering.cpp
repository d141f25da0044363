#include "windows/stand_ins/filtering_engine.h"
#include "windows/stand_ins/firewall_policy.h"
// After the platform's headers:
#include <gtest/gtest.h>

#include <thread>

#include "framework/core/corestring.h"
#include "platform/windows/windows_machine.h"
#include "support/rows.h"
#include "windows/stand_ins/com_object.h"

namespace wsadmin::platform::windows {
namespace {

using Words = std::vector<std::string>;

using namespace test;
using wstest::Json;

FilteringStandIn& standIn() {
    return filteringStandIn();
}

std::string wordOf(const MainModeContext& one) {
    return one.name ? CORE::toUtf8(*one.name) : "-";
}
std::string wordOf(const SecurityAssociation& one) {
    return wordOf(MainModeContext{one.filterName}) + " " +
           makeFiltering()->addressText().value()(one).value_or("-");
}

template <class Entry>
Result<Words> all(Result<std::unique_ptr<FilteringEntries<Entry>>> entries) {
    if (!entries) return fail(entries.error());
    Words found;
    while (true) {
        const auto batch = (*entries)->next();
        if (!batch) return fail(batch.error());
        for (const Entry& entry : *batch) found.push_back(wordOf(entry));
        if (batch->size() < filteringBatch) return found;
    }
}

Result<Words> all(bool contexts) {
    const auto engine = makeFiltering()->open();
    if (!engine) return fail(engine.error());
    return contexts ? all((*engine)->mainModeContexts()) : all((*engine)->securityAssociations());
}

struct Functions {
    bool contexts;
    std::string create, request, next, destroy;
};
const Functions enumerations[] = {
    {false, "IPsecSaCreateEnumHandle0", " all", "IPsecSaEnum0", "IPsecSaDestroyEnumHandle0"},
    {true, "FwpmProviderContextCreateEnumHandle0", " 5", "FwpmProviderContextEnum0",
     "FwpmProviderContextDestroyEnumHandle0"},
};

// All calls of an enumeration that no step fails of.
Words callsFor(const Functions& functions, std::size_t count) {
    Words calls{"FwpmEngineOpen0 10", functions.create + functions.request};
    for (std::size_t at = 0; at <= count; at += 20) {
        calls.push_back(functions.next + " 20");
        if (at < count) calls.push_back("FwpmFreeMemory0");
    }
    calls.insert(calls.end(), {functions.destroy, "FwpmEngineClose0"});
    return calls;
}

TEST(Filtering, ReadsBatchesAndReleasesEverything) {
    std::vector<std::wstring> names;
    std::vector<FWPM_FILTER0> filters;
    for (int i = 0; i < 41; ++i) names.push_back(std::to_wstring(i));
    std::ranges::transform(names, std::back_inserter(filters), filterOf);
    for (const Functions& functions : enumerations)
        for (const std::size_t count : {0U, 1U, 19U, 20U, 41U}) {
            SCOPED_TRACE(functions.next + " " + std::to_string(count));
            standIn() = {};
            Words expected;
            for (std::size_t i = 0; i < count; ++i) {
                standIn().associations.push_back(
                    associationTo(0x0A000000 + static_cast<UINT32>(i), &filters[i]));
                for (const auto type : {FWPM_IPSEC_IKE_MM_CONTEXT, FWPM_IPSEC_AUTHIP_MM_CONTEXT})
                    standIn().contexts.push_back(context(type, names[i].data()));
                const std::string number = std::to_string(i);
                expected.push_back(functions.contexts ? number : number + " 10.0.0." + number);
            }
            EXPECT_EQ(all(functions.contexts).value(), expected);
            EXPECT_EQ(standIn().calls, callsFor(functions, count));
        }
}

TEST(Filtering, TellsTheCodeOfAFailedStepAndReleasesTheRest) {
    for (const Functions& functions : enumerations) {
        const Words calls = callsFor(functions, 20);
        const struct {
            std::string failing;
            int occurrence;
            std::ptrdiff_t until, from;  // calls: the failing one, and those that release
        } rows[] = {{"FwpmEngineOpen0", 1, 1, 0},
                    {functions.create, 1, 2, 1},
                    {functions.next, 1, 3, 2},
                    {functions.next, 2, 5, 2}};
        for (const auto& row : rows) {
            SCOPED_TRACE(row.failing + " " + std::to_string(row.occurrence));
            standIn() = {.associations{20, association(FWP_IP_VERSION_V4, nullptr)},
                         .contexts{20, context(FWPM_IPSEC_IKE_MM_CONTEXT, nullptr)},
                         .failing = row.failing,
                         .occurrence = row.occurrence,
                         .code = 0x80320001,
                         .calls{}};
            const auto found = all(functions.contexts);
            ASSERT_FALSE(found);
            EXPECT_EQ(found.error().code, static_cast<int>(0x80320001));
            Words expected(calls.begin(), calls.begin() + row.until);
            expected.insert(expected.end(), calls.end() - row.from, calls.end());
            EXPECT_EQ(standIn().calls, expected);
        }
    }
}

TEST(Filtering, ReadsNamesAndAddresses) {
    std::wstring name = L"J\u00f6rg's pairing (AJP13)";
    const std::string word = CORE::toUtf8(name);
    FWPM_FILTER0 named = filterOf(name), unnamed{};
    auto six = association(FWP_IP_VERSION_V6, &named);
    std::ranges::copy(std::to_array<UINT8>({0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xab, 0xcd, 0, 1}),
                      six.traffic.remoteV6Address);
    standIn() = {};
    standIn().associations = {associationTo(0x0A010203, &named), associationTo(0xFFFEFDFC, &unnamed),
                              associationTo(1, nullptr), six, association(FWP_IP_VERSION_NONE, &named)};
    standIn().contexts = {context(FWPM_IPSEC_IKE_MM_CONTEXT, name.data()),
                          context(FWPM_IPSEC_KEYING_CONTEXT, name.data()),
                          context(FWPM_IPSEC_IKE_MM_CONTEXT, nullptr)};
    EXPECT_EQ(all(false).value(), (Words{word + " 10.1.2.3", "- 255.254.253.252", "- 0.0.0.1",
                                         word + " fd00::abcd:1", word + " -"}));
    EXPECT_EQ(all(true).value(), (Words{word, "-"}));
}

// All that a policy is asked for, and every rule switched over.
Result<std::wstring> askPolicy() {
    const auto policy = makeFirewall()->open();
    if (!policy) return fail(policy.error());
    const auto profiles = (*policy)->currentProfiles();
    if (!profiles) return fail(profiles.error());
    const auto on = (*policy)->enabled(firewallPrivate);
    if (!on) return fail(on.error());
    std::wstring told = std::to_wstring(*profiles) + L" " + std::to_wstring(*on);
    const auto rules = (*policy)->rules();
    if (!rules) return fail(rules.error());
    while (true) {
        const auto rule = (*rules)->next();
        if (!rule) return fail(rule.error());
        if (!*rule) return told;
        const auto name = (*rule)->name();
        if (!name) return fail(name.error());
        const auto enabled = (*rule)->enabled();
        if (!enabled) return fail(enabled.error());
        told += L" [" + *name + L"] " + std::to_wstring(*enabled);
        if (const auto set = (*rule)->setEnabled(*enabled == 0); !set) return fail(set.error());
    }
}

Json policyAsked(const Json& in) {
    firewall = {};
    firewall.failing = in[0];
    firewall.code = in[1];
    Result<std::wstring> told;
    std::thread([&told] { told = askPolicy(); }).join();  // which has no COM so far
    EXPECT_EQ(firewall.modes, std::vector<DWORD>{COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE});
    EXPECT_EQ(firewall.rules[0].enabled, told ? VARIANT_TRUE : VARIANT_FALSE);
    EXPECT_EQ(firewall.rules[1].enabled, told ? VARIANT_FALSE : 1);
    EXPECT_EQ(firewall.rules[2].enabled, told ? VARIANT_FALSE : VARIANT_TRUE);
    EXPECT_EQ(firewall.owedEnds, 0);
    EXPECT_EQ(firewall.objectsAtEnd, 0);
    EXPECT_EQ(wstest::liveComObjects, 0);
    EXPECT_TRUE(firewall.names.empty());
    return {CORE::toUtf8(told ? *told : told.error().text), told ? S_OK : told.error().code};
}

TEST(FirewallPolicies, AreAskedWithComOfTheirOwnAndReleaseEverything) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    auto policies = registerPolicies();
    wstest::tryRows(WS_SOURCE_DIR "/tests/windows/netsec/rows.jsonl", {{"policy", policyAsked}});
    policies.reset();
    CoUninitialize();
}

}  // namespace
}  // namespace wsadmin::platform::windows
