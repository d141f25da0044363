#include <windows.h>

#include <gtest/gtest.h>
#include <sddl.h>

#include "framework/core/security.h"
#include "support/temp_folder.h"

namespace {

TEST(KeyFile, IsNotUsedWhenOthersMayReadIt) {
    const wstest::TempFolder folder;
    const std::wstring file = (folder.path() / "own" / "host.key").wstring();
    CORE::SecurityManager& security = CORE::SecurityManager::System();
    security.setKeyFile(file);
    const CORE::wstr text = security.Encrypt("x");
    // Wine keeps of a list what a mode can say: the owner, the group and everybody.
    const std::pair<const wchar_t*, const char*> rows[] = {
        {L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FR;;;WD)", ""},
        {L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)", "x"},
    };
    for (const auto& [list, decrypted] : rows) {
        PSECURITY_DESCRIPTOR access = nullptr;
        ASSERT_TRUE(
            ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &access, nullptr));
        EXPECT_TRUE(SetFileSecurityW(file.c_str(), DACL_SECURITY_INFORMATION, access));
        LocalFree(access);
        security.setKeyFile(file);  // which forgets the key
        EXPECT_EQ(security.Decrypt(text).str(), decrypted) << CORE::toUtf8(list);
    }
    security.setKeyFile(L"");
}

}  // namespace
