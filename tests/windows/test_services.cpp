#include "windows/stand_ins/service_control.h"
// After windows.h:
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {
namespace {

using test::configQuery;

constexpr wchar_t testService[] = L"ws_admin_test";
constexpr wchar_t testServiceKey[] = L"System\\CurrentControlSet\\Services\\ws_admin_test";

class Services : public testing::Test {
  protected:
    Services() {
        configQuery = {};
        const SC_HANDLE all = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
        const SC_HANDLE made = CreateServiceW(
            all, testService, nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
            SERVICE_ERROR_NORMAL, L"C:\\none.exe", nullptr, nullptr, nullptr, nullptr, nullptr);
        EXPECT_TRUE(made) << GetLastError();
        ++configQuery.openHandles;  // this one the manager gave
        CloseServiceHandle(made);
        CloseServiceHandle(all);
        manager = std::move(makeServiceControl()->open().value());
    }
    ~Services() override {
        const SC_HANDLE all = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
        const SC_HANDLE service = OpenServiceW(all, testService, DELETE);
        DeleteService(service);
        CloseServiceHandle(service);
        CloseServiceHandle(all);
        manager.reset();
        EXPECT_EQ(configQuery.openHandles, 0);
    }
    // As the system keeps it, with its two NULs; empty where it keeps none.
    static std::wstring storedDependencies() {
        wchar_t text[100]{};
        DWORD bytes = sizeof text;
        const LSTATUS read = RegGetValueW(HKEY_LOCAL_MACHINE, testServiceKey, L"DependOnService",
                                          RRF_RT_REG_MULTI_SZ, nullptr, text, &bytes);
        return read == ERROR_SUCCESS ? std::wstring(text, bytes / sizeof(wchar_t)) : std::wstring();
    }

    std::unique_ptr<ServiceManager> manager;
};

TEST_F(Services, KeepTheirDescriptions) {
    const auto service = manager->openService(testService).value();
    for (const std::wstring text : {L"A first one", L"B\u00fccher", L""}) {
        EXPECT_TRUE(service->setDescription(text));
        EXPECT_EQ(service->description(), text);
    }
    const auto absent = manager->openService(L"ws_admin_absent");
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error().code, serviceDoesNotExist);
}

TEST_F(Services, DependenciesAreListsThatEndWithANul) {
    using Names = std::vector<std::wstring>;
    const auto service = manager->openService(testService).value();
    configQuery.dependencies = std::wstring(L"RpcSs\0+Group\0", 13);
    EXPECT_EQ(service->dependencies(), (Names{L"RpcSs", L"+Group"}));
    configQuery.dependencies.clear();
    EXPECT_EQ(service->dependencies(), Names{});
    EXPECT_TRUE(service->setDependencies({L"RpcSs", L"ADAM_TalvexHDQDSG"}));
    EXPECT_EQ(storedDependencies(), std::wstring(L"RpcSs\0ADAM_TalvexHDQDSG\0\0", 25));
    EXPECT_TRUE(service->setDependencies({}));
    EXPECT_EQ(storedDependencies().find_first_not_of(L'\0'), std::wstring::npos) << "no name is left";
}

TEST_F(Services, TellTheStepAtWhichAQueryFails) {
    const auto service = manager->openService(testService).value();
    configQuery.succeedsAtOnce = true;
    EXPECT_EQ(service->dependencies().error().step, ServiceQueryStep::unexpectedSuccess);
    configQuery.succeedsAtOnce = false;
    configQuery.failure = ERROR_ACCESS_DENIED;
    const auto denied = service->dependencies();
    EXPECT_EQ(denied.error().step, ServiceQueryStep::query);
    EXPECT_EQ(denied.error().cause.code, ERROR_ACCESS_DENIED);
}

}  // namespace
}  // namespace wsadmin::platform::windows
