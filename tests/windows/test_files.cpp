// Access lists of what the system writes, the registry and the machine's names. Wine keeps of a list what a
// mode can say (the owner, the group and everybody) and no other owner than the process's account.
#include <windows.h>

#include <gtest/gtest.h>
// After windows.h:
#include <aclapi.h>
#include <sddl.h>

#include "framework/core/coreexception.h"
#include "framework/core/saved_file.h"
#include "framework/core/security.h"
#include "platform/windows/handles.h"
#include "platform/windows/windows_machine.h"
#include "platform/windows/windows_platform.h"
#include "support/temp_folder.h"

namespace {

using wsadmin::platform::Folder;
using namespace wsadmin::platform::windows;
using wstest::TempFolder;

constexpr wchar_t everybodyReads[] = L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FR;;;WD)";
constexpr wchar_t ownersAlone[] = L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";

void setList(const std::wstring& path, const wchar_t* list) {
    PSECURITY_DESCRIPTOR access = nullptr;
    ASSERT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &access, nullptr));
    const UniqueLocal<void> owner(access);
    EXPECT_TRUE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, access));
}

// The list as text, "D:(A;;FA;;;S-1-5-...)" with an entry in parentheses for each.
std::wstring listOf(HANDLE object, SE_OBJECT_TYPE type) {
    PSECURITY_DESCRIPTOR access = nullptr;
    EXPECT_EQ(
        GetSecurityInfo(object, type, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr, &access),
        DWORD{ERROR_SUCCESS});
    const UniqueLocal<void> owner(access);
    wchar_t* text = nullptr;
    EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(
        access, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
    const UniqueLocal<wchar_t> held(text);
    return text ? text : L"";
}
std::wstring listOf(const std::wstring& path) {
    const UniqueHandle file = validHandle(CreateFileW(path.c_str(), READ_CONTROL, FILE_SHARE_READ, nullptr,
                                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return listOf(file.get(), SE_FILE_OBJECT);
}

TEST(KeyFile, AndItsFolderAreForTheirOwnerAloneOrNotUsed) {
    const TempFolder folder;
    const std::wstring own = (folder.path() / "own").wstring(), file = own + L"\\host.key";
    CORE::SecurityManager& security = CORE::SecurityManager::System();
    security.setKeyFile(file);
    const CORE::wstr text = security.Encrypt("x");
    for (const std::wstring& path : {own, file}) {
        const std::wstring list = listOf(path);
        EXPECT_NE(list.find(L"(A;"), list.npos) << CORE::toUtf8(list);
        for (const wchar_t* others : {L";;;WD)", L";;;BU)", L";;;AU)", L";;;IU)"})
            EXPECT_EQ(list.find(others), list.npos) << CORE::toUtf8(list);
    }
    for (const auto* list : {everybodyReads, ownersAlone}) {
        setList(file, list);
        security.setKeyFile(file);  // which forgets the key
        EXPECT_EQ(security.Decrypt(text).str(), list == ownersAlone ? "x" : "");
    }
    ASSERT_TRUE(DeleteFileW(file.c_str()));
    security.setKeyFile(file);
    setList(own, everybodyReads);
    try {
        security.Encrypt("x");
        ADD_FAILURE();
    } catch (const CORE::coreException& error) {
        EXPECT_EQ(error.text(), own + L" is not used: others than its owner may use it");
    }
    EXPECT_TRUE(std::filesystem::is_empty(own));
    setList(own, ownersAlone);
    EXPECT_FALSE(security.Encrypt("x").empty());
    security.setKeyFile(L"");
}

TEST(SavedFile, KeepsTheAccessList) {
    const TempFolder folder;
    const auto self = makePlatform()->accounts->processToken().value()->user().value();
    const std::wstring file = CORE::toWide(folder.write("a", "old")),
                       own = L"D:P(A;;FA;;;" + CORE::toWide(self.text()) + L")";
    for (const std::wstring& list : {own + L"(A;;FR;;;WD)", own}) {
        setList(file, list.c_str());
        const std::wstring before = listOf(file);
        CORE::FileReplacement(file, "new").commit();
        EXPECT_EQ(listOf(file), before);
        EXPECT_EQ(before.find(L";;;WD)") == std::wstring::npos, list == own) << CORE::toUtf8(before);
        EXPECT_EQ(folder.read("a"), "new");
    }
}

// As whoever puts a new file in its place does for a moment.
TEST(SavedFile, IsReadWhileItIsRenamed) {
    const TempFolder folder;
    const std::string file = folder.write("a", "old");
    const UniqueHandle renaming =
        validHandle(CreateFileW(CORE::toWide(file).c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(renaming);
    EXPECT_EQ(CORE::contentOf(file), "old");
}

// Wine keeps this list and lets everybody in all the same.
TEST(SavedFile, TheLockOfAFolderIsForEveryAccount) {
    const TempFolder folder;
    const CORE::FolderLock lock(folder.path());
    const std::wstring path = CORE::fileBehindLinks(folder.path()).wstring();
    const auto number = std::hash<std::string>()(CORE::foldText(CORE::toUtf8(path)));
    const UniqueHandle mutex(
        OpenMutexW(READ_CONTROL, FALSE, CORE::formatText(L"Global\\ws_admin-saving-%llx", number).c_str()));
    ASSERT_TRUE(mutex);
    EXPECT_EQ(listOf(mutex.get(), SE_KERNEL_OBJECT), L"D:P(A;;0x100001;;;AU)");
}

TEST(TemporaryFiles, AreForTheirOwnerAlone) {
    const auto files = makeFiles();
    const std::wstring file = files->makeTemporary(files->temporaryFolder().value(), L"qrv").value();
    const std::wstring list = listOf(file);
    EXPECT_NE(list.find(L"(A;"), list.npos) << CORE::toUtf8(list);
    EXPECT_EQ(list.find(L";;;WD)"), list.npos) << CORE::toUtf8(list);
    DeleteFileW(file.c_str());
}

TEST(WindowsRegistry, ExpandsVariablesAndKnowsItsRoots) {
    const auto registry = makePlatform()->registry;
    constexpr wchar_t text[] = L"%SystemRoot%\\x", below[] = L"Software\\ws_admin test of text";
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, below, L"path", REG_EXPAND_SZ, text, sizeof text),
              ERROR_SUCCESS);
    const auto read = registry->read(std::wstring(L"hkey_current_user\\") + below, L"path").value();
    RegDeleteTreeW(HKEY_CURRENT_USER, below);
    ASSERT_TRUE(read && std::holds_alternative<std::wstring>(*read));
    EXPECT_EQ(CORE::compareFolded(std::get<std::wstring>(*read), L"C:\\windows\\x"), 0);
    EXPECT_EQ(registry->read(L"HKXX\\Software", L"v").error().code, ERROR_INVALID_PARAMETER);
}

TEST(WindowsMachine, KnowsNamesAndFolders) {
    const auto platform = makePlatform();
    EXPECT_FALSE(platform->names->netBios().value().empty());
    EXPECT_FALSE(platform->names->dnsFullyQualified().value().empty());
    EXPECT_EQ(platform->folders->get(Folder::commonAppData).value(), L"C:\\ProgramData");
    EXPECT_EQ(platform->folders->get(Folder::programFiles).value(), L"C:\\Program Files");
    EXPECT_TRUE(platform->folders->get(Folder::localAppData).value().ends_with(L"\\AppData\\Local"));
    EXPECT_EQ(CORE::compareFolded(platform->folders->windowsDirectory().value(), L"C:\\windows"), 0);
}

}  // namespace
