#include "framework/operation_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/operation_reference.h"
#include "support/typed_request.h"

namespace wsadmin {
namespace {

using CORE::toUtf8;

constexpr Shape bag = Shape::resultBag;
constexpr Shape fill = Shape::responseFilling;

// The contract with everybody who sends requests: these names, in this order, of these shapes.
constexpr struct {
    std::wstring_view name;
    Shape shape;
} contract[] = {
    {L"Diag", bag},
    {L"getEntitlementGroups", bag},
    {L"getUserTokenGroups", bag},
    {L"getUserInformation", bag},
    {L"updateSingleUserFSP", bag},
    {L"updateAllUserFSPs", bag},
    {L"usernameToSID", bag},
    {L"getUnentitledMachines", bag},
    {L"getUnentitledPolicies", bag},
    {L"deleteConnectionServerEntry", bag},
    {L"setClusterName", bag},
    {L"setDefaultDesktop", bag},
    {L"getEntitledDesktops", bag},
    {L"getGlobalEntitledDesktops", bag},
    {L"getEntitledMirapaks", bag},
    {L"getAdminRoles", bag},
    {L"getUserContext", bag},
    {L"setServiceConfiguration", bag},
    {L"setVMOwnership", bag},
    {L"getDomainType", bag},
    {L"getMachineInfo", bag},
    {L"markMachineForSpaceReclamation", bag},
    {L"checkLdapConnectivity", bag},
    {L"getDomainHealth", bag},
    {L"copyAgentLog", bag},
    {L"getAgentLogs", bag},
    {L"createAgentDCT", bag},
    {L"getAgentVersion", bag},
    {L"getAgentLogLevel", bag},
    {L"setAgentLogLevel", bag},
    {L"checkAdminPermission", bag},
    {L"saveDomainConfig", bag},
    {L"loadDomainConfig", bag},
    {L"getMachineAgentInfo", bag},
    {L"setMachineAgentInfo", bag},
    {L"getNetBiosName", bag},
    {L"upnToSid", bag},
    {L"clientAuthConfig", bag},
    {L"clientAuthGetDefaults", bag},
    {L"clientAuthList", bag},
    {L"clientAuthRemoveAll", bag},
    {L"showAndResolveLDAPCollisions", bag},
    {L"addIPsecRules", bag},
    {L"getIPsecEndpoints", bag},
    {L"deleteIPsecRules", bag},
    {L"verifyIPsecRulesActive", bag},
    {L"monitorIPsecRules", bag},
    {L"encodeBackupProtectionItems", bag},
    {L"getAppdataLocation", bag},
    {L"disableFirewallRule", fill},
    {L"enableFirewallRule", fill},
    {L"isFirewallOn", fill},
    {L"isFirewallRuleEnabled", fill},
    {L"qrvLdapInfo", fill},
    {L"qrvLdapInit", fill},
    {L"qrvLdapUninit", fill},
    {L"qrvLdapJoin", fill},
    {L"qrvLdapUnjoin", fill},
    {L"qrvLdapEject", fill},
    {L"qrvLdapCheckEnablement", fill},
    {L"qrvLdapInstallReplica", fill},
    {L"qrvLdapUninstallReplica", fill},
    {L"qrvLdapRemovePodEndpoint", fill},
};

std::string upper(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

bool parsesAs(KeyType type, std::wstring_view value) {
    using enum KeyType;
    if (type == boolean) return value == L"true" || value == L"false";
    if (type == integer)
        return !value.empty() && value.find_first_not_of(L"0123456789") == std::wstring_view::npos;
    return type == text || type == secret || type == textList;
}

// Key texts stand in tables and lists: a phrase without a full stop.
bool isOneLine(const std::string& text) {
    return !text.empty() && text.front() != ' ' && text.find('\n') == std::string::npos &&
           std::string_view(" .,;").find(text.back()) == std::string_view::npos;
}

TEST(OperationTable, HasTheOperationsOfTheContractInItsOrder) {
    const auto table = operationTable();
    ASSERT_EQ(table.size(), 63u);
    ASSERT_EQ(std::size(contract), 63u);
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(toUtf8(table[i].name), toUtf8(contract[i].name)) << "row " << i + 1;
        EXPECT_EQ(table[i].shape, contract[i].shape) << toUtf8(table[i].name);
    }
}

TEST(OperationTable, EveryRowHasAHandlerOfItsOwn) {
    std::map<Handler, std::string> handlers;
    for (const Operation& operation : operationTable()) {
        if (!operation.built()) continue;
        const auto [other, added] = handlers.try_emplace(operation.run, toUtf8(operation.name));
        EXPECT_TRUE(added) << toUtf8(operation.name) << " and " << other->second << " have the same handler";
    }
}

TEST(OperationTable, EveryOperationIsDescribedInOneSentence) {
    for (const Operation& operation : operationTable()) {
        const std::string text = toUtf8(operation.text);
        ASSERT_GT(text.size(), 20u) << toUtf8(operation.name);
        EXPECT_TRUE(text.front() >= 'A' && text.front() <= 'Z') << text;
        EXPECT_EQ(text.find_first_of(".!?\n"), text.size() - 1) << text;
    }
}

TEST(OperationTable, KeysAreWellFormed) {
    using enum KeyType;
    const std::set<KeyType> requestTypes{text, secret, integer, boolean, textList};
    const std::set<KeyType> resultTypes{text, integer, boolean, flag, KeyType::bag, bagList, textList};
    const struct {
        std::span<const Key> Operation::*keys;
        const std::set<KeyType>& types;
        std::string_view
            symbols;  // that names may have beside letters and digits; NAME=VALUE must stay typable
    } lists[] = {{&Operation::request, requestTypes, ""}, {&Operation::result, resultTypes, "-<>/"}};

    for (const Operation& operation : operationTable()) {
        for (const auto& list : lists) {
            std::map<std::string, KeyType> seen;
            for (const Key& key : operation.*list.keys) {
                const std::string name = toUtf8(key.name);
                SCOPED_TRACE(toUtf8(operation.name) + ", key \"" + name + '"');
                EXPECT_TRUE(!name.empty() && std::ranges::all_of(name, [&](unsigned char c) {
                    return std::isalnum(c) ||
                           list.symbols.find(static_cast<char>(c)) != std::string_view::npos;
                }));
                EXPECT_TRUE(list.types.contains(key.type)) << toUtf8(keyTypeName(key.type));
                EXPECT_TRUE(seen.try_emplace(upper(name), key.type).second) << "it is there twice";
                EXPECT_TRUE(isOneLine(toUtf8(key.text))) << toUtf8(key.text);
                EXPECT_TRUE(key.fallback.empty() || parsesAs(key.type, key.fallback)) << toUtf8(key.fallback);
                EXPECT_TRUE(key.fallback.empty() || key.required == Required::no)
                    << "required has no default";
                EXPECT_TRUE(key.fallback.empty() || list.keys == &Operation::request)
                    << "a result has no default";
                if (const std::size_t slash = name.rfind('/'); slash != std::string::npos) {
                    const auto parent = seen.find(upper(name.substr(0, slash)));
                    ASSERT_NE(parent, seen.end()) << "its bag has no row before it";
                    EXPECT_TRUE(parent->second == KeyType::bag || parent->second == bagList)
                        << "it stands below what is no bag";
                }
            }
        }
    }
}

TEST(OperationTable, ExamplesUseTheKeysAndGiveWhatIsRequired) {
    for (const Operation& operation : operationTable()) {
        SCOPED_TRACE(toUtf8(operation.name) + " " + toUtf8(operation.example));
        EXPECT_EQ(operation.example.empty(), operation.request.empty());
        if (operation.example.empty()) continue;
        const auto pairs = wstest::typedPairs(operation.example);
        ASSERT_TRUE(pairs);
        std::set<std::wstring> given;
        for (const auto& [name, value] : *pairs) {
            const auto key = std::ranges::find(operation.request, std::wstring_view(name), &Key::name);
            ASSERT_NE(key, operation.request.end()) << toUtf8(name);
            EXPECT_TRUE(parsesAs(key->type, value)) << toUtf8(name);
            EXPECT_FALSE(value.empty()) << toUtf8(name);
            EXPECT_TRUE(given.insert(name).second || key->type == KeyType::textList)
                << toUtf8(name) << " repeats";
            EXPECT_EQ(key->type == KeyType::secret, value.starts_with(L"@"))
                << "a secret stands in a file, others do not";
        }
        for (const Key& key : operation.request)
            EXPECT_TRUE(key.required != Required::yes || given.contains(std::wstring(key.name)))
                << toUtf8(key.name) << " is missing";
    }
}

// Whoever types an example gets an answer from the sample lab, not that nothing of that name is there.
TEST(OperationTable, ExamplesNameWhatTheSampleLabHas) {
    std::string lab;
    for (const auto& file : std::filesystem::recursive_directory_iterator(WS_SOURCE_DIR "/labs/sample"))
        if (file.path().extension() == ".ldif") {
            std::ostringstream text;
            text << std::ifstream(file.path(), std::ios::binary).rdbuf();
            lab += text.str();
        }
    const std::set<std::wstring> named{L"desktop",     L"desktopName", L"desktopname", L"machineName",
                                       L"username",    L"userName",    L"dn",          L"upn",
                                       L"podEndpoint", L"sid"};
    for (const Operation& operation : operationTable()) {
        const auto pairs = wstest::typedPairs(operation.example);
        ASSERT_TRUE(pairs);
        for (const auto& [name, value] : *pairs) {
            if (!named.contains(name)) continue;
            const std::string wanted = toUtf8(value.substr(value.find(L'\\') + 1)) + "\n";
            const std::string rdn = "CN=" + wanted.substr(0, wanted.size() - 1) + ",";
            EXPECT_TRUE(lab.find(": " + wanted) != lab.npos || lab.find(": " + rdn) != lab.npos)
                << toUtf8(operation.name) << " " << toUtf8(name) << "=" << wanted;
        }
    }
}

TEST(FindOperation, MatchesInAnyCase) {
    for (const Operation& operation : operationTable()) {
        std::wstring small(operation.name), large(operation.name), mixed(operation.name);
        std::ranges::transform(small, small.begin(), ::towlower);
        std::ranges::transform(large, large.begin(), ::towupper);
        for (std::size_t i = 0; i < mixed.size(); ++i) mixed[i] = i % 2 ? large[i] : small[i];
        for (const std::wstring_view name : {operation.name, {small}, {large}, {mixed}})
            EXPECT_EQ(findOperation(name), &operation) << toUtf8(name);
    }
}

TEST(FindOperation, MatchesOverTheWholeLengthOnly) {
    for (const Operation& operation : operationTable()) {
        const std::wstring name(operation.name);
        for (const std::wstring& other :
             {L" " + name, name.substr(1), name.substr(0, name.size() - 1), name + name})
            EXPECT_EQ(findOperation(other), nullptr) << toUtf8(other);
        // So many that some come to the name's own place in the index, where nothing but the length tells
        // them apart.
        for (wchar_t c = 0; c < 0x400; ++c) EXPECT_EQ(findOperation(name + c), nullptr) << toUtf8(name + c);
    }
    for (const std::wstring& other :
         {std::wstring(), std::wstring(L" "), std::wstring(1, L'\0'), std::wstring(L"*"),
          std::wstring(L"D\u0131ag"), std::wstring(L"chec\u212ALdapConnectivity"),
          std::wstring(1'000'000, L'D')})
        EXPECT_EQ(findOperation(other), nullptr) << toUtf8(other.substr(0, 40));
}

TEST(OperationReference, IsTheCommittedPage) {
    std::ifstream file(WS_SOURCE_DIR "/docs/operations.md", std::ios::binary);
    std::stringstream committed;
    committed << file.rdbuf();
    ASSERT_TRUE(file) << "docs/operations.md cannot be read";
    EXPECT_TRUE(committed.str() == operationReference())
        << "docs/operations.md is not what the table gives. Make it anew:\n"
           "  cmake --build --preset native --target operation_reference\n"
           "  build/native/bin/operation_reference > docs/operations.md";
}

}  // namespace
}  // namespace wsadmin
