// What is left of secrets in the whole process, the framework's copies of the request included.
// Not under a sanitizer, whose own data is most of the memory.
#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "framework/core/message.h"
#include "framework/core/security.h"
#include "plugin/loaded_module.h"
#include "support/log_capture.h"
#include "support/process_memory.h"
#include "support/temp_folder.h"

namespace {

// Keys with all their bits inverted, so that neither this program's data nor the search below holds them.
constexpr char invertedKeys[2][13] = {
    {'\x92', '\x9e', '\x96', '\x91', '\xd2', '\xca', '\x86', '\xce', '\x85', '\xc8', '\x8e', '\xd2', '\x94'},
    {'\x8f', '\x99', '\x8c', '\xd2', '\xcc', '\x89', '\xc6', '\x94', '\xcb', '\x88', '\xd2', '\x87', '\xce'}};

CORE::secretstring keyOf(std::string_view inverted) {
    CORE::secretstring key;
    for (const char c : inverted) key.append(std::string(1, static_cast<char>(~c)));
    return key;
}

// The inverted bytes of the key in characters of that size.
std::string invertedText(std::string_view inverted, std::size_t size) {
    std::string text;
    for (const char c : inverted) text.append(1, c).append(size - 1, '\xff');
    return text;
}

void expectNowhere(std::string_view inverted) {
    for (const std::size_t size : {sizeof(char), sizeof(char16_t), sizeof(wchar_t)})
        EXPECT_FALSE(wstest::isInMemory(invertedText(inverted, size))) << size;
    const auto held = keyOf(inverted);
    EXPECT_TRUE(wstest::isInMemory(inverted)) << "the search finds nothing at all";
}

bool addRules() {
    CORE::PropertyBag request, response;
    request.set(L"remoteEndpointIP", L"10.1.9.9");
    request.set(L"preSharedKey", keyOf({invertedKeys[0], sizeof invertedKeys[0]}).view());
    request.set(L"pfsSharedKey", keyOf({invertedKeys[1], sizeof invertedKeys[1]}).view());
    return CORE::MessageHandler::SendMsg(L"ws_admin", L"addIPsecRules", request, response);
}

TEST(Secrets, OfAPairingStayNeitherInMemoryNorInTheLog) {
    const Loaded plugin;
    ASSERT_TRUE(plugin.start(sampleLab()));
    const wstest::LogCapture log;  // its lines are a part of the memory
    ASSERT_TRUE(addRules());
    EXPECT_TRUE(std::ranges::any_of(log.lines(), [](const auto& line) {
        return line.text.find(L"auth1psk=\"*****\" qmpfs") != line.text.npos;
    }));
    for (const auto& key : invertedKeys) expectNowhere({key, sizeof key});
    plugin.exit();
}

// The sample lab with a domain controller that admits everybody and refuses all changes of entries: a lab's
// keeps passwords as they are. The administrative account has the second key.
CORE::PropertyBag refusingLab(const wstest::TempFolder& folder) {
    const auto lab = folder.path() / "lab";
    std::filesystem::copy(sampleLab().get(CORE::startupLabFolder).str(), lab,
                          std::filesystem::copy_options::recursive);
    std::string machine = wstest::fileText(lab / "machine.toml");
    machine.resize(machine.find("\n[[directory.account]]"));
    machine += "\n[directory.faults]\nfail = [{operation = \"modify\", code = 53}]\n";
    std::ofstream(lab / "machine.toml", std::ios::binary) << machine;
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder, lab.wstring());
    startup.set(L"ClientAuthAdminUser", L"svc");
    const auto password = keyOf({invertedKeys[1], sizeof invertedKeys[1]});
    startup.set(L"ClientAuthAdminPassword", CORE::SecurityManager::System().Encrypt(password.view()));
    return startup;
}

TEST(Secrets, OfAClientDeviceStayNeitherInMemoryNorInTheLog) {
    const wstest::TempFolder folder;
    CORE::SecurityManager::System().setKeyFile((folder.path() / "key" / "host.key").wstring());
    const CORE::PropertyBag startup = refusingLab(folder);
    const Started authentication("winauth", startup);
    const Loaded plugin;
    ASSERT_TRUE(plugin.start(startup));
    const wstest::LogCapture log;  // its lines are a part of the memory
    CORE::PropertyBag response;
    {
        CORE::PropertyBag request;
        request.set(L"operation", L"add");
        request.set(L"clientid", L"custom-kiosk9");
        request.set(L"domain", L"corp.example");
        request.set(L"password", keyOf({invertedKeys[0], sizeof invertedKeys[0]}).view());
        CORE::MessageHandler::SendMsg(L"ws_admin", L"clientAuthConfig", request, response);
    }
    EXPECT_EQ(response.getErrorText(), L"Failed to SetPassword. error=0x80072035");
    EXPECT_FALSE(log.lines().empty());
    for (const auto& key : invertedKeys) expectNowhere({key, sizeof key});
    plugin.exit();
}

}  // namespace
#endif
