// What is left of the keys of a pairing in the whole process, the framework's copies of the request included.
// Not under the thread sanitizer, whose own data is most of the memory.
#if defined(__linux__) && !defined(__SANITIZE_THREAD__)
#include <gtest/gtest.h>

#include <algorithm>

#include "framework/core/message.h"
#include "plugin/loaded_module.h"
#include "support/log_capture.h"
#include "support/process_memory.h"

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

// The inverted bytes of the key as wchar_t.
std::string invertedWide(std::string_view inverted) {
    std::string wide;
    for (const char c : inverted) wide.append(1, c).append(sizeof(wchar_t) - 1, '\xff');
    return wide;
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
    for (const auto& key : invertedKeys) {
        const std::string_view inverted(key, sizeof key);
        EXPECT_FALSE(wstest::isInMemory(inverted));
        EXPECT_FALSE(wstest::isInMemory(invertedWide(inverted)));
        const auto held = keyOf(inverted);
        EXPECT_TRUE(wstest::isInMemory(inverted)) << "the search finds nothing at all";
    }
    plugin.exit();
}

}  // namespace
#endif
