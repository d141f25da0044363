#include "framework/service_operations.h"
#include "ldap/configuration_folder.h"

#include <limits>

#include "frame_fixture.h"

namespace wsadmin {
namespace {

using platform::Folder;
using wstest::LogCapture;
using wstest::LogLine;
using OperationsOfTheService = FrameTest;

TEST_F(OperationsOfTheService, ADomainCheckIntervalTakesEffectUnlessItIsRefused) {
    constexpr int unchanged = 1234;
    const std::pair<std::wstring, int> cases[] = {{L"15", 900},
                                                  {L"60", 3600},
                                                  {L"14", unchanged},
                                                  {L"99999999999", unchanged},
                                                  {L"2000000000", std::numeric_limits<int>::max()}};
    for (const auto& [minutes, seconds] : cases) {
        service->setMinimumDomainCheckInterval(unchanged);
        CORE::PropertyBag request;
        request.set(L"forestCheckInterval", minutes);
        dispatch(L"setServiceConfiguration", request);
        EXPECT_EQ(service->domain()->minimumCheckInterval(), seconds) << CORE::toUtf8(minutes);
    }
}

TEST_F(OperationsOfTheService, TheDiagnosisIsTheHealthOfTheDomainsWithItsError) {
    const Outcome outcome = dispatch(L"Diag");
    EXPECT_TRUE(outcome.handled);
    EXPECT_EQ(outcome.response.getError(), 0);
    const CORE::PropertyBag& health = outcome.response.getBag(L"DOMAINHEALTH");
    EXPECT_EQ(health.getErrorText(), L"Failed to issue request to ws_admin service");
}

TEST_F(OperationsOfTheService, WithoutDirectoryServicesThereIsNoDomainMap) {
    machine->directoryServices.reset();
    service = makeService({});
    EXPECT_NE(dispatch(L"getDomainHealth").response.getError(), 0);
    EXPECT_EQ(dispatch(L"getDomainType").response.get(L"isMixedMode"), L"true");
    EXPECT_EQ(dispatch(L"setServiceConfiguration").response.getError(), 0);
}

TEST_F(OperationsOfTheService, TheConfigurationFolderFallsBackStepByStep) {
    const std::map<Folder, std::wstring> all{{Folder::commonAppData, L"C:\\ProgramData"},
                                             {Folder::localAppData, L"C:\\Users\\Admin\\AppData\\Local"},
                                             {Folder::programFiles, L"E:\\Program Files"}};
    struct Case {
        DataOwner owner;
        std::vector<Folder> missing;
        std::optional<std::wstring> windows;
        std::wstring expected;
        bool logged;
    };
    using enum DataOwner;
    const Case cases[] = {
        {machine, {}, L"D:\\Windows", L"C:\\ProgramData\\Talvex\\HDQ", false},
        {machine, {Folder::commonAppData}, L"D:\\Windows", L"E:\\Program Files\\Talvex\\Talvex Vorn", false},
        {machine,
         {Folder::commonAppData, Folder::programFiles},
         L"D:\\Windows",
         L"D:\\Program Files\\Talvex\\Talvex Vorn",
         true},
        {machine,
         {Folder::commonAppData, Folder::programFiles},
         L"",
         L"C:\\Program Files\\Talvex\\Talvex Vorn",
         true},
        {machine,
         {Folder::commonAppData, Folder::programFiles},
         std::nullopt,
         L"C:\\Program Files\\Talvex\\Talvex Vorn",
         true},
        {user, {}, L"D:\\Windows", L"C:\\Users\\Admin\\AppData\\Local\\Talvex\\HDQ", false},
        {user, {Folder::localAppData}, L"D:\\Windows", L"C:\\ProgramData\\Talvex\\HDQ", false},
    };
    for (const Case& c : cases) {
        StandInFolders stand;
        stand.known = all;
        for (const Folder folder : c.missing) stand.known.erase(folder);
        stand.windows = c.windows;
        const LogCapture log;
        EXPECT_EQ(configurationFolder(stand, c.owner), c.expected);
        const std::vector<LogLine> failure{{CORE::logError, L"SHGetSpecialFolderPath FAILED"}};
        EXPECT_EQ(log.lines(), c.logged ? failure : std::vector<LogLine>{});
    }
}

}  // namespace
}  // namespace wsadmin
