#include <windows.h>

#include <gtest/gtest.h>
#include <sddl.h>

#include <memory>

#include "framework/core/coreexception.h"
#include "framework/core/security.h"
#include "support/temp_folder.h"

namespace {

using CORE::SecurityManager;

void setAccess(const std::wstring& file, const wchar_t* list) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &descriptor, nullptr));
    const std::unique_ptr<void, decltype(&LocalFree)> held(descriptor, LocalFree);
    ASSERT_TRUE(SetFileSecurityW(file.c_str(), DACL_SECURITY_INFORMATION, descriptor)) << GetLastError();
}

TEST(KeyFile, IsNotUsedWhenOthersMayReadIt) {
    const wstest::TempFolder folder;
    const std::wstring file = (folder.path() / "own" / "host.key").wstring();
    SecurityManager& security = SecurityManager::System();
    security.setKeyFile(file);
    const CORE::wstr text = security.Encrypt("x");
    const struct {
        const wchar_t* list;
        bool used;
    } rows[] = {
        {L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FR;;;WD)", false},
        {L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FR;;;BU)", false},
        {L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)", true},
    };
    for (const auto& row : rows) {
        setAccess(file, row.list);
        security.setKeyFile(file);  // which forgets the key
        EXPECT_EQ(security.Decrypt(text).str(), row.used ? "x" : "") << CORE::toUtf8(row.list);
    }
    security.setKeyFile(L"");
}

}  // namespace
